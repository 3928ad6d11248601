// MD5 and SHA-256 against the published vectors and against OpenSSL.
#include "vos/digest.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "util/sha256_blocks.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::string hex(const uint8_t *bytes, size_t size) {
    std::ostringstream out;
    for (size_t i = 0; i < size; i++) {
        out << std::hex << std::setw(2) << std::setfill('0') << unsigned{bytes[i]};
    }
    return out.str();
}

struct Md5 {
    static constexpr size_t kSize = UTIL_MD5_DIGEST_SIZE;
    static constexpr size_t kBit32At = 60;  // little endian length
    static const EVP_MD *peer() { return EVP_md5(); }
    Md5() { UTIL_md5Init(&context); }
    void update(const uint8_t *data, size_t len) { UTIL_md5Update(&context, data, static_cast<uint32_t>(len)); }
    std::string final() {
        uint8_t digest[kSize];
        UTIL_md5Final(digest, &context);
        return hex(digest, kSize);
    }
    uint64_t &bits() { return context.bitCount; }
    std::string stateText() const { return hex(reinterpret_cast<const uint8_t *>(context.state), kSize); }
    UtilMd5Context context;
};

struct Sha256 {
    static constexpr size_t kSize = SHA256_HASH_SIZE;
    static constexpr size_t kBit32At = 59;  // big endian length
    static const EVP_MD *peer() { return EVP_sha256(); }
    Sha256() { sha256_init(&context); }
    void update(const uint8_t *data, size_t len) { sha256_update(&context, data, static_cast<uint32_t>(len)); }
    std::string final() {
        uint8_t digest[kSize];
        sha256_final(&context, digest);
        return hex(digest, kSize);
    }
    uint64_t &bits() { return context.bitLength; }
    std::string stateText() const {
        std::ostringstream out;
        for (const uint32_t word : context.state) {
            out << std::hex << std::setw(8) << std::setfill('0') << word;
        }
        return out.str();
    }
    Sha256Context context;
};

template <typename Digest>
std::string digestOf(const std::string &text) {
    Digest digest;
    digest.update(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    return digest.final();
}

template <typename Digest>
std::string peerDigest(const uint8_t *data, size_t size) {
    uint8_t digest[EVP_MAX_MD_SIZE];
    EXPECT_EQ(EVP_Digest(data, size, digest, nullptr, Digest::peer(), nullptr), 1);
    return hex(digest, Digest::kSize);
}

Bytes randomBytes(std::mt19937 &random, size_t size) {
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
    return bytes;
}

TEST(PublishedVectors, OfRfc1321) {
    const std::pair<const char *, const char *> kVectors[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto &[text, digest] : kVectors) {
        EXPECT_EQ(digestOf<Md5>(text), digest) << text;
    }
}

TEST(PublishedVectors, OfFips180) {
    const std::pair<std::string, const char *> kVectors[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(1'000'000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}};
    for (const auto &[text, digest] : kVectors) {
        EXPECT_EQ(digestOf<Sha256>(text), digest) << text.size();
    }
}

template <typename Digest>
class DigestTest : public testing::Test {};
using Digests = testing::Types<Md5, Sha256>;
TYPED_TEST_SUITE(DigestTest, Digests);

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
        ASSERT_EQ(digest.final(), peerDigest<TypeParam>(bytes.data(), size)) << size;
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
    EXPECT_EQ(digest.final(), byHand.stateText());
}

TYPED_TEST(DigestTest, IgnoresNullAndClearsTheContextAtTheEnd) {
    TypeParam digest;
    digest.update(nullptr, 5);
    const TypeParam begun = digest;
    EXPECT_EQ(digest.final(), digestOf<TypeParam>(""));
    EXPECT_NE(memcmp(&digest, &begun, sizeof digest), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&digest), sizeof digest), std::string(sizeof digest, '\0'));
    UTIL_md5Init(nullptr);
    UTIL_md5Update(nullptr, nullptr, 1);
    UTIL_md5Final(nullptr, nullptr);
    sha256_init(nullptr);
    sha256_update(nullptr, nullptr, 1);
    sha256_final(nullptr, nullptr);
}

TEST(Sha256Blocks, PortablePathEqualsTheProcessorsInstructions) {
    std::mt19937 random{180};
    for (const size_t blocks : {1U, 2U, 3U, 50U}) {
        Bytes bytes = randomBytes(random, blocks * 64 + 1);
        uint32_t portable[8];
        std::generate(std::begin(portable), std::end(portable), [&] { return static_cast<uint32_t>(random()); });
        uint32_t accelerated[8];
        std::copy(std::begin(portable), std::end(portable), accelerated);
        // One byte beyond the start, as callers' buffers need not be aligned.
        vos::sha256BlocksPortable(portable, &bytes[1], blocks);
        if (!vos::sha256HasInstructions()) {
            GTEST_SKIP() << "this processor has no SHA instructions";
        }
        vos::sha256BlocksAccelerated(accelerated, &bytes[1], blocks);
        EXPECT_TRUE(std::equal(std::begin(portable), std::end(portable), accelerated)) << blocks;
    }
}

TEST(Sha256Blocks, PortablePathGivesAPublishedDigest) {
    uint32_t state[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    uint8_t block[64] = {'a', 'b', 'c', 0x80};
    block[63] = 24;
    vos::sha256BlocksPortable(state, block, 1);
    EXPECT_EQ(state[0], 0xba7816bfU);
    EXPECT_EQ(state[7], 0xf20015adU);
}

}  // namespace
