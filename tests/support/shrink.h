// Shortens a sequence of operations on which a family and its model disagree.
#pragma once

#include <cstddef>
#include <vector>

namespace vostest {

/** Leaves out operations as long as the two still disagree. */
template <typename Op, typename Agree>
std::vector<Op> shrink(std::vector<Op> ops, Agree agree) {
    for (size_t chunk = ops.size() / 2; chunk > 0; chunk /= 2) {
        for (size_t at = 0; at + chunk <= ops.size();) {
            std::vector<Op> fewer = ops;
            fewer.erase(fewer.begin() + static_cast<ptrdiff_t>(at), fewer.begin() + static_cast<ptrdiff_t>(at + chunk));
            if (agree(fewer)) {
                at += chunk;
            } else {
                ops = fewer;
            }
        }
    }
    return ops;
}

}  // namespace vostest
