// Background tasks: threads of their own, completions back in the main loop, functions behind 32-bit words.
#include "vos/task.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <set>
#include <thread>

#include "support/hub_test.h"

using vostest::heapBytes;
using vostest::kSelf;
using vostest::message;
using vostest::WireMessage;

namespace {

constexpr size_t kFunctions = 150;  // more than fit in the first part of the library's table

size_t threads() {
    const std::filesystem::directory_iterator all{"/proc/self/task"};
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

struct Job {
    std::atomic<int> steps{0};
    std::thread::id worker, seenByFinisher, finisher;

    static void work(void *arg) {
        auto *job = static_cast<Job *>(arg);
        job->worker = std::this_thread::get_id();
        job->steps++;
    }
    static void finish(void *arg) {
        auto *job = static_cast<Job *>(arg);
        job->seenByFinisher = job->worker;  // no lock: the message alone orders the two threads
        job->finisher = std::this_thread::get_id();
        job->steps += 10;
    }
};

std::array<unsigned, kFunctions> g_finished;

template <size_t Number>
void finishNumber(void *arg) {
    g_finished[Number] += arg == &g_finished[Number] ? 1 : 1000;
}

template <size_t... Numbers>
constexpr std::array<UtilTaskFunc, sizeof...(Numbers)> functions(std::index_sequence<Numbers...>) {
    return {finishNumber<Numbers>...};
}

void doNothing(void *) {}

class Task : public vostest::HubTest {
  protected:
    ~Task() override { awaitThreads(idleThreads); }
    static void awaitThreads(size_t count) {
        while (threads() != count) {
            std::this_thread::yield();
        }
    }
    /** Starts a task and waits until its thread is gone. */
    void runToEnd(UtilTaskFunc work, UtilTaskFunc completion, VosMsgHandle *on) {
        const size_t before = threads();
        EXPECT_EQ(UTIL_taskStart(work, &job, completion, on), VOS_RET_OK);
        awaitThreads(before);
    }
    /** The main loop's part, for a message that the hub handed back. */
    static VosRet finish(const WireMessage &msg) {
        const std::string bytes = msg.bytes();
        return UTIL_taskFinish(reinterpret_cast<const VosMsgHeader *>(bytes.data()));
    }

    Job job;
    const size_t idleThreads = threads();
};

TEST_F(Task, CompletesInTheMainLoop) {
    ASSERT_EQ(UTIL_taskStart(Job::work, &job, Job::finish, handle), VOS_RET_OK);
    const WireMessage sent = hub.read().value_or(WireMessage{});
    const Job *arg = &job;
    const std::string payload{reinterpret_cast<char *>(&arg), sizeof arg};
    EXPECT_EQ(sent.bytes(), message(19, kSelf, kSelf, 1, sent.header.wordData, payload).bytes());
    EXPECT_EQ(finish(sent), VOS_RET_OK);
    EXPECT_NE(job.seenByFinisher, std::this_thread::get_id());
    EXPECT_EQ(job.finisher, std::this_thread::get_id());
    EXPECT_EQ(job.steps, 11);
}

TEST_F(Task, CarriesAnAddressBelow4GibWhole) {
    for (const uintptr_t address : {0x40119bU, 0xfffffff0U}) {
        ASSERT_EQ(UTIL_taskStart(doNothing, &job, reinterpret_cast<UtilTaskFunc>(address), handle), VOS_RET_OK);
        EXPECT_EQ(hub.read().value_or(WireMessage{}).header.wordData, address);
    }
}

TEST_F(Task, SendsNothingWithoutHandleCompletionOrWork) {
    vostest::Diagnostics diagnostics;
    const uint32_t before = heapBytes();
    runToEnd(Job::work, Job::finish, nullptr);
    EXPECT_EQ(job.steps, 11);
    EXPECT_EQ(job.finisher, job.worker) << "completed in the task's own thread";
    runToEnd(Job::work, nullptr, handle);
    EXPECT_EQ(job.steps, 12);
    runToEnd(nullptr, Job::finish, handle);
    EXPECT_EQ(job.steps, 12);
    EXPECT_THAT(diagnostics.takeBodies(), testing::ElementsAre("startFunc is NULL"));
    EXPECT_EQ(heapBytes(), before);
    EXPECT_FALSE(hub.hasData());
}

TEST_F(Task, FailuresAreReported) {
    vostest::Diagnostics diagnostics;
    hub.hangUp();
    runToEnd(Job::work, Job::finish, handle);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Send VOS_MSG_SYSTEM_TASK_FINISH msg failed");
    EXPECT_EQ(job.steps, 1);

    const uint32_t before = heapBytes();
    pthread_attr_t normal, huge;
    pthread_getattr_default_np(&normal);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, size_t{1} << 46);
    pthread_setattr_default_np(&huge);
    const vostest::ExpectedLeak leak;
    EXPECT_EQ(UTIL_taskStart(Job::work, &job, Job::finish, handle), VOS_RET_ERROR);
    pthread_setattr_default_np(&normal);
    EXPECT_EQ(diagnostics.takeBodies().back(), "pthread_create failed(Resource temporarily unavailable)");
    EXPECT_EQ(heapBytes() - before, 32U) << "the record stays";
}

TEST_F(Task, RefusesMessagesThatStandForNoCompletion) {
    ASSERT_EQ(UTIL_taskStart(doNothing, &job, Job::finish, handle), VOS_RET_OK);
    WireMessage msg = hub.read().value_or(WireMessage{});
    const uint32_t word = msg.header.wordData;
    std::vector<uint32_t> refused{0, 2, 0xFFFFFFFF};
    if (word != reinterpret_cast<uintptr_t>(&Job::finish)) {  // no code lies below 4 GiB
        refused.insert(refused.end(), {word + 1, word + 2000, word ^ 0x80000000, 0x400000});
    }
    for (const uint32_t unknown : refused) {
        msg.header.wordData = unknown;
        EXPECT_EQ(finish(msg), VOS_RET_BAD_ARG) << unknown;
    }
    vostest::Diagnostics diagnostics;
    msg.header.wordData = word;
    msg.header.dataLength = 4;
    EXPECT_EQ(finish(msg), VOS_RET_BAD_ARG);
    EXPECT_THAT(diagnostics.takeBodies(), testing::ElementsAre("arg is invalid"));
    EXPECT_EQ(job.steps, 0);
}

TEST_F(Task, EveryFunctionKeepsOneWordWhicheverThreadStartsIt) {
    constexpr size_t kThreads = 4;
    constexpr auto kFinishers = functions(std::make_index_sequence<kFunctions>{});
    g_finished.fill(0);
    std::vector<std::jthread> starters;
    for (size_t t = 0; t < kThreads; t++) {
        starters.emplace_back([&, t] {
            for (size_t i = 0; i < kFunctions; i++) {
                const size_t number = (i + t * 7) % kFunctions;
                UTIL_taskStart(doNothing, &g_finished[number], kFinishers[number], handle);
            }
        });
    }
    std::set<uint32_t> words;
    for (size_t i = 0; i < kThreads * kFunctions; i++) {
        const WireMessage msg = hub.read().value_or(WireMessage{});
        words.insert(msg.header.wordData);
        EXPECT_EQ(finish(msg), VOS_RET_OK);
    }
    starters.clear();
    EXPECT_EQ(words.size(), kFunctions);
    EXPECT_THAT(g_finished, testing::Each(kThreads));
}

}  // namespace
