// Time stamps: arithmetic at its borders and the text formats.
#include "vos/tms.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

void useZone(const char *zone) {
    setenv("TZ", zone, 1);
}

TEST(Timestamp, DeltaBorrowsAndWraps) {
    struct Case {
        UtilTimestamp newer, older, delta;
        uint32_t ms;
    };
    for (const Case &c : {
             Case{{7, 250000000}, {5, 1000000}, {2, 249000000}, 2249},
             Case{{7, 1}, {5, 999999999}, {1, 2}, 1000},
             Case{{5, 999999}, {5, 0}, {0, 999999}, 0},
             Case{{4294967, 295999999}, {0, 0}, {4294967, 295999999}, 0xFFFFFFFF},
             Case{{4294967, 296000000}, {0, 0}, {4294967, 296000000}, 0xFFFFFFFF},
             Case{{4294967, 294999999}, {0, 0}, {4294967, 294999999}, 0xFFFFFFFE},
             Case{{4294968, 0}, {0, 0}, {4294968, 0}, 0xFFFFFFFF},
             Case{{5, 0}, {5, 1}, {0xFFFFFFFF, 999999999}, 0xFFFFFFFF},
         }) {
        SCOPED_TRACE(testing::Message() << c.newer.sec << "." << c.newer.nsec);
        UtilTimestamp delta = c.newer;
        utilTms_delta(&delta, &c.older, &delta);
        EXPECT_EQ(delta.sec, c.delta.sec);
        EXPECT_EQ(delta.nsec, c.delta.nsec);
        EXPECT_EQ(utilTms_deltaInMilliSeconds(&c.newer, &c.older), c.ms);
    }
}

TEST(Timestamp, CarriesOnlyBeyondAFullSecond) {
    struct Case {
        uint32_t ms;
        UtilTimestamp sum;
    };
    for (const Case &c : {Case{0, {5, 500000000}}, Case{500, {5, 1000000000}}, Case{501, {6, 1000000}},
                          Case{4294967295, {4294972, 795000000}}}) {
        SCOPED_TRACE(c.ms);
        UtilTimestamp tms{5, 500000000};
        utilTms_addMilliSeconds(&tms, c.ms);
        EXPECT_EQ(tms.sec, c.sum.sec);
        EXPECT_EQ(tms.nsec, c.sum.nsec);
    }
}

TEST(Timestamp, ReadsTheMonotonicClock) {
    timespec before, after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    UtilTimestamp tms{};
    utilTms_get(&tms);
    clock_gettime(CLOCK_MONOTONIC, &after);
    const double at = tms.sec + tms.nsec / 1e9;
    EXPECT_GE(at, static_cast<double>(before.tv_sec) + static_cast<double>(before.tv_nsec) / 1e9);
    EXPECT_LE(at, static_cast<double>(after.tv_sec) + static_cast<double>(after.tv_nsec) / 1e9);
}

TEST(TimeText, PutsAColonIntoTheZoneOffset) {
    struct Case {
        const char *zone;
        uint32_t t;
        const char *text;
    };
    for (const Case &c :
         {Case{"UTC0", 1, "1970-01-01T00:00:01+00:00"}, Case{"XXX-05:45", 951782400, "2000-02-29T05:45:00+05:45"},
          Case{"XXX+03:30", 0xFFFFFFFF, "2106-02-07T02:58:15-03:30"}}) {
        SCOPED_TRACE(c.zone);
        useZone(c.zone);
        char buf[40];
        memset(buf, 'x', sizeof buf);
        ASSERT_EQ(utilTms_getXSIDateTime(c.t, buf, 26), VOS_RET_OK);
        EXPECT_STREQ(buf, c.text);
        EXPECT_EQ(buf[26], 'x');
    }
    for (const uint32_t len : {0U, 1U, 24U, 25U}) {
        SCOPED_TRACE(len);
        char buf[27];
        memset(buf, 'x', sizeof buf);
        EXPECT_EQ(utilTms_getXSIDateTime(1, buf, len), VOS_RET_NO_RESOURCE);
        EXPECT_EQ(std::string(buf + len, sizeof buf - len), std::string(sizeof buf - len, 'x'));
        EXPECT_TRUE(len == 0 || buf[0] == '\0');
    }
}

TEST(TimeText, TakesZeroForNow) {
    useZone("UTC0");
    char before[26], text[26], after[26];
    utilTms_getXSIDateTime(static_cast<uint32_t>(time(nullptr)), before, sizeof before);
    ASSERT_EQ(utilTms_getXSIDateTime(0, text, sizeof text), VOS_RET_OK);
    utilTms_getXSIDateTime(static_cast<uint32_t>(time(nullptr)), after, sizeof after);
    EXPECT_LE(std::string{before}, text);
    EXPECT_GE(std::string{after}, text);
}

TEST(TimeText, SplitsSpansIntoDaysToSeconds) {
    struct Case {
        uint32_t seconds, len;
        VosRet ret;
        const char *text;
    };
    for (const Case &c : {
             Case{90061, 40, VOS_RET_OK, "1D 1H 1M 1S"},
             Case{7200, 40, VOS_RET_OK, "0D 2H 0M 0S"},
             Case{0xFFFFFFFF, 40, VOS_RET_OK, "49710D 6H 28M 15S"},
             Case{0, 13, VOS_RET_OK, "0D 0H 0M 0S"},
             Case{0, 12, VOS_RET_OK, "0D 0H 0M 0"},  // the last byte of the buffer stays zero
             Case{0, 11, VOS_RET_NO_RESOURCE, "0D 0H 0M "},
             Case{0, 1, VOS_RET_NO_RESOURCE, ""},
         }) {
        SCOPED_TRACE(testing::Message() << c.seconds << " in " << c.len);
        char buf[41];
        memset(buf, 'x', sizeof buf);
        EXPECT_EQ(utilTms_getDaysHoursMinutesSeconds(c.seconds, buf, c.len), c.ret);
        EXPECT_STREQ(buf, c.text);
        EXPECT_EQ(buf[c.len], 'x');
    }
    char untouched = 'x';
    EXPECT_EQ(utilTms_getDaysHoursMinutesSeconds(0, &untouched, 0), VOS_RET_NO_RESOURCE);
    EXPECT_EQ(untouched, 'x');
}

}  // namespace
