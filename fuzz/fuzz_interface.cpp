// Payloads of every described structure: what is read of them lies within them, the generated reader and the tools'
// decoder agree on which fit, and what fits survives being written, as bytes and as JSON.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "all_interfaces.h"
#include "common/interface/codec.h"

namespace {

void require(bool holds, const iface::Struct &record) {
    if (!holds) {
        fprintf(stderr, "%s\n", record.name.c_str());
        abort();
    }
}

template <typename T>
void tryOne(const iface::Struct &record, iface::ByteView payload) {
    const auto length = static_cast<uint32_t>(payload.size());
    T value;
    const bool fits = vos::Codec<T>::read(payload.data(), length, &value) == VOS_RET_OK;
    const iface::Decoded decoded = iface::decode(&record, payload);
    require(fits == decoded.misfit.empty(), record);
    if (!fits) {
        return;
    }
    const vos::iface::Written<T> written{value};
    require(written.ret() == VOS_RET_OK, record);
    require(iface::decode(&record, written.payload().bytes()).value == decoded.value, record);
    require(iface::decode(&record, iface::encode(record, decoded.value)).value == decoded.value, record);
}

using Try = void (*)(const iface::Struct &, iface::ByteView);
struct Target {
    const iface::Struct *record;
    Try tryIt;
};

template <typename... Types>
void add(std::vector<Target> &targets, const char *file, std::tuple<Types...> *) {
    static std::vector<std::unique_ptr<iface::Interface>> read;
    read.push_back(std::make_unique<iface::Interface>(std::move(*iface::parseFile(file).interface)));
    size_t index = 0;
    (targets.push_back({&read.back()->structs[index++], tryOne<Types>}), ...);
}

std::vector<Target> allTargets() {
    std::vector<Target> targets;
#define DESCRIBED(interface, file) add(targets, file, static_cast<interface::Payloads *>(nullptr));
    ALL_INTERFACES
    return targets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::vector<Target> targets = allTargets();
    if (size > 0) {
        const Target &target = targets[data[0] % targets.size()];
        // On the heap by itself, so that no read behind it goes unseen; aligned as payloads are.
        const std::unique_ptr<void, void (*)(void *)> block{malloc(size - 1), free};
        const auto *bytes = static_cast<const std::byte *>(block.get());
        memcpy(block.get(), data + 1, size - 1);
        target.tryIt(*target.record, {bytes, size - 1});
    }
    return 0;
}
