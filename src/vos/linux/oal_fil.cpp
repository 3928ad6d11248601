// Files and directory trees on the kernel's calls.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "internal/dbg.h"
#include "internal/dir_reader.h"
#include "internal/guards.h"
#include "vos/fil.h"

namespace {

constexpr mode_t kPrivateMode = 0700;

// Writes a text at the start or the end of a file that exists.
VosRet writeText(const char *path, const char *text, int whence) {
    if (path == nullptr || text == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const vos::UniqueFd fd{open(path, O_RDWR | O_CLOEXEC)};
    if (!fd) {
        VOS_DBG_ERROR("could not open %s", path);
        return VOS_RET_ERROR;
    }
    if (whence == SEEK_END) {
        lseek(fd.get(), 0, SEEK_END);
    }
    const size_t length = strlen(text);
    const ssize_t rc = write(fd.get(), text, length);
    if (rc != static_cast<ssize_t>(length)) {
        VOS_DBG_ERROR("write %s to %s failed, rc=%d", text, path, static_cast<int>(rc));
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

// One directory of a walk, on the heap: trees may be deeper than the stack of a thread allows.
struct Level {
    vos::DirReader entries;
    Level *parent;
    size_t pathLength;
};

/** Goes through a tree, contents before their directory. Every step starts from an open directory and follows no link,
 *  so that a tree which changes meanwhile leads nowhere else.
 *
 *  Action has entry(dirFd, name) for what is no directory, and for a directory whose contents are done
 *  beforeClose(dirFd) and afterClose(parentFd, name, path). */
template <typename Action>
class TreeWalk {
  public:
    TreeWalk(const char *root, Action action) : root_{root}, action_{action} {}

    void run() {
        const size_t length = strlen(root_);
        if (length <= kMaxPath) {
            memcpy(path_, root_, length);
        }
        enter(AT_FDCWD, root_, root_, length, 0);
        while (level_ != nullptr) {
            const char *name = level_->entries.next();
            if (name == nullptr) {
                leave();
            } else {
                visit(name);
            }
        }
    }

  private:
    static constexpr size_t kMaxPath = 1023;

    void visit(const char *name) {
        const size_t parentLength = level_->pathLength;
        const size_t nameLength = strlen(name);
        if (parentLength + 1 + nameLength > kMaxPath) {
            VOS_DBG_ERROR("path of %s is too long, left alone", name);
            return;
        }
        path_[parentLength] = '/';
        memcpy(path_ + parentLength + 1, name, nameLength + 1);
        if (level_->entries.type() == DT_DIR) {
            enter(level_->entries.fd(), name, path_, parentLength + 1 + nameLength, O_NOFOLLOW);
        } else {
            action_.entry(level_->entries.fd(), name);
        }
    }

    void enter(int parentFd, const char *name, const char *path, size_t pathLength, int flags) {
        VOS_DBG_DEBUG("dirname=%s", path);
        vos::UniqueFd fd{openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags)};
        if (!fd) {
            return;
        }
        void *block = VOS_MALLOC_FLAGS(sizeof(Level), 0);
        if (block == nullptr) {
            VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
            return;
        }
        level_ = new (block) Level{vos::DirReader{std::move(fd)}, level_, pathLength};
    }

    void leave() {
        Level *done = level_;
        action_.beforeClose(done->entries.fd());
        level_ = done->parent;
        const size_t pathLength = done->pathLength;
        done->~Level();
        VOS_FREE(done);
        if (level_ == nullptr) {
            action_.afterClose(AT_FDCWD, root_, root_);
        } else {
            path_[pathLength] = '\0';
            action_.afterClose(level_->entries.fd(), path_ + level_->pathLength + 1, path_);
        }
    }

    const char *root_;
    Action action_;
    Level *level_ = nullptr;
    char path_[kMaxPath + 1];
};

struct Remove {
    void entry(int dirFd, const char *name) { unlinkat(dirFd, name, 0); }
    void beforeClose(int) {}
    void afterClose(int parentFd, const char *name, const char *path) {
        if (unlinkat(parentFd, name, AT_REMOVEDIR) != 0) {
            VOS_DBG_ERROR("rmdir of %s failed!", path);
        }
    }
};

struct ChangeOwner {
    uid_t owner;

    // An entry that cannot be given away stays as it is.
    void entry(int dirFd, const char *name) {
        [[maybe_unused]] const int ignored = fchownat(dirFd, name, owner, 0, AT_SYMLINK_NOFOLLOW);
    }
    void beforeClose(int dirFd) { [[maybe_unused]] const int ignored = fchown(dirFd, owner, 0); }
    void afterClose(int, const char *, const char *) {}
};

template <typename Action>
VosRet walkTree(const char *path, Action action) {
    if (path == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    TreeWalk<Action>{path, action}.run();
    return VOS_RET_OK;
}

}  // namespace

int oalFil_isFilePresent(const char *path) {
    struct stat info;
    return path != nullptr && stat(path, &info) == 0 ? 1 : 0;
}

uint32_t oalFil_getSize(const char *path) {
    struct stat info;
    return path != nullptr && stat(path, &info) == 0 ? static_cast<uint32_t>(info.st_size) : UINT32_MAX;
}

VosRet oalFil_copyToBuffer(const char *path, uint8_t *buf, uint32_t *bufSize) {
    if (path == nullptr || buf == nullptr || bufSize == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    // Contract: a missing file's size is larger than any buffer and gives the result of one that does not fit.
    const uint32_t size = oalFil_getSize(path);
    if (*bufSize < size) {
        VOS_DBG_ERROR("user supplied buffer is %d, filename actual size is %d", static_cast<int>(*bufSize),
                      static_cast<int>(size));
        return VOS_RET_NO_RESOURCE;
    }
    *bufSize = 0;
    const vos::UniqueFd fd{open(path, O_RDONLY | O_CLOEXEC)};
    if (!fd) {
        VOS_DBG_ERROR("could not open file %s, errno=%d", path, errno);
        return VOS_RET_ERROR;
    }
    const ssize_t got = read(fd.get(), buf, size);
    if (got != static_cast<ssize_t>(size)) {
        VOS_DBG_ERROR("read error, got %d, expected %d", static_cast<int>(got), static_cast<int>(size));
        return VOS_RET_ERROR;
    }
    *bufSize = size;
    return VOS_RET_OK;
}

VosRet oalFil_writeToProc(const char *path, const char *text) {
    return writeText(path, text, SEEK_SET);
}

VosRet oalFil_writeToFileEnd(const char *path, const char *text) {
    return writeText(path, text, SEEK_END);
}

VosRet oalFil_writeBufferToFile(const char *path, const uint8_t *buf, uint32_t len) {
    if (path == nullptr || buf == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    const vos::UniqueFd fd{open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kPrivateMode)};
    if (!fd) {
        VOS_DBG_ERROR("could not open %s", path);
        return VOS_RET_ERROR;
    }
    const ssize_t rc = write(fd.get(), buf, len);
    if (rc != static_cast<ssize_t>(len)) {
        VOS_DBG_ERROR("write to %s failed, rc=%d", path, static_cast<int>(rc));
        return VOS_RET_ERROR;
    }
    return VOS_RET_OK;
}

VosRet oalFil_removeDir(const char *path) {
    return walkTree(path, Remove{});
}

VosRet oalFil_chownDir(const char *path, uint32_t owner) {
    return walkTree(path, ChangeOwner{owner});
}

VosRet oalFil_makeDir(const char *path) {
    if (path == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    if (mkdir(path, kPrivateMode) == 0) {
        return VOS_RET_OK;
    }
    if (errno == EEXIST) {
        VOS_DBG_DEBUG("%s exists, return SUCCESS anyways", path);
        return VOS_RET_OK;
    }
    VOS_DBG_ERROR("mkdir on %s failed", path);
    return VOS_RET_ERROR;
}
