// The pool against a plain model, byte by byte, used by two processes at once.
#include "vos/pool.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "support/printed.h"

using vostest::printed;

namespace {

constexpr int64_t kSize = 1 << 16;
constexpr int64_t kControl = 1024;

/** What the pool must do; offsets count from the region's start. */
struct Model {
    struct Block {
        int64_t size;
        bool free;
    };
    std::map<int64_t, Block> blocks{{kControl, {kSize - kControl - 16, true}}};
    std::vector<int64_t> order{kControl};  // of the free list
    int64_t gets = 0;
    int64_t releases = 0;

    /** Offset of the user area, 0 when nothing fits. */
    int64_t get(int64_t size) {
        const int64_t need = (std::max<int64_t>(size, 16) + 3) / 4 * 4 + 16;
        int64_t best = 0;
        for (const int64_t offset : order) {
            if (blocks[offset].size >= need && (best == 0 || blocks[offset].size < blocks[best].size)) {
                best = offset;
            }
        }
        if (best == 0) {
            return 0;
        }
        gets++;
        Block &block = blocks[best];
        if (block.size - need < 33) {
            std::erase(order, best);
            block.free = false;
            return best + 16;
        }
        block.size -= need;
        blocks[best + block.size] = {need, false};
        return best + block.size + 16;
    }
    void release(int64_t user) {
        releases++;
        auto block = blocks.find(user - 16);
        if (block != blocks.begin() && std::prev(block)->second.free) {
            const int64_t size = block->second.size;
            block = std::prev(blocks.erase(block));
            block->second.size += size;
        } else {
            block->second.free = true;
            order.push_back(block->first);
        }
        if (const auto next = std::next(block); next != blocks.end() && next->second.free) {
            std::erase(order, next->first);
            block->second.size += next->second.size;
            blocks.erase(next);
        }
    }
};

class PoolTest : public testing::Test {
  protected:
    PoolTest() {
        region = static_cast<char *>(mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        memset(region, 0xAA, kSize);
        bpool(region, kSize);
    }
    ~PoolTest() override {
        zeta_cleanup_bpool();
        munmap(region, kSize);
    }
    int64_t word(int64_t offset) const {
        int64_t value = 0;
        memcpy(&value, region + offset, sizeof value);
        return value;
    }
    int64_t address(int64_t offset) const { return reinterpret_cast<int64_t>(region + offset); }
    int64_t offsetOf(const void *user) const { return user == nullptr ? 0 : static_cast<const char *>(user) - region; }

    /** Every word that other processes read is where it belongs; so are the figures. */
    void expectSame(const Model &model) const {
        int64_t taken = 0, freeBefore = 0, largest = -1;
        for (const auto &[offset, block] : model.blocks) {
            ASSERT_EQ(word(offset), freeBefore) << offset;
            ASSERT_EQ(word(offset + 8), block.free ? block.size : -block.size) << offset;
            freeBefore = block.free ? block.size : 0;
            taken += block.size - freeBefore;
            largest = block.free ? std::max(largest, block.size) : largest;
        }
        ASSERT_EQ(word(kSize - 16), freeBefore);
        ASSERT_EQ(word(kSize - 8), INT64_MIN);
        int64_t previous = 0;
        for (const int64_t offset : model.order) {
            ASSERT_EQ(word(previous + 16), address(offset));
            ASSERT_EQ(word(offset + 24), address(previous));
            previous = offset;
        }
        ASSERT_EQ(word(previous + 16), address(0));
        const int64_t control[] = {0, 0, word(16), address(previous), taken, model.gets, model.releases, 1};
        ASSERT_EQ(memcmp(region, control, sizeof control), 0);
        ASSERT_EQ(std::count(region + 64, region + kControl, '\0'), kControl - 64);
        int64_t figures[5];
        bstats(&figures[0], &figures[1], &figures[2], &figures[3], &figures[4]);
        const int64_t expected[] = {taken, kSize - kControl - 16 - taken, largest, model.gets, model.releases};
        ASSERT_EQ(memcmp(figures, expected, sizeof figures), 0);
        ASSERT_EQ(bpoolv(region + kControl), 1);
    }

    char *region;
};

struct Order {
    int64_t size;
    void *release;  // when not NULL: release this
    void *perform() const {
        if (release == nullptr) {
            return bget(size);
        }
        brel(release);
        return release;
    }
};

TEST_F(PoolTest, TwoProcessesMatchTheModel) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds), 0);
    const pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        zeta_cleanup_bpool();
        zeta_secondary_bpool(region);
        for (Order order; read(fds[1], &order, sizeof order) == sizeof order;) {
            void *result = order.perform();
            [[maybe_unused]] const ssize_t rc = write(fds[1], &result, sizeof result);
        }
        _exit(0);
    }
    close(fds[1]);
    Model model;
    std::mt19937 random{2};
    const auto below = [&](size_t limit) { return random() % limit; };
    std::vector<void *> held;
    for (int step = 0; step < 6000; step++) {
        SCOPED_TRACE(step);
        Order order{.size = static_cast<int64_t>(below(step % 50 == 0 ? 8000 : 300)) - 8, .release = nullptr};
        // Seasons of growth and decline, so that the pool fills up and empties again.
        if (!held.empty() && below(100) < (step / 500 % 2 == 0 ? 30U : 65U)) {
            std::swap(held[below(held.size())], held.back());
            order.release = held.back();
            held.pop_back();
        }
        void *result = nullptr;
        if (below(2) == 0) {
            result = order.perform();
        } else {
            ASSERT_EQ(write(fds[0], &order, sizeof order), ssize_t{sizeof order});
            ASSERT_EQ(read(fds[0], &result, sizeof result), ssize_t{sizeof result});
        }
        if (order.release != nullptr) {
            model.release(offsetOf(order.release));
        } else {
            ASSERT_EQ(offsetOf(result), model.get(order.size)) << order.size;
            if (result != nullptr) {
                memset(result, 0x55, static_cast<size_t>(std::max<int64_t>(order.size, 16)));
                held.push_back(result);
            }
        }
        ASSERT_NO_FATAL_FAILURE(expectSame(model));
    }
    close(fds[0]);
    waitpid(child, nullptr, 0);
}

TEST_F(PoolTest, ASmallRemainderGoesWithTheBlock) {
    const int64_t whole = kSize - kControl - 16;
    for (const int64_t remainder : {0, 32, 36}) {
        void *user = bget(whole - 16 - remainder);
        EXPECT_EQ(offsetOf(user), kControl + 16 + (remainder > 32 ? remainder : 0));
        int64_t largest = 0;
        bstats(nullptr, nullptr, &largest, nullptr, nullptr);
        EXPECT_EQ(largest, remainder > 32 ? remainder : -1);
        brel(user);
    }
    for (const int64_t size : {whole - 15, INT64_MAX - 19, INT64_MAX}) {
        EXPECT_EQ(bget(size), nullptr);
    }
}

TEST_F(PoolTest, FurtherRegionsJoinUncounted) {
    alignas(8) char more[1024 + 47];
    bpool(more, 47);  // no room for a free block and the end mark
    bpool(more, 511);
    EXPECT_EQ(word(24), reinterpret_cast<int64_t>(more));
    EXPECT_EQ(word(56), 1);
    EXPECT_EQ(bget(400), more + 508 - 16 - 400);
    zeta_cleanup_bpool();
    bpool(more, sizeof more);
    EXPECT_EQ(bget(16), nullptr) << "too small for a pool";
}

TEST(PoolDump, FoldsRepeatedLinesAndNamesBrokenLinks) {
    alignas(8) char region[kControl + 84 + 64 + 116 + 16] = {};
    bpool(region, sizeof region);
    memcpy(bget(100), (std::string(80, 'z') + std::string(20, 'y')).data(), 100);
    void *const equals = memset(bget(48), '=', 48);
    memcpy(region + kControl + 32, "\x1Fnly printable\x7F.sixteen letters!sixteen letters!tail", 52);
    const std::string letters = "73 69 78 74 65 65 6E 20 6C 65 74 74 65 72 73 21    sixteen letters!\n";
    const std::string equal = "3D 3D 3D 3D 3D 3D 3D 3D 3D 3D 3D 3D 3D 3D 3D 3D    ================\n";
    EXPECT_EQ(printed([&] { bpoold(region + kControl, 1, 1); }),
              "Free block:       size     84 bytes.\n"
              "1F 6E 6C 79 20 70 72 69 6E 74 61 62 6C 65 7F 2E     nly printable .\n" +
                  letters + letters +
                  "74 61 69 6C                                        tail\n"
                  "Allocated buffer: size     64 bytes.\n" +
                  equal + equal + equal +
                  "Allocated buffer: size    116 bytes.\n"
                  "7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A 7A    zzzzzzzzzzzzzzzz\n"
                  "     (4 lines [64 bytes] identical to above line skipped)\n"
                  "79 79 79 79 79 79 79 79 79 79 79 79 79 79 79 79    yyyyyyyyyyyyyyyy\n"
                  "79 79 79 79                                        yyyy\n");
    EXPECT_EQ(printed([&] { bufdump(equals); }), equal + equal + equal);
    // Without the block's links, then without the head's forward link as well.
    for (char *links : {region + kControl + 16, region + 16}) {
        memset(links, 0, links == region + 16 ? 8 : 16);
        EXPECT_EQ(printed([&] { EXPECT_EQ(bpoolv(region + kControl), 0); }),
                  "Free block: size     84 bytes.  (Bad free list links)\n");
    }
    EXPECT_EQ(printed([&] { bpoold(region + kControl, 0, 0); }),
              "Free block:       size     84 bytes.  (Bad free list links)\n"
              "Allocated buffer: size     64 bytes.\nAllocated buffer: size    116 bytes.\n");
    memset(region + kControl + 8, 0, 8);
    EXPECT_EQ(bpoolv(region + kControl), 0) << "a block of size 0";
    EXPECT_EQ(printed([&] { bufdump(region + sizeof region); }), "") << "the end mark";
    zeta_cleanup_bpool();
}

}  // namespace
