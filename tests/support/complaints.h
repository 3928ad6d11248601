// Command lines of vosctl that must fail with one line of advice.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>

#include "support/shell.h"

namespace vostest {

struct Complaint {
    const char *arguments;
    int status;
    std::string advice;  // what the line holds
};

inline void expectComplaints(std::initializer_list<Complaint> complaints) {
    for (const Complaint &c : complaints) {
        SCOPED_TRACE(c.arguments);
        const Outcome outcome = vosctl(c.arguments);
        EXPECT_EQ(outcome.status, c.status);
        EXPECT_THAT(outcome.err, testing::HasSubstr(c.advice));
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
    }
}

}  // namespace vostest
