// A file's contents in the place of another file (below /proc, say) until the end of a test.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <string>

#include "support/files.h"

namespace vostest {

class MountOver {
  public:
    MountOver(std::string target, const std::string &contents) : MountOver{std::move(target), "", contents} {}
    /** Covers a directory with one that holds only this file. */
    MountOver(std::string target, const std::string &file, const std::string &contents) : target_{std::move(target)} {
        writeText(dir_ / (file.empty() ? "contents" : file), contents);
        const auto source = file.empty() ? dir_ / "contents" : dir_.path();
        EXPECT_EQ(mount(source.c_str(), target_.c_str(), nullptr, MS_BIND, nullptr), 0) << target_;
    }
    ~MountOver() { umount2(target_.c_str(), MNT_DETACH); }
    MountOver(const MountOver &) = delete;
    MountOver &operator=(const MountOver &) = delete;

  private:
    TempDir dir_;
    std::string target_;
};

}  // namespace vostest
