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

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

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

// ---- the library's imports ----

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
int hookPthreadCreate(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *arg) {
    return fails(Resource::kMemory) ? EAGAIN : pthread_create(thread, attributes, start, arg);
}

pid_t hookFork() {
    return fails(Resource::kMemory) ? -1 : fork();
}
int hookClone(int (*run)(void *), void *stack, int flags, void *arg) {
    return fails(Resource::kMemory) ? -1 : clone(run, stack, flags, arg);
}
int hookSystem(const char *command) {
    return fails(Resource::kMemory) ? -1 : system(command);
}
void *hookMmap(void *at, size_t size, int protection, int flags, int fd, off_t offset) {
    return fails(Resource::kMemory) ? MAP_FAILED : mmap(at, size, protection, flags, fd, offset);
}
int hookShmget(key_t key, size_t size, int flags) {
    return fails(Resource::kMemory) ? -1 : shmget(key, size, flags);
}

template <typename Call>
int descriptor(Call call) {
    return fails(Resource::kDescriptor) ? -1 : call();
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
    return failsAsStream() ? -1 : forkpty(master, name, modes, size);
}
FILE *hookFopen(const char *path, const char *mode) {
    return failsAsStream() ? nullptr : fopen(path, mode);
}
FILE *hookFdopen(int fd, const char *mode) {
    return fails(Resource::kMemory) ? nullptr : fdopen(fd, mode);
}
FILE *hookPopen(const char *command, const char *mode) {
    return failsAsStream() ? nullptr : popen(command, mode);
}

void *hookDlopen(const char *name, int mode) {
    return failsAsStream() ? nullptr : dlopen(name, mode);
}

// What libcrypto, opened by then, makes for the library.
constinit struct {
    std::string_view name;
    void *function = nullptr;
} g_makers[] = {{"EVP_CIPHER_CTX_new"}, {"EVP_MD_CTX_new"}, {"EVP_PKEY_CTX_new"},
                {"OSSL_LIB_CTX_new"},   {"PKCS12_init_ex"}, {"BIO_new_file"}};

template <size_t index>
void *make(void *first, void *second, void *third) {
    using Function = void *(void *, void *, void *);
    const auto &maker = g_makers[index];
    if (maker.name == "BIO_new_file" ? failsAsStream() : fails(Resource::kMemory)) {
        return nullptr;
    }
    return reinterpret_cast<Function *>(maker.function)(first, second, third);
}
void *hookDlsym(void *library, const char *name) {
    void *(*const hooks[])(void *, void *, void *) = {make<0>, make<1>, make<2>, make<3>, make<4>, make<5>};
    void *function = dlsym(library, name);
    for (size_t i = 0; i < std::size(hooks); i++) {
        if (g_makers[i].name == name && function != nullptr) {
            g_makers[i].function = function;
            return reinterpret_cast<void *>(hooks[i]);
        }
    }
    return function;
}

struct Hook {
    std::string_view name;
    void *function;
};
template <typename Function>
Hook hook(std::string_view name, Function *function) {
    return {name, reinterpret_cast<void *>(function)};
}

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
    auto *library = static_cast<HookedLibrary *>(data);
    library->found = true;
    const Hook hooks[] = {
        hook("malloc", hookMalloc), hook("realloc", hookRealloc),
        hook("free", hookFree),     hook("open", hookOpen),
        hook("openat", hookOpenat), hook("socket", hookSocket),
        hook("pipe2", hookPipe2),   hook("dup", hookDup),
        hook("fcntl", hookFcntl),   hook("forkpty", hookForkpty),
        hook("fopen", hookFopen),   hook("fdopen", hookFdopen),
        hook("popen", hookPopen),   hook("pthread_create", hookPthreadCreate),
        hook("fork", hookFork),     hook("clone", hookClone),
        hook("system", hookSystem), hook("mmap", hookMmap),
        hook("shmget", hookShmget), hook("dlopen", hookDlopen),
        hook("dlsym", hookDlsym),
    };
    const Imports imports = importsOf(*object);
    for (const auto &table : imports.tables) {
        for (size_t i = 0; i < table.bytes / sizeof(ElfW(Rela)); i++) {
            const ElfW(Rela) &entry = table.entries[i];
            const std::string_view name = imports.names + imports.symbols[ELF64_R_SYM(entry.r_info)].st_name;
            for (const std::string_view unhooked : kUnhooked) {
                library->unhooked = unhooked == name ? unhooked : library->unhooked;
            }
            for (const Hook &hook : hooks) {
                if (hook.name == name) {
                    put(object->dlpi_addr + entry.r_offset, hook.function);
                }
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
