// What a call writes to the standard streams.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace vostest {

template <typename Call>
std::string printed(Call call) {
    testing::internal::CaptureStdout();
    call();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

}  // namespace vostest
