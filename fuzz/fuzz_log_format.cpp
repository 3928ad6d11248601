// Entries with any text, function name and segment contents: what reaches file and syslog, and that nothing else of the
// segment changes.
#include <fcntl.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mount.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "internal/bytes.h"
#include "vos/log.h"

namespace {

constexpr VosEntityId kEid = 4000000000U;
constexpr const char *kKeyFile = "/tmp/logKeyEID4000000000";
constexpr const char *kFile = "/tmp/log3/4000000000.log";
LogSharedConfig *g_segment = nullptr;
int g_syslog = -1;
int g_file = -1;
char g_written[1 << 17];  // one buffer for all inputs: a fresh one for each is most of the time

void check(bool ok) {
    if (!ok) {
        abort();
    }
}

/** What a printf without arguments makes of the text. */
std::string readAsFormat(const std::string &text) {
    std::string result;
    size_t from = 0;
    for (size_t at = 0; (at = text.find('%', at)) != std::string::npos; at++) {
        const char after = text[at + 1];  // the terminator behind the last
        if (after == '%' || after == 'm') {
            result.append(text, from, at - from).append(after == '%' ? "%" : strerror(errno));
            from = ++at + 1;
        }
    }
    return result.append(text, from);
}

std::string_view fileContents() {
    const ssize_t size = pread(g_file, g_written, sizeof g_written, 0);
    check(size >= 0);
    return {g_written, static_cast<size_t>(size)};
}

void checkSyslog(const std::string &text) {
    errno = ENOENT;
    const std::string expected = readAsFormat(text);
    oalLog_syslog(LOG_ERR, text.c_str());
    const ssize_t size = recv(g_syslog, g_written, sizeof g_written, MSG_DONTWAIT);
    check(size > 0 && static_cast<size_t>(size) < sizeof g_written);
    const std::string_view datagram{g_written, strnlen(g_written, static_cast<size_t>(size))};
    check(datagram.ends_with(": " + expected));
}

std::string colourOf(uint32_t level) {
    switch (level) {
        case VOS_LOG_LEVEL_ERROR:
            return "\033[1;31m";
        case VOS_LOG_LEVEL_NOTICE:
            return "\033[1;32m";
        case VOS_LOG_LEVEL_DEBUG:
            return "\033[0;33m";
        case VOS_LOG_LEVEL_DEVEL:
            return "\033[0;34m";
        default:
            return "";
    }
}

void checkFile(uint32_t level, const std::string &func, const std::string &message) {
    check(ftruncate(g_file, 0) == 0);
    vosLog_setHeaderMask(VOS_LOG_HDRMASK_LOCATION);
    log_log(level, func.c_str(), 7, "%s", message.c_str());
    const bool raw = level == VOS_LOG_LEVEL_RAW;
    std::string expected = raw ? message : colourOf(level) + func + ":7:" + message + "\033[0m";
    expected = expected.substr(0, VOS_LOG_ENTRY_SIZE - 1) + (raw ? "" : "\n");
    const bool written = g_segment->level != VOS_LOG_LEVEL_NONE && level <= g_segment->level;
    check(fileContents() == (written ? expected : ""));
}

}  // namespace

// Log files, /dev/log and segments of its own.
extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    const int spaces = CLONE_NEWNS | CLONE_NEWIPC;
    if (unshare(geteuid() == 0 ? spaces : spaces | CLONE_NEWUSER) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        perror("fuzz_log_format");
        exit(1);
    }
    return 0;
}

namespace {

// Later than LLVMFuzzerInitialize(): the fuzzer still opens its corpus, which may lie below /tmp.
bool setUp() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "/dev/log");
    g_syslog = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    mkdir(VOS_LOG_DIRECTORY, 0777);
    check(mount("tmpfs", VOS_LOG_DIRECTORY, "tmpfs", 0, nullptr) == 0);
    check(mount("tmpfs", "/dev", "tmpfs", 0, nullptr) == 0 &&
          bind(g_syslog, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0);
    vosLog_init(kEid);
    g_file = open(kFile, O_RDWR | O_CLOEXEC);
    g_segment = static_cast<LogSharedConfig *>(shmat(shmget(ftok(kKeyFile, VOS_LOG_KEY_ID), 0, 0), nullptr, 0));
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool ready = setUp();
    check(ready);
    vos::ByteReader in{data, size};
    const uint32_t level = in.u8() % 12;
    g_segment->level = in.u8() % 12;
    g_segment->destination = 5 + in.u8() % 2 * 2;  // never the console, whose shell would run the input
    g_segment->callSiteNext = in.u32le();
    g_segment->maxSize = UINT32_MAX;
    const std::string func{in.terminatedText()};
    const unsigned times = 1 + in.u8() % 8;
    const auto rest = in.bytes(in.remaining());
    const std::string message(rest.begin(), std::find(rest.begin(), rest.end(), 0));

    const LogSharedConfig before = *g_segment;
    std::string repeated;
    for (unsigned i = 0; i < times; i++) {
        repeated += message;
    }
    checkFile(level, func, repeated);
    const uint32_t slot = before.callSiteNext;
    if (before.level != VOS_LOG_LEVEL_NONE) {
        check(g_segment->callSiteNext == (slot < VOS_LOG_CALL_SITES ? slot + 1 : slot) % VOS_LOG_CALL_SITES);
    }
    if (before.level != VOS_LOG_LEVEL_NONE && slot < VOS_LOG_CALL_SITES) {
        char site[VOS_LOG_CALL_SITE_SIZE];
        snprintf(site, sizeof site, "<%s:7>", func.c_str());
        check(strcmp(g_segment->callSites[slot], site) == 0);
        memcpy(g_segment->callSites[slot], before.callSites[slot], sizeof site);
    }
    check(memcmp(g_segment->callSites, before.callSites, sizeof before.callSites) == 0);
    checkSyslog(message);
    return 0;
}
