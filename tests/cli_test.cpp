// Remote command line: arguments as sent, output in the file, and requests that must not run anything.
#include "vos/cli.h"

#include <sys/socket.h>

#include <chrono>
#include <thread>

#include "support/effort.h"
#include "support/hub_test.h"

using testing::ElementsAre;
using vostest::kPeer;
using vostest::kSelf;
using vostest::message;

namespace {

constexpr uint32_t kType = 0x10005000;
constexpr uint32_t kResult = 4711;

std::vector<std::string> g_args;
int g_runs;

uint32_t record(int argc, char **argv, FILE *out) {
    g_runs++;
    g_args.assign(argv, argv + argc);
    EXPECT_EQ(argv[argc], nullptr);
    fprintf(out, "ran with %d\n", argc);
    return kResult;
}

std::string addressOf(UtilCliFunc func) {
    return {reinterpret_cast<char *>(&func), sizeof func};
}

class RemoteCli : public vostest::HubTest {
  protected:
    RemoteCli() { g_runs = 0; }
    ~RemoteCli() override { std::filesystem::remove_all(UTIL_CLI_RESULT_FILE); }

    /** Without a command the request goes to UTIL_cliHandleCmd(). The block ends where the payload ends. */
    VosRet run(uint32_t argc, const std::string &payload, UtilCliFunc command = nullptr) {
        const std::string bytes = message(kType, kPeer, kSelf, VOS_MSG_FLAG_REQUEST, argc, payload).bytes();
        std::vector<char> block{bytes.begin(), bytes.end()};
        auto *msg = reinterpret_cast<VosMsgHeader *>(block.data());
        return command == nullptr ? UTIL_cliHandleCmd(handle, msg) : UTIL_processRemoteCli(handle, msg, command);
    }
    void expectReply(uint32_t result) {
        ASSERT_TRUE(hub.hasData());
        EXPECT_EQ(sent(), message(kType, kSelf, kPeer, VOS_MSG_FLAG_RESPONSE, result).bytes());
    }
    static std::string output() { return vostest::readText(UTIL_CLI_RESULT_FILE); }
};

TEST_F(RemoteCli, RunsTheCommandAndAnswersWithItsResult) {
    EXPECT_EQ(run(3, addressOf(record) + std::string{"show\0\0last\0more\0", 16}), VOS_RET_OK);
    expectReply(kResult);
    EXPECT_THAT(g_args, ElementsAre("show", "", "last"));
    EXPECT_EQ(output(), "ran with 3\n");

    EXPECT_EQ(run(UTIL_CLI_MAX_ARGS, std::string(8 + UTIL_CLI_MAX_ARGS, '\0'), record), VOS_RET_OK)
        << "the address is not looked at";
    EXPECT_EQ(g_args.size(), 32U);
    expectReply(kResult);
    EXPECT_EQ(run(5, "", record), VOS_RET_OK) << "no payload, no arguments";
    EXPECT_THAT(g_args, ElementsAre());
    EXPECT_EQ(output(), "ran with 0\n");
}

TEST_F(RemoteCli, MalformedRequestsRunNothingAndAreAnswered) {
    int notCode = 0;
    const std::string address = addressOf(record);
    const std::tuple<const char *, uint32_t, std::string, UtilCliFunc> kRows[] = {
        {"shorter than the address", 0, "1234567", record},
        {"last argument without its terminator", 2, address + std::string{"a\0b", 3}, nullptr},
        {"fewer arguments than announced", 2, address + std::string{"a\0", 2}, record},
        {"more arguments than the table holds", 33, address + std::string(33, '\0'), record},
        {"a count that is negative as a number", 0xFFFFFFFF, address + std::string(64, '\0'), record},
        {"no address", 0, "", nullptr},
        {"part of an address", 0, address.substr(0, 7), nullptr},
        {"NULL address", 0, std::string(8, '\0'), nullptr},
        {"address of data", 0, addressOf(reinterpret_cast<UtilCliFunc>(&notCode)), nullptr},
    };
    vostest::Diagnostics diagnostics;
    for (const auto &[what, argc, payload, command] : kRows) {
        SCOPED_TRACE(what);
        EXPECT_EQ(run(argc, payload, command), VOS_RET_BAD_ARG);
        expectReply(VOS_RET_BAD_ARG);
    }
    EXPECT_EQ(diagnostics.takeBodies().front(), "invalid remote command, dataLength(7), argc(0)");
    EXPECT_EQ(g_runs, 0);
    EXPECT_FALSE(std::filesystem::exists(UTIL_CLI_RESULT_FILE));
}

TEST_F(RemoteCli, ClosesTheFileBeforeItAnswers) {
    int32_t fd = -1;
    vosMsg_getEventHandle(handle, &fd);
    const std::string filler(1 << 12, 'x');
    while (send(fd, filler.data(), filler.size(), MSG_DONTWAIT) > 0) {
    }
    std::thread command{[&] { EXPECT_EQ(run(0, "", record), VOS_RET_OK); }};
    const auto patience = std::chrono::steady_clock::now() + std::chrono::milliseconds{vostest::patienceMs()};
    while (output() != "ran with 0\n" && std::chrono::steady_clock::now() < patience) {
        std::this_thread::yield();
    }
    EXPECT_EQ(output(), "ran with 0\n") << "there is no room for the answer yet";
    for (std::string bytes(1 << 20, 0); recv(hub.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0;) {
    }
    command.join();
}

TEST_F(RemoteCli, WritesToAFileOfItsOwn) {
    const vostest::TempDir dir;
    vostest::writeText(dir / "precious", "precious");
    std::filesystem::create_symlink(dir / "precious", UTIL_CLI_RESULT_FILE);
    EXPECT_EQ(run(0, "", record), VOS_RET_OK);
    expectReply(kResult);
    EXPECT_EQ(output(), "ran with 0\n");
    EXPECT_EQ(vostest::readText(dir / "precious"), "precious");

    std::filesystem::remove(UTIL_CLI_RESULT_FILE);
    std::filesystem::create_directory(UTIL_CLI_RESULT_FILE);
    EXPECT_EQ(run(0, "", record), VOS_RET_OK) << "an empty directory makes room";
    expectReply(kResult);

    std::filesystem::remove(UTIL_CLI_RESULT_FILE);
    std::filesystem::create_directories(UTIL_CLI_RESULT_FILE "/full");
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(run(0, addressOf(record)), VOS_RET_OPEN_FAILED);
    EXPECT_THAT(diagnostics.takeBodies(), ElementsAre("Enter>", "open file /tmp/cli_remote_result fail"));
    EXPECT_FALSE(hub.hasData());
}

}  // namespace
