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
    MountOver(std::string target, const std::string &contents) : target_{std::move(target)} {
        writeText(dir_ / "contents", contents);
        EXPECT_EQ(mount((dir_ / "contents").c_str(), target_.c_str(), nullptr, MS_BIND, nullptr), 0) << target_;
    }
    ~MountOver() { umount2(target_.c_str(), MNT_DETACH); }
    MountOver(const MountOver &) = delete;
    MountOver &operator=(const MountOver &) = delete;

  private:
    TempDir dir_;
    std::string target_;
};

}  // namespace vostest
