// Guarded blocks on the heap and in the pool, damage reports, figures.
#include "vos/mem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>

#include "support/files.h"
#include "support/printed.h"
#include "support/syslog_catcher.h"

namespace {

VosMemStats stats() {
    VosMemStats result;
    vosMem_getStats(&result);
    return result;
}

std::string bytesAt(const void *start, size_t count) {
    return {static_cast<const char *>(start), count};
}

std::string words(std::initializer_list<uint32_t> values) {
    return bytesAt(values.begin(), 4 * values.size());
}

/** A region at the address where daemons attach it, shared with children, with a fresh pool in it. */
class MemPool : public testing::Test {
  protected:
    static constexpr uint32_t kSize = 1 << 20;
    MemPool() {
        region = mmap(reinterpret_cast<void *>(0x58800000), kSize, PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
        EXPECT_EQ(region, reinterpret_cast<void *>(0x58800000));
        vosMem_initSharedMem(region, kSize);
    }
    ~MemPool() override {
        vosMem_cleanup();
        munmap(region, kSize);
    }
    void *region;
};

TEST(MemBlock, CarriesHeaderFillAndGuard) {
    const uint32_t largestFilled = 65532 - 20;
    for (const uint32_t flags : {0U, uint32_t{ALLOC_ZEROIZE}, 0x80U}) {
        for (const uint32_t size : {0U, 1U, 4U, 5U, largestFilled, largestFilled + 1}) {
            SCOPED_TRACE(testing::Message() << size << " flags " << flags);
            const VosMemStats before = stats();
            auto *user = static_cast<char *>(vosMem_alloc(size, flags, "f", 1));
            ASSERT_NE(user, nullptr);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(user) % alignof(max_align_t), 0U);
            EXPECT_EQ(bytesAt(user - 12, 12), words({flags, size, ~size}));
            EXPECT_EQ(bytesAt(user + size, (4 - size % 4) % 4 + 8), std::string((4 - size % 4) % 4 + 8, '\xFD'));
            if (flags == ALLOC_ZEROIZE || size <= largestFilled) {
                EXPECT_EQ(bytesAt(user, size), std::string(size, flags == ALLOC_ZEROIZE ? '\0' : '\x95'));
            } else {
                EXPECT_NE(user[0], '\x95') << "large blocks stay cheap";
            }
            EXPECT_EQ(stats().heapBytesInUse - before.heapBytesInUse, size);
            vosMem_free(user, "f", 1);
            EXPECT_EQ(stats().heapBytesInUse, before.heapBytesInUse);
            EXPECT_EQ(stats().heapNumAllocs - stats().heapNumFrees, before.heapNumAllocs - before.heapNumFrees);
        }
    }
    for (const uint64_t size : {0xFFFFFFE9ULL, 0xFFFFFFFFULL, 0x100000000ULL, 0x100000008ULL, ~0ULL}) {
        EXPECT_EQ(VOS_MALLOC_FLAGS(size, 0), nullptr) << size << " with header and guard is beyond 32 bits";
    }
}

TEST(MemBlock, DamageIsReportedAndTheBlockStays) {
    vostest::Diagnostics diagnostics;
    const std::tuple<uint32_t, int, std::string> kRows[] = {
        {5, 5, "caller():7:memory overflow detected at idx=5 0x21 0xfdfdfdfd 0xfdfdfdfd"},
        {5, 7, "caller():7:memory overflow detected at idx=7 0x21 0xfdfdfdfd 0xfdfdfdfd"},
        {4, 4, "caller():7:memory overflow detected, 0xfdfdfdfd 0xfdfdfd21"},
        {4, 11, "caller():7:memory overflow detected, 0x21fdfdfd 0xfdfdfdfd"},
        {4, -8, "caller():7:memory underflow detected, 33 -5"},
        {4, -4, "caller():7:memory underflow detected, 4 -223"}};
    for (const auto &[size, position, report] : kRows) {
        SCOPED_TRACE(report);
        auto *user = static_cast<char *>(vosMem_alloc(size, 0, "f", 1));
        const uint32_t frees = stats().heapNumFrees;
        const char whole = std::exchange(user[position], '\x21');
        vosMem_free(user, "caller", 7);
        const auto lines = diagnostics.take();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0].body(), report);
        EXPECT_EQ(lines[0].priority, LOG_ERR);
        EXPECT_THAT(lines[1].body(), testing::MatchesRegex("assertion \"0\" failed at .*src/vos/mem/mem.cpp:[0-9]+"));
        if (position < 0) {
            EXPECT_EQ(vosMem_realloc(user, 100, "f", 1), nullptr);
            EXPECT_EQ(diagnostics.take()[0].body(), report.substr(strlen("caller():7:")));
            EXPECT_FALSE(vosMem_isAllocedMem(user));
        }
        EXPECT_EQ(stats().heapNumFrees, frees);
        user[position] = whole;
        vosMem_free(user, "f", 1);
        EXPECT_EQ(stats().heapNumFrees, frees + 1) << "it was still there";
    }
}

TEST(MemBlock, GrowsButNeverShrinks) {
    auto *user = static_cast<char *>(vosMem_alloc(5, ALLOC_ZEROIZE, "f", 1));
    memcpy(user, "hello", 5);
    for (const uint32_t size : {1U, 5U, 8U}) {
        EXPECT_EQ(vosMem_realloc(user, size, "f", 1), user);
        EXPECT_EQ(bytesAt(user - 8, 4), words({5})) << "the size word keeps the old size";
    }
    EXPECT_EQ(vosMem_realloc(user, 0xFFFFFFFF, "f", 1), nullptr);
    const VosMemStats before = stats();
    user = static_cast<char *>(vosMem_realloc(user, 9, "f", 1));
    EXPECT_EQ(bytesAt(user, 9), std::string("hello\0\0\0\0", 9)) << "made with the old block's flags";
    EXPECT_EQ(stats().heapBytesInUse - before.heapBytesInUse, 4U);
    EXPECT_EQ(vosMem_realloc(user, 0, "f", 1), nullptr);
    EXPECT_EQ(before.heapBytesInUse - stats().heapBytesInUse, 5U);
}

TEST(MemString, CopiesStopAtTheLimit) {
    const std::tuple<uint32_t, const char *, bool> kRows[] = {
        {3, "abc", false}, {6, "abcdef", true}, {99, "abcdef", true}};
    for (const auto &[maxLen, wanted, isWhole] : kRows) {
        bool terminated = !isWhole;
        EXPECT_EQ(vosMem_strnlen("abcdef", maxLen, &terminated), strlen(wanted));
        EXPECT_EQ(terminated, isWhole);
        char *copy = vosMem_strndup("abcdef", maxLen, "f", 1);
        EXPECT_STREQ(copy, wanted);
        vosMem_free(copy, "f", 1);
    }
}

TEST_F(MemPool, BlocksTravelBetweenProcesses) {
    auto **slot = static_cast<char **>(vosMem_alloc(sizeof(char *), ALLOC_SHARED_MEM, "f", 1));
    const VosMemStats before = stats();
    const pid_t child = fork();
    if (child == 0) {
        vosMem_cleanup();
        vosMem_initSharedMemPointer(region, kSize);
        *slot = vosMem_strdupFlags("from the child", ALLOC_SHARED_MEM, "f", 1);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    char *text = *slot;
    EXPECT_STREQ(text, "from the child");
    EXPECT_TRUE(vosMem_isAllocedMem(text));
    memset(text - 12, 0, 4);  // the address decides where it goes, not the flags
    vosMem_free(text, "f", 1);
    EXPECT_EQ(bytesAt(text - 12, 36), std::string(36, '\x97'));
    const VosMemStats after = stats();
    EXPECT_EQ(after.shmNumAllocs - before.shmNumAllocs, 1U);
    EXPECT_EQ(after.shmNumFrees - before.shmNumFrees, 1U);
    EXPECT_EQ(after.shmBytesInUse, before.shmBytesInUse);
    EXPECT_EQ(after.heapNumFrees, before.heapNumFrees);
    void *both = vosMem_alloc(4, ALLOC_SHARED_MEM | ALLOC_ZEROIZE, "f", 1);
    EXPECT_EQ(bytesAt(both, 4), words({0}));
    EXPECT_FALSE(vosMem_isAllocedMem(both)) << "callers know blocks with both flags as foreign";
    EXPECT_EQ(vosMem_alloc(kSize, ALLOC_SHARED_MEM, "f", 1), nullptr);
    vosMem_cleanup();
    EXPECT_EQ(vosMem_alloc(4, ALLOC_SHARED_MEM, "f", 1), nullptr) << "no pool any more";
}

TEST_F(MemPool, FiguresArePrinted) {
    vosMem_alloc(3000, ALLOC_SHARED_MEM, "f", 1);
    vosMem_free(vosMem_alloc(8, ALLOC_SHARED_MEM, "f", 1), "f", 1);
    const VosMemStats now = stats();
    char heap[256];
    snprintf(heap, sizeof heap,
             "Heap bytes in-use     : %06u\nHeap allocs           : %06u\nHeap frees            : %06u\n"
             "Heap alloc/free delta : %06u\n",
             now.heapBytesInUse, now.heapNumAllocs, now.heapNumFrees, now.heapNumAllocs - now.heapNumFrees);
    EXPECT_EQ(vostest::printed([] { EXPECT_EQ(vosMem_dumpMemStats(), 31); }),
              std::string{"Total MDM Shared Memory Region : 1024KB\n"
                          "Shared Memory Usable           : 001024KB(1048576)\n"
                          "Shared Memory in-use           : 000002KB(3036)\n"
                          "Shared Memory free             : 001021KB(1045540)\n"
                          "Shared Memory allocs           : 000002\n"
                          "Shared Memory frees            : 000001\n"
                          "Shared Memory alloc/free delta : 000001\n\n"} +
                  heap);
    EXPECT_EQ(now.shmStartAddr, 0x58800000U);
    EXPECT_EQ(now.shmEndAddr, 0x58900000U);
    vostest::Diagnostics diagnostics;
    vosMem_initSharedMemPointer(region, kSize);
    EXPECT_THAT(diagnostics.takeBodies(), testing::ElementsAre("shm pool: 1484783616-1485832192"));
}

TEST(MemFile, IsMappedSharedAtItsSize) {
    const vostest::TempDir dir;
    const std::string path = dir / "map";
    void *mapping = vomMem_mapFile2Mem(path.c_str(), 5000);
    ASSERT_NE(mapping, MAP_FAILED);
    memcpy(static_cast<char *>(mapping) + 4996, "tail", 4);
    EXPECT_EQ(vostest::readText(path).substr(4996), "tail");
    struct stat info {};
    EXPECT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    munmap(mapping, 5000);
    EXPECT_EQ(vomMem_mapFile2Mem("/missing/file", 5000), nullptr);
    EXPECT_EQ(vomMem_mapFile2Mem(path.c_str(), 0), MAP_FAILED) << "callers compare with MAP_FAILED";
}

}  // namespace
