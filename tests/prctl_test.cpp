// Child processes: real programs that report what they inherited, killed, collected and found by name.
#include "vos/prctl.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>

#include <csignal>
#include <cstring>
#include <thread>
#include <vector>

#include "support/files.h"
#include "support/syslog_catcher.h"

namespace {

using namespace std::string_literals;

struct Outcome {
    VosRet ret;
    PrctlProcessResult result;
    std::string output;  // of standard output and error
};

VosRet collect(uint32_t mode, int32_t pid, uint32_t timeoutMs, PrctlProcessResult *result) {
    const PrctlCollectRequest request{mode, pid, timeoutMs};
    return prctl_collectProcess(&request, result);
}

PrctlSpawnRequest inheriting(const char *exe, const char *args = nullptr) {
    PrctlSpawnRequest request{};
    request.exe = exe;
    request.args = args;
    request.stdoutFd = 1;
    request.stderrFd = 2;
    request.serverFd = -1;
    request.maxFd = 63;
    return request;
}

/** Runs a request to its end with both outputs caught. A child that returns from the call exits with 77. */
Outcome run(PrctlSpawnRequest request) {
    int fds[2];
    EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
    request.stdoutFd = request.stdoutFd == 1 ? fds[1] : request.stdoutFd;
    request.stderrFd = request.stderrFd == 2 ? fds[1] : request.stderrFd;
    const pid_t self = getpid();
    Outcome outcome{};
    outcome.ret = prctl_spawnProcess(&request, &outcome.result);
    if (getpid() != self) {
        dprintf(STDOUT_FILENO, "%s", getenv("LD_LIBRARY_PATH") == nullptr ? "" : getenv("LD_LIBRARY_PATH"));
        _exit(outcome.ret == VOS_RET_ERROR ? 77 : 1);
    }
    close(fds[1]);
    outcome.output = vostest::readToEnd(fds[0]);
    EXPECT_EQ(collect(PRCTL_COLLECT_PID, outcome.result.pid, 0, &outcome.result), VOS_RET_OK);
    return outcome;
}

class ProcessTest : public testing::Test {
  protected:
    ~ProcessTest() override { EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind"; }

    /** A shell script as a program of its own. */
    std::string program(const std::string &script) {
        const std::string path = directory / "program";
        vostest::writeText(path, "#!/bin/sh\n" + script + "\n");
        chmod(path.c_str(), 0755);
        return path;
    }

    vostest::TempDir directory;
    vostest::SameDescriptors descriptors;
};

TEST(ArgumentVector, IsSplitAtBlanksAndTabs) {
    const std::tuple<const char *, const char *, std::vector<std::string>> kRows[] = {
        {"/bin/ls", "-l  /tmp\t'a b'", {"ls", "-l", "/tmp", "'a", "b'"}},
        {"ls", nullptr, {"ls"}},
        {"/bin/", " \t ", {""}},
        {"/a/b", "", {"b"}},
        {nullptr, "x y", {"x", "y"}},
        {"", nullptr, {}},
    };
    for (const auto &[exe, args, words] : kRows) {
        char **argv = nullptr;
        ASSERT_EQ(parseArgs(exe, args, &argv), VOS_RET_OK);
        EXPECT_EQ(std::vector<std::string>(argv, argv + words.size()), words);
        EXPECT_EQ(argv[words.size()], nullptr);
        freeArgs(argv);
    }
}

/** A script and what comes out of it when `change` has been asked for. */
struct Row {
    const char *script;
    const char *output;
    void (*change)(PrctlSpawnRequest &);
    int exitCode = 3;
};
constexpr const char *kIgnored = "sed -n 's/^SigIgn:.*\\(....\\)$/\\1/p' /proc/self/status";
constexpr const char *kNamespace = "[ $(stat -Lc %i /proc/self/ns/net) = $(stat -c %i /run/netns/vosprobe) ] && id -u";
constexpr Row kRows[] = {
    {"echo \"${0##*/}|$1|$2|$PWD|$LD_LIBRARY_PATH|$VOSKEPT\"", "program|one|two|/proc|/old:/new:/newer|kept\n",
     [](PrctlSpawnRequest &request) {
         request.args = "one two", request.workDir = "/proc", request.extraLibPath = "/new:/newer";
     }},
    {"for fd in 0 2 3 40; do readlink /proc/$$/fd/$fd || echo none; done", "/dev/null\n/dev/null\n/dev/full\nnone\n",
     [](PrctlSpawnRequest &request) {
         request.stdinFd = request.stderrFd = -1, request.serverFd = request.maxFd = 50;
     }},
    {"readlink /proc/$$/fd/40", "/dev/zero\n", [](PrctlSpawnRequest &request) { request.maxFd = 2; }},
    {kIgnored, "0000\n", [](PrctlSpawnRequest &) {}},
    {kIgnored, "0002\n", [](PrctlSpawnRequest &request) { request.inheritSigint = 1; }},
    {"", "SigBlk:\t0000000000000800\n",
     [](PrctlSpawnRequest &request) { request.exe = "/bin/grep", request.args = "SigBlk /proc/self/status"; }, 0},
    {kNamespace, "0\n", [](PrctlSpawnRequest &request) { request.netnsName = "vosprobe", request.workDir = "/"; }},
    {"", "execv: No such file or directory\n", [](PrctlSpawnRequest &request) { request.exe = "/tmp/absent"; }, 255},
    {"ulimit -n; ulimit -v; ulimit -c; cut -d' ' -f6 /proc/$$/stat | grep -qx $$ && echo leader",
     "40\n524288\n0\nleader\n",
     [](PrctlSpawnRequest &request) {
         request.nofileLimit = 40, request.asLimit = 512 << 20, request.rssLimit = 1 << 20;
         request.disableCore = request.detach = 1;
     }},
    // Beyond what the kernel allows anybody; the child goes on with the environment it was given.
    {"", "/new",
     [](PrctlSpawnRequest &request) {
         setenv("LD_LIBRARY_PATH", "", 1);
         request.nofileLimit = UINT32_MAX, request.extraLibPath = "/new";
     },
     77},
};

TEST_F(ProcessTest, ArrangesTheChildAsAsked) {
    // Shells keep the script they read at 10 or a little above.
    for (const auto &[path, number] : {std::pair{"/dev/zero", 40}, {"/dev/full", 50}}) {
        const int fd = open(path, O_RDONLY);
        dup2(fd, number);
        close(fd);
    }
    ASSERT_EQ(system("ip netns add vosprobe"), 0);
    setenv("LD_LIBRARY_PATH", "/old", 1);
    setenv("VOSKEPT", "kept", 1);
    for (const int number : {SIGINT, SIGUSR1, SIGHUP}) {
        signal(number, SIG_IGN);
    }
    sigset_t blocked, after;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_SETMASK, &blocked, nullptr);
    rlimit core;
    getrlimit(RLIMIT_CORE, &core);
    const rlimit allowed{core.rlim_max, core.rlim_max};
    setrlimit(RLIMIT_CORE, &allowed);
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.output);
        const std::string exe = program(row.script + "; exit 3"s);
        PrctlSpawnRequest request = inheriting(exe.c_str());
        row.change(request);
        const Outcome outcome = run(request);
        EXPECT_EQ(outcome.output, row.output);
        EXPECT_EQ(outcome.result.exitCode, row.exitCode);
        EXPECT_EQ(outcome.result.signalNumber, 0);
        EXPECT_EQ(outcome.result.ptyFd, 0);
    }
    setrlimit(RLIMIT_CORE, &core);
    sigprocmask(SIG_UNBLOCK, &blocked, &after);
    EXPECT_EQ(memcmp(&after, &blocked, 8), 0) << "the parent's own mask";
    for (const int number : {SIGINT, SIGUSR1, SIGHUP}) {
        EXPECT_EQ(signal(number, SIG_DFL), SIG_IGN);
    }
    EXPECT_STREQ(getenv("LD_LIBRARY_PATH"), "");
    unsetenv("LD_LIBRARY_PATH");
    close(40);
    close(50);
    // The user comes first, and may not enter any more; the child goes on.
    PrctlSpawnRequest request = inheriting("/usr/bin/id", "-u");
    request.netnsName = "vosprobe";
    request.uid = 12345;
    const std::string output = run(request).output;
    EXPECT_TRUE(output == "0\n" ||
                output == "setting the network namespace \"vosprobe\" failed: Operation not permitted\n12345\n")
        << output;
    EXPECT_EQ(system("ip netns del vosprobe"), 0);
}

TEST_F(ProcessTest, KeepsDiagnosticsOutOfTheChildsDescriptors) {
    // Number 3 is held back until the connection to syslog takes it.
    const int saved = dup(3);
    dup2(STDERR_FILENO, 3);
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
    {
        vostest::Diagnostics diagnostics;
        close(3);
        syslog(LOG_DEBUG, "connected");
        PrctlSpawnRequest request = inheriting("/bin/readlink", "/proc/self/fd/3");
        request.serverFd = ends[0];
        request.extraLibPath = "/new";
        request.detach = 1;
        EXPECT_EQ(run(request).output,
                  std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(ends[0])).string() + "\n");
        std::string told;
        for (const vostest::SyslogLine &line : diagnostics.take()) {
            told += line.facility != LOG_DAEMON ? ""
                                                : line.ident + ": " + std::to_string(line.priority) + line.body() + ";";
        }
        EXPECT_EQ(told, "prctl_test: 7" + vostest::asCaught("LD_LIBRARY_PATH:/new.\n") +
                            ";prctl_test: 7detached from terminal;");
    }
    char text[100];
    EXPECT_EQ(recv(ends[1], text, sizeof text, MSG_DONTWAIT), -1);
    saved < 0 ? close(3) : dup2(saved, 3);
    for (const int fd : {saved, ends[0], ends[1]}) {
        close(fd);
    }
}

TEST_F(ProcessTest, StartsEveryChildWhileThreadsLog) {
    const vostest::Diagnostics diagnostics;
    std::vector<std::jthread> loggers;
    for (int i = 0; i < 3; i++) {
        loggers.emplace_back([](const std::stop_token &stop) {
            while (!stop.stop_requested()) {
                syslog(LOG_DEBUG, "busy");
            }
        });
    }
    PrctlSpawnRequest request = inheriting("/bin/true");
    request.extraLibPath = "/new";
    request.detach = 1;
    request.spawnMode = PRCTL_SPAWN_AND_WAIT;
    request.timeoutMs = 10000;
    for (int i = 0; i < 100; i++) {
        PrctlProcessResult result{};
        ASSERT_EQ(prctl_spawnProcess(&request, &result), VOS_RET_OK);
        ASSERT_EQ(result.signalNumber, 0);
    }
}

TEST_F(ProcessTest, LeavesTheParentsOtherThreadsAlone) {
    std::filesystem::create_directories("/var/run/netns");
    ASSERT_EQ(mkfifo("/var/run/netns/vosfifo", 0600), 0);
    // The child waits in the namespace's file until another thread of the parent comes.
    const std::jthread other{[] { close(open("/var/run/netns/vosfifo", O_WRONLY)); }};
    PrctlSpawnRequest request = inheriting("/bin/true");
    request.netnsName = "vosfifo";
    EXPECT_EQ(run(request).output, "setting the network namespace \"vosfifo\" failed: Invalid argument\n");
    unlink("/var/run/netns/vosfifo");
}

TEST_F(ProcessTest, RefusesWhatCannotBeAProgram) {
    for (const char *exe : {"sleep", "/bin/", "", static_cast<const char *>(nullptr)}) {
        const Outcome outcome = run(inheriting(exe));
        EXPECT_EQ(outcome.ret, VOS_RET_OK);
        EXPECT_EQ(outcome.result.exitCode, 77);
        EXPECT_TRUE(outcome.output.ends_with("Invalid process name "s + (exe == nullptr ? "" : exe) + "\n"));
    }
}

TEST_F(ProcessTest, RunsOnATerminalOfItsOwn) {
    const std::string exe = program("tty; read line; echo got $line");
    PrctlSpawnRequest request = inheriting(exe.c_str());
    request.usePty = 1;
    PrctlProcessResult result;
    ASSERT_EQ(prctl_spawnProcess(&request, &result), VOS_RET_OK);
    ASSERT_GE(result.ptyFd, 3);
    EXPECT_EQ(fcntl(result.ptyFd, F_GETFD), FD_CLOEXEC) << "later children do not inherit it";
    ASSERT_EQ(write(result.ptyFd, "ping\n", 5), 5);
    const std::string output = vostest::readToEnd(result.ptyFd);
    EXPECT_THAT(output, testing::AllOf(testing::HasSubstr("/dev/pts/"), testing::HasSubstr("got ping")));
    EXPECT_EQ(collect(PRCTL_COLLECT_PID, result.pid, 0, &result), VOS_RET_OK);
}

TEST_F(ProcessTest, CollectsKillsAndSignalsChildren) {
    PrctlSpawnRequest request = inheriting("/bin/sleep", "100");
    PrctlProcessResult started;
    ASSERT_EQ(prctl_spawnProcess(&request, &started), VOS_RET_OK);
    EXPECT_EQ(started.status, 1u);
    EXPECT_EQ(started.ptyFd, -1);
    PrctlProcessResult result;
    for (const uint32_t mode : {PRCTL_COLLECT_PID_TIMEOUT, PRCTL_COLLECT_ANY_TIMEOUT}) {
        EXPECT_EQ(collect(mode, started.pid, 3, &result), VOS_RET_TIMEOUT);
        EXPECT_EQ(result.status, 0u);
    }
    EXPECT_EQ(prctl_terminateProcessForcefully(started.pid), VOS_RET_OK);
    EXPECT_EQ(collect(0, 0, 0, &result), VOS_RET_OK);
    EXPECT_EQ(result.pid, started.pid);
    EXPECT_EQ(result.signalNumber, SIGTERM);
    EXPECT_EQ(collect(PRCTL_COLLECT_PID, started.pid, 0, &result), VOS_RET_BAD_ARG);
    EXPECT_EQ(collect(PRCTL_COLLECT_PID_TIMEOUT, started.pid, 1000, &result), VOS_RET_BAD_ARG);
    // One that outlives its time, and one that does not, on a terminal.
    request.spawnMode = PRCTL_SPAWN_AND_WAIT;
    EXPECT_EQ(prctl_spawnProcess(&request, &result), VOS_RET_OK);
    EXPECT_EQ(result.status, 2u);
    EXPECT_EQ(result.signalNumber, SIGKILL);
    request.exe = "/bin/true";
    request.timeoutMs = 60000;
    request.usePty = 1;
    EXPECT_EQ(prctl_spawnProcess(&request, &result), VOS_RET_OK);
    EXPECT_EQ(result.signalNumber, 0);
    EXPECT_EQ(result.ptyFd, 0);
    int32_t pid = runCommandInShell("exec sleep 100");
    prctl_signalProcessDelay(&pid);
    EXPECT_EQ(collect(PRCTL_COLLECT_PID, pid, 0, &result), VOS_RET_OK);
    EXPECT_EQ(result.signalNumber, SIGKILL);
}

TEST(ProcessSignal, GoesToOneProcessOnly) {
    for (const int32_t pid : {0, -1, -getpid()}) {
        EXPECT_EQ(prctl_signalProcess(pid, SIGKILL), VOS_RET_BAD_ARG);
    }
    EXPECT_EQ(prctl_signalProcess(getpid(), 9999), VOS_RET_BAD_ARG);
    EXPECT_EQ(prctl_signalProcess(getpid(), 0), VOS_RET_OK);
    EXPECT_EQ(prctl_terminateProcessGracefully(getpid()), VOS_RET_ERROR);
}

TEST(ProcessName, IsReadUpToItsFirstBlank) {
    constexpr std::tuple<const char *, const char *, bool> kNames[] = {
        {"vosprobe", "vosprobe", true},
        {"vos(probe)", "vos(probe)", true},
        {"vos) probe", "vos)", false},
        {"vos) probe", "vos", true},
        {"vosq probe", "vosq probe", false},
        {"vosq probe", "vosq", true},
        {"vosprobe-longer-than-15", "vosprobe-longer-than-15", false},
        {"vosprobe-longer-than-15", "vosprobe-longer", true},
    };
    for (const auto &[command, found, known] : kNames) {
        SCOPED_TRACE(command);
        char before[17];
        prctl(PR_GET_NAME, before);
        prctl(PR_SET_NAME, command);
        EXPECT_EQ(prctl_getPidByName(found), known ? getpid() : 0);
        prctl(PR_SET_NAME, before);
    }
}

TEST_F(ProcessTest, RunsCommandsInTheShell) {
    for (const int fd : {20, 50, 51}) {
        dup2(STDERR_FILENO, fd);
    }
    constexpr const char *kOpen = "cd /proc/self/fd; [ ! -e 20 ] && [ ! -e 50 ] && [ -e 51 ]";
    for (const auto &[command, value] : {std::pair{"exit 3", 3}, {"kill -TERM $$", 15}, {kOpen, 0}}) {
        EXPECT_EQ(prctl_runCommandInShellBlocking(command), value) << command;
        EXPECT_EQ(prctl_runCommandInShellWithTimeout(command), value) << command;
    }
    for (const int fd : {20, 50, 51}) {
        close(fd);
    }
    {
        // A signal whose handler ends calls, every millisecond.
        struct sigaction handler {};
        handler.sa_handler = [](int) {};
        sigaction(SIGALRM, &handler, nullptr);
        const itimerval often{{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &often, nullptr);
        EXPECT_EQ(prctl_runCommandInShellBlocking("sleep 0.05; exit 3"), 3);
        char text[8] = {};
        EXPECT_EQ(UTIL_commSystemEx("sleep 0.05; printf abc; sleep 0.05; printf def", text, 7), 1);
        EXPECT_STREQ(text, "abcdef");
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
    }
    const std::string longArgument(300, 'x');
    EXPECT_EQ(WEXITSTATUS(UTIL_doSystemAction("test", ": %s; exit %d", longArgument.c_str(), 8)), 8);
    const std::tuple<const char *, int, std::string> kOutputs[] = {
        {"printf abc", 1, "abc\0\0\0\0x"s}, {"printf 0123456789", 1, "0123456x"}, {"true", 0, "\0\0\0\0\0\0\0x"s}};
    for (const auto &[command, found, text] : kOutputs) {
        std::string output(8, 'x');
        EXPECT_EQ(UTIL_commSystemEx(command, output.data(), 7), found) << command;
        EXPECT_EQ(output, text);
    }
    const std::string mark = testing::TempDir() + "vos_ran";
    EXPECT_EQ(UTIL_commSystemEx(("echo > " + mark).c_str(), nullptr, 0), 0);
    EXPECT_EQ(remove(mark.c_str()), 0) << "a size of 0 runs the command";
    ASSERT_EQ(mount("/dev/null", "/bin/sh", nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(prctl_runCommandInShellBlocking("true"), 127) << "no shell";
    umount("/bin/sh");
}

}  // namespace
