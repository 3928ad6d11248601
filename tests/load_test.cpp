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
    struct Case {
        const char *contents;
        int result;
        const char *name;
        uint64_t user, guest;
    };
    const std::string longName(300, 'c');
    for (const Case &c : {Case{"cpu  1 2 3 4 5 6 7 8 9 10\n", 0, "cpu", 1, 9}, Case{"cpu 1\n", 0, "cpu", 1, 77},
                          Case{"cpu x\n", 0, "cpu", 77, 77}, Case{"", -1, "", 77, 77}, Case{" \n", -1, "", 77, 77},
                          Case{"cpu 18446744073709551615 1\n", 0, "cpu", UINT64_MAX, 77},
                          Case{longName.c_str(), 0, "ccccccccccccccccccccccc", 77, 77}}) {
        SCOPED_TRACE(c.contents);
        const MountOver stat{"/proc/stat", c.contents};
        UtilCpuOccupy snap{};
        snap.user = snap.guest = 77;
        EXPECT_EQ(UTIL_getCpuOccupy(&snap), c.result);
        EXPECT_STREQ(snap.name, c.name);
        EXPECT_EQ(snap.user, c.user);
        EXPECT_EQ(snap.guest, c.guest);
    }
    EXPECT_EQ(UTIL_getCpuOccupy(nullptr), -1);
}

TEST(CpuOccupancy, ComparesTwoSnapshots) {
    struct Case {
        const char *what;
        uint64_t busy, idle, stolen;
        uint32_t percent;
    };
    for (const Case &c : {Case{"no time", 0, 0, 0, 0}, Case{"idle", 0, 500, 0, 0}, Case{"busy", 500, 0, 0, 100},
                          Case{"cut, not rounded", 2, 1, 0, 66}, Case{"stolen time does not count", 1, 1, 100, 50},
                          Case{"the product is a signed 32-bit number", 42949673, 0, 0, 0}}) {
        SCOPED_TRACE(c.what);
        UtilCpuOccupy older{};
        older.user = 10;
        older.idle = 20;
        UtilCpuOccupy newer = older;
        newer.nice += c.busy / 2;
        newer.softirq += c.busy - c.busy / 2;
        newer.idle += c.idle;
        newer.steal += c.stolen;
        newer.guest += c.stolen;
        EXPECT_EQ(UTIL_calCpuOccupy(&older, &newer), c.percent);
    }
    EXPECT_EQ(UTIL_calCpuOccupy(nullptr, nullptr), 0U);
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
    EXPECT_EQ(UTIL_getMemOccupy(nullptr), -1);
}

}  // namespace
