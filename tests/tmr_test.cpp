// Timer list: order, identity, what callbacks may do, and random sequences against a plain model.
#include "vos/tmr.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>

#include "support/model.h"
#include "support/syslog_catcher.h"

using testing::ElementsAre;
using testing::HasSubstr;
using vostest::heapBytes;

namespace {

constexpr uint32_t kLater = 100000;  // far beyond the length of a test

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
        UtilTimestamp now;
        utilTms_get(&now);
        const UtilTmrEvent *last = nullptr;
        for (auto *event = first(); event != nullptr && event->expireTms.sec <= now.sec + 1; event = event->next) {
            last = event;
        }
        while (last != nullptr && std::tie(now.sec, now.nsec) <= std::tie(last->expireTms.sec, last->expireTms.nsec)) {
            utilTms_get(&now);
        }
    }

  private:
    uint32_t before_ = heapBytes();
    void *handle_ = nullptr;
};

void ignore(void *) {}

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

TEST(TimerList, MayBeFreedByItsCallbacks) {
    void *handle = nullptr;
    const uint32_t before = heapBytes();
    utilTmr_init(&handle);
    int ran = 0;
    std::function<void()> outer = [&] { ran++, utilTmr_executeExpiredEvents(handle); };
    std::function<void()> cleanup = [&] { ran++, utilTmr_cleanup(&handle); };
    for (auto *call : {&outer, &cleanup, &outer}) {
        utilTmr_set(
            handle, [](void *body) { (*static_cast<std::function<void()> *>(body))(); }, call, 0, nullptr);
    }
    utilTmr_set(handle, ignore, nullptr, 0, nullptr);
    while (utilTmr_isEventPresent(handle, ignore, nullptr)) {
        utilTmr_executeExpiredEvents(handle);
    }
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(heapBytes(), before);
}

// ---- random sequences ----

// Event 0 has no context, the others point here, so that a callback knows which event it is.
int g_contexts[6];

/** What an event does to the list from inside its callback. */
template <typename List>
void react(List &list, int event) {
    if (event == 1) {
        list.set(1, 0);
    } else if (event == 2) {
        list.cancel(3);
        list.set(4, 1);
    } else if (event == 3) {
        list.run();
    } else if (event == 5) {
        list.flush();
        list.set(0, 0);
    }
}

/** A sorted vector that does what the list should. */
class ModelList {
  public:
    VosRet set(int event, uint32_t tier) {
        if (present(event)) {
            return VOS_RET_BAD_ARG;
        }
        rows_.insert(std::ranges::upper_bound(rows_, tier, {}, &Row::tier), Row{event, tier, ++sequence_});
        return VOS_RET_OK;
    }
    void cancel(int event) {
        std::erase_if(rows_, [&](const Row &row) { return row.event == event; });
    }
    VosRet replace(int event, uint32_t tier) {
        const auto row = std::ranges::find(rows_, event, &Row::event);
        if (row != rows_.end() && tier >= row->tier) {
            return VOS_RET_OK;
        }
        if (row != rows_.end()) {
            cancel(0);
        }
        return set(event, tier);
    }
    void flush() { rows_.clear(); }
    void run() {
        const unsigned limit = sequence_;
        while (!rows_.empty() && rows_[0].tier == 0 && rows_[0].sequence <= limit) {
            ran.push_back(rows_[0].event);
            rows_.erase(rows_.begin());
            react(*this, ran.back());
        }
    }
    std::vector<int> order() const {
        std::vector<int> result;
        std::ranges::transform(rows_, std::back_inserter(result), &Row::event);
        return result;
    }
    bool present(int event) const { return std::ranges::find(rows_, event, &Row::event) != rows_.end(); }
    std::vector<int> ran;

  private:
    struct Row {
        int event;
        uint32_t tier;
        unsigned sequence;
    };
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
    void run() {
        list_.awaitDue();
        utilTmr_executeExpiredEvents(list_);
    }
    std::vector<int> order() const {
        std::vector<int> result;
        for (const UtilTmrEvent *event = list_.first(); event != nullptr; event = event->next) {
            result.push_back(number(event->ctxData));
        }
        return result;
    }
    bool present(int event) const { return utilTmr_isEventPresent(list_, fired, context(event)); }
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

struct TimerPair {
    static constexpr const char *kKinds[] = {"set", "set",   "set",     "set",     "set",
                                             "run", "flush", "replace", "replace", "cancel"};
    RealList real;
    ModelList model;

    template <typename List>
    static VosRet apply(List &list, const vostest::Op &op) {
        const std::string_view kind = kKinds[op.kind];
        const auto event = static_cast<int>(op.a % std::size(g_contexts));
        if (kind == "set" || kind == "replace") {
            return kind == "set" ? list.set(event, op.b % 4) : list.replace(event, op.b % 4);
        }
        if (kind == "run") {
            list.run();
        } else if (kind == "cancel") {
            list.cancel(event);
        } else if (op.b == 0) {
            list.flush();  // more often would keep the lists short
        }
        return VOS_RET_OK;
    }
    bool step(const vostest::Op &op) {
        const auto event = static_cast<int>(op.a % std::size(g_contexts));
        return apply(real, op) == apply(model, op) && real.order() == model.order() &&
               real.length() == model.order().size() && real.ran == model.ran &&
               real.present(event) == model.present(event);
    }
};

TEST(TimerListModel, RandomSequencesFollowASortedVector) {
    vostest::followsItsModel<TimerPair>();
}

}  // namespace
