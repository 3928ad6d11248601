// A part of a text. std::string_view::substr() checks its position by throwing, which would need the C++ runtime.
#pragma once

#include <algorithm>
#include <string_view>

namespace vos {

/** At most `count` characters from `position` on; empty beyond the end. */
constexpr std::string_view slice(std::string_view text, size_t position, size_t count = std::string_view::npos) {
    const size_t start = std::min(position, text.size());
    return {text.data() + start, std::min(count, text.size() - start)};
}

/** starts_with(), which takes the same check along in unoptimised builds. */
constexpr bool startsWith(std::string_view text, std::string_view prefix) {
    return slice(text, 0, prefix.size()) == prefix;
}

}  // namespace vos
