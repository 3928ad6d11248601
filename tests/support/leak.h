// Marks allocations that stay behind on purpose, so that the leak check of the sanitizer lane accepts them.
#pragma once

extern "C" {
__attribute__((weak)) void __lsan_disable(void);
__attribute__((weak)) void __lsan_enable(void);
}

namespace vostest {

class ExpectedLeak {
  public:
    ExpectedLeak() {
        if (__lsan_disable != nullptr) {
            __lsan_disable();
        }
    }
    ~ExpectedLeak() {
        if (__lsan_enable != nullptr) {
            __lsan_enable();
        }
    }
    ExpectedLeak(const ExpectedLeak &) = delete;
    ExpectedLeak &operator=(const ExpectedLeak &) = delete;
};

}  // namespace vostest
