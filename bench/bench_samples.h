// Data of three kinds for the codec rows: words and markup, machine code, noise.
#pragma once

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
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

/** The C library's file, repeated where it is short. */
inline std::vector<uint8_t> machineCode(size_t size) {
    Dl_info library{};
    dladdr(reinterpret_cast<const void *>(&fopen), &library);
    std::ifstream file{library.dli_fname, std::ios::binary};
    const std::vector<uint8_t> code{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
    std::vector<uint8_t> bytes;
    while (bytes.size() < size && !code.empty()) {
        bytes.insert(bytes.end(), code.begin(), code.end());
    }
    bytes.resize(size);
    return bytes;
}

inline std::vector<Sample> samples(size_t size) {
    return {{"text", words(size)}, {"binary", machineCode(size)}, {"random", noise(size)}};
}

}  // namespace bench
