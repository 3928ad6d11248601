// Guarded blocks against malloc with the same fills, and the pool's best-fit walk over long free lists.
#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vos/mem.h"
#include "vos/pool.h"

namespace {

void vosBlock(benchmark::State &state) {
    const auto size = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        void *block = VOS_MALLOC_FLAGS(size, 0);
        benchmark::DoNotOptimize(block);
        VOS_FREE(block);
    }
}

// What the guards cost at the least: the same bytes written to a plain block, nothing checked.
void mallocBlock(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    const size_t total = size + 20;
    for (auto _ : state) {
        auto *block = static_cast<char *>(malloc(total));
        memset(block, 0x95, total);
        memset(block, 0x01, 12);
        memset(block + 12 + size, 0xFD, 8);
        benchmark::DoNotOptimize(block);
        benchmark::ClobberMemory();
        memset(block, 0x97, total);
        benchmark::ClobberMemory();
        free(block);
    }
}

// A pool whose free list has `holes` blocks between taken ones, in random order of size.
void poolWalk(benchmark::State &state) {
    const auto holes = static_cast<size_t>(state.range(0));
    constexpr size_t kRegion = 32 << 20;
    void *region = mmap(nullptr, kRegion, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    bpool(region, kRegion);
    std::vector<void *> blocks;
    uint32_t random = 1;
    for (size_t i = 0; i < holes; i++) {
        random = random * 1664525 + 1013904223;
        blocks.push_back(bget(128 + random % 1024));
        bget(16);
    }
    for (void *block : blocks) {
        brel(block);
    }
    for (auto _ : state) {
        void *block = bget(64);
        benchmark::DoNotOptimize(block);
        brel(block);
    }
    zeta_cleanup_bpool();
    munmap(region, kRegion);
}

void registerRows() {
    for (const int64_t size : {64, 1024}) {
        const std::string row = "alloc+free " + std::to_string(size) + " bytes|";
        benchmark::RegisterBenchmark((row + "vos").c_str(), vosBlock)->Arg(size);
        benchmark::RegisterBenchmark((row + "malloc + the same fills").c_str(), mallocBlock)->Arg(size);
    }
    for (const int64_t holes : {10, 1000, 10000}) {
        const std::string row = "bget+brel " + std::to_string(holes) + " free blocks|vos";
        benchmark::RegisterBenchmark(row.c_str(), poolWalk)->Arg(holes);
    }
}

}  // namespace

int main(int argc, char **argv) {
    registerRows();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
