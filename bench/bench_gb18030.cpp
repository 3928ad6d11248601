// GB18030 to UTF-8 and back against glibc's iconv and ICU, on Chinese text and on ASCII. The peers write into a buffer
// that stays; ours allocates its result each time.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unicode/ucnv.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "vos/gb18030.h"

namespace {

constexpr size_t kCharacters = 30000;

// Common characters as they follow each other in names and notes, with a little punctuation and digits.
std::string chineseText() {
    std::string text;
    uint32_t random = 1;
    for (size_t i = 0; i < kCharacters; i++) {
        random = random * 1103515245 + 12345;
        const uint32_t pick = random >> 16;
        if (pick % 20 == 0) {
            text += static_cast<char>('0' + pick % 10);
        } else {
            text += static_cast<char>(0xB0 + pick % 0x28);
            text += static_cast<char>(0xA1 + (pick >> 6) % 0x5E);
        }
    }
    return text;
}

std::string asciiText() {
    std::string text;
    while (text.size() < 2 * kCharacters) {
        text += "The quick brown fox jumps over the lazy dog. ";
    }
    return text;
}

void vosRound(benchmark::State &state, const std::string &from, char *(*convert)(const char *)) {
    for (auto _ : state) {
        char *text = convert(from.c_str());
        benchmark::DoNotOptimize(text);
        free(text);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(from.size()));
}

void iconvRound(benchmark::State &state, const std::string &from, const char *toCode, const char *fromCode) {
    const iconv_t converter = iconv_open(toCode, fromCode);
    std::vector<char> out(2 * from.size());
    for (auto _ : state) {
        char *in = const_cast<char *>(from.data());
        char *to = out.data();
        size_t inLeft = from.size();
        size_t outLeft = out.size();
        if (iconv(converter, &in, &inLeft, &to, &outLeft) != 0) {
            state.SkipWithError("iconv failed");
        }
        benchmark::DoNotOptimize(out.data());
    }
    iconv_close(converter);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(from.size()));
}

void icuRound(benchmark::State &state, const std::string &from, const char *toCode, const char *fromCode) {
    UErrorCode error = U_ZERO_ERROR;
    UConverter *source = ucnv_open(fromCode, &error);
    UConverter *target = ucnv_open(toCode, &error);
    std::vector<char> out(2 * from.size());
    for (auto _ : state) {
        char *to = out.data();
        const char *in = from.data();
        ucnv_convertEx(target, source, &to, to + out.size(), &in, in + from.size(), nullptr, nullptr, nullptr, nullptr,
                       true, true, &error);
        if (U_FAILURE(error)) {
            state.SkipWithError("ICU failed");
        }
        benchmark::DoNotOptimize(out.data());
    }
    ucnv_close(source);
    ucnv_close(target);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(from.size()));
}

void registerRows() {
    static const std::string chinese = chineseText();
    char *converted = EncodeToUTF8(chinese.c_str());
    static const std::string chineseUtf8 = converted;
    free(converted);
    static const std::string ascii = asciiText();
    struct Row {
        const char *name;
        const std::string &from;
        bool toUtf8;
    };
    for (const Row &row :
         {Row{"GB18030 to UTF-8, Chinese", chinese, true}, Row{"UTF-8 to GB18030, Chinese", chineseUtf8, false},
          Row{"GB18030 to UTF-8, ASCII", ascii, true}, Row{"UTF-8 to GB18030, ASCII", ascii, false}}) {
        const std::string name = std::string{row.name} + "|";
        const std::string &from = row.from;
        const char *toCode = row.toUtf8 ? "UTF-8" : "GB18030";
        const char *fromCode = row.toUtf8 ? "GB18030" : "UTF-8";
        benchmark::RegisterBenchmark((name + "vos").c_str(),
                                     [&from, convert = row.toUtf8 ? EncodeToUTF8 : DecodeFromUTF8](
                                         benchmark::State &state) { vosRound(state, from, convert); });
        benchmark::RegisterBenchmark((name + "iconv").c_str(), [&from, toCode, fromCode](benchmark::State &state) {
            iconvRound(state, from, toCode, fromCode);
        });
        benchmark::RegisterBenchmark((name + "ICU").c_str(), [&from, toCode, fromCode](benchmark::State &state) {
            icuRound(state, from, toCode, fromCode);
        });
    }
}

}  // namespace

int main(int argc, char **argv) {
    registerRows();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
