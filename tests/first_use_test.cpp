// libcrypto and libcrypt as libvos.so opens them by itself; nothing else here may be linked with them.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

#include "support/files.h"
#include "support/mount_over.h"
#include "support/syslog_catcher.h"
#include "vos/password.h"
#include "vos/security.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

// Digests and ciphers, then what needs a key file, which there is none of.
std::vector<VosRet> callEach() {
    const uint8_t key[UTIL_AES128_SIZE] = {1};
    uint8_t out[256];
    uint32_t length = 0;
    return {UTIL_sha1FromBuffer(key, 1, out),
            UTIL_sha1FromStream(-1, out),
            UTIL_aes128CbcBufferEncrypt(key, key, key, 16, out, &length, 1),
            UTIL_aes128CbcStreamEncrypt(key, key, -1, -1, 1),
            UTIL_RsaPulicKeyEcrypt(key, 16, out, &length, "/missing", ""),
            UTIL_RsaPrivateKeyDecrypt(key, 16, out, &length, "/missing", ""),
            readKeyPairFromPfx("/missing", "") == nullptr ? VOS_RET_ERROR : VOS_RET_OK};
}

void expectAllWork() {
    const std::vector<VosRet> results = callEach();
    EXPECT_THAT(std::vector(results.begin(), results.begin() + 4), Each(VOS_RET_OK));
    EXPECT_STREQ(util_pwEncrypt("rasmuslerdorf", "rl"), "rl.3StKT.4T8M");
}

void expectAllFail(const std::string &why) {
    vostest::Diagnostics diagnostics;
    EXPECT_THAT(callEach(), Each(VOS_RET_ERROR));
    EXPECT_THAT(diagnostics.takeBodies(),
                AllOf(SizeIs(7), Each(HasSubstr("could not bind " VOS_LIBCRYPTO_SONAME)), Each(HasSubstr(why))));
}

// A process of its own, in which nothing is open yet and which leaves through the libraries' own ends.
template <typename Body>
void inFreshProcess(Body body) {
    EXPECT_EXIT(
        {
            body();
            exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(FirstUse, OpensNothingBeforeACallNeedsIt) {
    inFreshProcess([] {
        EXPECT_THAT(vostest::readText("/proc/self/maps"), AllOf(HasSubstr("libvos.so"), Not(HasSubstr("libcrypt"))));
        expectAllWork();
        EXPECT_THAT(vostest::readText("/proc/self/maps"), HasSubstr("libcrypto"));
    });
}

TEST(FirstUse, OfManyThreadsAtOnceWorksInEach) {
    inFreshProcess([] {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 8; i++) {
            threads.emplace_back([] { EXPECT_EQ(callEach().front(), VOS_RET_OK); });
        }
    });
}

TEST(FirstUse, FailsWithoutTheLibraryAndWorksOnceItIsThere) {
    inFreshProcess([] {
        std::optional<vostest::MountOver> noLibcrypto{std::in_place, VOS_TEST_LIBCRYPTO, "gone"};
        expectAllFail(VOS_LIBCRYPTO_SONAME);
#ifdef VOS_TEST_LIBCRYPT
        std::optional<vostest::MountOver> noLibcrypt{std::in_place, VOS_TEST_LIBCRYPT, "gone"};
        errno = 0;
        EXPECT_EQ(oalPass_crypt("secret", "rl"), nullptr);
        EXPECT_EQ(errno, ENOSYS);
        EXPECT_STREQ(util_pwEncrypt("secret", "rl"), "");
        noLibcrypt.reset();
#endif
        noLibcrypto.reset();
        expectAllWork();
    });
}

TEST(FirstUse, FailsWithALibraryThatLacksAFunction) {
    const std::string other = vostest::readText(VOS_TEST_BUILD_DIR "/libvos.so.1");
    inFreshProcess([&] {
        const vostest::MountOver otherLibrary{VOS_TEST_LIBCRYPTO, other};
        expectAllFail("CRYPTO_clear_free");
    });
}

}  // namespace
