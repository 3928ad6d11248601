// Data of three kinds for the codec rows: text of this program's own symbols and words, machine code, noise.
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

struct Sample {
    std::string_view name;
    std::vector<uint8_t> bytes;
};

inline std::vector<uint8_t> noise(size_t size) {
    std::vector<uint8_t> bytes(size);
    std::mt19937 random{1};
    std::ranges::generate(bytes, [&] { return static_cast<uint8_t>(random()); });
    return bytes;
}

/** Words drawn with the skew of natural text. */
inline std::vector<uint8_t> words(size_t size) {
    constexpr std::string_view kWords[] = {
        "the ",      "of ",        "gateway ", "and ",    "to ",       "interface ", "is ",        "message ",
        "in ",       "address ",   "a ",       "entity ", "timer ",    "for ",       "hub ",       "<param name=\"",
        "\">",       "</param>\n", "enable ",  "0",       "1",         "192.168.1.", "255.255.0.", ".\n",
        "firmware ", "upgrade ",   "with ",    "that ",   "wireless ", "password ",  "channel ",   "statistics "};
    std::vector<uint8_t> bytes;
    std::mt19937 random{2};
    std::geometric_distribution<size_t> rank{0.09};
    while (bytes.size() < size) {
        const std::string_view word = kWords[rank(random) % std::size(kWords)];
        bytes.insert(bytes.end(), word.begin(), word.end());
    }
    bytes.resize(size);
    return bytes;
}

/** The running program itself, repeated where it is short. */
inline std::vector<uint8_t> machineCode(size_t size) {
    std::ifstream file{"/usr/lib/x86_64-linux-gnu/libtiff.so.6", std::ios::binary};
    std::vector<uint8_t> bytes{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
    while (bytes.size() < size) {
        bytes.insert(bytes.end(), bytes.begin(),
                     bytes.begin() + static_cast<ptrdiff_t>(std::min(bytes.size(), size - bytes.size())));
    }
    bytes.resize(size);
    return bytes;
}

inline std::vector<Sample> samples(size_t size) {
    return {{"text", words(size)}, {"binary", machineCode(size)}, {"random", noise(size)}};
}

}  // namespace bench
