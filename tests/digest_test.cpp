// MD5 and SHA-256 against the published vectors and against OpenSSL.
#include "vos/digest.h"

#include <endian.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "internal/processor.h"
#include "util/digest/sha256_blocks.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Vectors = std::vector<std::pair<std::string, std::string>>;

std::string hex(const uint8_t *bytes, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; i++) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

struct Md5 {
    static constexpr size_t kSize = UTIL_MD5_DIGEST_SIZE;
    static constexpr size_t kBit32At = 60;  // where the low byte of the length's upper half stands in the padding
    static const EVP_MD *peer() { return EVP_md5(); }
    Md5() { UTIL_md5Init(&context); }
    void update(const uint8_t *data, size_t len) { UTIL_md5Update(&context, data, static_cast<uint32_t>(len)); }
    void final(uint8_t *digest) { UTIL_md5Final(digest, &context); }
    uint64_t &bits() { return context.bitCount; }
    UtilMd5Context context;
    static inline const Vectors kVectors = {  // RFC 1321, A.5
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
};

struct Sha256 {
    static constexpr size_t kSize = SHA256_HASH_SIZE;
    static constexpr size_t kBit32At = 59;
    static const EVP_MD *peer() { return EVP_sha256(); }
    Sha256() { sha256_init(&context); }
    void update(const uint8_t *data, size_t len) { sha256_update(&context, data, static_cast<uint32_t>(len)); }
    void final(uint8_t *digest) { sha256_final(&context, digest); }
    uint64_t &bits() { return context.bitLength; }
    Sha256Context context;
    static inline const Vectors kVectors = {  // FIPS 180-4 and its examples
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(1'000'000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}};
};

template <typename Digest>
std::string finish(Digest &digest) {
    uint8_t bytes[Digest::kSize];
    digest.final(bytes);
    return hex(bytes, sizeof bytes);
}

template <typename Digest>
std::string digestOf(const std::string &text) {
    Digest digest;
    digest.update(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    return finish(digest);
}

Bytes randomBytes(std::mt19937 &random, size_t size) {
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
    return bytes;
}

template <typename Digest>
class DigestTest : public testing::Test {};
using Digests = testing::Types<Md5, Sha256>;
TYPED_TEST_SUITE(DigestTest, Digests);

TYPED_TEST(DigestTest, GivesThePublishedDigests) {
    for (const auto &[text, digest] : TypeParam::kVectors) {
        EXPECT_EQ(digestOf<TypeParam>(text), digest) << text.size();
    }
}

TYPED_TEST(DigestTest, GivesOpenSslsResultForAnyLengthAndSplit) {
    std::mt19937 random{20};
    for (size_t size = 0; size < 1500; size += size < 200 ? 1 : random() % 97) {
        const Bytes bytes = randomBytes(random, size);
        TypeParam digest;
        for (size_t at = 0; at < size;) {
            const size_t piece = std::min<size_t>(random() % 150, size - at);
            digest.update(&bytes[at], piece);
            at += piece;
        }
        uint8_t expected[TypeParam::kSize];
        ASSERT_EQ(EVP_Digest(bytes.data(), size, expected, nullptr, TypeParam::peer(), nullptr), 1);
        ASSERT_EQ(finish(digest), hex(expected, sizeof expected)) << size;
    }
}

TYPED_TEST(DigestTest, CountsBitsBeyondThirtyTwo) {
    TypeParam digest;
    digest.bits() = (uint64_t{1} << 32) - 512;  // as if half a gigabyte less one block had gone before
    const uint8_t zeros[64] = {};
    digest.update(zeros, sizeof zeros);
    // The padding by hand: its block makes the digest in the state words.
    TypeParam byHand;
    byHand.update(zeros, sizeof zeros);
    uint8_t padding[64] = {0x80};
    padding[TypeParam::kBit32At] = 1;
    byHand.update(padding, sizeof padding);
    for (uint32_t &word : byHand.context.state) {
        word = std::is_same_v<TypeParam, Sha256> ? htobe32(word) : htole32(word);
    }
    EXPECT_EQ(finish(digest), hex(reinterpret_cast<const uint8_t *>(byHand.context.state), TypeParam::kSize));
}

TYPED_TEST(DigestTest, IgnoresNullAndClearsTheContextAtTheEnd) {
    TypeParam digest;
    digest.update(nullptr, 5);
    digest.final(nullptr);
    EXPECT_EQ(finish(digest), digestOf<TypeParam>(""));
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&digest), sizeof digest), std::string(sizeof digest, '\0'));
}

// What the exported functions run elsewhere; here they run the other path.
TEST(Sha256Blocks, PortablePathEqualsTheProcessorsInstructions) {
    if (!vos::processorHas(vos::Feature::sha256)) {
        GTEST_SKIP() << "this processor has no SHA instructions";
    }
    std::mt19937 random{180};
    uint32_t portable[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    uint32_t accelerated[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const size_t blocks : {1U, 2U, 3U, 50U}) {
        const Bytes bytes = randomBytes(random, blocks * 64 + 1);
        vos::sha256BlocksPortable(portable, &bytes[1], blocks);  // callers' buffers need not be aligned
        vos::sha256BlocksAccelerated(accelerated, &bytes[1], blocks);
        EXPECT_TRUE(std::equal(std::begin(portable), std::end(portable), accelerated)) << blocks;
    }
}

}  // namespace
