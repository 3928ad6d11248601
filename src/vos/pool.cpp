// Best-fit pool allocator whose control block and lists live inside the region that several processes share.
#include "vos/pool.h"

#include <cstdio>
#include <cstring>

#include "internal/own_names.h"

namespace {

constexpr int64_t kQuantum = 4;
constexpr int64_t kMinRequest = 16;
constexpr int64_t kControlSize = 1024;
constexpr int64_t kMaxWholeRemainder = 32;  // a larger remainder stays behind as a free block
constexpr int64_t kEndMark = INT64_MIN;
constexpr size_t kDumpLine = 16;

// The layout is shared with every process that maps the region, whatever build of this library it runs. Blocks lie on
// multiples of 4, hence the attribute.
struct [[gnu::packed, gnu::aligned(4)]] Block {
    int64_t prevfree;  // size of the block in front while that is free, else 0
    int64_t bsize;     // free: size; taken: negated size; both with header
    Block *flink;      // the links exist in free blocks only
    Block *blink;
};
// NOLINTNEXTLINE(bugprone-sizeof-expression): the pointer is meant
static_assert(sizeof(Block *) == 8, "links are 64-bit words");
static_assert(offsetof(Block, bsize) == 8 && offsetof(Block, flink) == 16 && offsetof(Block, blink) == 24);
constexpr int64_t kHeader = offsetof(Block, flink);
constexpr int64_t kMinFree = sizeof(Block);

struct [[gnu::packed, gnu::aligned(4)]] Control {
    Block head;  // shaped like a free block, anchor of the free list
    int64_t totalloc;
    int64_t numget;
    int64_t numrel;
    int64_t numpblk;
};
static_assert(offsetof(Control, totalloc) == 32 && offsetof(Control, numget) == 40 && offsetof(Control, numrel) == 48 &&
              offsetof(Control, numpblk) == 56 && sizeof(Control) <= kControlSize);

Control *g_pool = nullptr;

Block *at(void *base, int64_t offset) {
    return reinterpret_cast<Block *>(static_cast<char *>(base) + offset);
}

int64_t sizeOf(const Block *block) {
    return block->bsize < 0 ? -block->bsize : block->bsize;
}

void appendFree(Block *block) {
    Block *head = &g_pool->head;
    block->flink = head;
    block->blink = head->blink;
    head->blink->flink = block;
    head->blink = block;
}

void unlinkFree(Block *block) {
    block->blink->flink = block->flink;
    block->flink->blink = block->blink;
}

bool linksAreSound(const Block *block) {
    return block->blink != nullptr && block->flink != nullptr && block->blink->flink == block &&
           block->flink->blink == block;
}

// The smallest block that holds `need`, the first of equals. An exact fit ends the walk: nothing can be better.
Block *findBest(int64_t need) {
    Block *best = nullptr;
    const Block *head = &g_pool->head;
    for (Block *block = head->flink; block != head; block = block->flink) {
        if (block->bsize >= need && (best == nullptr || block->bsize < best->bsize)) {
            best = block;
            if (block->bsize == need) {
                break;
            }
        }
    }
    return best;
}

void printLine(const unsigned char *bytes, size_t count) {
    char hex[3 * kDumpLine + 1];
    char text[kDumpLine + 1];
    for (size_t i = 0; i < count; i++) {
        snprintf(hex + 3 * i, 4, "%02X ", bytes[i]);
        text[i] = bytes[i] >= 0x20 && bytes[i] <= 0x7E ? static_cast<char>(bytes[i]) : ' ';
    }
    text[count] = '\0';
    printf("%-48s   %s\n", hex, text);
}

}  // namespace

void vos::own::bpool(void *buf, int64_t len) {
    if (buf == nullptr) {
        return;
    }
    const int64_t reserved = g_pool == nullptr ? kControlSize : 0;
    if (len < reserved + kMinFree + kHeader) {
        return;
    }
    if (g_pool == nullptr) {
        memset(buf, 0, kControlSize);
        g_pool = static_cast<Control *>(buf);
        g_pool->head.flink = &g_pool->head;
        g_pool->head.blink = &g_pool->head;
        g_pool->numpblk = 1;  // further regions are not counted
    }
    const int64_t size = ((len - reserved) & ~(kQuantum - 1)) - kHeader;
    Block *block = at(buf, reserved);
    block->prevfree = 0;
    block->bsize = size;
    appendFree(block);
    Block *end = at(block, size);
    end->prevfree = size;
    end->bsize = kEndMark;
}

void *vos::own::bget(int64_t size) {
    if (g_pool == nullptr || size > INT64_MAX - kHeader - kQuantum) {
        return nullptr;
    }
    const int64_t wanted = size < kMinRequest ? kMinRequest : size;
    const int64_t need = ((wanted + kQuantum - 1) & ~(kQuantum - 1)) + kHeader;
    Block *block = findBest(need);
    if (block == nullptr) {
        return nullptr;
    }
    const int64_t remainder = block->bsize - need;
    g_pool->numget++;
    if (remainder <= kMaxWholeRemainder) {
        unlinkFree(block);
        g_pool->totalloc += block->bsize;
        at(block, block->bsize)->prevfree = 0;
        block->bsize = -block->bsize;
        return at(block, kHeader);
    }
    // Carved from the high end, so that the free block keeps its place in the list.
    Block *taken = at(block, remainder);
    at(taken, need)->prevfree = 0;
    block->bsize = remainder;
    taken->prevfree = remainder;
    taken->bsize = -need;
    g_pool->totalloc += need;
    return at(taken, kHeader);
}

void vos::own::brel(void *buf) {
    if (buf == nullptr || g_pool == nullptr) {
        return;
    }
    Block *block = at(buf, -kHeader);
    const int64_t size = sizeOf(block);
    g_pool->numrel++;
    g_pool->totalloc -= size;
    if (block->prevfree != 0) {
        block = at(block, -block->prevfree);
        block->bsize += size;
    } else {
        appendFree(block);
        block->bsize = size;
    }
    Block *next = at(block, block->bsize);
    if (next->bsize > 0) {
        unlinkFree(next);
        block->bsize += next->bsize;
        next = at(block, block->bsize);
    }
    next->prevfree = block->bsize;
}

void vos::own::bstats(int64_t *curalloc, int64_t *totfree, int64_t *maxfree, int64_t *nget, int64_t *nrel) {
    int64_t sum = 0;
    int64_t largest = g_pool == nullptr ? 0 : -1;
    // The walk is for the two figures of the free list only.
    if (g_pool != nullptr && (totfree != nullptr || maxfree != nullptr)) {
        const Block *head = &g_pool->head;
        for (const Block *block = head->flink; block != head; block = block->flink) {
            sum += block->bsize;
            largest = block->bsize > largest ? block->bsize : largest;
        }
    }
    const auto give = [](int64_t *out, int64_t value) {
        if (out != nullptr) {
            *out = value;
        }
    };
    give(curalloc, g_pool == nullptr ? 0 : g_pool->totalloc);
    give(totfree, sum);
    give(maxfree, largest);
    give(nget, g_pool == nullptr ? 0 : g_pool->numget);
    give(nrel, g_pool == nullptr ? 0 : g_pool->numrel);
}

void vos::own::bufdump(void *buf) {
    if (buf == nullptr) {
        return;
    }
    const Block *block = at(buf, -kHeader);
    if (block->bsize == kEndMark) {
        return;  // has no size to count with
    }
    const bool isFree = block->bsize > 0;
    const auto *bytes = static_cast<const unsigned char *>(buf) + (isFree ? kMinFree - kHeader : 0);
    int64_t left = sizeOf(block) - (isFree ? kMinFree : kHeader);
    while (left > 0) {
        const size_t count = left < static_cast<int64_t>(kDumpLine) ? static_cast<size_t>(left) : kDumpLine;
        printLine(bytes, count);
        int same = 0;
        const auto isRepeat = [&] {
            const size_t offset = kDumpLine * (static_cast<size_t>(same) + 1);
            return left - static_cast<int64_t>(offset) > static_cast<int64_t>(kDumpLine) &&
                   memcmp(bytes, bytes + offset, kDumpLine) == 0;
        };
        while (isRepeat()) {
            same++;
        }
        if (same < 2) {
            same = 0;  // a single identical line is printed
        } else {
            printf("     (%d lines [%d bytes] identical to above line skipped)\n", same,
                   same * static_cast<int>(kDumpLine));
        }
        const size_t done = count + static_cast<size_t>(same) * kDumpLine;
        bytes += done;
        left -= static_cast<int64_t>(done);
    }
}

VOS_OPEN_NAME void bpoold(void *pool, int dumpalloc, int dumpfree) {
    if (pool == nullptr) {
        return;
    }
    for (Block *block = at(pool, 0); block->bsize != kEndMark && block->bsize != 0; block = at(block, sizeOf(block))) {
        const bool isFree = block->bsize > 0;
        if (isFree) {
            printf("Free block:       size %6ld bytes.%s\n", static_cast<long>(block->bsize),
                   linksAreSound(block) ? "" : "  (Bad free list links)");
        } else {
            printf("Allocated buffer: size %6ld bytes.\n", static_cast<long>(-block->bsize));
        }
        if ((isFree ? dumpfree : dumpalloc) != 0) {
            vos::own::bufdump(at(block, kHeader));
        }
    }
}

VOS_OPEN_NAME int bpoolv(void *pool) {
    if (pool == nullptr) {
        return 0;
    }
    for (Block *block = at(pool, 0); block->bsize != kEndMark; block = at(block, sizeOf(block))) {
        if (block->bsize == 0) {
            return 0;
        }
        if (block->bsize > 0 && !linksAreSound(block)) {
            printf("Free block: size %6ld bytes.  (Bad free list links)\n", static_cast<long>(block->bsize));
            return 0;
        }
    }
    return 1;
}

void vos::own::zeta_secondary_bpool(void *control) {
    g_pool = static_cast<Control *>(control);
}

void vos::own::zeta_cleanup_bpool(void) {
    g_pool = nullptr;
}

VOS_OPEN_NAME void bpool(void *buf, int64_t len) {
    vos::own::bpool(buf, len);
}

VOS_OPEN_NAME void *bget(int64_t size) {
    return vos::own::bget(size);
}

VOS_OPEN_NAME void brel(void *buf) {
    vos::own::brel(buf);
}

VOS_OPEN_NAME void bstats(int64_t *curalloc, int64_t *totfree, int64_t *maxfree, int64_t *nget, int64_t *nrel) {
    vos::own::bstats(curalloc, totfree, maxfree, nget, nrel);
}

VOS_OPEN_NAME void zeta_secondary_bpool(void *control) {
    vos::own::zeta_secondary_bpool(control);
}

VOS_OPEN_NAME void zeta_cleanup_bpool(void) {
    vos::own::zeta_cleanup_bpool();
}

VOS_OPEN_NAME void bufdump(void *buf) {
    vos::own::bufdump(buf);
}
