// Base64 and hexadecimal against OpenSSL. Our calls hand out a new buffer; the peers' rows allocate theirs too.
#include <benchmark/benchmark.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <string>

#include "bench_samples.h"
#include "vos/codec.h"
#include "vos/mem.h"

namespace {

using Bytes = std::vector<uint8_t>;

// `function` gives a buffer made from the input, or NULL; `release` frees it.
template <typename Function, typename Release>
void addRow(const std::string &name, const char *system, const Bytes &input, Function function, Release release) {
    benchmark::RegisterBenchmark((name + "|" + system).c_str(), [=](benchmark::State &state) {
        for (auto _ : state) {
            auto *result = function(input);
            if (result == nullptr) {
                state.SkipWithError("no result");
                break;
            }
            benchmark::DoNotOptimize(*result);
            release(result);
        }
        state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(input.size()));
    });
}

const char *textOf(const Bytes &bytes) {
    return reinterpret_cast<const char *>(bytes.data());
}
int intSize(const Bytes &bytes) {
    return static_cast<int>(bytes.size());
}
uint32_t size32(const Bytes &bytes) {
    return static_cast<uint32_t>(bytes.size());
}

const auto vosFree = [](void *buffer) { VOS_FREE(buffer); };

void addEncoders(const std::string &suffix, const Bytes &data) {
    const std::string plain = "base64 plain encode " + suffix;
    const std::string tolerant = "base64 tolerant encode " + suffix;
    addRow(
        plain, "vos", data, [](const Bytes &in) { return UTIL_base64Encode(in.data(), size32(in)); }, vosFree);
    addRow(
        tolerant, "vos", data,
        [](const Bytes &in) {
            char *text = nullptr;
            utilB64_encode(in.data(), size32(in), &text);
            return text;
        },
        vosFree);
    for (const std::string &name : {plain, tolerant}) {
        addRow(
            name, "openssl", data,
            [](const Bytes &in) {
                auto *text = static_cast<uint8_t *>(malloc((in.size() + 2) / 3 * 4 + 1));
                EVP_EncodeBlock(text, in.data(), intSize(in));
                return text;
            },
            free);
    }
}

// `terminated` ends in a NUL that is no part of the text.
void addDecoders(const std::string &suffix, const Bytes &terminated) {
    const std::string plain = "base64 plain decode " + suffix;
    const std::string tolerant = "base64 tolerant decode " + suffix;
    addRow(
        plain, "vos", terminated,
        [](const Bytes &in) {
            uint32_t length = 0;
            uint8_t *bytes = UTILs_base64Decode(textOf(in), &length);
            return length > 0 ? bytes : nullptr;
        },
        vosFree);
    addRow(
        tolerant, "vos", terminated,
        [](const Bytes &in) {
            uint8_t *bytes = nullptr;
            uint32_t length = 0;
            utilB64_decode(textOf(in), &bytes, &length);
            return bytes;
        },
        vosFree);
    for (const std::string &name : {plain, tolerant}) {
        addRow(
            name, "openssl", terminated,
            [](const Bytes &in) {
                auto *bytes = static_cast<uint8_t *>(malloc(in.size()));
                return EVP_DecodeBlock(bytes, in.data(), intSize(in) - 1) > 0 ? bytes : nullptr;
            },
            free);
    }
}

void addHex(const std::string &suffix, const Bytes &data) {
    addRow(
        "hex encode " + suffix, "vos", data,
        [](const Bytes &in) {
            char *text = nullptr;
            util_binaryBufToHexString(in.data(), size32(in), &text);
            return text;
        },
        vosFree);
    addRow(
        "hex encode " + suffix, "openssl", data,
        [](const Bytes &in) {
            auto *text = static_cast<char *>(malloc(in.size() * 2 + 1));
            size_t length = 0;
            return OPENSSL_buf2hexstr_ex(text, in.size() * 2 + 1, &length, in.data(), in.size(), '\0') == 1 ? text
                                                                                                            : nullptr;
        },
        free);
    char *hex = nullptr;
    util_binaryBufToHexString(data.data(), size32(data), &hex);
    const Bytes terminated(hex, hex + data.size() * 2 + 1);
    VOS_FREE(hex);
    addRow(
        "hex decode " + suffix, "vos", terminated,
        [](const Bytes &in) {
            uint8_t *bytes = nullptr;
            uint32_t length = 0;
            util_hexStringToBinaryBuf(textOf(in), &bytes, &length);
            return bytes;
        },
        vosFree);
    addRow(
        "hex decode " + suffix, "openssl", terminated,
        [](const Bytes &in) {
            auto *bytes = static_cast<uint8_t *>(malloc(in.size() / 2));
            size_t length = 0;
            return OPENSSL_hexstr2buf_ex(bytes, in.size() / 2, &length, textOf(in), '\0') == 1 ? bytes : nullptr;
        },
        free);
}

}  // namespace

int main(int argc, char **argv) {
    for (const size_t size : {48, 1536, 49152}) {
        const Bytes data = bench::noise(size);
        const std::string suffix = std::to_string(size) + " bytes";
        Bytes text(size / 3 * 4 + 1);
        EVP_EncodeBlock(text.data(), data.data(), intSize(data));
        addEncoders(suffix, data);
        addDecoders(suffix, text);
        addHex(suffix, data);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
