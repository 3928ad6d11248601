#include "support/fault.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <optional>

#include "support/files.h"
#include "support/leak.h"
#include "support/syslog_catcher.h"

namespace vostest {

namespace {

struct Fault {
    Resource resource;
    unsigned countdown;  // 0: nothing fails any more
};
thread_local Fault t_fault{};
thread_local bool t_active = false;

bool fails(Resource resource) {
    return t_active && t_fault.resource == resource && t_fault.countdown > 0 && --t_fault.countdown == 0;
}

// One run under a failing call; whether there was one left to fail.
bool runOnce(const Probe &probe, Resource resource, unsigned nth) {
    const size_t descriptors = openDescriptors();
    const long blocks = liveBlocks();
    t_fault = {resource, nth};
    int64_t outcome = 0;
    {
        std::optional<ExpectedLeak> leak;
        if (probe.leaks > 0) {
            leak.emplace();
        }
        std::optional<Diagnostics> diagnostics;
        if (resource == Resource::kMemory) {
            diagnostics.emplace();
        }
        outcome = probe.run();
        EXPECT_TRUE(!diagnostics || outcome == probe.success || !diagnostics->take().empty()) << "without a word";
    }
    const bool failed = t_fault.countdown == 0;
#ifdef __GLIBC__
    EXPECT_EQ(openDescriptors(), descriptors);
#else
    EXPECT_LE(openDescriptors(), descriptors);  // with musl one was seen to be fewer, never more
#endif
    const long permitted = blocks + (failed ? probe.leaks : 0);
    for (int i = 0; i < 5000 && liveBlocks() > permitted; i++) {
        usleep(1000);  // a thread that the call started may still have to free its record
    }
    EXPECT_LE(liveBlocks(), permitted);
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

void failEach(Resource resource, const std::vector<Probe> &probes) {
    static const HookedLibrary library = hookLibrary(fails);
    if (!library.found) {
        GTEST_SKIP() << "the library is linked statically";
    }
    ASSERT_EQ(library.unhooked, "");
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
