// Segments that several processes share.
#include "vos/sm.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "support/syslog_catcher.h"

namespace {

TEST(SharedMemory, SegmentIsSeenByEveryProcessUntilDeleted) {
    int32_t shmId = -1;
    void *addr = nullptr;
    ASSERT_EQ(vosSm_creat(0x5602, 4096, &shmId, &addr), VOS_RET_OK);
    const pid_t pid = fork();
    if (pid == 0) {
        int32_t again = -1;
        void *mine = nullptr;
        const bool ok = vosSm_creat(0x5602, 4096, &again, &mine) == VOS_RET_OK && again == shmId;
        strcpy(static_cast<char *>(mine), "from the child");
        _exit(ok && vosSm_cleanup(mine) == VOS_RET_OK ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_STREQ(static_cast<char *>(addr), "from the child");
    EXPECT_EQ(vosSm_cleanup(addr), VOS_RET_OK);
    EXPECT_EQ(vosSm_delete(static_cast<uint32_t>(shmId)), VOS_RET_OK);

    vostest::Diagnostics diagnostics;
    EXPECT_EQ(vosSm_cleanup(reinterpret_cast<void *>(0x1234000)), VOS_RET_SYS_REFUSED);
    EXPECT_EQ(vosSm_delete(static_cast<uint32_t>(shmId)), VOS_RET_SYS_REFUSED);
    EXPECT_EQ(vosSm_creat(0x5603, 0, &shmId, &addr), VOS_RET_NO_RESOURCE);
    EXPECT_THAT(diagnostics.takeBodies(),
                testing::ElementsAre("shmdt addr 1234000 fail", testing::StartsWith("shmctl delete fail "),
                                     "creat share memory faile,key 5603 size 0"));
}

TEST(SharedMemory, SegmentThatCannotBeAttachedIsRemoved) {
    rlimit space{};
    getrlimit(RLIMIT_AS, &space);
    const rlimit none{.rlim_cur = 0, .rlim_max = space.rlim_max};
    int32_t shmId = -1;
    void *addr = nullptr;
    setrlimit(RLIMIT_AS, &none);
    const VosRet ret = vosSm_creat(0x5604, 4096, &shmId, &addr);
    setrlimit(RLIMIT_AS, &space);
    EXPECT_EQ(ret, VOS_RET_ERROR);
    EXPECT_EQ(addr, nullptr);
    EXPECT_EQ(shmget(0x5604, 0, 0), -1);
}

}  // namespace
