// LZW streams against libtiff's: one strip a round, through memory only.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "bench_samples.h"
#include "support/tiff_strip.h"
#include "vos/lzw.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A TIFF file in memory. Reading maps it, so the decoder works on these bytes without a copy.
struct MemoryFile {
    Bytes bytes;
    size_t position = 0;

    static MemoryFile &of(thandle_t handle) { return *static_cast<MemoryFile *>(handle); }
    static tsize_t read(thandle_t handle, void *out, tsize_t size) {
        MemoryFile &file = of(handle);
        const size_t count = std::min(static_cast<size_t>(size), file.bytes.size() - file.position);
        memcpy(out, file.bytes.data() + file.position, count);
        file.position += count;
        return static_cast<tsize_t>(count);
    }
    static tsize_t write(thandle_t handle, void *in, tsize_t size) {
        MemoryFile &file = of(handle);
        const auto count = static_cast<size_t>(size);
        file.bytes.resize(std::max(file.bytes.size(), file.position + count));
        memcpy(file.bytes.data() + file.position, in, count);
        file.position += count;
        return size;
    }
    static toff_t seek(thandle_t handle, toff_t offset, int whence) {
        MemoryFile &file = of(handle);
        const size_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.position : file.bytes.size();
        return file.position = base + offset;
    }
    static int close(thandle_t) { return 0; }
    static toff_t size(thandle_t handle) { return of(handle).bytes.size(); }
    static int map(thandle_t handle, void **base, toff_t *length) {
        *base = of(handle).bytes.data();
        *length = of(handle).bytes.size();
        return 1;
    }
    static void unmap(thandle_t, void *, toff_t) {}

    TIFF *open(const char *mode) {
        position = 0;
        return TIFFClientOpen("memory", mode, this, read, write, seek, close, size, map, unmap);
    }
};

TIFF *beginStrip(MemoryFile &file, size_t size) {
    TIFF *tiff = file.open("w");
    vostest::describeLzwStrip(tiff, size);
    return tiff;
}

Bytes vosEncode(const Bytes &data) {
    Bytes out(data.size() * 3 / 2 + 16);
    void *state = nullptr;
    utilLzw_initEncoder(&state, out.data(), static_cast<int32_t>(out.size()));
    const int32_t encoded = utilLzw_encode(state, data.data(), static_cast<uint32_t>(data.size()));
    const int32_t flushed = utilLzw_flushEncoder(state);
    utilLzw_cleanupEncoder(&state);
    out.resize(static_cast<size_t>(encoded + flushed));
    return out;
}

void encodeWithVos(benchmark::State &state, const Bytes &data) {
    Bytes out(data.size() * 3 / 2 + 16);
    for (auto _ : state) {
        void *encoder = nullptr;
        utilLzw_initEncoder(&encoder, out.data(), static_cast<int32_t>(out.size()));
        benchmark::DoNotOptimize(utilLzw_encode(encoder, data.data(), static_cast<uint32_t>(data.size())));
        benchmark::DoNotOptimize(utilLzw_flushEncoder(encoder));
        utilLzw_cleanupEncoder(&encoder);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

void encodeWithTiff(benchmark::State &state, Bytes data) {
    MemoryFile file;
    file.bytes.reserve(data.size() * 2);
    for (auto _ : state) {
        file.bytes.clear();
        TIFF *tiff = beginStrip(file, data.size());
        benchmark::DoNotOptimize(TIFFWriteEncodedStrip(tiff, 0, data.data(), static_cast<tsize_t>(data.size())));
        TIFFClose(tiff);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

void decodeWithVos(benchmark::State &state, const Bytes &data) {
    const Bytes stream = vosEncode(data);
    Bytes out(data.size());
    for (auto _ : state) {
        void *decoder = nullptr;
        utilLzw_initDecoder(&decoder, stream.data(), static_cast<uint32_t>(stream.size()));
        if (utilLzw_decode(decoder, out.data(), static_cast<uint32_t>(out.size())) !=
            static_cast<int32_t>(out.size())) {
            state.SkipWithError("short result");
        }
        utilLzw_cleanupDecoder(&decoder);
    }
    if (out != data) {
        state.SkipWithError("wrong result");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

// The same stream as the other row decodes, put into a strip as it is.
void decodeWithTiff(benchmark::State &state, const Bytes &data) {
    Bytes stream = vosEncode(data);
    MemoryFile file;
    TIFF *tiff = beginStrip(file, data.size());
    TIFFWriteRawStrip(tiff, 0, stream.data(), static_cast<tsize_t>(stream.size()));
    TIFFClose(tiff);
    tiff = file.open("r");
    Bytes out(data.size());
    for (auto _ : state) {
        if (TIFFReadEncodedStrip(tiff, 0, out.data(), static_cast<tsize_t>(out.size())) !=
            static_cast<tsize_t>(out.size())) {
            state.SkipWithError("short result");
        }
    }
    TIFFClose(tiff);
    if (out != data) {
        state.SkipWithError("wrong result");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(data.size()));
}

}  // namespace

int main(int argc, char **argv) {
    const auto samples = bench::samples(1 << 20);
    for (const bench::Sample &sample : samples) {
        const auto row = [&](const char *work, const char *system, auto function) {
            const std::string name = std::string{"lzw "} + work + " " + std::string{sample.name} + "|" + system;
            benchmark::RegisterBenchmark(name.c_str(),
                                         [=, &sample](benchmark::State &state) { function(state, sample.bytes); });
        };
        row("encode", "vos", encodeWithVos);
        row("encode", "libtiff", encodeWithTiff);
        row("decode", "vos", decodeWithVos);
        row("decode", "libtiff", decodeWithTiff);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
