// Comes by LD_PRELOAD into every process of a test and lets one of the calls for memory or descriptors fail that the
// library makes in all of them together; see scripts/fault_runs.py.
//   VOSTEST_FAIL=memory:17           the 17th call fails; 0: none, only counted
//   VOSTEST_FAULT_FILE=/path/to/it   what the processes share
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/hooks.h"

namespace {

using vostest::Resource;

// The script that starts the tests reads it.
struct Shared {
    std::atomic<uint32_t> calls;
    char way[4092];  // to the call that failed: "OBJECT+OFFSET" a line, from the library's innermost frame outward
};
static_assert(sizeof(Shared) == 4096);

vostest::HookedLibrary g_library;
Shared *g_shared = nullptr;
Resource g_resource{};
uint32_t g_nth = 0;

struct Frame {
    const Frame *caller;
    uintptr_t returnAddress;
};

// Writes down the library's frames and the first outside it, by frame pointers: the library has no unwind tables, and
// what calls it may have no frame pointers.
void describe() {
    const auto *frame = static_cast<const Frame *>(__builtin_frame_address(0));
    size_t length = 0;
    bool inside = false;
    for (bool outside = false; !outside; frame = frame->caller) {
        const bool library = frame->returnAddress >= g_library.start && frame->returnAddress < g_library.end;
        outside = inside && !library;
        inside = library;
        if (!inside && !outside) {
            continue;
        }
        const uintptr_t address = frame->returnAddress - 1;
        Dl_info object{};
        dladdr(reinterpret_cast<void *>(address), &object);
        const int added = snprintf(g_shared->way + length, sizeof g_shared->way - length, "%s+0x%zx\n",
                                   object.dli_fname, address - reinterpret_cast<uintptr_t>(object.dli_fbase));
        length = std::min(length + static_cast<size_t>(added), sizeof g_shared->way - 1);
    }
}

bool fails(Resource resource) {
    if (resource != g_resource || ++g_shared->calls != g_nth) {
        return false;
    }
    describe();
    return true;
}

// The sanitizers write to PATH.report.PID. Where they are two libraries, the second one does not take the path that its
// options give.
void tellWhereToReport(const char *path) {
    void *runtime = dlopen("libubsan.so.1", RTLD_LAZY | RTLD_NOLOAD);
    if (runtime == nullptr) {
        return;
    }
    using SetPath = void(const char *);
    if (auto *setPath = reinterpret_cast<SetPath *>(dlsym(runtime, "__sanitizer_set_report_path"))) {
        char reports[512];
        snprintf(reports, sizeof reports, "%s.report", path);
        setPath(reports);
    }
    dlclose(runtime);
}

[[gnu::constructor]] void hook() {
    const char *wanted = getenv("VOSTEST_FAIL");
    const char *path = getenv("VOSTEST_FAULT_FILE");
    const char *number = wanted != nullptr ? strchr(wanted, ':') : nullptr;
    if (number == nullptr || path == nullptr) {
        return;
    }
    tellWhereToReport(path);
    g_resource = *wanted == 'm' ? Resource::kMemory : Resource::kDescriptor;
    g_nth = static_cast<uint32_t>(strtoul(number + 1, nullptr, 10));
    const int fd = open(path, O_RDWR | O_CLOEXEC);
    void *map = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (map != MAP_FAILED) {
        g_shared = static_cast<Shared *>(map);
        g_library = vostest::hookLibrary(fails);
    }
}

}  // namespace
