// Background tasks: threads of their own, completions back in the main loop, functions behind 32-bit words.
#include "vos/task.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "support/hub_script.h"
#include "support/leak.h"
#include "support/syslog_catcher.h"
#include "vos/mem.h"

using vostest::HubScript;
using vostest::message;
using vostest::WireMessage;

namespace {

constexpr uint32_t kSelf = 50;
constexpr size_t kFunctions = 150;  // more than fit in the first part of the library's table

uint32_t heapBytes() {
    VosMemStats stats;
    vosMem_getStats(&stats);
    return stats.heapBytesInUse;
}

size_t threads() {
    const std::filesystem::directory_iterator all{"/proc/self/task"};
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

/** Waits until every task thread is gone. */
void awaitEnd(size_t threadsBefore) {
    while (threads() != threadsBefore) {
        std::this_thread::yield();
    }
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

std::array<int, kFunctions> g_finished;

template <size_t Number>
void finishNumber(void *arg) {
    EXPECT_EQ(arg, &g_finished[Number]);
    g_finished[Number]++;
}

template <size_t... Numbers>
constexpr std::array<UtilTaskFunc, sizeof...(Numbers)> functions(std::index_sequence<Numbers...>) {
    return {finishNumber<Numbers>...};
}

constexpr auto kFinishers = functions(std::make_index_sequence<kFunctions>{});

void doNothing(void *) {}

class Task : public testing::Test {
  protected:
    ~Task() override {
        awaitEnd(idleThreads);
        vosMsg_cleanup(&handle);
    }

    /** The message that the hub hands back to the process. */
    std::vector<char> finishMessage() {
        const std::string bytes = hub.read().value_or(WireMessage{}).bytes();
        return {bytes.begin(), bytes.end()};
    }
    static VosRet finish(std::vector<char> &bytes) {
        return UTIL_taskFinish(reinterpret_cast<const VosMsgHeader *>(bytes.data()));
    }

    HubScript hub;
    VosMsgHandle *handle = hub.open(kSelf);
    const size_t idleThreads = threads();
};

TEST_F(Task, CompletesInTheMainLoop) {
    Job job;
    ASSERT_EQ(UTIL_taskStart(Job::work, &job, Job::finish, handle), VOS_RET_OK);
    const WireMessage sent = hub.read().value_or(WireMessage{});
    const uint32_t word = sent.header.wordData;
    EXPECT_NE(word, 0U);
    const Job *arg = &job;
    const std::string payload{reinterpret_cast<char *>(&arg), sizeof arg};
    EXPECT_EQ(sent.bytes(), message(19, kSelf, kSelf, VOS_MSG_FLAG_EVENT, word, payload).bytes());

    hub.send(sent);
    VosMsgHeader *msg = nullptr;
    ASSERT_EQ(vosMsg_receive(handle, &msg), VOS_RET_OK);
    EXPECT_EQ(UTIL_taskFinish(msg), VOS_RET_OK);
    VOS_FREE(msg);
    EXPECT_EQ(job.steps, 11);
    EXPECT_NE(job.seenByFinisher, std::this_thread::get_id());
    EXPECT_EQ(job.finisher, std::this_thread::get_id());
}

TEST_F(Task, WithoutHandleCompletesInItsOwnThread) {
    const uint32_t before = heapBytes();
    Job job;
    EXPECT_EQ(UTIL_taskStart(Job::work, &job, Job::finish, nullptr), VOS_RET_OK);
    awaitEnd(idleThreads);
    EXPECT_EQ(heapBytes(), before);
    EXPECT_EQ(job.steps, 11);
    EXPECT_EQ(job.finisher, job.worker);
    EXPECT_NE(job.finisher, std::this_thread::get_id());
}

TEST_F(Task, WithoutCompletionOrWorkSendsNothing) {
    vostest::Diagnostics diagnostics;
    const size_t before = threads();
    Job job;
    EXPECT_EQ(UTIL_taskStart(Job::work, &job, nullptr, handle), VOS_RET_OK);
    awaitEnd(before);
    EXPECT_EQ(job.steps, 1);
    EXPECT_EQ(UTIL_taskStart(nullptr, &job, Job::finish, handle), VOS_RET_OK);
    awaitEnd(before);
    EXPECT_EQ(job.steps, 1);
    EXPECT_EQ(diagnostics.takeBodies(), std::vector<std::string>{"startFunc is NULL"});
    EXPECT_FALSE(hub.hasData());
}

TEST_F(Task, FailuresAreReported) {
    const uint32_t before = heapBytes();
    Job job;
    vostest::Diagnostics diagnostics;
    hub.hangUp();
    const size_t threadsBefore = threads();
    EXPECT_EQ(UTIL_taskStart(Job::work, &job, Job::finish, handle), VOS_RET_OK);
    awaitEnd(threadsBefore);
    EXPECT_EQ(diagnostics.takeBodies().back(), "Send VOS_MSG_SYSTEM_TASK_FINISH msg failed");
    EXPECT_EQ(job.steps, 1);

    pthread_attr_t normal, huge;
    pthread_getattr_default_np(&normal);
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, size_t{1} << 46);
    pthread_setattr_default_np(&huge);
    const vostest::ExpectedLeak leak;
    EXPECT_EQ(UTIL_taskStart(Job::work, &job, Job::finish, handle), VOS_RET_ERROR);
    pthread_setattr_default_np(&normal);
    EXPECT_EQ(diagnostics.takeBodies(),
              std::vector<std::string>{"pthread_create failed(Resource temporarily unavailable)"});
    EXPECT_EQ(heapBytes() - before, 32U) << "the record stays";
}

TEST_F(Task, RefusesMessagesThatStandForNoCompletion) {
    Job job;
    ASSERT_EQ(UTIL_taskStart(doNothing, &job, Job::finish, handle), VOS_RET_OK);
    const std::vector<char> good = finishMessage();
    const auto refused = [&](uint32_t wordData, uint32_t dataLength) {
        std::vector<char> bytes = good;
        auto *msg = reinterpret_cast<VosMsgHeader *>(bytes.data());
        msg->wordData = wordData;
        msg->dataLength = dataLength;
        return finish(bytes) == VOS_RET_BAD_ARG;
    };
    const uint32_t word = reinterpret_cast<const VosMsgHeader *>(good.data())->wordData;
    vostest::Diagnostics diagnostics;
    EXPECT_TRUE(refused(0, 8));
    EXPECT_TRUE(refused(word, 4));
    EXPECT_TRUE(refused(word, 0));
    EXPECT_THAT(diagnostics.takeBodies(), testing::ElementsAre("func is NULL", "arg is invalid", "arg is invalid"));
    for (uint32_t unknown : {word + 1, word ^ 0x80000000, 0xFFFFFFFFU, 2U, 0x400000U}) {
        EXPECT_TRUE(refused(unknown, 8)) << unknown;
    }
    EXPECT_EQ(UTIL_taskFinish(nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(job.steps, 0);
}

TEST_F(Task, EveryFunctionKeepsOneWordWhicheverThreadStartsIt) {
    constexpr size_t kThreads = 4;
    g_finished.fill(0);
    std::atomic<size_t> failures{0};
    std::vector<std::thread> starters;
    for (size_t t = 0; t < kThreads; t++) {
        starters.emplace_back([&, t] {
            for (size_t i = 0; i < kFunctions; i++) {
                const size_t number = (i + t * 7) % kFunctions;
                if (UTIL_taskStart(doNothing, &g_finished[number], kFinishers[number], handle) != VOS_RET_OK) {
                    failures++;
                }
            }
        });
    }
    std::map<std::string, std::set<uint32_t>> wordsByArgument;
    std::set<uint32_t> words;
    for (size_t i = 0; i < kThreads * kFunctions; i++) {
        std::vector<char> bytes = finishMessage();
        const uint32_t word = reinterpret_cast<const VosMsgHeader *>(bytes.data())->wordData;
        words.insert(word);
        wordsByArgument[{bytes.begin() + sizeof(VosMsgHeader), bytes.end()}].insert(word);
        EXPECT_EQ(finish(bytes), VOS_RET_OK);
    }
    for (std::thread &starter : starters) {
        starter.join();
    }
    EXPECT_EQ(failures, 0U);
    EXPECT_EQ(words.size(), kFunctions);
    EXPECT_THAT(wordsByArgument, testing::Each(testing::Pair(testing::_, testing::SizeIs(1))));
    EXPECT_THAT(g_finished, testing::Each(kThreads));
}

}  // namespace
