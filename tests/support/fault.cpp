#include "support/fault.h"

#include <elf.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <link.h>
#include <pthread.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "support/files.h"
#include "support/leak.h"

namespace vostest {

namespace {

struct Fault {
    Resource resource;
    unsigned countdown;  // 0: nothing fails any more
};
thread_local Fault t_fault{};
thread_local bool t_active = false;
std::atomic<long> g_liveBlocks = 0;

bool fails(Resource resource) {
    return t_active && t_fault.resource == resource && t_fault.countdown > 0 && --t_fault.countdown == 0;
}

// Counts the attempt for both resources, as a stream needs both.
bool failsAsStream() {
    if (fails(Resource::kMemory)) {
        errno = ENOMEM;
        return true;
    }
    if (fails(Resource::kDescriptor)) {
        errno = EMFILE;
        return true;
    }
    return false;
}

void *counted(void *block) {
    g_liveBlocks += block != nullptr ? 1 : 0;
    return block;
}

// ---- the library's imports ----

void *hookMalloc(size_t size) {
    errno = ENOMEM;
    return fails(Resource::kMemory) ? nullptr : counted(malloc(size));
}
void *hookRealloc(void *block, size_t size) {
    errno = ENOMEM;
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
int hookPthreadCreate(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *arg) {
    return fails(Resource::kMemory) ? EAGAIN : pthread_create(thread, attributes, start, arg);
}

template <typename Call>
int descriptor(Call call) {
    if (fails(Resource::kDescriptor)) {
        errno = EMFILE;
        return -1;
    }
    return call();
}
int hookOpen(const char *path, int flags, mode_t mode) {
    return descriptor([&] { return open(path, flags, mode); });
}
int hookOpenat(int dir, const char *path, int flags, mode_t mode) {
    return descriptor([&] { return openat(dir, path, flags, mode); });
}
int hookSocket(int domain, int type, int protocol) {
    return descriptor([&] { return socket(domain, type, protocol); });
}
int hookPipe2(int fds[2], int flags) {
    return descriptor([&] { return pipe2(fds, flags); });
}
int hookDup(int fd) {
    return descriptor([&] { return dup(fd); });
}
int hookFcntl(int fd, int command, long argument) {
    if (command != F_DUPFD && command != F_DUPFD_CLOEXEC) {
        return fcntl(fd, command, argument);
    }
    return descriptor([&] { return fcntl(fd, command, argument); });
}
int hookForkpty(int *master, char *name, const termios *modes, const winsize *size) {
    return descriptor([&] { return forkpty(master, name, modes, size); });
}
FILE *hookFopen(const char *path, const char *mode) {
    return failsAsStream() ? nullptr : fopen(path, mode);
}
FILE *hookFdopen(int fd, const char *mode) {
    errno = ENOMEM;
    return fails(Resource::kMemory) ? nullptr : fdopen(fd, mode);
}
FILE *hookPopen(const char *command, const char *mode) {
    return failsAsStream() ? nullptr : popen(command, mode);
}

struct Hook {
    std::string_view name;
    void *function;
};
template <typename Function>
Hook hook(std::string_view name, Function *function) {
    return {name, reinterpret_cast<void *>(function)};
}
const Hook kHooks[] = {
    hook("malloc", hookMalloc), hook("realloc", hookRealloc),
    hook("free", hookFree),     hook("open", hookOpen),
    hook("openat", hookOpenat), hook("socket", hookSocket),
    hook("pipe2", hookPipe2),   hook("dup", hookDup),
    hook("fcntl", hookFcntl),   hook("forkpty", hookForkpty),
    hook("fopen", hookFopen),   hook("fdopen", hookFdopen),
    hook("popen", hookPopen),   hook("pthread_create", hookPthreadCreate),
};

// Calls for memory or descriptors that have no hook yet would go untested.
constexpr std::string_view kUnhooked[] = {"calloc",     "strdup", "accept",  "accept4", "pipe",
                                          "socketpair", "dup3",   "opendir", "open64",  "epoll_create1"};

// ---- the import table ----

struct Imports {
    const ElfW(Sym) *symbols = nullptr;
    const char *names = nullptr;
    struct Table {
        const ElfW(Rela) *entries = nullptr;
        size_t bytes = 0;
    } tables[2];
};

Imports importsOf(const dl_phdr_info &object) {
    Imports imports;
    for (size_t i = 0; i < object.dlpi_phnum; i++) {
        if (object.dlpi_phdr[i].p_type != PT_DYNAMIC) {
            continue;
        }
        const auto *entry = reinterpret_cast<const ElfW(Dyn) *>(object.dlpi_addr + object.dlpi_phdr[i].p_vaddr);
        for (; entry->d_tag != DT_NULL; entry++) {
            // Some loaders put addresses in the place of offsets.
            const auto address = entry->d_un.d_ptr + (entry->d_un.d_ptr < object.dlpi_addr ? object.dlpi_addr : 0);
            switch (entry->d_tag) {
                case DT_SYMTAB:
                    imports.symbols = reinterpret_cast<const ElfW(Sym) *>(address);
                    break;
                case DT_STRTAB:
                    imports.names = reinterpret_cast<const char *>(address);
                    break;
                case DT_JMPREL:
                    imports.tables[0].entries = reinterpret_cast<const ElfW(Rela) *>(address);
                    break;
                case DT_PLTRELSZ:
                    imports.tables[0].bytes = entry->d_un.d_val;
                    break;
                case DT_RELA:
                    imports.tables[1].entries = reinterpret_cast<const ElfW(Rela) *>(address);
                    break;
                case DT_RELASZ:
                    imports.tables[1].bytes = entry->d_un.d_val;
                    break;
                default:
                    break;
            }
        }
    }
    return imports;
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
    const Imports imports = importsOf(*object);
    for (const auto &table : imports.tables) {
        for (size_t i = 0; i < table.bytes / sizeof(ElfW(Rela)); i++) {
            const ElfW(Rela) &entry = table.entries[i];
            const std::string_view name = imports.names + imports.symbols[ELF64_R_SYM(entry.r_info)].st_name;
            EXPECT_THAT(kUnhooked, testing::Not(testing::Contains(name)));
            for (const Hook &hook : kHooks) {
                if (hook.name == name) {
                    put(object->dlpi_addr + entry.r_offset, hook.function);
                    *static_cast<bool *>(data) = true;
                }
            }
        }
    }
    return 1;
}

bool hookLibrary() {
    bool hooked = false;
    dl_iterate_phdr(patch, &hooked);
    return hooked;
}

// One run under a failing call; whether there was one left to fail.
bool runOnce(const Probe &probe, Resource resource, unsigned nth) {
    const size_t descriptors = openDescriptors();
    const long blocks = g_liveBlocks;
    t_fault = {resource, nth};
    int64_t outcome = 0;
    {
        std::optional<ExpectedLeak> leak;
        if (probe.leaks > 0) {
            leak.emplace();
        }
        outcome = probe.run();
    }
    const bool failed = t_fault.countdown == 0;
    EXPECT_EQ(openDescriptors(), descriptors);
    const long permitted = blocks + (failed ? probe.leaks : 0);
    for (int i = 0; i < 5000 && g_liveBlocks > permitted; i++) {
        usleep(1000);  // a thread that the call started may still have to free its record
    }
    EXPECT_LE(g_liveBlocks, permitted);
    if (failed) {
        EXPECT_THAT(probe.failures, testing::Contains(outcome));
    } else {
        EXPECT_EQ(outcome, probe.success);
        EXPECT_GT(nth, 1U) << "no call that could fail";
    }
    return failed;
}

}  // namespace

UnderFault::UnderFault() {
    t_active = true;
}

UnderFault::~UnderFault() {
    t_active = false;
}

void freeLibraryBlock(void *block) {
    hookFree(block);
}

void failEach(Resource resource, const std::vector<Probe> &probes) {
    static const bool hooked = hookLibrary();
    if (!hooked) {
        GTEST_SKIP() << "the library is linked statically";
    }
    for (const Probe &probe : probes) {
        SCOPED_TRACE(probe.call);
        t_fault = {};
        // The first run also takes what the process keeps from then on.
        ASSERT_EQ(probe.run(), probe.success);
        for (unsigned nth = 1;; nth++) {
            SCOPED_TRACE(nth);
            if (!runOnce(probe, resource, nth) || testing::Test::HasFailure()) {
                break;
            }
        }
    }
}

}  // namespace vostest
