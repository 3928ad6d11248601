// A shared library that is opened when it is first needed: a process that never needs it has none of its pages.
#pragma once

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cstring>

#include "internal/dbg.h"

namespace vos {

class LateLibrary {
  public:
    /** Opens the library and writes the addresses of its functions, one behind the other, to `table`; does nothing when
     *  that was done before. `names` holds the functions' names, each with its NUL, and an empty one at the end: a
     *  table of pointers to them would have to be relocated at load.
     *
     *  A failure is reported and tried again at the next call, because descriptors or memory may have been short. The
     *  library is never closed: it may have handlers that run at exit, and others in the process may use it. */
    template <typename Table>
    bool bind(const char *soname, const char *names, Table &table) {
        if (bound_.load(std::memory_order_acquire)) {
            return true;
        }
        // Opening may run foreign code and wait for the loader, so no lock is held meanwhile.
        Table found;
        if (!find(soname, names, reinterpret_cast<char *>(&found))) {
            return false;
        }
        pthread_mutex_lock(&mutex_);
        if (!bound_.load(std::memory_order_relaxed)) {
            table = found;
            bound_.store(true, std::memory_order_release);
        }
        pthread_mutex_unlock(&mutex_);
        return true;
    }

  private:
    static bool find(const char *soname, const char *names, char *table) {
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
