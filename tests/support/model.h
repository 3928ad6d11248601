// Random sequences of operations against plain models.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "support/heap.h"
#include "support/shrink.h"

namespace vostest {

struct Op {
    unsigned kind;
    unsigned a;
    unsigned b;
};

/** Runs sequences on a Pair: kKinds names its operations, step() does one on both sides and compares them. */
template <typename Pair>
void followsItsModel() {
    const auto agree = [](const std::vector<Op> &ops) {
        Pair pair;
        return std::all_of(ops.begin(), ops.end(), [&](const Op &op) { return pair.step(op); });
    };
    const uint32_t before = heapBytes();
    for (unsigned seed = 1; seed <= 300; seed++) {
        std::mt19937 random{seed};
        std::vector<Op> ops(60);
        for (Op &op : ops) {
            op = {static_cast<unsigned>(random() % std::size(Pair::kKinds)), static_cast<unsigned>(random() % 8),
                  static_cast<unsigned>(random() % 8)};
        }
        if (!agree(ops)) {
            std::string text;
            for (const Op &op : shrink(ops, agree)) {
                text +=
                    std::string{Pair::kKinds[op.kind]} + "(" + std::to_string(op.a) + "," + std::to_string(op.b) + ") ";
            }
            FAIL() << "seed " << seed << ", shortest sequence: " << text;
        }
        ASSERT_EQ(heapBytes(), before) << "seed " << seed;
    }
}

}  // namespace vostest
