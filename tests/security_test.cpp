// RSA key files, SHA-1 and AES against OpenSSL itself, with key files that the test makes.
#include "vos/security.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <syslog.h>
#include <sys/mount.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>

#include "support/files.h"
#include "support/syslog_catcher.h"

using testing::ElementsAre;

namespace {

template <auto Free>
struct Freer {
    template <typename T>
    void operator()(T *object) const {
        Free(object);
    }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using BundlePtr = std::unique_ptr<PKCS12, Freer<PKCS12_free>>;

const uint8_t *bytes(const std::string &text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}
uint8_t *bytes(std::string &text) {
    return reinterpret_cast<uint8_t *>(text.data());
}

EVP_PKEY *rsaKey() {
    static const KeyPtr key{EVP_RSA_gen(2048)};
    return key.get();
}

enum class Generation { kModern, kLegacy, kNoIntegrity };

// A PKCS#12 file with the key and a certificate for it, in memory.
BundlePtr makeBundle(EVP_PKEY *key, const char *passPhrase, Generation generation) {
    std::unique_ptr<X509, Freer<X509_free>> certificate{X509_new()};
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key);
    EXPECT_GT(X509_sign(certificate.get(), key, EVP_sha256()), 0);
    if (generation != Generation::kLegacy) {
        return BundlePtr{PKCS12_create(passPhrase, "key", key, certificate.get(), nullptr, NID_aes_256_cbc,
                                       NID_aes_256_cbc, 2000, generation == Generation::kModern ? 2000 : -1, 0)};
    }
    std::unique_ptr<OSSL_LIB_CTX, Freer<OSSL_LIB_CTX_free>> context{OSSL_LIB_CTX_new()};
    OSSL_PROVIDER *common = OSSL_PROVIDER_load(context.get(), "default");
    OSSL_PROVIDER *legacy = OSSL_PROVIDER_load(context.get(), "legacy");
    EXPECT_TRUE(common != nullptr && legacy != nullptr);
    BundlePtr bundle{PKCS12_create_ex(passPhrase, "key", key, certificate.get(), nullptr,
                                      NID_pbe_WithSHA1And3_Key_TripleDES_CBC, NID_pbe_WithSHA1And40BitRC2_CBC, 2048,
                                      2048, 0, context.get(), nullptr)};
    OSSL_PROVIDER_unload(legacy);
    OSSL_PROVIDER_unload(common);
    return bundle;
}

std::string encode(const BundlePtr &bundle) {
    unsigned char *der = nullptr;
    const int length = i2d_PKCS12(bundle.get(), &der);
    EXPECT_GT(length, 0);
    std::string text(reinterpret_cast<char *>(der), static_cast<size_t>(length));
    OPENSSL_free(der);
    return text;
}

// The peer's side of an exchange: padding and key as the functions under test have them.
std::string peerRsa(EVP_PKEY *key, const std::string &in, bool encrypt) {
    std::unique_ptr<EVP_PKEY_CTX, Freer<EVP_PKEY_CTX_free>> context{EVP_PKEY_CTX_new(key, nullptr)};
    EXPECT_EQ((encrypt ? EVP_PKEY_encrypt_init : EVP_PKEY_decrypt_init)(context.get()), 1);
    EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING), 1);
    std::string out(256, '\0');
    size_t length = out.size();
    EXPECT_EQ((encrypt ? EVP_PKEY_encrypt : EVP_PKEY_decrypt)(context.get(), bytes(out), &length, bytes(in), in.size()),
              1);
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
        std::string out(256, '\0');
        uint32_t length = 0;
        ASSERT_EQ(UTIL_RsaPulicKeyEcrypt(bytes(plain), static_cast<uint32_t>(plain.size()), bytes(out), &length, path,
                                         passPhrase),
                  VOS_RET_OK);
        EXPECT_EQ(length, 256U);
        EXPECT_EQ(peerRsa(rsaKey(), out, false), plain);

        const std::string cipher = peerRsa(rsaKey(), plain, true);
        out.assign(256, '!');
        ASSERT_EQ(UTIL_RsaPrivateKeyDecrypt(bytes(cipher), 256, bytes(out), &length, path, passPhrase), VOS_RET_OK);
        EXPECT_EQ(out.substr(0, length), plain);
        EXPECT_EQ(out.substr(length), std::string(256 - length, '!'));
    }
}

TEST_F(RsaTest, ReadsKeyFilesOfBothGenerations) {
    struct Case {
        Generation generation;
        const char *passPhrase;
    };
    for (const Case &c : {Case{Generation::kModern, "geheim"}, Case{Generation::kLegacy, "geheim"},
                          Case{Generation::kModern, ""}, Case{Generation::kLegacy, nullptr}}) {
        SCOPED_TRACE(static_cast<int>(c.generation));
        const char *path = write(encode(makeBundle(rsaKey(), c.passPhrase, c.generation)));
        const KeyPtr key{readKeyPairFromPfx(path, c.passPhrase)};
        ASSERT_NE(key, nullptr);
        EXPECT_EQ(EVP_PKEY_eq(key.get(), rsaKey()), 1);
        expectRoundTrip(path, c.passPhrase);
    }
    EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "legacy"), 0) << "the process's own providers stay as they were";
}

TEST_F(RsaTest, ReadsTheDevicesFileWithItsOwnPassPhraseForANullPath) {
    ASSERT_EQ(mount("tmpfs", "/usr/share", "tmpfs", 0, nullptr), 0);
    std::filesystem::create_directory("/usr/share/standby_key");
    vostest::writeText(UTIL_DEFAULT_PFX_FILE, encode(makeBundle(rsaKey(), "Qm7ZtR4wXp2LkD", Generation::kModern)));
    expectRoundTrip(nullptr, "ignored");
    expectRoundTrip(nullptr, nullptr);
    umount2("/usr/share", MNT_DETACH);
}

void expectRefused(const char *path, const char *passPhrase) {
    uint8_t in[256] = {1};
    uint8_t out[256] = {9, 9};
    uint32_t length = 77;
    EXPECT_EQ(UTIL_RsaPulicKeyEcrypt(in, 10, out, &length, path, passPhrase), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_RsaPrivateKeyDecrypt(in, 256, out, &length, path, passPhrase), VOS_RET_ERROR);
    EXPECT_EQ(length, 77U);
    EXPECT_THAT(std::string(out, out + 3), ElementsAre(9, 9, 0));
}

TEST_F(RsaTest, RefusesFilesThatHoldNoUsableKey) {
    const std::string modern = encode(makeBundle(rsaKey(), "geheim", Generation::kModern));
    BundlePtr slow = makeBundle(rsaKey(), "geheim", Generation::kModern);
    const ASN1_INTEGER *iterations = nullptr;
    PKCS12_get0_mac(nullptr, nullptr, nullptr, &iterations, slow.get());
    ASN1_INTEGER_set(const_cast<ASN1_INTEGER *>(iterations), 2'000'000'000);
    const std::string oneByteFlipped = std::string{modern}.replace(modern.size() / 2, 1, 1, ~modern[modern.size() / 2]);
    struct Case {
        const char *what;
        std::string contents;
        const char *passPhrase;
    };
    for (const Case &c :
         {Case{"empty", "", "geheim"}, Case{"no ASN.1", std::string(300, 'x'), "geheim"},
          Case{"a length of gigabytes", "\x30\x84\x7f\xff\xff\xff", "geheim"},
          Case{"cut in its header", modern.substr(0, 3), "geheim"},
          Case{"cut in the middle", modern.substr(0, 700), "geheim"},
          Case{"cut at its end", modern.substr(0, modern.size() - 1), "geheim"},
          Case{"damaged", oneByteFlipped, "geheim"}, Case{"wrong pass phrase", modern, "Geheim"},
          Case{"no pass phrase", modern, nullptr},
          Case{"no integrity check", encode(makeBundle(rsaKey(), "geheim", Generation::kNoIntegrity)), "geheim"},
          Case{"a check that takes half an hour", encode(slow), "geheim"}}) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(readKeyPairFromPfx(write(c.contents), c.passPhrase), nullptr);
        expectRefused(path_.c_str(), c.passPhrase);
    }
    EXPECT_EQ(readKeyPairFromPfx(nullptr, "geheim"), nullptr);
    for (const char *path : {"/tmp/missing.pfx", "/tmp", "/dev/null", UTIL_DEFAULT_PFX_FILE}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(readKeyPairFromPfx(path, "geheim"), nullptr);
        expectRefused(path, "geheim");
    }
}

TEST_F(RsaTest, NeedsAnRsaKey) {
    const KeyPtr ellipticKey{EVP_EC_gen("P-256")};
    const char *path = write(encode(makeBundle(ellipticKey.get(), "geheim", Generation::kModern)));
    EXPECT_NE(KeyPtr{readKeyPairFromPfx(path, "geheim")}, nullptr);
    expectRefused(path, "geheim");
}

TEST_F(RsaTest, RefusesBadArgumentsAndLengths) {
    const char *path = write(encode(makeBundle(rsaKey(), "geheim", Generation::kModern)));
    uint8_t in[300] = {};
    uint8_t out[300];
    uint32_t length = 77;
    for (const auto convert : {UTIL_RsaPulicKeyEcrypt, UTIL_RsaPrivateKeyDecrypt}) {
        EXPECT_EQ(convert(nullptr, 10, out, &length, path, "geheim"), VOS_RET_BAD_ARG);
        EXPECT_EQ(convert(in, 10, nullptr, &length, path, "geheim"), VOS_RET_BAD_ARG);
        EXPECT_EQ(convert(in, 10, out, nullptr, path, "geheim"), VOS_RET_BAD_ARG);
        EXPECT_EQ(convert(in, 257, out, &length, path, "geheim"), VOS_RET_ERROR);
    }
    EXPECT_EQ(UTIL_RsaPulicKeyEcrypt(in, 246, out, &length, path, "geheim"), VOS_RET_ERROR);
    EXPECT_EQ(length, 77U);
}

TEST_F(RsaTest, KeepsOlderErrorsOfTheCaller) {
    ERR_raise(ERR_LIB_USER, 42);
    EXPECT_EQ(readKeyPairFromPfx(write("no key"), "geheim"), nullptr);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
}

TEST_F(RsaTest, FailsOnALegacyFileWhereTheLegacyCiphersAreMissing) {
    const char *path = write(encode(makeBundle(rsaKey(), "geheim", Generation::kLegacy)));
    setenv("OPENSSL_MODULES", "/tmp/nothing", 1);
    EXPECT_EQ(readKeyPairFromPfx(path, "geheim"), nullptr);
    unsetenv("OPENSSL_MODULES");
}

std::string patternOf(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; i++) {
        text[i] = static_cast<char>(i * 7 + i / 256);
    }
    return text;
}

// A descriptor that gives `contents` in pieces no reader chooses, and whatever arrives at the other end of a pipe.
class Piped {
  public:
    explicit Piped(const std::string &contents) {
        EXPECT_EQ(pipe2(in_, O_CLOEXEC) | pipe2(out_, O_CLOEXEC), 0);
        writer_ = std::thread{[this, contents] {
            for (size_t at = 0; at < contents.size(); at += 777) {
                const std::string piece = contents.substr(at, 777);
                EXPECT_EQ(write(in_[1], piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
            }
            close(in_[1]);
        }};
        reader_ = std::thread{[this] {
            char buffer[500];
            for (ssize_t got; (got = read(out_[0], buffer, sizeof buffer)) > 0;) {
                received_.append(buffer, static_cast<size_t>(got));
            }
        }};
    }
    ~Piped() { finish(); }
    int source() const { return in_[0]; }
    int sink() const { return out_[1]; }
    std::string finish() {
        if (writer_.joinable()) {
            writer_.join();
            close(out_[1]);
            reader_.join();
            close(in_[0]);
            close(out_[0]);
        }
        return received_;
    }

  private:
    int in_[2];
    int out_[2];
    std::string received_;
    std::thread writer_;
    std::thread reader_;
};

std::string sha1Text(const uint8_t (&digest)[UTIL_SHA1_DIGEST_SIZE]) {
    char text[2 * UTIL_SHA1_DIGEST_SIZE + 1];
    for (size_t i = 0; i < UTIL_SHA1_DIGEST_SIZE; i++) {
        snprintf(text + 2 * i, 3, "%02x", digest[i]);
    }
    return text;
}

TEST(Sha1, GivesThePublishedDigestsOfBuffersAndStreams) {
    const std::pair<std::string, const char *> kVectors[] = {
        {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {std::string(1'000'000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"}};
    uint8_t digest[UTIL_SHA1_DIGEST_SIZE];
    for (const auto &[text, expected] : kVectors) {
        ASSERT_EQ(UTIL_sha1FromBuffer(bytes(text), static_cast<uint32_t>(text.size()), digest), VOS_RET_OK);
        EXPECT_EQ(sha1Text(digest), expected);
        const Piped pipes{text};
        ASSERT_EQ(UTIL_sha1FromStream(pipes.source(), digest), VOS_RET_OK);
        EXPECT_EQ(sha1Text(digest), expected);
    }
    ASSERT_EQ(UTIL_sha1FromStream(-1, digest), VOS_RET_OK);
    EXPECT_EQ(sha1Text(digest), kVectors[0].second) << "a failed read is the end of the data";
    EXPECT_EQ(UTIL_sha1FromBuffer(nullptr, 0, digest), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_sha1FromBuffer(digest, 1, nullptr), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_sha1FromStream(0, nullptr), VOS_RET_ERROR);
}

// NIST SP 800-38A, F.2.1.
constexpr uint8_t kKey[] = {0x2b, 0x7e, 0x15, 0x16, 0x28, 0xae, 0xd2, 0xa6,
                            0xab, 0xf7, 0x15, 0x88, 0x09, 0xcf, 0x4f, 0x3c};
constexpr uint8_t kIv[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

std::string peerEncrypt(const std::string &plain) {
    std::unique_ptr<EVP_CIPHER_CTX, Freer<EVP_CIPHER_CTX_free>> context{EVP_CIPHER_CTX_new()};
    std::string out(plain.size() + 16, '\0');
    int length = 0;
    int last = 0;
    EXPECT_EQ(EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, kKey, kIv), 1);
    EXPECT_EQ(EVP_EncryptUpdate(context.get(), bytes(out), &length, bytes(plain), static_cast<int>(plain.size())), 1);
    EXPECT_EQ(EVP_EncryptFinal_ex(context.get(), bytes(out) + length, &last), 1);
    return out.substr(0, static_cast<size_t>(length + last));
}

std::string aesBuffer(const std::string &in, int enc) {
    std::string out(in.size() + 16, '\0');
    uint32_t length = 0;
    EXPECT_EQ(
        UTIL_aes128CbcBufferEncrypt(kKey, kIv, bytes(in), static_cast<uint32_t>(in.size()), bytes(out), &length, enc),
        VOS_RET_OK);
    return out.substr(0, length);
}

std::string aesStream(const std::string &in, int enc) {
    Piped pipes{in};
    EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(kKey, kIv, pipes.source(), pipes.sink(), enc), VOS_RET_OK);
    return pipes.finish();
}

TEST(Aes, GivesOpenSslsResultForBuffersAndStreams) {
    const std::string nist = "\x6b\xc1\xbe\xe2\x2e\x40\x9f\x96\xe9\x3d\x7e\x11\x73\x93\x17\x2a";
    EXPECT_EQ(aesBuffer(nist, 1).substr(0, 16), "\x76\x49\xab\xac\x81\x19\xb2\x46\xce\xe9\x8e\x9b\x12\xe9\x19\x7d");
    for (const size_t size : {0, 1, 15, 16, 17, 1023, 1024, 1025, 5000, 300'000}) {
        SCOPED_TRACE(size);
        const std::string plain = patternOf(size);
        const std::string cipher = peerEncrypt(plain);
        EXPECT_EQ(cipher.size(), (size / 16 + 1) * 16);
        EXPECT_EQ(aesBuffer(plain, 1), cipher);
        EXPECT_EQ(aesBuffer(cipher, 0), plain);
        EXPECT_EQ(aesStream(plain, 1), cipher);
        EXPECT_EQ(aesStream(cipher, 0), plain);
    }
}

TEST(Aes, WorksInPlaceAndOnNothing) {
    std::string text = patternOf(100);
    const std::string cipher = peerEncrypt(text);
    text.resize(116);
    uint32_t length = 0;
    ASSERT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, bytes(text), 100, bytes(text), &length, 1), VOS_RET_OK);
    EXPECT_EQ(text.substr(0, length), cipher);
    ASSERT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, nullptr, 0, bytes(text), &length, 1), VOS_RET_OK);
    EXPECT_EQ(text.substr(0, length), peerEncrypt(""));
}

TEST(Aes, ReportsABufferThatDoesNotDecryptAndSaysSo) {
    vostest::Diagnostics diagnostics;
    const std::string cipher = peerEncrypt("sixteen letters.");
    uint8_t out[64];
    uint32_t length = 77;
    for (const uint32_t size : {0U, 15U, 16U, 31U}) {
        EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, bytes(cipher), size, out, &length, 0), VOS_RET_ERROR) << size;
    }
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, bytes(cipher), 32, out, nullptr, 0), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(nullptr, kIv, bytes(cipher), 32, out, &length, 0), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, nullptr, bytes(cipher), 32, out, &length, 0), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, nullptr, 32, out, &length, 0), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, bytes(cipher), 32, nullptr, &length, 0), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, bytes(cipher), UINT32_MAX - 15, out, &length, 1), VOS_RET_ERROR);
    EXPECT_EQ(length, 77U);
    EXPECT_EQ(UTIL_aes128CbcBufferEncrypt(kKey, kIv, bytes(cipher), 32, out, &length, 0), VOS_RET_OK);
    const auto lines = diagnostics.take();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0].body(), "EVP_CipherFinal_ex: 0");
    EXPECT_EQ(lines[4].body(), "EVP_CipherFinal_ex: 1");
    EXPECT_EQ(lines[4].priority, LOG_DEBUG);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(Aes, StreamsReportNothingButMissingKeys) {
    const std::string plain = patternOf(2000);
    const std::string cipher = peerEncrypt(plain);
    // The last whole block is held back until it has proved to be no padding.
    EXPECT_EQ(aesStream(cipher.substr(0, 1500), 0), plain.substr(0, 1488));
    EXPECT_EQ(aesStream(cipher.substr(0, 1504), 0), plain.substr(0, 1488));

    Piped noInput{""};
    EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(kKey, kIv, -1, noInput.sink(), 1), VOS_RET_OK);
    EXPECT_EQ(noInput.finish(), peerEncrypt(""));
    Piped noOutput{plain};
    EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(kKey, kIv, noOutput.source(), -1, 1), VOS_RET_OK);
    char rest;
    EXPECT_EQ(read(noOutput.source(), &rest, 1), 0) << "the input is read to its end";
    EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(nullptr, kIv, -1, -1, 1), VOS_RET_ERROR);
    EXPECT_EQ(UTIL_aes128CbcStreamEncrypt(kKey, nullptr, -1, -1, 1), VOS_RET_ERROR);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
