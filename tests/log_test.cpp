// The daemon log: real segments, files, syslog and terminals.
#include "vos/log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <functional>

#include "internal/guards.h"
#include "support/files.h"
#include "support/leak.h"
#include "support/printed.h"
#include "support/syslog_catcher.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
using vostest::printed;
using vostest::readText;
using vostest::writeText;

// The program comes first in symbol resolution: entries of this test carry a fixed time.
extern "C" int clock_gettime(clockid_t clock, timespec *now) {
    *now = {.tv_sec = 12345, .tv_nsec = 678000000};
    return clock == CLOCK_MONOTONIC ? 0 : static_cast<int>(syscall(SYS_clock_gettime, clock, now));
}

namespace {

constexpr VosEntityId kEid = 4711;
constexpr const char *kFile = "/tmp/log3/4711.log";
constexpr const char *kOlderFile = "/tmp/log3/4711.log.0";
constexpr uint32_t kFileOnly = 5;

key_t keyOf(const std::string &name) {
    return ftok(("/tmp/logKey" + name).c_str(), VOS_LOG_KEY_ID);
}

/** The segment of a name as a tool from outside sees it. */
LogSharedConfig *segmentOf(const std::string &name) {
    void *attached = shmat(shmget(keyOf(name), 0, 0), nullptr, 0);
    return attached == reinterpret_cast<void *>(-1) ? nullptr : static_cast<LogSharedConfig *>(attached);
}

/** Takes every `part` out of the text; how many there were. */
size_t removeAll(std::string &text, const std::string &part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at)) {
        text.erase(at, part.size());
        count++;
    }
    return count;
}

/** What `body` writes to standard error. */
std::string errors(const std::function<void()> &body) {
    CaptureStderr();
    body();
    return GetCapturedStderr();
}

bool inChild(const std::function<bool()> &body) {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(body() ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    return status == 0;
}

struct Terminal {
    Terminal() {
        termios raw{};
        cfmakeraw(&raw);
        EXPECT_EQ(openpty(&primary, &secondary, name, &raw, nullptr), 0);
    }
    ~Terminal() { close(primary), close(secondary); }
    int primary = -1, secondary = -1;
    char name[64];
};

/** Whether all three standard descriptors are the terminal. */
bool standardsAre(const Terminal &terminal) {
    return std::ranges::all_of(std::array{0, 1, 2}, [&](int fd) {
        const char *found = ttyname(fd);
        return found != nullptr && strcmp(found, terminal.name) == 0;
    });
}

std::string targetOf(int fd) {
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd));
}

// Stands first, so that it also meets a process without configuration when the whole file runs at once.
TEST(LogBeforeInit, GivesDefaultsAndWritesNothing) {
    vosLog_setLevel(9);
    vosLog_setDestination(VOS_LOG_DEST_SYSLOG);
    vosLog_setMaxSize(1);
    EXPECT_EQ(vosLog_getLevel(), 3U);
    EXPECT_EQ(vosLog_getDestination(), 1U);
    EXPECT_EQ(vosLog_getMaxSize(), 32U);
    vosLog_setHeaderMask(5);
    EXPECT_EQ(vosLog_getHeaderMask(), 5U);
    EXPECT_EQ(errors([] {
                  VOS_LOG_ERROR("lost");
                  vosLog_vprintf(1, VOS_LOG_DEST_STDERR, true, "lost");
                  vosLog_hexDump(reinterpret_cast<const uint8_t *>("x"), 1);
                  vosLog_cache("f", 1);
                  vosLog_printf(1, VOS_LOG_DEST_STDERR, true, nullptr);
              }),
              "");
}

class LogTest : public testing::Test {
  protected:
    LogTest() {
        vosLog_init(kEid);
        segment = segmentOf("EID4711");
    }
    ~LogTest() override {
        vosLog_cleanup();
        shmdt(segment);
        shmctl(shmget(keyOf("EID4711"), 0, 0), IPC_RMID, nullptr);
        std::filesystem::remove_all("/tmp/log3");
    }

    LogSharedConfig *segment;
};

TEST_F(LogTest, ComposesEntriesByLevelMaskAndDestination) {
    EXPECT_EQ(vosLog_getHeaderMask(), 15U);
    vosLog_setLevel(100);
    const std::tuple<uint32_t, uint32_t, uint32_t, const char *, const char *> kRows[] = {
        {3, 15, VOS_LOG_DEST_STDERR, "boom", "\033[1;31mEID4711:error:345.678:here:42:boom\033[0m\n"},
        {3, 15, kFileOnly, "boom", "\033[1;31mEID4711:345.678:here:42:boom\033[0m\n"},
        {3, 0, VOS_LOG_DEST_STDERR, "own line\n", "\033[1;31mown line\n\033[0m\n"},
        {2, 15, VOS_LOG_DEST_STDERR, "raw", "raw"},
        {5, 1, VOS_LOG_DEST_STDERR, "n", "\033[1;32mEID4711:n\033[0m\n"},
        {5, 2, VOS_LOG_DEST_STDERR, "n", "\033[1;32mnotice:n\033[0m\n"},
        {7, 8, VOS_LOG_DEST_STDERR, "d", "\033[0;33mhere:42:d\033[0m\n"},
        {9, 4, VOS_LOG_DEST_STDERR, "v", "\033[0;34m345.678:v\033[0m\n"},
        {4, 2, VOS_LOG_DEST_STDERR, "?", "invalid:?\033[0m\n"},
        {0, 2, VOS_LOG_DEST_STDERR, "?", "invalid:?\033[0m\n"}};
    for (const auto &[level, mask, destination, message, entry] : kRows) {
        SCOPED_TRACE(entry);
        vosLog_clear(kEid);
        vosLog_setHeaderMask(mask);
        vosLog_setDestination(destination);
        const std::string written =
            errors([severity = level, body = message] { log_log(severity, "here", 42, "%s", body); });
        EXPECT_EQ(written, destination == VOS_LOG_DEST_STDERR ? entry : "");
        EXPECT_EQ(readText(kFile), entry);
    }
}

TEST_F(LogTest, CutsEntriesThatDoNotFit) {
    vosLog_setDestination(kFileOnly);
    vosLog_setHeaderMask(VOS_LOG_HDRMASK_LOCATION);
    const std::string big(20000, 'x');
    for (const auto &[func, message] : {std::pair{"f", big.c_str()}, std::pair{big.c_str(), "message"}}) {
        vosLog_clear(kEid);
        log_log(VOS_LOG_LEVEL_ERROR, func, 1, "%s", message);
        EXPECT_EQ(readText(kFile).size(), 10240U) << "one terminator less, one line feed more";
    }
}

TEST_F(LogTest, RecordsCallSitesOfSuppressedEntriesToo) {
    vosLog_setLevel(VOS_LOG_LEVEL_NONE);
    log_log(VOS_LOG_LEVEL_RAW, "never", 1, "x");
    EXPECT_STREQ(segment->callSites[0], "") << "a silenced log does nothing";
    vosLog_setLevel(VOS_LOG_LEVEL_ERROR);
    log_log(VOS_LOG_LEVEL_DEBUG, "first", 1, "x");
    EXPECT_EQ(readText(kFile), "");
    EXPECT_STREQ(segment->callSites[0], "<first:1>");
    vosLog_cache(std::string(200, 'f').c_str(), 2);
    EXPECT_EQ(segment->callSites[1], "<" + std::string(78, 'f'));
    vosLog_cache(nullptr, 4294967295U);
    EXPECT_STREQ(segment->callSites[2], "<?:-1>");
    for (uint32_t i = 4; i <= 33; i++) {
        vosLog_cache("more", i);
        EXPECT_EQ(segment->callSiteNext, i % 32);
    }
    EXPECT_STREQ(segment->callSites[0], "<more:33>");
}

TEST_F(LogTest, SurvivesWhateverOthersWriteIntoTheSegment) {
    for (const uint32_t value : {32U, 33U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        memset(static_cast<void *>(segment), 0xFF, sizeof *segment);
        segment->callSiteNext = value;
        const std::string written = errors([] { VOS_LOG_ERROR("still there"); });
        EXPECT_EQ(written, "") << "nowhere but the file";
        EXPECT_EQ(segment->callSiteNext, value % 32);
        EXPECT_EQ(segment->maxSize, 0xFFFFFFFFU);
    }
    EXPECT_THAT(readText(kFile), HasSubstr("still there"));
}

TEST_F(LogTest, HandsOnTheConfiguredLevelAndDefusesFormats) {
    vostest::SyslogCatcher catcher;
    vosLog_setLevel(VOS_LOG_LEVEL_DEBUG);
    vosLog_setDestination(VOS_LOG_DEST_SYSLOG);
    vosLog_setHeaderMask(0);
    VOS_LOG_ERROR("to syslog");
    const auto line = catcher.take().at(0);
    EXPECT_EQ(line.priority | line.facility, LOG_DEBUG | LOG_DAEMON);
    EXPECT_EQ(line.text, "\033[1;31mto syslog\033[0m");

    errno = ENOENT;
    oalLog_syslog(LOG_ERR, "%s%n %5d 100%% %m %%m %");
    vosLog_printf(LOG_ERR, VOS_LOG_DEST_SYSLOG, true, "%%%");
    EXPECT_EQ(vosSyslog_info("%s", "50%% of %s"), 0);
    EXPECT_EQ(vosLog_security("%s", "nothing"), 0);
    oalLog_syslog(LOG_ERR, nullptr);
    EXPECT_THAT(catcher.takeBodies(),
                ElementsAre("%s%n %5d 100% No such file or directory %m %", "%%", "000000 50% of %s"));
}

TEST_F(LogTest, HeaderlessTextsAreBlueAndFollowTheLevelAlone) {
    vosLog_setLevel(VOS_LOG_LEVEL_NONE);
    EXPECT_EQ(errors([] { vosLog_vprintf(1, VOS_LOG_DEST_STDERR, true, "n=%d", 1); }), "\033[0;34mn=1\033[0m\n");
    EXPECT_EQ(errors([] { vosLog_vprintf(1, VOS_LOG_DEST_STDERR, false, "n=%d", 2); }), "\033[0;34mn=2\033[0m");
    EXPECT_EQ(errors([] { vosLog_vprintf(2, VOS_LOG_DEST_STDERR, true, "n=%d", 3); }), "");
    EXPECT_STREQ(segment->callSites[0], "");
}

TEST_F(LogTest, DumpsBytesCellByCell) {
    const uint8_t bytes[] = "\x1F 0123456789\x7F\x80\x81yz{|}";
    vosLog_setDestination(kFileOnly);
    vosLog_setLevel(VOS_LOG_LEVEL_NOTICE);
    vosLog_hexDump(bytes, 20);
    EXPECT_EQ(readText(kFile), "") << "a dump is debug output";
    vosLog_setLevel(VOS_LOG_LEVEL_DEBUG);
    vosLog_hexDump(nullptr, 20);
    vosLog_hexDump(bytes, 0);
    vosLog_hexDump(bytes, 20);
    std::string text = readText(kFile);
    EXPECT_EQ(removeAll(text, "\033[0;34m"), 62U) << "each piece has its own colours";
    EXPECT_EQ(removeAll(text, "\033[0m"), 62U);
    char head[128];
    snprintf(head, sizeof head, "\r\n%08X  00 01 02 03 04 05 06 07   08 09 0A 0B 0C 0D 0E 0F ; ASCII [20 bytes]\r\n",
             static_cast<uint32_t>(reinterpret_cast<uintptr_t>(bytes)));
    EXPECT_EQ(text, head + std::string(78, '-') +
                        "\r\n00000000: 1F 20 30 31 32 33 34 35   36 37 38 39 7F 80 81 79 ; . 0123456789\x7F\x80.y\r\n"
                        "00000010: 7A 7B 7C 7D" +
                        std::string(39, ' ') + "; z{|}\r\n");
}

TEST_F(LogTest, RotatesWhenThePositionHasReachedTheMaximum) {
    vosLog_setDestination(kFileOnly);
    vosLog_setMaxSize(10);
    for (const char *text : {"12345678", "overshoots", "afresh"}) {
        vosLog_printf(3, kFileOnly, true, text);
    }
    EXPECT_EQ(readText(kOlderFile), "12345678\novershoots\n");
    EXPECT_EQ(readText(kFile), "afresh\n");

    EXPECT_EQ(printed([] { vosLog_show(kEid); }), "12345678\novershoots\nafresh\n");
    vosLog_clear(1);
    EXPECT_EQ(readText(kFile), "") << "emptied is the caller's own file, whatever the id";
    EXPECT_EQ(readText(kOlderFile), "12345678\novershoots\n");
    vosLog_clear(kEid);
    EXPECT_FALSE(std::filesystem::exists(kOlderFile));
    EXPECT_THAT(printed([] { vosLog_show(0), vosLog_clear(0); }),
                MatchesRegex("vosLog_show:[0-9]+ Invalid eid\nvosLog_clear:[0-9]+ Invalid eid\n"));
}

TEST_F(LogTest, RotationUnderWritesOfTwoProcessesTearsNoEntry) {
    constexpr uint32_t kMaxSize = 2000;
    const auto writeMany = [](char who) {
        const vostest::ExpectedLeak leak;
        vosLog_init(kEid);
        vosLog_setDestination(kFileOnly);
        vosLog_setMaxSize(kMaxSize);
        for (int i = 0; i < 150; i++) {
            vosLog_printf(3, kFileOnly, true, ("[" + std::string(50, who) + "]").c_str());
        }
        return true;
    };
    errors([&] {  // two copies at once may get into each other's way
        const pid_t other = fork();
        if (other == 0) {
            _exit(writeMany('b') ? 0 : 1);
        }
        EXPECT_TRUE(inChild([&] { return writeMany('a'); }));
        waitpid(other, nullptr, 0);
    });
    for (const char *path : {kFile, kOlderFile}) {
        const std::string text = readText(path);
        EXPECT_THAT(text, MatchesRegex("(\\[(a{50}|b{50})\\]\n)*"));
        EXPECT_LE(text.size(), kMaxSize + 2 * 53);
    }
    EXPECT_GT(readText(kOlderFile).size(), 0U);
}

TEST_F(LogTest, ThreadsLoseNothingToARotation) {
    constexpr int kEntries = 120;
    const std::string entry(49, 'x');
    vosLog_setDestination(kFileOnly);
    for (int round = 0; round < 5; round++) {
        vosLog_clear(kEid);
        vosLog_setMaxSize(2 * kEntries * 50 * 2 / 3);  // one rotation
        const auto writeAll = [&] {
            for (int i = 0; i < kEntries; i++) {
                vosLog_printf(3, kFileOnly, true, entry.c_str());
            }
        };
        std::thread other{writeAll};
        writeAll();
        other.join();
        EXPECT_EQ(readText(kOlderFile).size() + readText(kFile).size(), 2 * kEntries * 50U);
    }
}

TEST_F(LogTest, GoesOnToTheDestinationAfterCleanup) {
    vosLog_setHeaderMask(VOS_LOG_HDRMASK_APPNAME);
    vosLog_cleanup();
    EXPECT_EQ(errors([] { VOS_LOG_ERROR("late"); }), "\033[1;31munknown:late\033[0m\n");
    EXPECT_EQ(readText(kFile), "");
    EXPECT_EQ(vosLog_getMaxSize(), 32768U);
    EXPECT_TRUE(inChild([] {
        for (int fd = 0; fd < 64; fd++) {
            close(fd);
        }
        errno = EDOM;
        VOS_LOG_ERROR("nobody listens");
        return errno == EDOM;
    }));
}

TEST_F(LogTest, WritesToTerminalConsoleAndAndroid) {
    const Terminal terminal;
    vosLog_printf(3, VOS_LOG_DEST_TTY, false, "no terminal");
    ASSERT_EQ(symlink(terminal.name, VOS_LOG_TTY), 0);
    vosLog_printf(3, VOS_LOG_DEST_TTY, false, "to the terminal");
    char got[64];
    const ssize_t size = read(terminal.primary, got, sizeof got);
    EXPECT_EQ(std::string(got, static_cast<size_t>(std::max<ssize_t>(size, 0))), "to the terminal\n");
    unlink(VOS_LOG_TTY);

    vostest::TempDir root;
    std::filesystem::create_directory(root / "dev");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(root.path());
    vosLog_printf(3, VOS_LOG_DEST_CONSOLE, true, "to the console");
    EXPECT_THAT(readText("dev/console"),
                MatchesRegex(VOS_WITH_CONSOLE_LOG ? "\\[20..-[01].-[0-3]. ..:..:..\\]to the console\n" : ""));
    std::filesystem::current_path(before);

    const std::string android = errors([] { vosLog_printf(5, VOS_LOG_DEST_ANDROID, true, "%s 5%%"); });
    EXPECT_THAT(android, MatchesRegex(VOS_WITH_ANDROID_LOG ? "EID4711 +W .* %s 5%\n" : ""));
}

TEST(LogInit, TakesTheNameOfPluginEntityOrNumber) {
    vostest::TempDir dir;
    std::filesystem::create_directory(dir / "bin");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(dir / "bin");
    const std::tuple<const char *, VosEntityId, const char *> kRows[] = {
        {nullptr, EID_HUBD, "hubd"},
        {nullptr, 4712, "EID4712"},
        {"Name: com.example.x\n", EID_HUBD, "com.example.x"},
        {"Version: 1\n", EID_HUBD, "unknown"}};
    for (const auto &[plugin, eid, name] : kRows) {
        SCOPED_TRACE(name);
        if (plugin != nullptr) {
            writeText("../Info.plugin", plugin);
        }
        vosLog_init(eid);
        LogSharedConfig *segment = segmentOf(name);
        ASSERT_NE(segment, nullptr);
        vosLog_setLevel(9);
        segment->maxSize = 1;
        EXPECT_EQ(segment->level, 9U);
        vosLog_cleanup();
        vosLog_init(eid);
        EXPECT_EQ(segment->level, 3U) << "a restart undoes what was set from outside";
        EXPECT_EQ(segment->destination, 1U);
        EXPECT_EQ(segment->maxSize, 32768U);
        vosLog_setHeaderMask(VOS_LOG_HDRMASK_APPNAME);
        EXPECT_EQ(errors([] { VOS_LOG_ERROR("x"); }), std::string{"\033[1;31m"} + name + ":x\033[0m\n");
        vosLog_cleanup();
        shmdt(segment);
    }
    std::filesystem::current_path(before);
}

/** What `vosLog_init` or another call prints, the log closed again. */
std::string initPrints(VosEntityId eid) {
    const std::string text = printed([eid] { vosLog_init(eid); });
    vosLog_cleanup();
    return text;
}

TEST(LogInit, SaysOnStandardOutputWhatIsMissing) {
    EXPECT_THAT(initPrints(0), MatchesRegex("vosLog_create:[0-9]+ Invalid eid\n"));
    EXPECT_EQ(vosLog_getMaxSize(), 32768U);
    writeText("/tmp/logKeyEID4719", "");
    ASSERT_GE(shmget(keyOf("EID4719"), 2575, IPC_CREAT | 0666), 0);
    EXPECT_THAT(initPrints(4719), MatchesRegex("vosLog_init:[0-9]+:eid=EID4719, shmat fail\n"));
    EXPECT_EQ(vosLog_getMaxSize(), 32U) << "no configuration";

    constexpr const char *kLimit = "/proc/sys/kernel/shmmni";  // of this IPC namespace, root's to change
    if (access(kLimit, W_OK) == 0) {
        const std::string limit = readText(kLimit);
        writeText(kLimit, "1");
        EXPECT_THAT(initPrints(21000), MatchesRegex("vosLog_init:[0-9]+:eid=EID21000, shmget fail\n"));
        writeText(kLimit, limit);
    }
}

/** A neighbour plants what a shell command makes in the place of a file. Somebody else's file must not change. */
class Neighbour : public testing::Test {
  protected:
    Neighbour() { writeText("/tmp/victim", "precious"); }
    ~Neighbour() override { std::filesystem::remove_all("/tmp/log3"); }

    static void plant(const std::string &command, const std::string &path) {
        std::filesystem::create_directories("/tmp/log3");
        std::filesystem::remove_all(path);
        ASSERT_EQ(system((command + " " + path).c_str()), 0);
        alarm(10);  // a wait for a pipe's other end has no end
    }
    static void expectNothingElseTouched() {
        alarm(0);
        EXPECT_EQ(readText("/tmp/victim"), "precious");
        EXPECT_FALSE(std::filesystem::exists("/tmp/made"));
    }
};

TEST_F(Neighbour, PlantsNothingThatAnInitFollowsOrWaitsFor) {
    constexpr const char *kKeyFile = "/tmp/logKeyEID4711";
    constexpr const char *kKey = "vosLog_init:[0-9]+:fopen /tmp/logKeyEID4711 error, ";
    constexpr const char *kOpen = "vosLog_create:[0-9]+ Open log file failed for eid 0x1267";
    constexpr const char *kMkdir = "vosLog_create:[0-9]+ Mkdir log dir failed for eid 0x1267";
    using Row = std::array<const char *, 4>;
    for (const auto &[path, command, text, reason] :
         {Row{kKeyFile, "mkfifo", kKey, strerror(ENXIO)}, Row{kKeyFile, "ln -s /tmp/victim", kKey, strerror(ELOOP)},
          Row{kKeyFile, "ln -s /tmp/made", kKey, strerror(ELOOP)}, Row{kKeyFile, "mkdir", kKey, strerror(EISDIR)},
          Row{kFile, "mkfifo", kOpen, strerror(ENXIO)}, Row{kFile, "ln -s /tmp/victim", kOpen, strerror(ELOOP)},
          Row{kFile, "ln -s /tmp/made", kOpen, strerror(ELOOP)}, Row{kFile, "ln /tmp/victim", kOpen, strerror(EMLINK)},
          Row{kFile, "mkdir", kOpen, strerror(EISDIR)}, Row{"/tmp/log3", "ln -s /tmp", kOpen, strerror(ENOTDIR)},
          Row{"/tmp/log3", "ln -s /tmp/made", kMkdir, strerror(EEXIST)},
          Row{"/tmp/log3", "mkfifo", kMkdir, strerror(EEXIST)}}) {
        SCOPED_TRACE(std::string{path} + " " + command);
        for (const bool isRead : {false, true}) {
            plant(command, path);
            const vos::UniqueFd reader{isRead ? open(path, O_RDONLY | O_NONBLOCK) : -1};
            EXPECT_THAT(initPrints(kEid), MatchesRegex(text + std::string{"\\(?"} + reason + "\\)?\n"));
            EXPECT_EQ(vosLog_getMaxSize(), text == kKey ? 32U : 32768U);
            expectNothingElseTouched();
            std::filesystem::remove_all(path);
        }
    }
}

TEST_F(Neighbour, PlantsNothingThatARotationWritesTo) {
    for (const std::string command : {"mkfifo", "ln -s /tmp/victim", "ln -s /tmp/made", "ln /tmp/victim", "mkdir"}) {
        SCOPED_TRACE(command);
        plant(command, kOlderFile);
        vosLog_init(kEid);
        vosLog_setMaxSize(1);
        if (!command.starts_with("ln /") && command != "mkdir") {
            EXPECT_THAT(printed([] { vosLog_show(kEid); }), MatchesRegex("vosLog_show:[0-9]+ Open log file failed .*"));
        }
        vosLog_printf(3, kFileOnly, true, "older");
        vosLog_printf(3, kFileOnly, true, "new");
        EXPECT_EQ(readText(kFile), "new\n");
        EXPECT_TRUE(command == "mkdir" || readText(kOlderFile) == "older\n");
        vosLog_clear(kEid);
        vosLog_cleanup();
        expectNothingElseTouched();
    }
}

// Redirections happen in a child: the parent's descriptors stay as they are.
TEST(Redirection, KeepsWhatWasSavedFirstAndRestoresIt) {
    const Terminal first;
    const Terminal second;
    EXPECT_TRUE(inChild([&] {
        const std::string input = targetOf(0);
        const std::string output = targetOf(1);
        bool ok = vosLog_stdRedirect(first.name) == VOS_RET_OK && standardsAre(first);
        const int32_t saved = g_vosStdout;
        ok = ok && vosLog_stdRedirect(second.name) == VOS_RET_OK && standardsAre(first) && g_vosStdout == saved;
        ok = ok && vosLog_stdRevert() == VOS_RET_OK && g_vosStdin == -1 && g_vosStdout == -1 && g_vosStderr == -1;
        return ok && targetOf(0) == input && targetOf(1) == output && fcntl(saved, F_GETFD) >= 0;
    }));
    EXPECT_TRUE(inChild([&] {  // started with closed descriptors
        const std::string output = targetOf(1);
        close(0);
        close(2);
        return vosLog_stdRedirect(first.name) == VOS_RET_OK && standardsAre(first) && g_vosStdin == -1 &&
               vosLog_stdRevert() == VOS_RET_OK && targetOf(1) == output;
    }));
}

TEST(Redirection, FindsTheTerminalOfTheLastLogin) {
    const Terminal terminal;
    EXPECT_EQ(vosLog_stdToLastPty(), VOS_RET_NO_RESOURCE);
    std::filesystem::create_directory(VOS_LOG_LAST_PTY);  // what a neighbour may have put there
    EXPECT_EQ(vosLog_saveLastPty("/dev/none"), VOS_RET_OK);
    EXPECT_EQ(vosLog_saveLastPty(terminal.name), VOS_RET_OK);
    EXPECT_TRUE(inChild([&] { return vosLog_stdToLastPty() == VOS_RET_OK && standardsAre(terminal); }));
    if (lchown(VOS_LOG_LAST_PTY, 1234, 1234) == 0) {  // more users than one
        EXPECT_TRUE(inChild([&] { return vosLog_stdToLastPty() == VOS_RET_NO_RESOURCE && !standardsAre(terminal); }));
    }
    EXPECT_EQ(vosLog_stdRedirect(""), VOS_RET_BAD_ARG);
    EXPECT_EQ(vosLog_saveLastPty(""), VOS_RET_BAD_ARG);
}

}  // namespace
