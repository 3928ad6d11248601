#include "support/hooks.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <pty.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <span>
#include <utility>

namespace vostest {

namespace {

bool (*g_fails)(Resource) = nullptr;
std::atomic<long> g_liveBlocks = 0;

// Whether the call fails; errno says why.
bool fails(Resource resource) {
    if (!g_fails(resource)) {
        return false;
    }
    errno = resource == Resource::kMemory ? ENOMEM : EMFILE;
    return true;
}

// Counts for both resources, as a stream needs both.
bool failsAsStream() {
    return fails(Resource::kMemory) || fails(Resource::kDescriptor);
}

void *counted(void *block) {
    g_liveBlocks += block != nullptr ? 1 : 0;
    return block;
}

void *hookMalloc(size_t size) {
    return fails(Resource::kMemory) ? nullptr : counted(malloc(size));
}
void *hookRealloc(void *block, size_t size) {
    if (fails(Resource::kMemory)) {
        return nullptr;
    }
    void *larger = realloc(block, size);
    return block == nullptr ? counted(larger) : larger;
}
void hookFree(void *block) {
    g_liveBlocks -= block != nullptr ? 1 : 0;
    free(block);
}
int hookClone(int (*run)(void *), void *stack, int flags, void *arg) {
    return fails(Resource::kMemory) ? -1 : clone(run, stack, flags, arg);
}
void *hookMmap(void *at, size_t size, int protection, int flags, int fd, off_t offset) {
    return fails(Resource::kMemory) ? MAP_FAILED : mmap(at, size, protection, flags, fd, offset);
}
int hookOpen(const char *path, int flags, mode_t mode) {
    return fails(Resource::kDescriptor) ? -1 : open(path, flags, mode);
}
int hookOpenat(int dir, const char *path, int flags, mode_t mode) {
    return fails(Resource::kDescriptor) ? -1 : openat(dir, path, flags, mode);
}
int hookFcntl(int fd, int command, long argument) {
    const bool duplicates = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
    return duplicates && fails(Resource::kDescriptor) ? -1 : fcntl(fd, command, argument);
}

struct Hook {
    std::string_view name;
    void *function;
};
template <typename Function>
Hook hook(std::string_view name, Function *function) {
    return {name, reinterpret_cast<void *>(function)};
}
// One that gives -1 or NULL where it is to fail.
template <bool (*toFail)(), auto real, typename Return, typename... Arguments>
Hook failing(std::string_view name, Return (*)(Arguments...)) {
    return hook(
        name, +[](Arguments... arguments) {
            if (!toFail()) {
                return real(arguments...);
            }
            if constexpr (std::is_pointer_v<Return>) {
                return Return{nullptr};
            } else {
                return Return{-1};
            }
        });
}
bool failsAsMemory() {
    return fails(Resource::kMemory);
}
bool failsAsDescriptor() {
    return fails(Resource::kDescriptor);
}
#define FAILING(toFail, function) failing<toFail, function>(#function, function)

// Calls for memory or descriptors that have no hook yet would go untested.
constexpr std::string_view kUnhooked[] = {"calloc",     "strdup", "accept",  "accept4", "pipe",
                                          "socketpair", "dup3",   "opendir", "open64",  "epoll_create1"};

// What stands under a tag of the dynamic section; some loaders put addresses in the place of offsets.
ElfW(Addr) underTag(const dl_phdr_info &object, ElfW(Sxword) tag) {
    const auto *segment = object.dlpi_phdr;
    while (segment->p_type != PT_DYNAMIC) {
        segment++;
    }
    const auto *entry = reinterpret_cast<const ElfW(Dyn) *>(object.dlpi_addr + segment->p_vaddr);
    while (entry->d_tag != tag && entry->d_tag != DT_NULL) {
        entry++;
    }
    const bool isSize = tag == DT_PLTRELSZ || tag == DT_RELASZ;
    return entry->d_un.d_ptr + (isSize || entry->d_un.d_ptr >= object.dlpi_addr ? 0 : object.dlpi_addr);
}

void put(uintptr_t slot, void *function) {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    mprotect(reinterpret_cast<void *>(slot & ~(page - 1)), page, PROT_READ | PROT_WRITE);
    memcpy(reinterpret_cast<void *>(slot), &function, sizeof function);
}

int patch(dl_phdr_info *object, size_t, void *data) {
    if (std::string_view{object->dlpi_name}.find("libvos.so") == std::string_view::npos) {
        return 0;
    }
    auto *library = static_cast<HookedLibrary *>(data);
    library->found = true;
    const Hook hooks[] = {
        hook("malloc", hookMalloc),
        hook("realloc", hookRealloc),
        hook("free", hookFree),
        hook("mmap", hookMmap),
        hook("open", hookOpen),
        hook("openat", hookOpenat),
        hook("fcntl", hookFcntl),
        hook("clone", hookClone),
        FAILING(failsAsMemory, pthread_create),
        FAILING(failsAsMemory, fork),
        FAILING(failsAsMemory, system),
        FAILING(failsAsMemory, shmget),
        FAILING(failsAsMemory, fdopen),
        FAILING(failsAsDescriptor, socket),
        FAILING(failsAsDescriptor, pipe2),
        FAILING(failsAsDescriptor, dup),
        FAILING(failsAsStream, forkpty),
        FAILING(failsAsStream, fopen),
        FAILING(failsAsStream, popen),
    };
    const auto *symbols = reinterpret_cast<const ElfW(Sym) *>(underTag(*object, DT_SYMTAB));
    const auto *names = reinterpret_cast<const char *>(underTag(*object, DT_STRTAB));
    for (const auto &[tag, sizeTag] : {std::pair{DT_JMPREL, DT_PLTRELSZ}, {DT_RELA, DT_RELASZ}}) {
        const auto *entries = reinterpret_cast<const ElfW(Rela) *>(underTag(*object, tag));
        for (const auto &entry : std::span{entries, underTag(*object, sizeTag) / sizeof *entries}) {
            const std::string_view name = names + symbols[ELF64_R_SYM(entry.r_info)].st_name;
            library->unhooked = std::ranges::count(kUnhooked, name) > 0 ? name : library->unhooked;
            const auto *found = std::ranges::find(hooks, name, &Hook::name);
            if (found != std::end(hooks)) {
                put(object->dlpi_addr + entry.r_offset, found->function);
            }
        }
    }
    return 1;
}

}  // namespace

HookedLibrary hookLibrary(bool (*decide)(Resource)) {
    g_fails = decide;
    HookedLibrary library;
    dl_iterate_phdr(patch, &library);
    return library;
}

long liveBlocks() {
    return g_liveBlocks;
}

void freeLibraryBlock(void *block) {
    hookFree(block);
}

}  // namespace vostest
