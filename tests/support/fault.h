// Makes the library's calls for memory or descriptors fail one after the other.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "support/hooks.h"
#include "vos/mem.h"
#include "vos/msg.h"
#include "vos/ret.h"

namespace vostest {

/** While one exists, this thread's calls into the library meet the failure that failEach() has set up. */
class UnderFault {
  public:
    UnderFault();
    ~UnderFault();
    UnderFault(const UnderFault &) = delete;
    UnderFault &operator=(const UnderFault &) = delete;
};

/** One call and what its header says about it. */
struct Probe {
    const char *call;
    int64_t success;
    std::vector<int64_t> failures;
    std::function<int64_t()> run;  // makes the call under UnderFault, frees what it gave and tells its result
    long leaks = 0;                // blocks that stay allocated after a failure, where the header says so
};

/** For every n: lets the n-th call for the resource fail and runs the probe, until none is left to fail. Each failure
 *  must give one of the named results and leave neither blocks nor descriptors behind. */
void failEach(Resource resource, const std::vector<Probe> &probes);

/** A call's result; of a call that returns something new 1 or 0, and it is given to `release`. */
template <typename Call, typename Release = void (*)(void *)>
int64_t result(
    Call call, Release release = [](void *block) { VOS_FREE(block); }) {
    using Result = std::invoke_result_t<Call>;
    std::optional<UnderFault> fault{std::in_place};
    if constexpr (std::is_void_v<Result>) {
        call();
        return 0;
    } else if constexpr (std::is_pointer_v<Result>) {
        const Result made = call();
        fault.reset();
        if (made != nullptr) {
            release(made);
        }
        return made != nullptr ? 1 : 0;
    } else {
        return static_cast<int64_t>(call());
    }
}

/** result() of each run. */
template <typename... Arguments>
std::function<int64_t()> of(Arguments... arguments) {
    return [arguments...] { return result(arguments...); };
}

/** The same of a call with an output parameter, which must be set exactly on success. */
template <typename T, typename Call, typename Release = void (*)(void *)>
std::function<int64_t()> ofOut(
    Call call, Release release = [](void *block) { VOS_FREE(block); }) {
    return [=] {
        T *made = nullptr;
        const int64_t ret = result([&] { return call(&made); });
        EXPECT_EQ(made != nullptr, ret == VOS_RET_OK);
        if (made != nullptr) {
            release(made);
        }
        return ret;
    };
}

/** Opens and closes a handle at a running hub under a name of its own: the hub may not have noticed yet that the last
 * one is gone. */
inline int64_t resultOfLaunch() {
    static int number = 0;
    const std::string name = "daemon" + std::to_string(number++);
    VosMsgHandle *handle = nullptr;
    const int64_t ret = result([&] { return vosMsg_initByName(name.c_str(), &handle); });
    EXPECT_EQ(handle != nullptr, ret == VOS_RET_OK);
    vosMsg_cleanup(&handle);
    return ret;
}

}  // namespace vostest
