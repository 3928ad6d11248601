// vosctl log and load: this process is the daemon that they look at.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "support/complaints.h"
#include "support/hub_process.h"
#include "support/mount_over.h"
#include "support/shell.h"
#include "vos/log.h"
#include "vos/msg.h"

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using vostest::Outcome;
using vostest::vosctl;

namespace {

constexpr VosEntityId kEid = 4711;
constexpr uint32_t kFileOnly = 5;

class LogToolTest : public testing::Test {
  protected:
    LogToolTest() {
        vosLog_init(kEid);
        vosLog_setDestination(kFileOnly);
        segment_ = static_cast<LogSharedConfig *>(shmat(shmget(keyOf("EID4711"), 0, 0), nullptr, 0));
        memset(segment_->callSites, 0, sizeof segment_->callSites);
        segment_->callSiteNext = 0;
    }
    ~LogToolTest() override {
        vosLog_cleanup();
        shmdt(segment_);
        std::filesystem::remove_all("/tmp/log3");
    }
    static key_t keyOf(const std::string &name) { return ftok(("/tmp/logKey" + name).c_str(), VOS_LOG_KEY_ID); }

    LogSharedConfig *segment_;
};

TEST_F(LogToolTest, ShowsSettingsFilesAndTheRing) {
    for (uint32_t line = 1; line <= 33; line++) {
        vosLog_cache("main", line);
    }
    vosLog_printf(3, kFileOnly, true, "hello");
    const Outcome shown = vosctl("log EID4711");
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_THAT(shown.out, ContainsRegex("level +error \\(3\\)\ndestination +5\nrotates at +32768 bytes\n"
                                         "file +/tmp/log3/4711.log, 6 bytes\n"));
    EXPECT_THAT(shown.out, HasSubstr("process " + std::to_string(getpid()) + "\n"));
    EXPECT_THAT(shown.out, HasSubstr("oldest first:\n    <main:2>\n    <main:3>\n"));
    EXPECT_THAT(shown.out, EndsWith("    <main:32>\n    <main:33>\n"));
#ifdef __GLIBC__
    const std::string kHelpClosed = "cannot write the result: Bad file descriptor\n";
#else
    const std::string kHelpClosed = "cannot write the result\n";  // this C++ runtime keeps no reason
#endif
    vostest::expectComplaints({{"log EID4711 >&-", 1, "cannot write the result: Bad file descriptor\n"},
                               {"--help >&-", 1, kHelpClosed},
                               {"log EID4711 --follow >/dev/full", 1, "cannot write the result: No space"}});
    EXPECT_EQ(vosctl("log EID4711 --level error >&-").status, 0) << "prints nothing";

    memset(segment_->callSites, '\033', sizeof segment_->callSites);
    segment_->callSiteNext = 0xFFFFFFFF;
    const std::string hostile = vosctl("log EID4711").out;
    EXPECT_THAT(hostile, EndsWith("\n    " + std::string(VOS_LOG_CALL_SITE_SIZE, '.') + "\n"));
    EXPECT_THAT(hostile, Not(HasSubstr("\033")));
}

TEST_F(LogToolTest, ChangesARunningDaemon) {
    const Outcome changed = vosctl("log 4711 --level debug --dest syslog --max-size 100");
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_EQ(vosLog_getLevel(), 7U);
    EXPECT_EQ(vosLog_getDestination(), 2U);
    EXPECT_EQ(vosLog_getMaxSize(), 100U);
    EXPECT_EQ(vosctl("log 4711 --dest 5").status, 0);
    EXPECT_EQ(vosLog_getLevel(), 7U) << "what is not named stays";
    EXPECT_EQ(vosLog_getDestination(), 5U);
}

TEST_F(LogToolTest, ListsEverySegmentDeadAndForeignOnesToo) {
    const pid_t pid = fork();
    if (pid == 0) {
        vosLog_init(EID_HUBD);
        vosLog_cache("last", 9);
        _exit(0);
    }
    waitpid(pid, nullptr, 0);
    vostest::writeText("/tmp/logKeysmall", "");
    vostest::writeText("/tmp/logKeynone", "");
    ASSERT_GE(shmget(keyOf("small"), 100, IPC_CREAT | 0666), 0);
    EXPECT_THAT(vosctl("log hubd").out, ContainsRegex("held by +nobody\n"));
    EXPECT_THAT(vosctl("log --all").out, MatchesRegex("LOG .*\nEID4711 +error \\(3\\) +5 +32768 +process [0-9]+ +-\n"
                                                      "hubd +error \\(3\\) +stderr \\(1\\) +32768 +nobody +<last:9>\n"
                                                      "none +no segment\nsmall +a segment too small for a log\n"));

    std::filesystem::remove("/tmp/log3/20.log");
    vostest::expectComplaints({
        {"log", 2, "give the name or number of a daemon, or --all; see 'vosctl log --help'"},
        {"log nowhere", 1, "no log of 'nowhere'; 'vosctl log --all' lists those there are"},
        {"log none", 1, "has no segment any more; start the daemon again"},
        {"log small", 1, "has 100 bytes: it is no log's; remove it with ipcrm -m"},
        {"log hubd --level loud", 2, "give none, raw, error, notice, debug, devel or a number"},
        {"log hubd --dest disk", 2, "give stderr, syslog, tty, android, console or a number"},
        {"log hubd --follow", 1, "cannot read '/tmp/log3/20.log': No such file or directory"},
    });
    std::filesystem::create_directory("/tmp/log3/20.log");
    vostest::expectComplaints({{"log hubd --follow", 1, "cannot read '/tmp/log3/20.log': Is a directory"}});
    std::filesystem::remove("/tmp/log3/20.log");
    ASSERT_EQ(symlink("/etc/passwd", "/tmp/log3/20.log"), 0);
    vostest::expectComplaints(
        {{"log hubd --follow", 1, std::string{"cannot read '/tmp/log3/20.log': "} + strerror(ELOOP)}});
}

TEST_F(LogToolTest, AsksTheHubForTheNumberBehindAName) {
    const vostest::HubProcess hub;
    VosMsgHandle *handle = nullptr;
    ASSERT_EQ(vosMsg_initByName("com.example.meter", &handle), VOS_RET_OK);
    vosLog_cleanup();
    vosLog_init(vosMsg_getHandleEid(handle));
    EXPECT_EQ(vosctl("log com.example.meter --level 9").err, "");
    EXPECT_EQ(vosLog_getLevel(), 9U);
    vosMsg_cleanup(&handle);
}

TEST_F(LogToolTest, FollowsTheFileThroughRotation) {
    vosLog_setMaxSize(200);
    vosLog_printf(3, kFileOnly, true, "before");
    FILE *follower = popen("echo $$; exec '" VOS_TEST_BIN_DIR "/vosctl' log 4711 --follow", "r");
    char line[64];
    ASSERT_NE(fgets(line, sizeof line, follower), nullptr);
    const pid_t pid = atoi(line);
    ASSERT_STREQ(fgets(line, sizeof line, follower), "before\n");
    for (int i = 0; i < 100; i++) {
        const std::string entry = "entry " + std::to_string(i);
        vosLog_printf(3, kFileOnly, true, entry.c_str());
        ASSERT_STREQ(fgets(line, sizeof line, follower), (entry + "\n").c_str());
    }
    EXPECT_TRUE(std::filesystem::exists("/tmp/log3/4711.log.0"));
    std::filesystem::remove("/tmp/log3/4711.log");
    vostest::writeText("/tmp/log3/4711.log", "made anew\n");
    EXPECT_STREQ(fgets(line, sizeof line, follower), "made anew\n");
    vosLog_cleanup();
    vosLog_init(kEid);
    vosLog_printf(3, kFileOnly, true, "\033[1;31mred\033[0m \033]0;title\a \033[2J\t\r\x9b \033");
    EXPECT_STREQ(fgets(line, sizeof line, follower), "\033[1;31mred\033[0m .]0;title. .[2J\t.. .\n");
    kill(pid, SIGKILL);
    pclose(follower);
}

TEST(LoadTool, PrintsFiguresAndPlots) {
    const vostest::MountOver memory{"/proc/meminfo",
                                    "MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 50 kB\nCached: 350 kB\n"};
    EXPECT_THAT(
        vosctl("load --interval 20").out,
        MatchesRegex("cpu +[0-9]+ % busy; ticks: user .*\nmemory   50 % in use; kB: total 1000, free 100, buffers "
                     "50, cached 350\n"));
    EXPECT_THAT(
        vosctl("load --watch --interval 10 --count 2").out,
        MatchesRegex("(..:..:..  cpu [ 0-9]+ % \\|[ #]{25}\\|  memory  50 % \\|############             \\|\n){2}"));
    const vostest::MountOver stat{"/proc/stat", ""};
    vostest::expectComplaints({{"load", 1, "cannot read /proc/stat; is /proc mounted?\n"}});
}

}  // namespace
