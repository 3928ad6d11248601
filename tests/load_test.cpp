// CPU and memory occupancy, from the kernel's own files and from broken ones mounted over them.
#include "vos/load.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/mount_over.h"
#include "support/syslog_catcher.h"

using vostest::MountOver;

namespace {

TEST(CpuOccupancy, ReadsTheKernelsLine) {
    UtilCpuOccupy first{}, second{};
    ASSERT_EQ(UTIL_getCpuOccupy(&first), 0);
    ASSERT_EQ(UTIL_getCpuOccupy(&second), 0);
    EXPECT_STREQ(first.name, "cpu");
    EXPECT_GT(first.user + first.system + first.idle, 0U);
    EXPECT_GE(second.idle, first.idle);
    EXPECT_LE(UTIL_calCpuOccupy(&first, &second), 100U);
}

TEST(CpuOccupancy, TakesWhatBrokenFilesHold) {
    const std::string longName(300, 'c');
    const std::tuple<const char *, int, const char *, uint64_t, uint64_t> kRows[] = {
        {"cpu  1 2 3 4 5 6 7 8 9 10\n", 0, "cpu", 1, 9},
        {"cpu 1\n", 0, "cpu", 1, 77},
        {"cpu x\n", 0, "cpu", 77, 77},
        {"", -1, "", 77, 77},
        {" \n", -1, "", 77, 77},
        {"cpu 18446744073709551615 1\n", 0, "cpu", UINT64_MAX, 77},
        {longName.c_str(), 0, "ccccccccccccccccccccccc", 77, 77}};
    for (const auto &[contents, result, name, user, guest] : kRows) {
        SCOPED_TRACE(contents);
        const MountOver stat{"/proc/stat", contents};
        UtilCpuOccupy snap{};
        snap.user = snap.guest = 77;
        EXPECT_EQ(UTIL_getCpuOccupy(&snap), result);
        EXPECT_STREQ(snap.name, name);
        EXPECT_EQ(snap.user, user);
        EXPECT_EQ(snap.guest, guest);
    }
}

TEST(CpuOccupancy, ComparesTwoSnapshots) {
    const std::tuple<const char *, uint64_t, uint64_t, uint64_t, uint32_t> kRows[] = {
        {"no time", 0, 0, 0, 0},
        {"idle", 0, 500, 0, 0},
        {"busy", 500, 0, 0, 100},
        {"cut, not rounded", 2, 1, 0, 66},
        {"stolen time does not count", 1, 1, 100, 50},
        {"the product is a signed 32-bit number", 42949673, 0, 0, 0}};
    for (const auto &[what, busy, idle, stolen, percent] : kRows) {
        SCOPED_TRACE(what);
        UtilCpuOccupy older{};
        older.user = 10;
        older.idle = 20;
        UtilCpuOccupy newer = older;
        newer.nice += busy / 2;
        newer.softirq += busy - busy / 2;
        newer.idle += idle;
        newer.steal += stolen;
        newer.guest += stolen;
        EXPECT_EQ(UTIL_calCpuOccupy(&older, &newer), percent);
    }
}

TEST(MemoryOccupancy, ReadsFourFiguresUpToCached) {
    UtilMemOccupy real;
    ASSERT_EQ(UTIL_getMemOccupy(&real), 0);
    EXPECT_STREQ(real.memTotal.name, "MemTotal");
    EXPECT_GT(real.memTotal.value, real.memFree.value);
    EXPECT_STREQ(real.cached.name, "Cached");

    vostest::Diagnostics diagnostics;
    const std::string longKey(32, 'K');
    const MountOver info{"/proc/meminfo", "no colon\nMemTotal: 0x10 kB\n" + longKey +
                                              ": 5\nBuffers:\t7kB\nCached: 9\n"
                                              "MemFree: 1 kB\n"};
    UtilMemOccupy mem;
    memset(&mem, 0x55, sizeof mem);
    EXPECT_EQ(UTIL_getMemOccupy(&mem), 0);
    EXPECT_EQ(mem.memTotal.value, 16U);
    EXPECT_EQ(mem.buffers.value, 7U);
    EXPECT_EQ(mem.cached.value, 9U);
    EXPECT_EQ(mem.memFree.value, 0U) << "reading stops at Cached";
    EXPECT_STREQ(mem.memFree.name, "");
    EXPECT_EQ(diagnostics.takeBodies(), std::vector<std::string>{"Unknown key name: " + longKey});
}

}  // namespace
