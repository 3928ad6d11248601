// Generated readers and writers against a memcpy into the structure.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "meshd.h"

namespace {

// Where both lie decides about a tenth of a copy of 1024 bytes.
constexpr size_t kPlace = 64;

/** What lies on the wire, at a place that the compiler knows nothing of. */
template <typename T>
struct Wire {
    alignas(kPlace) unsigned char bytes[sizeof(T)] = {};
};

/** What arrived, as a reader is called with it: the compiler knows nothing of the number, and need not fetch it. */
template <typename T>
uint32_t lengthOf(const Wire<T> &wire) {
    uint32_t length = sizeof wire.bytes;
    asm volatile("" : "+r"(length));
    return length;
}

template <typename T, typename Function>
void addRow(const std::string &name, Function function) {
    benchmark::RegisterBenchmark(name.c_str(), [function](benchmark::State &state) {
        Wire<T> wire;
        alignas(kPlace) T value{};
        for (auto _ : state) {
            benchmark::DoNotOptimize(wire);
            benchmark::DoNotOptimize(value);
            auto result = function(wire, value);
            benchmark::DoNotOptimize(result);
            benchmark::ClobberMemory();
        }
    });
}

template <typename T>
void addMemcpy(const std::string &way) {
    addRow<T>(way + "|memcpy", [reading = way.find("read") == 0](Wire<T> &wire, T &value) {
        reading ? memcpy(&value, wire.bytes, sizeof value) : memcpy(wire.bytes, &value, sizeof value);
        return uint32_t{sizeof value};
    });
}

/** As a caller has it: how much is to be sent is a local number; nothing when the value cannot be written. */
template <auto kWrite>
auto writer() {
    return [](auto &wire, auto &value) {
        uint32_t length = 0;
        return kWrite(&value, wire.bytes, sizeof wire.bytes, &length) == VOS_RET_OK ? length : 0;
    };
}

}  // namespace

int main(int argc, char **argv) {
    addRow<MeshdStatistics>("read 64 bytes of numbers|vos", [](auto &wire, auto &value) {
        return meshd_readStatistics(wire.bytes, lengthOf(wire), &value);
    });
    addMemcpy<MeshdStatistics>("read 64 bytes of numbers");
    addRow<MeshdStatistics>("write 64 bytes of numbers|vos", writer<meshd_writeStatistics>());
    addMemcpy<MeshdStatistics>("write 64 bytes of numbers");
    addRow<MeshdNode>("read 72 bytes with text|vos",
                      [](auto &wire, auto &value) { return meshd_readNode(wire.bytes, lengthOf(wire), &value); });
    addMemcpy<MeshdNode>("read 72 bytes with text");
    addRow<MeshdNode>("write 72 bytes with text|vos", writer<meshd_writeNode>());
    addMemcpy<MeshdNode>("write 72 bytes with text");
    addRow<MeshdLogged>("read 1024 bytes|vos",
                        [](auto &wire, auto &value) { return meshd_readLogged(wire.bytes, lengthOf(wire), &value); });
    addMemcpy<MeshdLogged>("read 1024 bytes");
    addRow<MeshdLogged>("write 1024 bytes|vos", writer<meshd_writeLogged>());
    addMemcpy<MeshdLogged>("write 1024 bytes");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
