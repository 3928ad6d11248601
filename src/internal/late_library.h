// A shared library that is opened when it is first needed: a process that never needs it has none of its pages.
#ifndef VOS_INTERNAL_LATE_LIBRARY_H
#define VOS_INTERNAL_LATE_LIBRARY_H

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cstring>

#include "internal/guards.h"
#include "vos/dbg.h"

namespace vos {

class LateLibrary {
  public:
    /** Opens the library and writes the addresses of its functions, one behind the other, to `table`; does nothing when
     * that was done before. `names` holds the functions' names, each with its NUL, and an empty one at the end: a table
     * of pointers would have to be relocated at load.
     *
     * A failure is reported and tried again at the next call, because descriptors or memory may have been short. The
     * library is never closed: it may have handlers that run at exit, and others in the process may use it. */
    bool bind(const char *soname, const char *names, void *table) {
        if (bound_.load(std::memory_order_acquire)) {
            return true;
        }
        pthread_mutex_lock(&mutex_);
        const Scope unlock{[this] { pthread_mutex_unlock(&mutex_); }};
        if (!bound_.load(std::memory_order_relaxed) && fill(soname, names, static_cast<char *>(table))) {
            bound_.store(true, std::memory_order_release);
        }
        return bound_.load(std::memory_order_relaxed);
    }

  private:
    static bool fill(const char *soname, const char *names, char *table) {
        void *library = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
        for (; library != nullptr; names += strlen(names) + 1) {
            if (*names == '\0') {
                return true;
            }
            void *function = dlsym(library, names);
            if (function == nullptr) {
                break;
            }
            memcpy(table, &function, sizeof function);
            table += sizeof function;
        }
        VOS_DBG_ERROR("could not bind %s: %s", soname, dlerror());
        return false;
    }

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<bool> bound_ = false;
};

}  // namespace vos

#endif
