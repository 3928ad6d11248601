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
#include <filesystem>
#include <fstream>
#include <string>

#include "internal/bytes.h"
#include "vos/log.h"

namespace {

constexpr VosEntityId kEid = 4000000000U;
constexpr const char *kKeyFile = "/tmp/logKeyEID4000000000";
constexpr const char *kFile = "/tmp/log3/4000000000.log";
LogSharedConfig *g_segment = nullptr;
int g_syslog = -1;

void check(bool ok) {
    if (!ok) {
        abort();
    }
}

/** What a printf without arguments makes of the text. */
std::string readAsFormat(const std::string &text) {
    std::string result;
    for (size_t i = 0; i < text.size(); i++) {
        if (text.compare(i, 2, "%%") == 0 || text.compare(i, 2, "%m") == 0) {
            result += text[++i] == '%' ? "%" : strerror(errno);
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string fileContents() {
    std::ifstream in{kFile, std::ios::binary};
    return {std::istreambuf_iterator<char>{in}, {}};
}

void checkSyslog(const std::string &text) {
    errno = ENOENT;
    const std::string expected = readAsFormat(text);
    oalLog_syslog(LOG_ERR, text.c_str());
    std::string datagram(200000, '\0');
    const ssize_t size = recv(g_syslog, datagram.data(), datagram.size(), MSG_DONTWAIT);
    check(size > 0);
    datagram.resize(strnlen(datagram.data(), static_cast<size_t>(size)));
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
    vosLog_clear(kEid);
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
