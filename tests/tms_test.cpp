// Time stamps: arithmetic at its borders and the text formats.
#include "vos/tms.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <tuple>

namespace {

using namespace std::string_literals;

void useZone(const char *zone) {
    setenv("TZ", zone, 1);
}

TEST(Timestamp, DeltaBorrowsAndWraps) {
    const std::tuple<UtilTimestamp, UtilTimestamp, UtilTimestamp, uint32_t> kRows[] = {
        {{7, 250000000}, {5, 1000000}, {2, 249000000}, 2249},
        {{7, 1}, {5, 999999999}, {1, 2}, 1000},
        {{5, 999999}, {5, 0}, {0, 999999}, 0},
        {{4294967, 295999999}, {0, 0}, {4294967, 295999999}, 0xFFFFFFFF},
        {{4294967, 296000000}, {0, 0}, {4294967, 296000000}, 0xFFFFFFFF},
        {{4294967, 294999999}, {0, 0}, {4294967, 294999999}, 0xFFFFFFFE},
        {{4294968, 0}, {0, 0}, {4294968, 0}, 0xFFFFFFFF},
        {{5, 0}, {5, 1}, {0xFFFFFFFF, 999999999}, 0xFFFFFFFF},
    };
    for (const auto &[newer, older, difference, ms] : kRows) {
        SCOPED_TRACE(testing::Message() << newer.sec << "." << newer.nsec);
        UtilTimestamp delta = newer;
        utilTms_delta(&delta, &older, &delta);
        EXPECT_TRUE(delta.sec == difference.sec && delta.nsec == difference.nsec) << delta.sec << "." << delta.nsec;
        EXPECT_EQ(utilTms_deltaInMilliSeconds(&newer, &older), ms);
    }
}

TEST(Timestamp, CarriesOnlyBeyondAFullSecond) {
    const std::pair<uint32_t, UtilTimestamp> kRows[] = {
        {0, {5, 500000000}}, {500, {5, 1000000000}}, {501, {6, 1000000}}, {4294967295, {4294972, 795000000}}};
    for (const auto &[ms, sum] : kRows) {
        UtilTimestamp tms{5, 500000000};
        utilTms_addMilliSeconds(&tms, ms);
        EXPECT_TRUE(tms.sec == sum.sec && tms.nsec == sum.nsec) << ms << ": " << tms.sec << "." << tms.nsec;
    }
}

TEST(Timestamp, ReadsTheMonotonicClock) {
    const auto seconds = [](const timespec &at) {
        return static_cast<double>(at.tv_sec) + static_cast<double>(at.tv_nsec) / 1e9;
    };
    timespec before, after;
    UtilTimestamp tms{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    utilTms_get(&tms);
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(tms.sec + tms.nsec / 1e9, seconds(before));
    EXPECT_LE(tms.sec + tms.nsec / 1e9, seconds(after));
}

TEST(TimeText, PutsAColonIntoTheZoneOffset) {
    const std::tuple<const char *, uint32_t, const char *> kRows[] = {
        {"UTC0", 1, "1970-01-01T00:00:01+00:00"},
        {"XXX-05:45", 951782400, "2000-02-29T05:45:00+05:45"},
        {"XXX+03:30", 0xFFFFFFFF, "2106-02-07T02:58:15-03:30"},
    };
    for (const auto &[zone, at, text] : kRows) {
        SCOPED_TRACE(zone);
        useZone(zone);
        std::string buf(27, 'x');
        ASSERT_EQ(utilTms_getXSIDateTime(at, buf.data(), 26), VOS_RET_OK);
        EXPECT_EQ(buf, text + "\0x"s);
    }
    for (const uint32_t len : {0U, 1U, 24U, 25U}) {
        std::string buf(27, 'x');
        EXPECT_EQ(utilTms_getXSIDateTime(1, buf.data(), len), VOS_RET_NO_RESOURCE);
        EXPECT_EQ(buf.substr(len), std::string(27 - len, 'x'));
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
    const std::tuple<uint32_t, uint32_t, VosRet, const char *> kRows[] = {
        {90061, 40, VOS_RET_OK, "1D 1H 1M 1S"},
        {7200, 40, VOS_RET_OK, "0D 2H 0M 0S"},
        {0xFFFFFFFF, 40, VOS_RET_OK, "49710D 6H 28M 15S"},
        {0, 13, VOS_RET_OK, "0D 0H 0M 0S"},
        {0, 12, VOS_RET_OK, "0D 0H 0M 0"},  // the last byte of the buffer stays zero
        {0, 11, VOS_RET_NO_RESOURCE, "0D 0H 0M "},
        {0, 1, VOS_RET_NO_RESOURCE, ""},
        {0, 0, VOS_RET_NO_RESOURCE, ""},
    };
    for (const auto &[seconds, len, ret, text] : kRows) {
        SCOPED_TRACE(testing::Message() << seconds << " in " << len);
        std::string buf(41, 'x');
        EXPECT_EQ(utilTms_getDaysHoursMinutesSeconds(seconds, buf.data(), len), ret);
        EXPECT_STREQ(buf.substr(0, len).c_str(), text);
        EXPECT_EQ(buf[len], 'x');
    }
}

}  // namespace
