// operator new and delete of the whole program.
#include "heap.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

struct alignas(16) Head {
    size_t size;
    bool ofHub;
};
static_assert(sizeof(Head) == 16);

bool g_hubRuns = false;
size_t g_blocks = 0;
size_t g_bytes = 0;
size_t g_failAfter = 0;
size_t g_failRow = 0;

bool fails() {
    if (!g_hubRuns || g_failAfter == 0 || --g_failAfter > 0) {
        return false;
    }
    g_failAfter = --g_failRow > 0 ? 1 : 0;
    return true;
}

void *take(size_t size) {
    auto *head = fails() ? nullptr : static_cast<Head *>(malloc(sizeof(Head) + size));
    if (head == nullptr) {
        return nullptr;
    }
    *head = {size, g_hubRuns};
    if (g_hubRuns) {
        g_blocks++;
        g_bytes += size;
    }
    return head + 1;
}

void give(void *block) {
    if (block == nullptr) {
        return;
    }
    auto *head = static_cast<Head *>(block) - 1;
    if (head->ofHub) {
        g_blocks--;
        g_bytes -= head->size;
        memset(block, 0xdb, std::min(head->size, size_t{4096}));  // who still looks there notices
    }
    free(head);
}

}  // namespace

void *operator new(size_t size) {
    if (void *block = take(size)) {
        return block;
    }
    throw std::bad_alloc{};
}
void *operator new(size_t size, const std::nothrow_t &) noexcept {
    return take(size);
}
void operator delete(void *block) noexcept {
    give(block);
}
void operator delete(void *block, size_t) noexcept {
    give(block);
}
void operator delete(void *block, const std::nothrow_t &) noexcept {
    give(block);
}

namespace hubsim {

HeapOwner::HeapOwner(bool hub) : before_{std::exchange(g_hubRuns, hub)} {}

HeapOwner::~HeapOwner() {
    g_hubRuns = before_;
}

HeapUse hubHeap() {
    return {g_blocks, g_bytes};
}

void failAllocation(size_t nth, size_t row) {
    g_failAfter = nth;
    g_failRow = row;
}

}  // namespace hubsim
