// Small file helpers for tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vostest {

inline void writeText(const std::filesystem::path &path, const std::string &text) {
    std::ofstream{path, std::ios::binary} << text;
}

inline std::string readText(const std::filesystem::path &path) {
    std::ifstream in{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{in}, std::istreambuf_iterator<char>{}};
}

/** Everything up to the end of a descriptor, which is closed then. */
inline std::string readToEnd(int fd) {
    std::string text;
    char buffer[512];
    for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<size_t>(got));
    }
    close(fd);
    return text;
}

/** How many descriptors this process holds; equal before and after a call that must not leak. */
inline size_t openDescriptors() {
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator{"/proc/self/fd"}) {
        count++;
    }
    return count;
}

/** Fails when there are more or fewer descriptors at its end than at its beginning. */
class SameDescriptors {
  public:
    ~SameDescriptors() { EXPECT_EQ(openDescriptors(), before_); }

  private:
    size_t before_ = openDescriptors();
};

/** A directory below /tmp that disappears at the end of the test. */
class TempDir {
  public:
    TempDir() {
        std::string pattern = "/tmp/test-XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::filesystem::path &path() const { return path_; }
    std::filesystem::path operator/(const std::string &name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

}  // namespace vostest
