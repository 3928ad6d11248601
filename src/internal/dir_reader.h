// Names in a directory, read with a buffer on the stack: no allocation, so it also serves between fork and exec.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cstdint>
#include <cstring>
#include <utility>

#include "internal/guards.h"

namespace vos {

class DirReader {
  public:
    explicit DirReader(const char *path) : DirReader{UniqueFd{open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC)}} {}
    explicit DirReader(UniqueFd dir) : fd_{std::move(dir)} {}

    explicit operator bool() const { return static_cast<bool>(fd_); }
    int fd() const { return fd_.get(); }

    /** The next name other than "." and "..", valid until the next call; NULL at the end. */
    const char *next() {
        for (;;) {
            if (position_ >= filled_ && !fill()) {
                return nullptr;
            }
            const char *entry = buffer_ + position_;
            uint16_t length = 0;
            memcpy(&length, entry + kLengthOffset, sizeof length);
            position_ += length;
            type_ = static_cast<unsigned char>(entry[kTypeOffset]);
            const char *name = entry + kNameOffset;
            if (strcmp(name, ".") != 0 && strcmp(name, "..") != 0) {
                return name;
            }
        }
    }
    /** DT_DIR and its like for the name that next() gave last. */
    unsigned char type() const { return type_; }

  private:
    // The kernel's record: u64 inode, s64 offset, u16 length, u8 type, name.
    static constexpr size_t kLengthOffset = 16;
    static constexpr size_t kTypeOffset = 18;
    static constexpr size_t kNameOffset = 19;

    bool fill() {
        const long got = syscall(SYS_getdents64, fd_.get(), buffer_, sizeof buffer_);
        position_ = 0;
        filled_ = got > 0 ? static_cast<size_t>(got) : 0;
        return filled_ > 0;
    }

    UniqueFd fd_;
    size_t position_ = 0;
    size_t filled_ = 0;
    unsigned char type_ = DT_UNKNOWN;
    alignas(8) char buffer_[2048];
};

}  // namespace vos
