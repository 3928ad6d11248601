// MD5 and SHA-256 against OpenSSL.
#include "vos/digest.h"

#include <endian.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "internal/processor.h"
#include "util/digest/sha256_blocks.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Md5 {
    static constexpr size_t kSize = UTIL_MD5_DIGEST_SIZE;
    static constexpr size_t kBit32At = 60;  // where the low byte of the length's upper half stands in the padding
    static const EVP_MD *peer() { return EVP_md5(); }
    Md5() { UTIL_md5Init(&context); }
    void update(const uint8_t *data, size_t len) { UTIL_md5Update(&context, data, static_cast<uint32_t>(len)); }
    void final(uint8_t *digest) { UTIL_md5Final(digest, &context); }
    uint64_t &bits() { return context.bitCount; }
    UtilMd5Context context;
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
};

template <typename Digest>
Bytes finish(Digest &digest) {
    Bytes bytes(Digest::kSize);
    digest.final(bytes.data());
    return bytes;
}

template <typename Digest>
Bytes peerDigest(const Bytes &bytes) {
    Bytes digest(Digest::kSize);
    EXPECT_EQ(EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, Digest::peer(), nullptr), 1);
    return digest;
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
        ASSERT_EQ(finish(digest), peerDigest<TypeParam>(bytes)) << size;
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
    EXPECT_EQ(memcmp(finish(digest).data(), byHand.context.state, TypeParam::kSize), 0);
}

TYPED_TEST(DigestTest, IgnoresNullAndClearsTheContextAtTheEnd) {
    TypeParam digest;
    digest.update(nullptr, 5);
    digest.final(nullptr);
    EXPECT_EQ(finish(digest), peerDigest<TypeParam>({}));
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&digest), sizeof digest), std::string(sizeof digest, '\0'));
}

// What the exported functions run elsewhere; here they run the other path.
TEST(Sha256Blocks, PortablePathEqualsTheProcessorsInstructions) {
    if (!vos::processorHas(vos::Feature::kSha256)) {
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
