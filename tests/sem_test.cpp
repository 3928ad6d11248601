// Shared segments and the lock between processes, with real processes that hold it, die with it or keep it too long.
#include "vos/sem.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <functional>

#include "support/syslog_catcher.h"
#include "vos/sm.h"

namespace {

enum class Timed { kSystem, kLibrary };
Timed g_timed = Timed::kSystem;
timespec g_lastTimeout{};

}  // namespace

// What timed locks of this program reach: the program comes first in symbol resolution.
extern "C" __attribute__((visibility("default"))) int semtimedop(int id, struct sembuf *ops, size_t count,
                                                                 const struct timespec *timeout) {
    g_lastTimeout = *timeout;
    if (g_timed == Timed::kSystem) {
        return static_cast<int>(syscall(SYS_semtimedop, id, ops, count, timeout));
    }
    using Call = int (*)(int, struct sembuf *, size_t, const struct timespec *);
    return reinterpret_cast<Call>(dlsym(dlopen("libvos.so.1", RTLD_NOLOAD | RTLD_NOW), "semtimedop"))(id, ops, count,
                                                                                                      timeout);
}

namespace {

constexpr uint32_t kKey = 0x5601;

class LockTest : public testing::Test {
  protected:
    LockTest() {
        g_timed = Timed::kSystem;
        EXPECT_EQ(vosSem_init(kKey, false, &semId), VOS_RET_OK);
        id = static_cast<uint32_t>(semId);
    }
    ~LockTest() override { semctl(semId, 0, IPC_RMID); }

    int value() const { return semctl(semId, 0, GETVAL); }

    /** A child that runs `body`, tells the parent and then waits to be killed. */
    static pid_t holder(const std::function<void()> &body) {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        const pid_t pid = fork();
        if (pid == 0) {
            body();
            [[maybe_unused]] const ssize_t rc = write(ready[1], "x", 1);
            for (;;) {
                pause();
            }
        }
        char byte;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
        close(ready[1]);
        return pid;
    }
    static void end(pid_t pid) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    int32_t semId = -1;
    uint32_t id = 0;
};

TEST_F(LockTest, TakesFreesAndResets) {
    EXPECT_EQ(vosSem_lock(id, nullptr), VOS_RET_OK);
    EXPECT_EQ(value(), 1);
    EXPECT_EQ(vosSem_unlock(id), VOS_RET_OK);
    EXPECT_EQ(value(), 0);
    EXPECT_EQ(vosSem_lock(id, nullptr), VOS_RET_OK);
    int32_t other = -1;
    EXPECT_EQ(vosSem_init(kKey, true, &other), VOS_RET_OK);
    EXPECT_EQ(other, semId);
    EXPECT_EQ(value(), 1) << "joining leaves the state";
    EXPECT_EQ(vosSem_init(kKey, false, &other), VOS_RET_OK);
    EXPECT_EQ(value(), 0) << "creating resets it";
}

TEST_F(LockTest, OutlivesADeadHolder) {
    const pid_t pid = holder([&] { vosSem_lock(id, nullptr); });
    EXPECT_EQ(value(), 1);
    end(pid);
    EXPECT_EQ(vosSem_lock(id, nullptr), VOS_RET_OK);
}

TEST_F(LockTest, TimedWaitReleasesAStuckHolderByForce) {
    const pid_t pid = holder([&] { vosSem_lock(id, nullptr); });
    const uint32_t timeout = 30;
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(vosSem_lock(id, &timeout), VOS_RET_OK);
    EXPECT_EQ(value(), 1);
    EXPECT_TRUE(diagnostics.takeBodies().empty());
    end(pid);
}

TEST_F(LockTest, TimedWaitPassesSecondsAndNanoseconds) {
    const uint32_t timeout = 1500;
    EXPECT_EQ(vosSem_lock(id, &timeout), VOS_RET_OK);
    EXPECT_EQ(g_lastTimeout.tv_sec, 1);
    EXPECT_EQ(g_lastTimeout.tv_nsec, 500000000);
}

TEST_F(LockTest, SignalsPostponeNothing) {
    const pid_t pid = holder([&] { vosSem_lock(id, nullptr); });
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{.it_interval = {0, 3000}, .it_value = {0, 3000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const uint32_t timeout = 50;
    vostest::SyslogCatcher catcher;
    const VosRet ret = vosSem_lock(id, &timeout);
    setitimer(ITIMER_REAL, nullptr, nullptr);
    // The kernel's time-out ends in a forced release, a time-out found after a signal in the interruption.
    EXPECT_TRUE(ret == VOS_RET_OK || ret == VOS_RET_INTERRUPTED) << ret;
    end(pid);
}

TEST_F(LockTest, FallbackOfTheLibraryTakesNothing) {
    g_timed = Timed::kLibrary;
    EXPECT_EQ(vosSem_lock(id, nullptr), VOS_RET_OK);
    const uint32_t timeout = 100000;
    EXPECT_EQ(vosSem_lock(id, &timeout), VOS_RET_OK);
    EXPECT_EQ(value(), 1);
}

TEST(Lock, FailsOnAMissingSet) {
    vostest::Diagnostics diagnostics;
    int32_t semId = 0;
    EXPECT_EQ(vosSem_init(0x7777, true, &semId), VOS_RET_ERROR);
    EXPECT_EQ(semId, -1);
    EXPECT_EQ(vosSem_lock(12345, nullptr), VOS_RET_ERROR);
    EXPECT_EQ(vosSem_unlock(12345), VOS_RET_ERROR);
    EXPECT_EQ(vosSem_cleanup(12345), VOS_RET_SYS_REFUSED);
    const auto lines = diagnostics.takeBodies();
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0], "semget failed,key=7777 errno=2");
    EXPECT_EQ(lines[1], "lock failed, errno=22 rc=-1");
    EXPECT_EQ(lines[2], "kernel has semval=-1");
    EXPECT_TRUE(lines[3].starts_with("assertion \"0\" failed at src/vos/linux/oal_sem.cpp:"));
    EXPECT_EQ(lines[4], "release lock failed, errno=22");
    EXPECT_EQ(lines[5], "IPC_RMID failed, semId 3039 errno=22, Invalid argument");
    EXPECT_EQ(vosSem_init(1, false, nullptr), VOS_RET_BAD_ARG);
}

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
    const auto lines = diagnostics.takeBodies();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "shmdt addr 1234000 fail");
    EXPECT_TRUE(lines[1].starts_with("shmctl delete fail "));
    EXPECT_EQ(lines[2], "creat share memory faile,key 5603 size 0");
    EXPECT_EQ(vosSm_creat(1, 1, nullptr, &addr), VOS_RET_BAD_ARG);
}

}  // namespace
