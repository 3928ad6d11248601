// Attaches daemon logs' segments through their key files.
#include "log_segment.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "command.h"
#include "common/message_line.h"

namespace fs = std::filesystem;

namespace vosctl {

namespace {

/** A segment attached for as long as it is looked at; the attachment is NULL when it cannot be had. */
class Attachment {
  public:
    Attachment(int id, int flags) : address_{shmat(id, nullptr, flags)} {}
    ~Attachment() {
        if (*this) {
            shmdt(address_);
        }
    }
    Attachment(const Attachment &) = delete;
    Attachment &operator=(const Attachment &) = delete;

    explicit operator bool() const { return address_ != reinterpret_cast<void *>(-1); }
    void *get() const { return address_; }

  private:
    void *address_;
};

// A segment stands in /proc/PID/maps as "/SYSVkey (deleted)".
bool holds(const fs::path &process, const std::string &mapping) {
    std::ifstream maps{process / "maps"};
    for (std::string line; std::getline(maps, line);) {
        if (line.find(mapping) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> processesAt(key_t key) {
    char name[32];
    snprintf(name, sizeof name, "/SYSV%08x", static_cast<unsigned>(key));
    std::vector<std::string> found;
    std::error_code ignored;
    for (const fs::directory_entry &entry : fs::directory_iterator{"/proc", ignored}) {
        const std::string pid = entry.path().filename();
        const bool isNumber = pid.find_first_not_of("0123456789") == std::string::npos;
        if (isNumber && holds(entry.path(), name)) {
            found.push_back(pid);
        }
    }
    return found;
}

LogSegment look(const std::string &name, const std::string &keyFile) {
    LogSegment segment{};
    segment.name = name;
    const key_t key = ftok(keyFile.c_str(), VOS_LOG_KEY_ID);
    segment.id = key == -1 ? -1 : shmget(key, 0, 0);
    shmid_ds info{};
    if (segment.id < 0 || shmctl(segment.id, IPC_STAT, &info) != 0) {
        return segment;
    }
    segment.size = info.shm_segsz;
    segment.attached = info.shm_nattch;
    segment.processes = segment.attached == 0 ? std::vector<std::string>{} : processesAt(key);
    const Attachment attachment{segment.id, SHM_RDONLY};
    if (attachment && !segment.isForeign()) {
        memcpy(&segment.config, attachment.get(), sizeof segment.config);
    }
    return segment;
}

std::string keyFileOf(const std::string &name) {
    char path[256];
    snprintf(path, sizeof path, VOS_LOG_KEY_FILE, name.c_str());
    return path;
}

}  // namespace

std::string LogSegment::holders() const {
    if (processes.empty()) {
        return attached == 0 ? "nobody" : std::to_string(attached) + " of another user";
    }
    std::string text = processes.size() == 1 ? "process" : "processes";
    for (const std::string &pid : processes) {
        text += " " + pid;
    }
    return text;
}

std::vector<std::string> LogSegment::callSites() const {
    std::vector<std::string> sites;
    for (uint32_t i = 0; i < VOS_LOG_CALL_SITES; i++) {
        const char *site = config.callSites[(config.callSiteNext + i) % VOS_LOG_CALL_SITES];
        if (*site != '\0') {
            sites.push_back(msgline::printable({site, strnlen(site, VOS_LOG_CALL_SITE_SIZE)}));
        }
    }
    return sites;
}

std::vector<LogSegment> findLogs() {
    const fs::path pattern = keyFileOf("");
    std::vector<LogSegment> found;
    std::error_code ignored;
    for (const fs::directory_entry &entry : fs::directory_iterator{pattern.parent_path(), ignored}) {
        const std::string file = entry.path().filename();
        const std::string prefix = pattern.filename();
        if (file.starts_with(prefix) && file != prefix) {
            found.push_back(look(file.substr(prefix.size()), entry.path()));
        }
    }
    std::ranges::sort(found, {}, &LogSegment::name);
    return found;
}

std::optional<LogSegment> findLog(const std::string &name) {
    const std::string keyFile = keyFileOf(name);
    std::error_code ignored;
    return fs::exists(keyFile, ignored) ? std::optional{look(name, keyFile)} : std::nullopt;
}

void changeLog(const LogSegment &segment, const LogChange &change) {
    const Attachment attachment{segment.id, 0};
    if (!attachment) {
        throw Failure{"cannot attach the log segment of '" + segment.name + "': " + strerror(errno)};
    }
    auto *config = static_cast<LogSharedConfig *>(attachment.get());
    const auto set = [](uint32_t &field, const std::optional<uint32_t> &value) {
        if (value) {
            __atomic_store_n(&field, *value, __ATOMIC_RELAXED);
        }
    };
    set(config->level, change.level);
    set(config->destination, change.destination);
    set(config->maxSize, change.maxSize);
}

}  // namespace vosctl
