// The lock between processes, with real processes that hold it, die with it or keep it too long.
#include "vos/sem.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <deque>

#include "support/syslog_catcher.h"
#include "vos/tms.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/** What the next timed lock meets instead of the system call: a result, an errno and time that passes. */
struct Outcome {
    int rc;
    int error;
    uint32_t elapsedMs;
};
std::deque<Outcome> g_script;
std::vector<timespec> g_timeouts;
UtilTimestamp g_now{};

}  // namespace

// The program comes first in symbol resolution, so these are what timed locks reach.
extern "C" int clock_gettime(clockid_t, timespec *now) {
    *now = {.tv_sec = static_cast<time_t>(g_now.sec), .tv_nsec = static_cast<long>(g_now.nsec)};
    return 0;
}

extern "C" __attribute__((visibility("default"))) int semtimedop(int id, struct sembuf *ops, size_t count,
                                                                 const struct timespec *timeout) {
    g_timeouts.push_back(*timeout);
    if (!g_script.empty()) {
        const Outcome outcome = g_script.front();
        g_script.pop_front();
        utilTms_addMilliSeconds(&g_now, outcome.elapsedMs);
        errno = outcome.error;
        return outcome.rc;
    }
    return static_cast<int>(syscall(SYS_semtimedop, id, ops, count, timeout));
}

namespace {

constexpr uint32_t kKey = 0x5601;

class LockTest : public testing::Test {
  protected:
    LockTest() {
        g_script.clear();
        g_timeouts.clear();
        EXPECT_EQ(vosSem_init(kKey, false, &semId), VOS_RET_OK);
        id = static_cast<uint32_t>(semId);
    }
    ~LockTest() override { semctl(semId, 0, IPC_RMID); }

    int value() const { return semctl(semId, 0, GETVAL); }

    /** A child that takes the lock and then waits to be killed. */
    pid_t holder() const {
        const pid_t pid = fork();
        if (pid == 0) {
            vosSem_lock(id, nullptr);
            for (;;) {
                pause();
            }
        }
        while (value() != 1) {
            sched_yield();
        }
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
    int32_t other = -1;
    EXPECT_EQ(vosSem_lock(id, nullptr), VOS_RET_OK);
    EXPECT_EQ(value(), 1);
    EXPECT_EQ(vosSem_unlock(id), VOS_RET_OK);
    EXPECT_EQ(value(), 0);
    vosSem_lock(id, nullptr);
    for (const bool isExisting : {true, false}) {
        EXPECT_EQ(vosSem_init(kKey, isExisting, &other), VOS_RET_OK);
        EXPECT_EQ(value(), isExisting);
    }
    EXPECT_EQ(other, semId);
}

TEST_F(LockTest, PassesToAWaiterWhenItsHolderIsKilled) {
    const pid_t pid = holder();
    const pid_t waiter = fork();
    if (waiter == 0) {
        _exit(vosSem_lock(id, nullptr) == VOS_RET_OK && value() == 1 ? 0 : 1);
    }
    while (semctl(semId, 0, GETZCNT) != 1) {
        sched_yield();
    }
    end(pid);
    int status = -1;
    waitpid(waiter, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(value(), 0) << "the waiter has died holding it, too";
}

TEST_F(LockTest, TimedWaitReleasesAStuckHolderByForce) {
    const pid_t pid = holder();
    const uint32_t timeout = 30;
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(vosSem_lock(id, &timeout), VOS_RET_OK);
    EXPECT_EQ(value(), 1);
    EXPECT_TRUE(diagnostics.takeBodies().empty());
    end(pid);
}

TEST_F(LockTest, TimedWaitCountsInterruptionsAgainstItsTime) {
    struct Row {
        const char *what;
        bool held;
        std::deque<Outcome> script;
        VosRet ret;
        std::vector<int64_t> timeoutsMs;
        const char *said = nullptr;
    };
    const uint32_t timeout = 1500;
    const char *const signalled = "lock interrupted by signal";
    const Row kRows[] = {
        {"free", false, {}, VOS_RET_OK, {1500}},
        {"signals shorten the wait", false, {{-1, EINTR, 400}, {4, 0, 100}}, VOS_RET_OK, {1500, 1100, 1000}},
        {"time is up after a signal", true, {{-1, EINTR, 1500}}, VOS_RET_INTERRUPTED, {1500}, signalled},
        {"time is up, told by number", true, {{4, 0, 1500}}, VOS_RET_OK, {1500, 1500}},
        {"a number for the time-out", true, {{11, 0, 1500}}, VOS_RET_OK, {1500, 1500}},
        {"the second try fails", true, {{-1, EAGAIN, 1500}, {-1, EAGAIN, 1500}}, VOS_RET_ERROR, {1500, 1500}},
        {"refused", false, {{-1, EIDRM, 0}}, VOS_RET_ERROR, {1500}, "lock failed, errno=43 rc=-1"},
    };
    for (const Row &c : kRows) {
        SCOPED_TRACE(c.what);
        semctl(semId, 0, SETVAL, c.held ? 1 : 0);
        g_timeouts.clear();
        g_script = c.script;
        vostest::Diagnostics diagnostics;
        EXPECT_EQ(vosSem_lock(id, &timeout), c.ret);
        EXPECT_EQ(diagnostics.takeBodies(),
                  std::vector<std::string>(c.said != nullptr, c.said == nullptr ? "" : c.said));
        std::vector<int64_t> timeoutsMs;
        for (const timespec &passed : g_timeouts) {
            timeoutsMs.push_back(passed.tv_sec * 1000 + passed.tv_nsec / 1000000);
        }
        EXPECT_EQ(timeoutsMs, c.timeoutsMs);
    }
    EXPECT_EQ(g_timeouts.back().tv_nsec, 500000000);
}

TEST(Lock, FailsOnAMissingSet) {
    vostest::Diagnostics diagnostics;
    int32_t semId = 0;
    EXPECT_EQ(vosSem_init(0x7777, true, &semId), VOS_RET_ERROR);
    EXPECT_EQ(semId, -1);
    EXPECT_EQ(vosSem_lock(12345, nullptr), VOS_RET_ERROR);
    EXPECT_EQ(vosSem_unlock(12345), VOS_RET_ERROR);
    EXPECT_EQ(vosSem_cleanup(12345), VOS_RET_SYS_REFUSED);
    EXPECT_THAT(diagnostics.takeBodies(),
                ElementsAre("semget failed,key=7777 errno=2", "lock failed, errno=22 rc=-1", "kernel has semval=-1",
                            HasSubstr("src/vos/linux/oal_sem/sem.cpp:"), "release lock failed, errno=22",
                            "IPC_RMID failed, semId 3039 errno=22, Invalid argument"));
}
}  // namespace
