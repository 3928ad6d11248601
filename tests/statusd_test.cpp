// The example daemons' day with a real hub, seen through vosctl: timers, delayed messages, tasks, SRPC, command line; a
// plug-in's parameter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "support/files.h"
#include "support/hub_process.h"
#include "support/shell.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

/** What vosctl prints, and its exit status behind it. */
std::string vosctl(const std::string &arguments) {
    const vostest::Outcome outcome = vostest::vosctl(arguments + " 2>&1");
    return outcome.out + "-> " + std::to_string(outcome.status);
}

/** An example of this name, started in `directory`. */
pid_t start(const std::string &name, const std::filesystem::path &directory = "/") {
    const pid_t pid = fork();
    if (pid == 0) {
        std::filesystem::current_path(directory);
        execl((VOS_TEST_BIN_DIR "/" + name).c_str(), name.c_str(), nullptr);
        _exit(127);
    }
    return pid;
}

void expectCleanStop(pid_t pid) {
    int status = -1;
    kill(pid, SIGTERM);
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
}

class Statusd : public testing::TestWithParam<const char *> {};
INSTANTIATE_TEST_SUITE_P(InCAndCpp, Statusd, testing::Values("statusd", "statusd_cpp"),
                         [](const auto &param) { return std::string{param.param}; });

TEST_P(Statusd, LivesItsWholeDayOnTheLibrary) {
    const vostest::HubProcess hub{{"--trace"}};
    const pid_t daemon = start(GetParam());
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
    expectCleanStop(daemon);
}

TEST(Plugin, AnswersSetParameterEventsUnderTheNameInItsDescription) {
    const vostest::HubProcess hub{{"--trace"}};
    const vostest::TempDir dir;
    std::filesystem::create_directory(dir / "bin");
    std::filesystem::copy(VOS_TEST_SOURCE_DIR "/examples/plugin/Info.plugin", dir / "Info.plugin");
    const pid_t plugin = start("plugin", dir / "bin");
    const std::string name = "com.operator.marlow.smartgateway.light";
    ASSERT_TRUE(hub.awaitOutput(name));
    const std::string call = "request " + name + " VOS_MSG_PLUGIN_SET_PARAMETER --hex '" + std::string(64, '0');
    EXPECT_THAT(vosctl(call + "'"), HasSubstr("refused,"));
    EXPECT_THAT(vosctl(std::string{call}.replace(call.size() - 16, 2, "20") + "6c 65 76 65 6c 3d 37 37 00'"),
                HasSubstr("level=77"));
    expectCleanStop(plugin);
}

}  // namespace
