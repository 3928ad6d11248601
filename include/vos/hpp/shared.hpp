/** @file
 *  Shared memory, the lock between processes, and network namespaces. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_SHARED_HPP
#define VOS_HPP_SHARED_HPP

#include <unistd.h>

#include <span>
#include <string>
#include <vector>

#include "vos/hpp/connection.hpp"
#include "vos/netns.h"
#include "vos/sem.h"
#include "vos/sm.h"

namespace vos {

/** A System V segment, attached as long as this lives; the segment itself stays until remove(). */
class SharedMemory {
  public:
    /** Creates the segment of a key or attaches the one that is there. */
    static Result<SharedMemory> open(uint32_t key, uint32_t size) {
        SharedMemory memory;
        const VosRet ret = vosSm_creat(key, size, &memory.id_, &memory.address_);
        if (ret != VOS_RET_OK) {
            return ret;
        }
        memory.size_ = size;
        return memory;
    }
    /** @cond */
    SharedMemory(SharedMemory &&other) noexcept
        : id_{other.id_}, address_{std::exchange(other.address_, nullptr)}, size_{other.size_} {}
    SharedMemory &operator=(SharedMemory &&other) noexcept {
        std::swap(id_, other.id_);
        std::swap(address_, other.address_);
        std::swap(size_, other.size_);
        return *this;
    }
    /** @endcond */
    ~SharedMemory() {
        if (address_ != nullptr) {
            vosSm_cleanup(address_);
        }
    }
    /** All of it. */
    std::span<std::byte> bytes() const noexcept { return {static_cast<std::byte *>(address_), size_}; }
    /** The segment as a T; nullptr when it is smaller. What other processes write there is not to be trusted. */
    template <Plain T>
    T *as() const noexcept {
        return size_ >= sizeof(T) ? static_cast<T *>(address_) : nullptr;
    }
    /** Removes the segment once nobody has it attached any more. */
    Result<void> remove() const { return vosSm_delete(static_cast<uint32_t>(id_)); }

  private:
    SharedMemory() = default;
    int32_t id_ = -1;
    void *address_ = nullptr;
    uint32_t size_ = 0;
};

/** The lock between processes (vos/sem.h); it outlives this object. */
class ProcessLock {
  public:
    /** Joins the lock that another process made, or makes it and sets it free.
     *  @{ */
    static Result<ProcessLock> join(uint32_t key) { return init(key, true); }
    static Result<ProcessLock> create(uint32_t key) { return init(key, false); }
    /** @} */
    /** The lock, held as long as this lives. */
    class [[nodiscard]] Held {
      public:
        /** @cond */
        explicit Held(uint32_t id) noexcept : id_{id} {}
        Held(Held &&other) noexcept : id_{std::exchange(other.id_, std::nullopt)} {}
        Held &operator=(Held &&) = delete;
        /** @endcond */
        ~Held() {
            if (id_) {
                vosSem_unlock(*id_);
            }
        }

      private:
        std::optional<uint32_t> id_;
    };
    /** Takes the lock until the result goes away; waits for ever, or so long and then takes it by force as
     *  vosSem_lock() says.
     *  @{ */
    Result<Held> hold() const { return held(vosSem_lock(id_, nullptr)); }
    Result<Held> hold(std::chrono::nanoseconds patience) const {
        const uint32_t ms = detail::wholeMs(patience);
        return held(vosSem_lock(id_, &ms));
    }
    /** @} */
    /** Removes the lock; who waits for it fails. */
    Result<void> remove() const { return vosSem_cleanup(id_); }

  private:
    explicit ProcessLock(uint32_t id) noexcept : id_{id} {}
    static Result<ProcessLock> init(uint32_t key, bool attach) {
        int32_t id = -1;
        const VosRet ret = vosSem_init(key, attach, &id);
        return ret == VOS_RET_OK ? Result<ProcessLock>{ProcessLock{static_cast<uint32_t>(id)}}
                                 : Result<ProcessLock>{ret};
    }
    Result<Held> held(VosRet ret) const { return ret == VOS_RET_OK ? Result<Held>{Held{id_}} : Result<Held>{ret}; }
    uint32_t id_;
};

namespace netns {

/** The named network namespaces; none when the directory cannot be read. */
inline std::vector<std::string> names() {
    std::vector<std::string> all;
    netns_foreach(
        [](char *name, void *arg) {
#if VOS_HPP_EXCEPTIONS
            try { /* nothing may pass through the library */
#endif
                static_cast<std::vector<std::string> *>(arg)->emplace_back(name);
                return 0;
#if VOS_HPP_EXCEPTIONS
            } catch (...) {
                return 1;
            }
#endif
        },
        &all);
    return all;
}
/** Moves the process into one. */
inline Result<void> enter(const char *name) {
    return netns_switch(name) == 0 ? VosRet{VOS_RET_OK} : VosRet{VOS_RET_ERROR};
}

}  // namespace netns
}  // namespace vos

#endif
