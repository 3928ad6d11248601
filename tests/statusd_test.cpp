// The status daemon's day with a real hub, seen through vosctl: timers, delayed messages, tasks, SRPC, command line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "support/hub_process.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

/** What vosctl prints, and its exit status behind it. */
std::string vosctl(const std::string &arguments) {
    FILE *pipe = popen(("'" VOS_TEST_BIN_DIR "/vosctl' " + arguments + " 2>&1").c_str(), "r");
    std::string output;
    for (int c; (c = fgetc(pipe)) != EOF;) {
        output += static_cast<char>(c);
    }
    return output + "-> " + std::to_string(WEXITSTATUS(pclose(pipe)));
}

TEST(Statusd, LivesItsWholeDayOnTheLibrary) {
    const vostest::HubProcess hub{{"--trace"}};
    const pid_t daemon = fork();
    if (daemon == 0) {
        execl(VOS_TEST_BIN_DIR "/statusd", "statusd", nullptr);
        _exit(127);
    }
    ASSERT_TRUE(hub.awaitOutput("VOS_MSG_HEARTBEAT"));
    EXPECT_THAT(vosctl("register 0x1000f021 --count 2"),
                MatchesRegex("(.* 0x1000f021 .* event word=[0-9]+ .*0D 0H 0M .*\n){2}-> 0"))
        << "delayed messages";
    EXPECT_TRUE(hub.awaitOutput("VOS_MSG_SYSTEM_TASK_FINISH"));

    const std::string call = "request statusd 0x1000f020 --srpc --hex 0000000000000000 --word ";
    EXPECT_THAT(vosctl(call + "101"), MatchesRegex("101 from statusd .*0D 0H 0M [0-9]+S.*-> 0"));
    EXPECT_THAT(vosctl(call + "102"), MatchesRegex("102 from statusd .*% of .*-> 0"));
    EXPECT_THAT(vosctl(call + "103"), HasSubstr("103 from statusd (65536), 0 bytes"));

    EXPECT_EQ(vosctl("cli statusd -- echo 'two words' --flag"), "two words --flag\nresult VOS_RET_OK (0)\n-> 0");
    EXPECT_EQ(vosctl("cli statusd -- format /"),
              "commands: uptime, load, echo WORDS\n"
              "vosctl: the command ended with VOS_RET_UNKNOWN_NAME (9801)\n-> 1");
    EXPECT_THAT(vosctl("cli hubd -- echo"), HasSubstr("answered without running the command"));
    EXPECT_EQ(vosctl("reboot"), "-> 0");
    EXPECT_TRUE(hub.awaitOutput("asks for a reboot"));

    int status = -1;
    kill(daemon, SIGTERM);
    EXPECT_EQ(waitpid(daemon, &status, 0), daemon);
    EXPECT_EQ(status, 0);
}

}  // namespace
