// Hash map against std::unordered_map: filling an empty map with N keys, and finding each of them in random order.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "vos/hashmap.h"

namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> makeKeys(size_t count) {
    std::vector<std::string> keys;
    for (size_t i = 0; i < count; i++) {
        keys.push_back("lan.host." + std::to_string(i));
    }
    return keys;
}

/** The keys again, in another order and in memory of their own. */
std::vector<std::string> shuffled(const std::vector<std::string> &keys) {
    std::vector<std::string> result = keys;
    std::shuffle(result.begin(), result.end(), std::mt19937{1});
    return result;
}

uint32_t bucketsFor(size_t keys) {
    return static_cast<uint32_t>(std::bit_ceil(keys + keys / 2));
}

class VosMap {
  public:
    explicit VosMap(size_t keys) { hashmap_create(&map_, bucketsFor(keys)); }
    ~VosMap() { hashmap_destroy(map_, nullptr); }
    void insert(const std::string &key, void *value) {
        hashmap_insert(map_, key.c_str(), static_cast<int32_t>(key.size()), value);
    }
    void *search(const std::string &key) const { return hashmap_search(map_, key.c_str()); }

  private:
    HashMap *map_ = nullptr;
};

template <bool kReserve>
class StdMap {
  public:
    explicit StdMap(size_t keys) {
        if (kReserve) {
            map_.rehash(bucketsFor(keys));
        }
    }
    void insert(const std::string &key, void *value) { map_.emplace(key, value); }
    void *search(const std::string &key) const {
        const auto found = map_.find(key);
        return found == map_.end() ? nullptr : found->second;
    }

  private:
    std::unordered_map<std::string, void *> map_;
};

template <typename Map>
void insertRound(benchmark::State &state) {
    const std::vector<std::string> keys = makeKeys(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        Map map{keys.size()};
        const auto start = Clock::now();
        for (const std::string &key : keys) {
            map.insert(key, &map);
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <typename Map>
void searchRound(benchmark::State &state) {
    const std::vector<std::string> keys = makeKeys(static_cast<size_t>(state.range(0)));
    const std::vector<std::string> wanted = shuffled(keys);
    Map map{keys.size()};
    for (const std::string &key : keys) {
        map.insert(key, &map);
    }
    for (auto _ : state) {
        for (const std::string &key : wanted) {
            benchmark::DoNotOptimize(map.search(key));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <typename Map>
void registerRows(const std::string &system) {
    for (const int64_t keys : {100, 10000}) {
        const std::string count = std::to_string(keys) + " keys|" + system;
        benchmark::RegisterBenchmark(("hash map insert " + count).c_str(), insertRound<Map>)
            ->Arg(keys)
            ->UseManualTime();
        benchmark::RegisterBenchmark(("hash map search " + count).c_str(), searchRound<Map>)->Arg(keys);
    }
}

}  // namespace

int main(int argc, char **argv) {
    registerRows<VosMap>("vos");
    registerRows<StdMap<true>>("std::unordered_map");
    registerRows<StdMap<false>>("std::unordered_map, not reserved");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
