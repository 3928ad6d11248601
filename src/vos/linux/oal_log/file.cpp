// The log file on disk: opening, rotating, emptying and printing.
#include "vos/log/parts.h"

#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "internal/cut_text.h"
#include "internal/regular_file.h"

namespace vos::log {

namespace {

constexpr const char *kCreate = "vosLog_create";
constexpr size_t kBlockSize = 4096;

struct FileName {
    FileName(VosEntityId eid, bool older) { CutText{text}.number(eid).text(older ? ".log.0" : ".log"); }
    char text[24];
};

// The directory lies where anybody may put something else; a link in its place is not followed.
UniqueFd openDirectory() {
    char path[] = VOS_LOG_DIRECTORY;
    path[sizeof path - 2] = '\0';  // behind a slash a link would be followed
    return UniqueFd{open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

// False with the reason of mkdir in errno. Two daemons may start at once.
bool makeDirectory() {
    if (access(VOS_LOG_DIRECTORY, F_OK) == 0 || mkdir(VOS_LOG_DIRECTORY, 0777) == 0) {
        return true;
    }
    const int reason = errno;
    const bool madeMeanwhile = access(VOS_LOG_DIRECTORY, F_OK) == 0;
    errno = reason;
    return madeMeanwhile;
}

// A second name of the file may stand for something that is no log.
bool hasOneName(int fd) {
    struct stat status;
    if (fstat(fd, &status) == 0 && status.st_nlink <= 1) {
        return true;
    }
    errno = EMLINK;
    return false;
}

void copyToOlder(int from, VosEntityId eid) {
    const FileName name{eid, true};
    const UniqueFd directory = openDirectory();
    unlinkat(directory.get(), name.text, 0);
    const UniqueFd older = openRegular(directory.get(), name.text, O_WRONLY | O_CREAT | O_EXCL);
    off_t offset = 0;
    while (older && sendfile(older.get(), from, &offset, INT32_MAX) > 0) {
    }
}

}  // namespace

FILE *openFile(VosEntityId eid) {
    if (!makeDirectory()) {
        printf("%s:%d Mkdir log dir failed for eid 0x%x(%s)\n", kCreate, __LINE__, eid, strerror(errno));
        return nullptr;
    }
    const UniqueFd directory = openDirectory();
    // Readable too: rotation copies from it.
    UniqueFd fd =
        directory ? openOrMakeRegular(directory.get(), FileName{eid, false}.text, O_RDWR | O_APPEND) : UniqueFd{};
    FILE *file = fd && hasOneName(fd.get()) ? fdopen(fd.get(), "ab") : nullptr;
    if (file == nullptr) {
        printf("%s:%d Open log file failed for eid 0x%x(%s)\n", kCreate, __LINE__, eid, strerror(errno));
        return nullptr;
    }
    fd.release();
    return file;
}

void rotateFile(FILE *file, VosEntityId eid) {
    fflush(file);
    fsync(fileno(file));
    copyToOlder(fileno(file), eid);
    emptyFile(file);
}

bool emptyFile(FILE *file) {
    rewind(file);
    return ftruncate(fileno(file), 0) == 0;
}

void removeOlder(VosEntityId eid) {
    unlinkat(openDirectory().get(), FileName{eid, true}.text, 0);
}

void printFile(VosEntityId eid, bool older) {
    const UniqueFd directory = openDirectory();
    const UniqueFd fd = directory ? openRegular(directory.get(), FileName{eid, older}.text, O_RDONLY) : UniqueFd{};
    if (!fd) {
        if (errno != ENOENT) {
            printf("%s:%d Open log file failed for eid 0x%x(%s)\n", "vosLog_show", __LINE__, eid, strerror(errno));
        }
        return;
    }
    char block[kBlockSize];
    ssize_t got = 0;
    while ((got = ::read(fd.get(), block, sizeof block)) > 0) {
        fwrite(block, 1, static_cast<size_t>(got), stdout);
    }
    fflush(stdout);
}

}  // namespace vos::log
