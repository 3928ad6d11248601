// CRC-32 against zlib's, with whatever the processor offers and with tables only.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <string>

#include "bench_samples.h"
#include "util/codec/crc32_paths.h"
#include "vos/codec.h"

namespace {

template <typename Function>
void addRow(size_t size, const char *system, Function function) {
    const std::string name = "crc32 " + std::to_string(size) + " bytes|" + system;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        const std::vector<uint8_t> data = bench::noise(size);
        for (auto _ : state) {
            benchmark::DoNotOptimize(function(data.data(), static_cast<uint32_t>(data.size())));
        }
        state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
    });
}

}  // namespace

int main(int argc, char **argv) {
    for (const size_t size : {32, 256, 1500, 65536, 1 << 20}) {
        addRow(size, "vos", [](const uint8_t *data, uint32_t length) { return utilCrc_getCrc32(data, length, ~0U); });
        addRow(size, "vos, tables only",
               [](const uint8_t *data, uint32_t length) { return vos::crc32::withTables(data, length, ~0U); });
        addRow(size, "zlib", [](const uint8_t *data, uint32_t length) { return crc32(0, data, length); });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
