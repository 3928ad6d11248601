// RSA key files, SHA-1 and AES against OpenSSL itself, with key files that the test makes.
#include "vos/security.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "support/files.h"
#include "support/syslog_catcher.h"

namespace {

uint8_t *bytes(const std::string &text) {
    return reinterpret_cast<uint8_t *>(const_cast<char *>(text.data()));
}

// OpenSSL's own allocations, of which one may be made to fail.
unsigned g_countdown = 0;
long g_liveBlocks = 0;

bool fails() {
    return g_countdown > 0 && --g_countdown == 0;
}
void *allocate(size_t size, const char *, int) {
    void *block = fails() ? nullptr : malloc(size);
    g_liveBlocks += block != nullptr ? 1 : 0;
    return block;
}
void release(void *block, const char *, int) {
    g_liveBlocks -= block != nullptr ? 1 : 0;
    free(block);
}
void *resize(void *block, size_t size, const char *file, int line) {
    if (block == nullptr) {
        return allocate(size, file, line);
    }
    return fails() ? nullptr : realloc(block, size);
}
const int kCounting = CRYPTO_set_mem_functions(allocate, resize, release);

using KeyPtr = std::shared_ptr<EVP_PKEY>;

EVP_PKEY *rsaKey() {
    static const KeyPtr key{EVP_RSA_gen(2048), EVP_PKEY_free};
    return key.get();
}

enum class Generation { kModern, kLegacy, kNoIntegrity };

// A PKCS#12 file with the key and a certificate for it.
std::string makeFile(EVP_PKEY *key, const char *passPhrase, Generation generation, long claimedIterations = 0) {
    const std::shared_ptr<X509> certificate{X509_new(), X509_free};
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key);
    EXPECT_GT(X509_sign(certificate.get(), key, EVP_sha256()), 0);
    const bool old = generation == Generation::kLegacy;
    const std::shared_ptr<OSSL_LIB_CTX> context{OSSL_LIB_CTX_new(), OSSL_LIB_CTX_free};
    const std::shared_ptr<OSSL_PROVIDER> common{OSSL_PROVIDER_load(context.get(), "default"), OSSL_PROVIDER_unload};
    const std::shared_ptr<OSSL_PROVIDER> legacy{OSSL_PROVIDER_load(context.get(), "legacy"), OSSL_PROVIDER_unload};
    const std::shared_ptr<PKCS12> bundle{
        PKCS12_create_ex(passPhrase, "key", key, certificate.get(), nullptr,
                         old ? NID_pbe_WithSHA1And3_Key_TripleDES_CBC : NID_aes_256_cbc,
                         old ? NID_pbe_WithSHA1And40BitRC2_CBC : NID_aes_256_cbc, 2000,
                         generation == Generation::kNoIntegrity ? -1 : 2000, 0, context.get(), nullptr),
        PKCS12_free};
    if (claimedIterations != 0) {
        const ASN1_INTEGER *iterations = nullptr;
        PKCS12_get0_mac(nullptr, nullptr, nullptr, &iterations, bundle.get());
        ASN1_INTEGER_set(const_cast<ASN1_INTEGER *>(iterations), claimedIterations);
    }
    std::string der(static_cast<size_t>(i2d_PKCS12(bundle.get(), nullptr)), '\0');
    unsigned char *end = bytes(der);
    i2d_PKCS12(bundle.get(), &end);
    return der;
}

std::string peerDecrypt(const std::string &in) {
    const std::shared_ptr<EVP_PKEY_CTX> context{EVP_PKEY_CTX_new(rsaKey(), nullptr), EVP_PKEY_CTX_free};
    EXPECT_EQ(EVP_PKEY_decrypt_init(context.get()), 1);
    EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING), 1);
    std::string out(256, '\0');
    size_t length = out.size();
    EXPECT_EQ(EVP_PKEY_decrypt(context.get(), bytes(out), &length, bytes(in), in.size()), 1);
    return out.substr(0, length);
}

class RsaTest : public testing::Test {
  protected:
    RsaTest() { ERR_clear_error(); }
    ~RsaTest() override {
        EXPECT_EQ(ERR_peek_error(), 0U) << "OpenSSL's error queue is left clean";
        EXPECT_EQ(vostest::openDescriptors(), descriptors_);
    }
    const char *write(const std::string &contents) {
        vostest::writeText(path_, contents);
        return path_.c_str();
    }
    vostest::TempDir dir_;
    std::string path_ = dir_ / "key.pfx";

  private:
    size_t descriptors_ = vostest::openDescriptors();
};

void expectRoundTrip(const char *path, const char *passPhrase) {
    for (const std::string &plain : {std::string{}, std::string{"secret"}, std::string(245, 'x')}) {
        SCOPED_TRACE(plain.size());
        std::string cipher(256, '\0');
        std::string out(256, '!');
        uint32_t length = 0;
        ASSERT_EQ(UTIL_RsaPulicKeyEcrypt(bytes(plain), static_cast<uint32_t>(plain.size()), bytes(cipher), &length,
                                         path, passPhrase),
                  VOS_RET_OK);
        EXPECT_EQ(length, 256U);
        EXPECT_EQ(peerDecrypt(cipher), plain);
        ASSERT_EQ(UTIL_RsaPrivateKeyDecrypt(bytes(cipher), 256, bytes(out), &length, path, passPhrase), VOS_RET_OK);
        EXPECT_EQ(out, plain + std::string(256 - length, '!')) << "nothing is written behind the plain text";
    }
}

TEST_F(RsaTest, ReadsKeyFilesOfBothGenerations) {
    const std::pair<Generation, const char *> kFiles[] = {{Generation::kModern, "geheim"},
                                                          {Generation::kLegacy, "geheim"},
                                                          {Generation::kModern, ""},
                                                          {Generation::kLegacy, nullptr}};
    for (const auto &[generation, passPhrase] : kFiles) {
        SCOPED_TRACE(static_cast<int>(generation));
        const char *path = write(makeFile(rsaKey(), passPhrase, generation));
        const KeyPtr key{readKeyPairFromPfx(path, passPhrase), EVP_PKEY_free};
        EXPECT_EQ(EVP_PKEY_eq(key.get(), rsaKey()), 1);
        expectRoundTrip(path, passPhrase);
    }
    EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "legacy"), 0) << "the process's own providers stay as they were";
}

TEST_F(RsaTest, ReadsTheDevicesFileWithItsOwnPassPhraseForANullPath) {
    ASSERT_EQ(mount("tmpfs", "/usr/share", "tmpfs", 0, nullptr), 0);
    std::filesystem::create_directory("/usr/share/standby_key");
    vostest::writeText(UTIL_DEFAULT_PFX_FILE, makeFile(rsaKey(), "Qm7ZtR4wXp2LkD", Generation::kModern));
    expectRoundTrip(nullptr, "ignored");
    umount2("/usr/share", MNT_DETACH);
}

// What OpenSSL keeps for later is there after the first round.
void expectRefused(const char *path, const char *passPhrase, uint32_t plainSize = 10, uint32_t cipherSize = 256) {
    const uint8_t in[300] = {1};
    uint8_t out[300] = {9, 9};
    uint32_t length = 77;
    long before = 0;
    for (int round = 0; round < 2; round++) {
        before = g_liveBlocks;
        EXPECT_EQ(UTIL_RsaPulicKeyEcrypt(in, plainSize, out, &length, path, passPhrase), VOS_RET_ERROR);
        EXPECT_EQ(UTIL_RsaPrivateKeyDecrypt(in, cipherSize, out, &length, path, passPhrase), VOS_RET_ERROR);
    }
    EXPECT_EQ(g_liveBlocks, before);
    EXPECT_TRUE(length == 77 && out[0] == 9 && out[1] == 9 && out[2] == 0);
}

TEST_F(RsaTest, RefusesFilesThatHoldNoUsableKey) {
    const std::string modern = makeFile(rsaKey(), "geheim", Generation::kModern);
    std::string damaged = modern;
    damaged[damaged.size() / 2] ^= 1;
    const std::pair<const char *, std::string> kFiles[] = {
        {"empty", ""},
        {"no ASN.1", std::string(300, 'x')},
        {"a length of gigabytes", "\x30\x84\x7f\xff\xff\xff"},
        {"cut in its header", modern.substr(0, 3)},
        {"cut at its end", modern.substr(0, modern.size() - 1)},
        {"damaged", damaged},
        {"no integrity check", makeFile(rsaKey(), "geheim", Generation::kNoIntegrity)},
        {"a check that takes half an hour", makeFile(rsaKey(), "geheim", Generation::kModern, 2'000'000'000)},
    };
    for (const auto &[what, contents] : kFiles) {
        SCOPED_TRACE(what);
        EXPECT_EQ(readKeyPairFromPfx(write(contents), "geheim"), nullptr);
        expectRefused(path_.c_str(), "geheim");
    }
    expectRefused(write(modern), "geheim", 246, 257);  // lengths that the key cannot take
    for (const char *passPhrase : {"Geheim", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(readKeyPairFromPfx(path_.c_str(), passPhrase), nullptr);
        expectRefused(path_.c_str(), passPhrase);
    }
    for (const char *path : {"/tmp/missing.pfx", "/tmp", "/dev/null", UTIL_DEFAULT_PFX_FILE}) {
        expectRefused(path, "geheim");
    }
    const KeyPtr noRsaKey{EVP_EC_gen("P-256"), EVP_PKEY_free};
    const char *path = write(makeFile(noRsaKey.get(), "geheim", Generation::kModern));
    EXPECT_NE((KeyPtr{readKeyPairFromPfx(path, "geheim"), EVP_PKEY_free}), nullptr);
    expectRefused(path, "geheim");
}

TEST_F(RsaTest, FailsOnALegacyFileWhereTheLegacyCiphersAreMissingAndKeepsOlderErrorsOfTheCaller) {
    const char *path = write(makeFile(rsaKey(), "geheim", Generation::kLegacy));
    setenv("OPENSSL_MODULES", "/tmp/nothing", 1);
    ERR_raise(ERR_LIB_USER, 42);
    EXPECT_EQ(readKeyPairFromPfx(path, "geheim"), nullptr);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
    unsetenv("OPENSSL_MODULES");
}

// Calls `use` with a descriptor that gives `contents` in pieces that fit no buffer.
template <typename Use>
void withPieces(const std::string &contents, Use use) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    for (size_t at = 0; at < contents.size(); at += 777) {
        EXPECT_GT(write(ends[1], &contents[at], std::min<size_t>(777, contents.size() - at)), 0);
    }
    close(ends[1]);
    use(ends[0]);
    close(ends[0]);
}

TEST(Sha1, GivesOpenSslsDigestsOfBuffersAndStreams) {
    std::string digest(UTIL_SHA1_DIGEST_SIZE, '\0');
    std::string expected = digest;
    const auto peer = [&](const std::string &data) {
        EXPECT_EQ(EVP_Digest(data.data(), data.size(), bytes(expected), nullptr, EVP_sha1(), nullptr), 1);
        return expected;
    };
    for (const size_t size : {0U, 3U, 5000U, 20'000U}) {
        const std::string data(size, 'd');
        ASSERT_EQ(UTIL_sha1FromBuffer(bytes(data), static_cast<uint32_t>(size), bytes(digest)), VOS_RET_OK);
        EXPECT_EQ(digest, peer(data));
        withPieces(data, [&](int fd) { EXPECT_EQ(UTIL_sha1FromStream(fd, bytes(digest)), VOS_RET_OK); });
        EXPECT_EQ(digest, expected);
    }
    ASSERT_EQ(UTIL_sha1FromStream(-1, bytes(digest)), VOS_RET_OK);
    EXPECT_EQ(digest, peer("")) << "a failed read is the end of the data";
}

constexpr uint8_t kKey[] = {16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1};
constexpr uint8_t kIv[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

std::string peerEncrypt(const std::string &plain) {
    const std::shared_ptr<EVP_CIPHER_CTX> context{EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};
    std::string out(plain.size() + 16, '\0');
    int length = 0;
    int last = 0;
    EXPECT_EQ(EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, kKey, kIv), 1);
    EXPECT_EQ(EVP_EncryptUpdate(context.get(), bytes(out), &length, bytes(plain), static_cast<int>(plain.size())), 1);
    EXPECT_EQ(EVP_EncryptFinal_ex(context.get(), bytes(out) + length, &last), 1);
    return out.substr(0, static_cast<size_t>(length + last));
}

// In place, as callers do, or from nothing.
std::string aesBuffer(const std::string &in, int enc) {
    const auto size = static_cast<uint32_t>(in.size());
    std::string out = in + std::string(16, '\0');
    uint32_t length = 0;
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, size == 0 ? nullptr : bytes(out), size, bytes(out), &length, enc),
              VOS_RET_OK);
    return out.substr(0, length);
}

std::string aesStream(const std::string &in, int enc) {
    const int out = memfd_create("out", MFD_CLOEXEC);
    withPieces(in, [&](int fd) { EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(kKey, kIv, fd, out, enc), VOS_RET_OK); });
    const std::string text = vostest::readText("/proc/self/fd/" + std::to_string(out));
    close(out);
    return text;
}

TEST(Aes, GivesOpenSslsResultForBuffersAndStreams) {
    for (const size_t size : {0U, 1U, 15U, 16U, 17U, 1023U, 1024U, 1025U, 20'000U}) {
        SCOPED_TRACE(size);
        const std::string plain(size, 'p');
        const std::string cipher = peerEncrypt(plain);
        EXPECT_EQ(cipher.size(), (size / 16 + 1) * 16);
        EXPECT_EQ(aesBuffer(plain, 1), cipher);
        EXPECT_EQ(aesBuffer(cipher, 0), plain);
        EXPECT_EQ(aesStream(plain, 1), cipher);
        EXPECT_EQ(aesStream(cipher, 0), plain);
    }
}

TEST(Aes, ReportsABufferThatDoesNotDecryptAndSaysSo) {
    vostest::Diagnostics diagnostics;
    const std::string cipher = peerEncrypt("sixteen letters.");
    uint8_t out[64];
    uint32_t length = 77;
    const auto decrypt = [&](uint32_t size) {
        return UTIL_aes128CbcBufferEncrypt(kKey, kIv, size == 0 ? nullptr : bytes(cipher), size, out, &length, 0);
    };
    for (const uint32_t size : {0U, 15U, 16U, 31U, UINT32_MAX - 15}) {
        EXPECT_EQ(decrypt(size), VOS_RET_ERROR) << size;
    }
    EXPECT_EQ(length, 77U);
    EXPECT_EQ(decrypt(32), VOS_RET_OK);
    const auto lines = diagnostics.take();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0].body(), "EVP_CipherFinal_ex: 0");
    EXPECT_EQ(lines[4].body(), "EVP_CipherFinal_ex: 1");
    EXPECT_EQ(lines[4].priority, LOG_DEBUG);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(Aes, StreamsReportNothing) {
    const std::string plain(2000, 'p');
    const std::string cipher = peerEncrypt(plain);
    // The last whole block is held back until it has proved to be no padding.
    EXPECT_EQ(aesStream(cipher.substr(0, 1500), 0), plain.substr(0, 1488));
    EXPECT_EQ(aesStream(cipher.substr(0, 1504), 0), plain.substr(0, 1488));

    withPieces(plain, [](int fd) {
        EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(kKey, kIv, fd, -1, 1), VOS_RET_OK);
        char rest;
        EXPECT_EQ(read(fd, &rest, 1), 0) << "the input is read to its end";
    });
    EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(kKey, kIv, -1, -1, 1), VOS_RET_OK);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(OutOfMemory, InOpenSslGivesAFailureAndKeepsNothing) {
    ASSERT_EQ(kCounting, 1);
    const vostest::TempDir dir;
    const std::string path = dir / "key.pfx";
    vostest::writeText(path, makeFile(rsaKey(), "geheim", Generation::kModern));
    uint8_t out[256];
    uint32_t length = 0;
    const std::pair<const char *, std::function<VosRet()>> kCalls[] = {
        {"SHA-1", [&] { return UTIL_sha1FromBuffer(kKey, 16, out); }},
        {"SHA-1 stream", [&] { return UTIL_sha1FromStream(-1, out); }},
        {"AES", [&] { return UTIL_aes128CbcBufferEncrypt(kKey, kIv, kKey, 16, out, &length, 1); }},
        {"AES stream", [&] { return UTIL_aes128CbcStreamEncrypt(kKey, kIv, -1, -1, 1); }},
        {"RSA", [&] { return UTIL_RsaPulicKeyEcrypt(kKey, 16, out, &length, path.c_str(), "geheim"); }}};
    for (const auto &[what, call] : kCalls) {
        SCOPED_TRACE(what);
        ASSERT_EQ(call(), VOS_RET_OK);
        unsigned failures = 0;
        // Reading a key file allocates thousands of times, most of it in loops.
        for (unsigned nth = 1;; nth += 1 + nth / 8) {
            const long before = g_liveBlocks;
            g_countdown = nth;
            const VosRet ret = call();
            if (g_countdown > 0) {
                g_countdown = 0;
                break;
            }
            EXPECT_TRUE(ret == VOS_RET_OK || ret == VOS_RET_ERROR) << ret;
            EXPECT_LE(g_liveBlocks, before + 2) << "more than texts in the error queue, allocation " << nth;
            failures += ret != VOS_RET_OK ? 1 : 0;
        }
        EXPECT_GT(failures, 0U);
        EXPECT_EQ(call(), VOS_RET_OK);
    }
    EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
