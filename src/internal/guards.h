// Resource guards of the library: descriptors, streams, memory-manager blocks and a general one for everything else.
#pragma once

#include <unistd.h>
#include <cerrno>
#include <cstdio>

#include "vos/mem.h"

namespace vos {

/** Owns a file descriptor; closes it without touching errno. */
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_{fd} {}
    UniqueFd(UniqueFd &&other) noexcept : fd_{other.release()} {}
    UniqueFd &operator=(UniqueFd &&other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueFd() { reset(); }

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (fd_ >= 0) {
            const int saved = errno;
            ::close(fd_);
            errno = saved;
        }
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

/** Owns a stdio stream. */
class UniqueFile {
  public:
    UniqueFile() = default;
    explicit UniqueFile(FILE *file) : file_{file} {}
    UniqueFile(UniqueFile &&other) noexcept : file_{other.release()} {}
    UniqueFile &operator=(UniqueFile &&other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueFile() { reset(); }

    explicit operator bool() const { return file_ != nullptr; }
    FILE *get() const { return file_; }
    FILE *release() {
        FILE *file = file_;
        file_ = nullptr;
        return file;
    }
    void reset(FILE *file = nullptr) {
        if (file_ != nullptr) {
            fclose(file_);
        }
        file_ = file;
    }

  private:
    FILE *file_ = nullptr;
};

/** Owns one block of the memory manager. T must need no destructor. */
template <typename T>
class MemPtr {
  public:
    MemPtr() = default;
    explicit MemPtr(T *block) : block_{block} {}
    MemPtr(MemPtr &&other) noexcept : block_{other.release()} {}
    MemPtr &operator=(MemPtr &&other) noexcept {
        reset(other.release());
        return *this;
    }
    ~MemPtr() { reset(); }

    explicit operator bool() const { return block_ != nullptr; }
    T *get() const { return block_; }
    T *operator->() const { return block_; }
    T &operator*() const { return *block_; }
    T &operator[](size_t index) const { return block_[index]; }
    T *release() {
        T *block = block_;
        block_ = nullptr;
        return block;
    }
    void reset(T *block = nullptr) {
        if (block_ != nullptr) {
            vosMem_free(block_, __func__, __LINE__);
        }
        block_ = block;
    }

  private:
    T *block_ = nullptr;
};

/** Zero-filled block for one T, or for `bytes` bytes that begin with a T; empty when memory is short or the size does
 *  not fit in 32 bits. */
template <typename T>
MemPtr<T> allocZeroed(uint64_t bytes = sizeof(T)) {
    return MemPtr<T>{static_cast<T *>(VOS_MALLOC_FLAGS(bytes, ALLOC_ZEROIZE))};
}

/** Runs a function object at the end of the block it stands in, unless released. */
template <typename F>
class Scope {
  public:
    explicit Scope(F atExit) : atExit_{atExit} {}
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;
    ~Scope() {
        if (armed_) {
            atExit_();
        }
    }
    void release() { armed_ = false; }

  private:
    F atExit_;
    bool armed_ = true;
};

}  // namespace vos
