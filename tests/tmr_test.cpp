// Timer list: order, identity, what callbacks may do, and random sequences against a plain model.
#include "vos/tmr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/hub_script.h"
#include "support/shrink.h"
#include "support/syslog_catcher.h"
#include "vos/mem.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr uint32_t kLater = 100000;  // far beyond the length of a test

uint32_t heapBytes() {
    VosMemStats stats;
    vosMem_getStats(&stats);
    return stats.heapBytesInUse;
}

/** A list that must give everything back. */
class TimerList {
  public:
    TimerList() { EXPECT_EQ(utilTmr_init(&handle_), VOS_RET_OK); }
    ~TimerList() {
        utilTmr_cleanup(&handle_);
        EXPECT_EQ(handle_, nullptr);
        EXPECT_EQ(heapBytes(), before_);
    }
    operator void *() const { return handle_; }
    const UtilTmrEvent *first() const { return static_cast<const UtilTmrHandle *>(handle_)->events; }
    /** Waits until every event set with a delay of 0 is due. */
    void awaitDue() const {
        UtilTimestamp last{};
        for (const UtilTmrEvent *event = first(); event != nullptr; event = event->next) {
            UtilTimestamp now;
            utilTms_get(&now);
            if (event->expireTms.sec <= now.sec + 1) {
                last = event->expireTms;
            }
        }
        UtilTimestamp now;
        do {
            utilTms_get(&now);
        } while (now.sec < last.sec || (now.sec == last.sec && now.nsec <= last.nsec));
    }
    void runDue() const {
        awaitDue();
        utilTmr_executeExpiredEvents(handle_);
    }

  private:
    uint32_t before_ = heapBytes();
    void *handle_ = nullptr;
};

void ignore(void *) {}

struct Call {
    std::function<void()> body;
    static void run(void *ctxData) { static_cast<Call *>(ctxData)->body(); }
};

TEST(TimerList, RefusesDuplicatesAndLongNames) {
    const std::string name31(31, 'n');
    int other = 0;
    vostest::Diagnostics diagnostics;
    const TimerList list;
    EXPECT_EQ(utilTmr_set(list, ignore, nullptr, kLater, name31.c_str()), VOS_RET_OK);
    EXPECT_EQ(list.first()->name, name31);
    EXPECT_EQ(utilTmr_set(list, ignore, &other, kLater, std::string(32, 'n').c_str()), VOS_RET_BAD_ARG);
    EXPECT_EQ(utilTmr_set(list, ignore, &other, kLater, nullptr), VOS_RET_OK);
    EXPECT_EQ(utilTmr_set(list, ignore, nullptr, kLater * 2, nullptr), VOS_RET_BAD_ARG) << "found ahead of its place";
    EXPECT_EQ(utilTmr_set(list, ignore, &other, 0, nullptr), VOS_RET_BAD_ARG) << "found behind its place";
    EXPECT_EQ(utilTmr_getNumberOfEvents(list), 2U);
    EXPECT_THAT(diagnostics.takeBodies(),
                ElementsAre("name of timer event is too long, max 32", HasSubstr("There is already an event func 0x"),
                            HasSubstr("There is already an event func 0x")));
}

TEST(TimerList, FindsEachOfManyEvents) {
    const TimerList list;
    std::vector<char> contexts(2000);
    for (char &context : contexts) {
        ASSERT_EQ(utilTmr_set(list, ignore, &context, kLater, nullptr), VOS_RET_OK);
    }
    for (char &context : contexts) {
        ASSERT_TRUE(utilTmr_isEventPresent(list, ignore, &context));
        utilTmr_cancel(list, ignore, &context);
        ASSERT_FALSE(utilTmr_isEventPresent(list, ignore, &context));
    }
}

TEST(TimerList, TellsTheTimeToEvents) {
    const TimerList list;
    uint32_t ms = 7;
    EXPECT_EQ(utilTmr_getTimeToNextEvent(list, &ms), VOS_RET_NOTHING_FOUND);
    EXPECT_EQ(ms, 0xFFFFFFFF);
    EXPECT_EQ(utilTmr_getTimeRemaining(list, ignore, nullptr, &ms), VOS_RET_OK);
    EXPECT_EQ(ms, 0U);

    int other = 0;
    utilTmr_set(list, ignore, &other, kLater, "later");
    EXPECT_EQ(utilTmr_getTimeToNextEvent(list, &ms), VOS_RET_OK);
    EXPECT_TRUE(ms > kLater / 2 && ms <= kLater) << ms;
    utilTmr_set(list, ignore, nullptr, 0, "due");
    list.awaitDue();
    EXPECT_EQ(utilTmr_getTimeToNextEvent(list, &ms), VOS_RET_OK);
    EXPECT_EQ(ms, 0U);
    EXPECT_EQ(utilTmr_getTimeRemaining(list, ignore, &other, &ms), VOS_RET_OK);
    EXPECT_TRUE(ms > kLater / 2 && ms <= kLater) << ms;
}

TEST(TimerList, MovesOnlyEventsWithoutContext) {
    int context = 0;
    const TimerList list;
    utilTmr_set(list, ignore, nullptr, 5 * kLater, "old");
    EXPECT_EQ(utilTmr_replaceIfSooner(list, ignore, nullptr, 6 * kLater, "later"), VOS_RET_OK);
    EXPECT_STREQ(list.first()->name, "old");
    EXPECT_EQ(utilTmr_replaceIfSooner(list, ignore, nullptr, 4 * kLater, "sooner"), VOS_RET_OK);
    EXPECT_STREQ(list.first()->name, "sooner");
    EXPECT_EQ(utilTmr_getNumberOfEvents(list), 1U);

    EXPECT_EQ(utilTmr_replaceIfSooner(list, ignore, &context, 3 * kLater, "kept"), VOS_RET_OK);
    EXPECT_EQ(utilTmr_replaceIfSooner(list, ignore, &context, 2 * kLater, "new"), VOS_RET_BAD_ARG);
    EXPECT_STREQ(list.first()->name, "kept");
    EXPECT_FALSE(utilTmr_isEventPresent(list, ignore, nullptr)) << "cancelled in making room";
}

TEST(TimerList, LetsCallbacksChangeTheList) {
    const TimerList list;
    std::vector<int> ran;
    Call first, second, third;
    first.body = [&] {
        ran.push_back(1);
        EXPECT_EQ(utilTmr_set(list, Call::run, &first, 0, "again"), VOS_RET_OK) << "it is out of the list already";
        utilTmr_cancel(list, Call::run, &second);
    };
    second.body = [&] { ran.push_back(2); };
    third.body = [&] {
        ran.push_back(3);
        list.runDue();
        utilTmr_flush(list);
        utilTmr_set(list, Call::run, &second, kLater, nullptr);
    };
    for (Call *call : {&first, &second, &third}) {
        utilTmr_set(list, Call::run, call, 0, nullptr);
    }
    list.runDue();
    EXPECT_THAT(ran, ElementsAre(1, 3, 1)) << "cancelled events do not run, nested runs do";
    EXPECT_EQ(utilTmr_getNumberOfEvents(list), 1U);
    EXPECT_TRUE(utilTmr_isEventPresent(list, Call::run, &second));
}

TEST(TimerList, MayBeFreedByItsCallbacks) {
    void *handle = nullptr;
    const uint32_t before = heapBytes();
    utilTmr_init(&handle);
    int ran = 0;
    Call outer{[&] {
        ran++;
        utilTmr_executeExpiredEvents(handle);
    }};
    Call cleanup{[&] {
        ran++;
        utilTmr_cleanup(&handle);
    }};
    for (Call *call : {&outer, &cleanup, &outer}) {
        utilTmr_set(handle, Call::run, call, 0, nullptr);
    }
    utilTmr_set(handle, ignore, nullptr, 0, nullptr);
    while (utilTmr_isEventPresent(handle, ignore, nullptr)) {
        utilTmr_executeExpiredEvents(handle);
    }
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(heapBytes(), before);
}

TEST(TimerList, LeavesWhatACallbackSetsToTheNextRun) {
    const TimerList list;
    int runs = 0;
    Call again{[&] {
        runs++;
        utilTmr_set(list, Call::run, &again, 0, nullptr);
    }};
    utilTmr_set(list, Call::run, &again, 0, nullptr);
    for (int expected : {1, 2, 3}) {
        list.runDue();
        EXPECT_EQ(runs, expected);
    }
}

TEST(TimerList, ToleratesMissingArguments) {
    const TimerList list;
    uint32_t ms = 0;
    EXPECT_EQ(utilTmr_init(nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(utilTmr_set(nullptr, ignore, nullptr, 0, nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(utilTmr_set(list, nullptr, nullptr, 0, nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(utilTmr_replaceIfSooner(list, nullptr, nullptr, 0, nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(utilTmr_getTimeToNextEvent(list, nullptr), VOS_RET_BAD_ARG);
    EXPECT_EQ(utilTmr_getTimeRemaining(nullptr, ignore, nullptr, &ms), VOS_RET_BAD_ARG);
    EXPECT_EQ(utilTmr_getNumberOfEvents(nullptr), 0U);
    EXPECT_FALSE(utilTmr_isEventPresent(nullptr, ignore, nullptr));
    void *none = nullptr;
    utilTmr_cleanup(nullptr);
    utilTmr_cleanup(&none);
    utilTmr_flush(nullptr);
    utilTmr_cancel(nullptr, ignore, nullptr);
    utilTmr_executeExpiredEvents(nullptr);
    utilTmr_dumpEvents(nullptr);
}

// ---- random sequences ----

constexpr int kEvents = 6;

// Event 0 has no context, the others point here, so that a callback knows which event it is.
int g_contexts[kEvents];

struct Op {
    enum Kind { set, cancel, replace, flush, run } kind;
    int event;
    uint32_t tier;  // due in so many multiples of kLater; 0 is due at once
};

std::string text(const std::vector<Op> &ops) {
    static constexpr const char *kNames[] = {"set", "cancel", "replace", "flush", "run"};
    std::string result;
    for (const Op &op : ops) {
        result += std::string{kNames[op.kind]} + "(" + std::to_string(op.event) + ", " + std::to_string(op.tier) + ") ";
    }
    return result;
}

/** What an event does to the list from inside its callback. */
template <typename List>
void react(List &list, int event) {
    switch (event) {
        case 1:
            list.set(1, 0);
            break;
        case 2:
            list.cancel(3);
            list.set(4, 1);
            break;
        case 5:
            list.flush();
            list.set(0, 0);
            break;
        default:
            break;
    }
}

/** A sorted vector that does what the list should. */
class ModelList {
  public:
    VosRet set(int event, uint32_t tier) {
        if (find(event) != rows_.end()) {
            return VOS_RET_BAD_ARG;
        }
        const auto later = [&](const Row &row) { return row.tier > tier; };
        rows_.insert(std::find_if(rows_.begin(), rows_.end(), later), Row{event, tier, ++sequence_});
        return VOS_RET_OK;
    }
    void cancel(int event) {
        const auto row = find(event);
        if (row != rows_.end()) {
            rows_.erase(row);
        }
    }
    VosRet replace(int event, uint32_t tier) {
        const auto row = find(event);
        if (row != rows_.end()) {
            if (tier >= row->tier) {
                return VOS_RET_OK;
            }
            cancel(0);
        }
        return set(event, tier);
    }
    void flush() { rows_.clear(); }
    void run() {
        const unsigned limit = sequence_;
        while (!rows_.empty() && rows_[0].tier == 0 && rows_[0].sequence <= limit) {
            const int event = rows_[0].event;
            rows_.erase(rows_.begin());
            ran.push_back(event);
            react(*this, event);
        }
    }
    std::vector<int> order() const {
        std::vector<int> result;
        for (const Row &row : rows_) {
            result.push_back(row.event);
        }
        return result;
    }
    bool present(int event) { return find(event) != rows_.end(); }
    std::vector<int> ran;

  private:
    struct Row {
        int event;
        uint32_t tier;
        unsigned sequence;
    };
    std::vector<Row>::iterator find(int event) {
        return std::find_if(rows_.begin(), rows_.end(), [&](const Row &row) { return row.event == event; });
    }
    std::vector<Row> rows_;
    unsigned sequence_ = 0;
};

class RealList {
  public:
    RealList() { g_running = this; }
    VosRet set(int event, uint32_t tier) { return utilTmr_set(list_, fired, context(event), tier * kLater, "event"); }
    void cancel(int event) { utilTmr_cancel(list_, fired, context(event)); }
    VosRet replace(int event, uint32_t tier) {
        return utilTmr_replaceIfSooner(list_, fired, context(event), tier * kLater, "event");
    }
    void flush() { utilTmr_flush(list_); }
    void run() { list_.runDue(); }
    std::vector<int> order() const {
        std::vector<int> result;
        for (const UtilTmrEvent *event = list_.first(); event != nullptr; event = event->next) {
            result.push_back(number(event->ctxData));
        }
        return result;
    }
    bool present(int event) { return utilTmr_isEventPresent(list_, fired, context(event)); }
    uint32_t length() const { return utilTmr_getNumberOfEvents(list_); }
    std::vector<int> ran;

  private:
    static void *context(int event) { return event == 0 ? nullptr : &g_contexts[event]; }
    static int number(const void *ctxData) {
        return ctxData == nullptr ? 0 : static_cast<int>(static_cast<const int *>(ctxData) - g_contexts);
    }
    static void fired(void *ctxData) {
        g_running->ran.push_back(number(ctxData));
        react(*g_running, number(ctxData));
    }
    static inline RealList *g_running;
    TimerList list_;
};

template <typename List>
VosRet apply(List &list, const Op &op) {
    switch (op.kind) {
        case Op::set:
            return list.set(op.event, op.tier);
        case Op::replace:
            return list.replace(op.event, op.tier);
        case Op::cancel:
            list.cancel(op.event);
            break;
        case Op::flush:
            list.flush();
            break;
        case Op::run:
            list.run();
            break;
    }
    return VOS_RET_OK;
}

bool agree(const std::vector<Op> &ops) {
    RealList real;
    ModelList model;
    for (const Op &op : ops) {
        const VosRet ret = apply(real, op);
        if (ret != apply(model, op) || real.order() != model.order() || real.length() != model.order().size() ||
            real.ran != model.ran || real.present(op.event) != model.present(op.event)) {
            return false;
        }
    }
    return true;
}

TEST(TimerListModel, RandomSequencesFollowASortedVector) {
    for (unsigned seed = 1; seed <= 400; seed++) {
        std::mt19937 random{seed};
        const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
        std::vector<Op> ops;
        for (int i = 0; i < 60; i++) {
            static constexpr Op::Kind kMix[] = {Op::set,    Op::set,     Op::set,     Op::set, Op::set,
                                                Op::cancel, Op::replace, Op::replace, Op::run, Op::flush};
            // Flushing often would keep the lists short.
            const Op::Kind kind = kMix[below(i % 8 == 0 ? 10 : 9)];
            ops.push_back({kind, below(kEvents), static_cast<uint32_t>(below(4))});
        }
        ASSERT_TRUE(agree(ops)) << "seed " << seed << ", shortest sequence: " << text(vostest::shrink(ops, agree));
    }
}

}  // namespace
