// The device's small tool: what it prints, its exit status and its one line of complaint.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/shm.h>

#include <cstring>

#include "support/hub_process.h"
#include "support/shell.h"
#include "vos/log.h"
#include "vos/mem.h"

using testing::MatchesRegex;

namespace {

struct Row {
    const char *arguments;
    int status;
    const char *out;  // regular expressions
    const char *err;
};

void expectRows(std::initializer_list<Row> rows) {
    for (const Row &row : rows) {
        SCOPED_TRACE(row.arguments);
        const vostest::Outcome seen = vostest::shell(std::string{"'" VOS_TEST_BIN_DIR "/vosmini' "} + row.arguments);
        EXPECT_EQ(seen.status, row.status);
        EXPECT_THAT(seen.out, MatchesRegex(row.out));
        EXPECT_THAT(seen.err, MatchesRegex(row.err));
    }
}

TEST(Vosmini, AsksAnyHub) {
    expectRows({{"ping", 1, "", "vosmini: no hub answers at /var/.*\n"}});
    const vostest::HubProcess hub{{"--trace"}};
    expectRows({{"id vosmini", 0, "655[0-9]+\n", ""},
                {"id nobody", 1, "", "vosmini: no entity is called 'nobody'\n"},
                {"running hubd", 0, "running\n", ""},
                {"running 4242", 1, "not running\n", ""},
                {"ping 3", 0, "3 round trips to the hub: min [0-9]+ avg [0-9]+ max [0-9]+ us\n", ""},
                {"request hubd 0x10000803 7", 0, "9840, 0 bytes\n", ""},
                {"request hubd 0x10009130 0", 0, "0, [0-9]+ bytes\n2f 76 61 72.*00\n", ""},
                {"event hubd 0x1000f021 5 0aff", 0, "", ""},
                {"event hubd 1 2 0af", 2, "", "vosmini: payload: .*\n"},
                {"event hubd 0x100000000", 2, "", "vosmini: type: .*\n"},
                {"heartbeat", 0, "", ""}});
    EXPECT_TRUE(hub.awaitOutput("VOS_MSG_HEARTBEAT"));
}

TEST(Vosmini, ShowsAndChangesLogs) {
    vosLog_init(77);
    log_log(VOS_LOG_LEVEL_DEVEL, "place\033", 12, "suppressed");
    expectRows({{"log", 0, "EID77: level 3 destination 1 size 32768\n", ""},
                {"log EID77 level debug", 0, "EID77: level 7 .*\n", ""},
                {"log EID77 destination 2", 0, "EID77: level 7 destination 2 .*\n", ""},
                {"log EID77", 0, "EID77: level 7 destination 2 size 32768\n  <place.x1b:12>\n", ""},
                {"log EID77 level loud", 2, "", "vosmini: level .*'loud'.*\n"},
                {"log nobody", 1, "", "vosmini: no log of 'nobody'.*\n"},
                {"gate on", 0, "diagnostics on\n", ""},
                {"gate off", 0, "diagnostics off\n", ""},
                {"log >/dev/full", 1, "", "vosmini: cannot write the output: .*\n"}});
    EXPECT_EQ(vosLog_getLevel(), uint32_t{VOS_LOG_LEVEL_DEBUG});
    vosLog_cleanup();
}

TEST(Vosmini, ReadsAPoolAndSurvivesABrokenOne) {
    void *const address = reinterpret_cast<void *>(0x58800000);
    const int id = shmget(0x5610, 65536, IPC_CREAT | 0600);
    ASSERT_EQ(shmat(id, address, 0), address);
    vosMem_initSharedMem(address, 65536);
    VOS_MALLOC_FLAGS(1000, ALLOC_SHARED_MEM);
    expectRows({{"pool 0x5610", 0, "taken 10[0-9]+ free 6[0-9]+ largest 6[0-9]+ gets 1 releases 0\n", ""}});
    memset(address, 0xA5, 1024);
    expectRows({{"pool 0x5610", 1, "", ".*vosmini: segment 0x5610 holds no sound pool .*\n"},
                {"pool 0x5611", 1, "", "vosmini: cannot attach segment 0x5611 .*\n"}});
    vosMem_cleanup();
    shmdt(address);
    shmctl(id, IPC_RMID, nullptr);
}

}  // namespace
