// Writes the GB18030 conversion tables to standard output, from ICU's converter "gb18030" (GB 18030-2005). Run at
// development time only; the result is committed as src/util/gb18030/tables.cpp.
#include <unicode/ucnv.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kTwoByteCodes = 24191;

struct Stretch {
    uint32_t first;  // linear index of four-byte codes
    uint32_t last;
};
constexpr std::array<Stretch, 3> kFourByteStretches{{{0, 22204}, {33377, 33549}, {37845, 39418}}};

class Converter {
  public:
    Converter() {
        UErrorCode error = U_ZERO_ERROR;
        converter_.reset(ucnv_open("gb18030", &error));
        ucnv_setToUCallBack(converter_.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
        ucnv_setFromUCallBack(converter_.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
        if (U_FAILURE(error)) {
            fprintf(stderr, "gen_gb18030: ICU has no converter gb18030\n");
            exit(1);
        }
    }

    /** The code point of a code; 0 for an unmapped one. */
    uint32_t decode(const std::string &code) {
        UErrorCode error = U_ZERO_ERROR;
        std::array<UChar, 4> units{};
        const int32_t count = ucnv_toUChars(converter_.get(), units.data(), static_cast<int32_t>(units.size()),
                                            code.data(), static_cast<int32_t>(code.size()), &error);
        if (U_FAILURE(error)) {
            return 0;
        }
        return count == 1   ? units[0]
               : count == 2 ? static_cast<uint32_t>(U16_GET_SUPPLEMENTARY(units[0], units[1]))
                            : 0;
    }
    /** The code of a BMP character; empty for an unmapped one. */
    std::string encode(uint32_t character) {
        UErrorCode error = U_ZERO_ERROR;
        const UChar unit = static_cast<UChar>(character);
        std::array<char, 8> bytes{};
        const int32_t count =
            ucnv_fromUChars(converter_.get(), bytes.data(), static_cast<int32_t>(bytes.size()), &unit, 1, &error);
        return U_FAILURE(error) ? "" : std::string{bytes.data(), static_cast<size_t>(count)};
    }

  private:
    struct Close {
        void operator()(UConverter *converter) const { ucnv_close(converter); }
    };
    std::unique_ptr<UConverter, Close> converter_;
};

std::string fourByteCode(uint32_t linear) {
    return {static_cast<char>(0x81 + linear / 12600), static_cast<char>(0x30 + linear / 1260 % 10),
            static_cast<char>(0x81 + linear / 10 % 126), static_cast<char>(0x30 + linear % 10)};
}

uint32_t linearIndex(const std::string &code) {
    const auto byte = [&code](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(code[i])); };
    return (byte(0) - 0x81) * 12600 + (byte(1) - 0x30) * 1260 + (byte(2) - 0x81) * 10 + byte(3) - 0x30;
}

// Both bytes of a reverse entry. Four-byte codes keep their index above `base`; one that does not fit stays unmapped.
uint32_t reverseEntry(const std::string &code, int64_t base) {
    if (code.size() == 2) {
        return static_cast<uint32_t>(static_cast<unsigned char>(code[0])) << 8 | static_cast<unsigned char>(code[1]);
    }
    if (code.size() != 4) {
        return 0;
    }
    const int64_t entry = int64_t{linearIndex(code)} - base;
    return entry >= 0x100 && entry < 0x8100 ? static_cast<uint32_t>(entry) : 0;
}

void print(const char *declaration, const std::vector<uint32_t> &values, bool asBytePairs) {
    printf("\nconst %s = {", declaration);
    for (size_t i = 0; i < values.size(); i++) {
        printf("%s", i % 12 == 0 ? "\n    " : " ");
        asBytePairs ? printf("{0x%02x, 0x%02x},", values[i] >> 8, values[i] & 0xFF) : printf("0x%x,", values[i]);
    }
    printf("\n};\n");
}

}  // namespace

int main() {
    Converter converter;
    std::vector<uint32_t> twoByte;
    for (uint32_t i = 0; i < kTwoByteCodes; i++) {
        twoByte.push_back(converter.decode({static_cast<char>(0x81 + i / 192), static_cast<char>(0x40 + i % 192)}));
    }
    std::vector<uint32_t> fourByte;
    for (const Stretch &stretch : kFourByteStretches) {
        for (uint32_t linear = stretch.first; linear <= stretch.last; linear++) {
            fourByte.push_back(converter.decode(fourByteCode(linear)));
        }
    }
    std::vector<uint32_t> low;
    std::vector<uint32_t> high;
    for (uint32_t c = 0x80; c <= 0xABFF; c++) {
        low.push_back(reverseEntry(converter.encode(c), -0x2000));
    }
    for (uint32_t c = 0xD7A4; c <= 0xD7FF; c++) {
        low.push_back(reverseEntry(converter.encode(c), -0x2000));
    }
    for (uint32_t c = 0xE000; c <= 0xFFFF; c++) {
        high.push_back(reverseEntry(converter.encode(c), 25277));
    }
    printf(
        "// GB18030 conversion tables. Made by tools/gen_gb18030; not edited by hand.\n// clang-format off\n"
        "#include \"util/gb18030/tables.h\"\n\nnamespace vos {\n");
    print("uint32_t __twobyte_to_ucs[kTwoByteCodes]", twoByte, false);
    print("uint32_t __fourbyte_to_ucs[kFourByteCodes]", fourByte, false);
    print("uint8_t __ucs_to_gb18030_tab1[kReverseCodes1][2]", low, true);
    print("uint8_t __ucs_to_gb18030_tab2[kReverseCodes2][2]", high, true);
    printf("\n}  // namespace vos\n");
}
