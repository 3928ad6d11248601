// File helpers: codes and texts of reads and writes, and directory walks that stay inside their tree.
#include "vos/fil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "support/files.h"
#include "support/syslog_catcher.h"

using testing::ElementsAre;
using vostest::readText;
using vostest::TempDir;
using vostest::writeText;
namespace fs = std::filesystem;

namespace {

TEST(FileCopy, TakesFilesThatFit) {
    const TempDir dir;
    writeText(dir / "five", "12345");
    writeText(dir / "empty", "");
    fs::create_directory(dir / "dir");
    const uint32_t dirSize = utilFil_getSize((dir / "dir").c_str());
    // The last number is what the room becomes.
    const std::tuple<const char *, uint32_t, VosRet, uint32_t, std::vector<std::string>> kRows[] = {
        {"five", 5, VOS_RET_OK, 5, {}},
        {"five", 100, VOS_RET_OK, 5, {}},
        {"empty", 0, VOS_RET_OK, 0, {}},
        {"five", 4, VOS_RET_NO_RESOURCE, 4, {"user supplied buffer is 4, filename actual size is 5"}},
        {"none", 100, VOS_RET_NO_RESOURCE, 100, {"user supplied buffer is 100, filename actual size is -1"}},
        {"none", 0xFFFFFFFF, VOS_RET_ERROR, 0, {"could not open file " + (dir / "none").string() + ", errno=2"}},
        {"dir", dirSize, VOS_RET_ERROR, 0, {"read error, got -1, expected " + std::to_string(dirSize)}},
    };
    for (const auto &[name, room, ret, left, log] : kRows) {
        SCOPED_TRACE(std::string{name} + " " + std::to_string(room));
        vostest::Diagnostics diagnostics;
        std::vector<uint8_t> buf(101, '#');
        uint32_t size = room;
        EXPECT_EQ(utilFil_copyToBuffer((dir / name).c_str(), buf.data(), &size), ret);
        EXPECT_EQ(size, left);
        EXPECT_EQ(buf[ret == VOS_RET_OK ? size : 0], '#');  // no terminator, nothing on failure
        EXPECT_EQ(diagnostics.takeBodies(), log);
    }
}

TEST(FileSize, IsTheLow32BitsOrAllOnes) {
    const TempDir dir;
    writeText(dir / "huge", "");
    fs::resize_file(dir / "huge", (uint64_t{1} << 32) + 7);
    EXPECT_EQ(utilFil_getSize((dir / "huge").c_str()), 7u);
    EXPECT_EQ(utilFil_getSize((dir / "none").c_str()), 0xFFFFFFFF);
    fs::create_symlink("none", dir / "dangling");
    EXPECT_EQ(utilFil_isFilePresent((dir / "huge").c_str()), 1);
    EXPECT_EQ(utilFil_isFilePresent((dir / "dangling").c_str()), 0);
}

TEST(FileWrite, OverwritesAppendsAndCreates) {
    const TempDir dir;
    const std::string path = dir / "file";
    const auto bytes = reinterpret_cast<const uint8_t *>("fresh bytes");
    ASSERT_EQ(utilFil_writeBufferToFile(path.c_str(), bytes, 11), VOS_RET_OK);
    ASSERT_EQ(utilFil_writeBufferToFile(path.c_str(), bytes, 5), VOS_RET_OK);
    EXPECT_EQ(readText(path), "fresh");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    EXPECT_EQ(utilFil_writeToProc(path.c_str(), "F"), VOS_RET_OK);
    EXPECT_EQ(utilFil_writeToFileEnd(path.c_str(), " end"), VOS_RET_OK);
    EXPECT_EQ(readText(path), "Fresh end");
}

TEST(FileWrite, SaysWhatFailed) {
    const auto bytes = reinterpret_cast<const uint8_t *>("text");
    constexpr std::tuple<const char *, const char *, const char *> kRows[] = {
        {"/none/file", "could not open /none/file", "could not open /none/file"},
        {"/dev/full", "write text to /dev/full failed, rc=-1", "write to /dev/full failed, rc=-1"},
    };
    for (const auto &[path, log, bufferLog] : kRows) {
        vostest::Diagnostics diagnostics;
        EXPECT_EQ(utilFil_writeToProc(path, "text"), VOS_RET_ERROR);
        EXPECT_EQ(utilFil_writeToFileEnd(path, "text"), VOS_RET_ERROR);
        EXPECT_EQ(utilFil_writeBufferToFile(path, bytes, 4), VOS_RET_ERROR);
        EXPECT_THAT(diagnostics.takeBodies(), ElementsAre(log, log, bufferLog));
    }
    const TempDir dir;
    EXPECT_EQ(utilFil_writeToProc((dir / "none").c_str(), "text"), VOS_RET_ERROR);
    EXPECT_FALSE(fs::exists(dir / "none"));
}

TEST(MakeDir, AcceptsWhatExistsAndMakesNoParents) {
    const TempDir dir;
    const std::string path = dir / "new";
    vostest::Diagnostics diagnostics;
    EXPECT_EQ(utilFil_makeDir(path.c_str()), VOS_RET_OK);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    EXPECT_EQ(utilFil_makeDir(path.c_str()), VOS_RET_OK);
    EXPECT_EQ(utilFil_makeDir((path + "/a/b").c_str()), VOS_RET_ERROR);
    EXPECT_THAT(diagnostics.takeBodies(),
                ElementsAre(path + " exists, return SUCCESS anyways", "mkdir on " + path + "/a/b failed"));
}

/** A tree whose links lead out of it. */
class TreeWalk : public testing::Test {
  protected:
    static constexpr uid_t kOwner = 1234;

    TreeWalk() {
        fs::create_directories(outside_ / "sub");
        writeText(outside_ / "sub/file", "keep");
        fs::create_directories(root_ / "a/b/c");
        writeText(root_ / "a/b/file", "");
        fs::create_directory_symlink(outside_.path(), root_ / "a/link");
        fs::create_symlink(outside_ / "sub/file", root_ / "a/fileLink");
    }
    static bool belongsTo(const fs::path &path, uid_t owner) {
        struct stat info {};
        return lstat(path.c_str(), &info) == 0 && info.st_uid == owner && info.st_gid == 0;
    }
    bool isRoot() const { return lchown((root_ / "a/b/file").c_str(), 77, 77) == 0; }

    TempDir outside_;
    TempDir dir_;
    fs::path root_ = dir_ / "tree";
};

TEST_F(TreeWalk, ChownGivesEveryEntryToTheOwnerAndGroupZero) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give files away";
    }
    EXPECT_EQ(utilFil_chownDir(root_.c_str(), kOwner), VOS_RET_OK);
    for (const char *name : {"", "a", "a/b", "a/b/c", "a/b/file", "a/link", "a/fileLink"}) {
        EXPECT_TRUE(belongsTo(root_ / name, kOwner)) << name;
    }
    for (const fs::path &path : {outside_.path(), outside_ / "sub", outside_ / "sub/file", dir_.path()}) {
        EXPECT_TRUE(belongsTo(path, 0)) << path;
    }
}

TEST_F(TreeWalk, StaysInsideWhileDirectoriesTurnIntoLinks) {
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give files away";
    }
    std::jthread swapper{[this](const std::stop_token &stop) {
        while (!stop.stop_requested()) {
            // musl has no wrapper for it
            syscall(SYS_renameat2, AT_FDCWD, (root_ / "a/b").c_str(), AT_FDCWD, (root_ / "a/link").c_str(),
                    RENAME_EXCHANGE);
        }
    }};
    for (unsigned i = 0; i < 10000; i++) {
        utilFil_chownDir(root_.c_str(), kOwner);
    }
    EXPECT_TRUE(belongsTo(outside_ / "sub/file", 0));
}

TEST_F(TreeWalk, NamesEveryDirectoryAndTheOnesThatStay) {
    const std::string link = dir_ / "link";
    fs::create_directory_symlink(root_ / "a/b", link);
    vostest::Diagnostics diagnostics;
    // A path that leads through a link itself is the caller's choice: the contents go.
    EXPECT_EQ(utilFil_removeDir(link.c_str()), VOS_RET_OK);
    EXPECT_THAT(diagnostics.takeBodies(),
                ElementsAre("dirname=" + link, "dirname=" + link + "/c", "rmdir of " + link + " failed!"));
    EXPECT_TRUE(fs::is_empty(root_ / "a/b"));
    EXPECT_EQ(utilFil_removeDir("/none"), VOS_RET_OK);
    EXPECT_EQ(utilFil_chownDir("/none", 0), VOS_RET_OK);
    EXPECT_THAT(diagnostics.takeBodies(), ElementsAre("dirname=/none", "dirname=/none"));
}

TEST_F(TreeWalk, ReachesTheDeepestLevelsAndLeavesWhatHasTooLongAPath) {
    fs::path deep = root_;
    while (deep.native().size() < 1000) {
        deep /= "d";
    }
    fs::create_directories(deep);
    const size_t room = 1023 - deep.native().size() - 1;
    const fs::path tooLong = deep / std::string(room + 1, 'x');
    writeText(deep / std::string(room, 'x'), "");
    writeText(tooLong, "keep");
    const size_t descriptors = vostest::openDescriptors();
    EXPECT_EQ(utilFil_removeDir(root_.c_str()), VOS_RET_OK);
    EXPECT_FALSE(fs::exists(deep / std::string(room, 'x')));
    EXPECT_FALSE(fs::exists(root_ / "a"));
    EXPECT_EQ(readText(tooLong), "keep");
    EXPECT_EQ(readText(outside_ / "sub/file"), "keep") << "links are taken away, not what they lead to";
    fs::remove(tooLong);
    EXPECT_EQ(utilFil_removeDir(root_.c_str()), VOS_RET_OK);
    EXPECT_FALSE(fs::exists(root_));
    EXPECT_EQ(vostest::openDescriptors(), descriptors);
}

TEST(FileScale, RoundsToTheNearestKiB) {
    constexpr int64_t kRows[][3] = {{3, 512, 2},
                                    {1, 511, 0},
                                    {1, 512, 1},
                                    {-3, 1024, -2},
                                    {INT64_MAX, INT64_MAX, INT64_MAX},
                                    {INT64_MAX, INT64_MIN, INT64_MIN}};
    for (const auto &[count, unit, kib] : kRows) {
        EXPECT_EQ(utilFil_scaleSizetoKB(count, unit), kib) << count << " * " << unit;
    }
}

}  // namespace
