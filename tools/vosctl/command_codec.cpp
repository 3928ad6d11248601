// vosctl codec: the library's codecs as filters. All but lzw, whose stream is one buffer, take input of any size.
#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "command.h"
#include "internal/guards.h"
#include "vos/codec.h"
#ifndef VOS_WITHOUT_GB18030
#include "vos/gb18030.h"
#endif
#include "vos/lzw.h"
#include "vos/mem.h"

namespace {

using vosctl::Failure;

constexpr size_t kPiece = size_t{48} * 1024;  // whole groups of every codec

class Input {
  public:
    explicit Input(const std::string &path) : name_{path}, file_{path == "-" ? stdin : fopen(path.c_str(), "rb")} {
        if (!file_) {
            fail();
        }
    }
    /** The next `size` bytes, fewer at the end only. */
    std::string read(size_t size) {
        std::string bytes(size, '\0');
        bytes.resize(fread(bytes.data(), 1, size, file_.get()));
        if (ferror(file_.get()) != 0) {
            fail();
        }
        return bytes;
    }
    std::string readAll(size_t limit) {
        std::string all;
        for (std::string piece = read(kPiece); !piece.empty(); piece = read(kPiece)) {
            all += piece;
            if (all.size() > limit) {
                throw Failure{name_ + ": too large for one stream, at most " + std::to_string(limit) + " bytes"};
            }
        }
        return all;
    }
    [[noreturn]] void refuse(const std::string &why) const { throw Failure{name_ + ": " + why}; }

  private:
    [[noreturn]] void fail() const { refuse(strerror(errno)); }

    std::string name_;
    vos::UniqueFile file_;
};

void write(std::string_view bytes) {
    if (fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
        throw Failure{std::string{"cannot write the result: "} + strerror(errno)};
    }
}

// Writes a buffer of the library and frees it.
void writeAndFree(void *buffer, size_t size) {
    if (buffer == nullptr) {
        throw Failure{"out of memory"};
    }
    const vos::MemPtr<char> owner{static_cast<char *>(buffer)};
    write({owner.get(), size});
}
void writeTextAndFree(char *text) {
    writeAndFree(text, text != nullptr ? strlen(text) : 0);
}

const uint8_t *raw(const std::string &bytes) {
    return reinterpret_cast<const uint8_t *>(bytes.data());
}
uint32_t size32(const std::string &bytes) {
    return static_cast<uint32_t>(bytes.size());
}

// Calls `function` for each piece until the input ends.
template <typename Function>
void forEachPiece(Input &input, Function function) {
    for (std::string piece = input.read(kPiece); !piece.empty(); piece = input.read(kPiece)) {
        function(piece);
    }
}

// The same for pieces without the characters that the codec skips, cut at multiples of `group` characters; the last one
// holds what is left.
template <typename Function>
void forEachGroups(Input &input, size_t group, bool (*skipped)(unsigned char), Function function) {
    std::string kept;
    forEachPiece(input, [&](std::string &piece) {
        if (piece.find('\0') != std::string::npos) {
            input.refuse("not a text");
        }
        std::erase_if(piece, skipped);
        kept += piece;
        const size_t whole = kept.size() / group * group;
        function(kept.substr(0, whole));
        kept.erase(0, whole);
    });
    function(kept);
}

void encodeBase64(Input &input) {
    forEachPiece(input,
                 [](const std::string &piece) { writeTextAndFree(UTIL_base64Encode(raw(piece), size32(piece))); });
    write("\n");
}

void decodeBase64(Input &input) {
    bool ended = false;
    const auto foreign = [](unsigned char c) { return isalnum(c) == 0 && strchr("+/=", c) == nullptr; };
    forEachGroups(input, 4, foreign, [&](const std::string &text) {
        if (text.empty()) {
            return;
        }
        uint8_t *bytes = nullptr;
        uint32_t length = 0;
        if (ended || utilB64_decode(text.c_str(), &bytes, &length) != VOS_RET_OK) {
            input.refuse("not base64");
        }
        ended = text.find('=') != std::string::npos;
        writeAndFree(bytes, length);
    });
}

void encodeHex(Input &input) {
    forEachPiece(input, [](const std::string &piece) {
        char *text = nullptr;
        util_binaryBufToHexString(raw(piece), size32(piece), &text);
        writeTextAndFree(text);
    });
    write("\n");
}

void decodeHex(Input &input) {
    const auto blank = [](unsigned char c) { return isspace(c) != 0; };
    forEachGroups(input, 2, blank, [&](const std::string &text) {
        uint8_t *bytes = nullptr;
        uint32_t length = 0;
        if (util_hexStringToBinaryBuf(text.c_str(), &bytes, &length) != VOS_RET_OK) {
            input.refuse("not pairs of hexadecimal digits");
        }
        writeAndFree(bytes, length);
    });
}

void convertText(Input &input, VosRet (*function)(const char *, char **), const std::string &text) {
    if (text.find('\0') != std::string::npos) {
        input.refuse("not a text");
    }
    char *converted = nullptr;
    function(text.c_str(), &converted);
    writeTextAndFree(converted);
}

void escapeXml(Input &input) {
    forEachPiece(input, [&](const std::string &piece) { convertText(input, utilXml_escapeString, piece); });
}

void unescapeXml(Input &input) {
    constexpr size_t kLongestStart = 5;  // of an entity that may go on in the next piece
    std::string kept;
    forEachPiece(input, [&](const std::string &piece) {
        kept += piece;
        const size_t start = kept.rfind('&');
        const size_t cut = start != std::string::npos && kept.size() - start <= kLongestStart ? start : kept.size();
        convertText(input, utilXml_unescapeString, kept.substr(0, cut));
        kept.erase(0, cut);
    });
    convertText(input, utilXml_unescapeString, kept);
}

void encodeLzw(Input &input) {
    constexpr size_t kMargin = 16;  // codes around the data
    const std::string data = input.readAll((size_t{INT32_MAX} - kMargin) / 3 * 2);
    std::string stream(data.size() * 3 / 2 + kMargin, '\0');
    void *state = nullptr;
    if (utilLzw_initEncoder(&state, reinterpret_cast<uint8_t *>(stream.data()), static_cast<int32_t>(stream.size())) !=
        VOS_RET_OK) {
        throw Failure{"out of memory"};
    }
    const int32_t encoded = utilLzw_encode(state, raw(data), size32(data));
    const int32_t flushed = utilLzw_flushEncoder(state);
    utilLzw_cleanupEncoder(&state);
    if (encoded < 0 || flushed < 0) {
        input.refuse("could not be encoded");
    }
    write(std::string_view{stream}.substr(0, static_cast<size_t>(encoded) + static_cast<size_t>(flushed)));
}

void decodeLzw(Input &input) {
    const std::string stream = input.readAll(UINT32_MAX);
    void *state = nullptr;
    if (utilLzw_initDecoder(&state, raw(stream), size32(stream)) != VOS_RET_OK) {
        throw Failure{"out of memory"};
    }
    std::vector<uint8_t> out(kPiece);
    for (int32_t count = 1; count > 0;) {
        count = utilLzw_decode(state, out.data(), static_cast<uint32_t>(out.size()));
        write({reinterpret_cast<const char *>(out.data()), static_cast<size_t>(std::max(count, 0))});
    }
    const uint32_t end = static_cast<const UtilLzwDecoderState *>(state)->end;
    utilLzw_cleanupDecoder(&state);
    if (end != UTIL_LZW_END_CODE) {
        input.refuse(end == UTIL_LZW_CORRUPT ? "the stream is damaged" : "the stream ends early");
    }
}

// Converts character by character: `convert(bytes, left)` writes one and gives its bytes, below 1 for what it cannot
// convert. A character that a piece cuts is kept for the next one.
template <typename Convert>
void forEachCharacter(Input &input, Convert convert) {
    constexpr size_t kLongest = 4;
    std::string kept;
    const auto run = [&](size_t reserve) {
        size_t at = 0;
        while (at + reserve < kept.size()) {
            const int used = convert(raw(kept) + at, static_cast<int32_t>(kept.size() - at));
            if (used < 1) {
                input.refuse("byte 0x" + std::string{"0123456789abcdef"[raw(kept)[at] >> 4]} +
                             "0123456789abcdef"[raw(kept)[at] & 15] + " begins a character that cannot be converted");
            }
            at += static_cast<size_t>(used);
        }
        kept.erase(0, at);
    };
    forEachPiece(input, [&](const std::string &piece) {
        kept += piece;
        run(kLongest);
    });
    run(0);
}

#ifndef VOS_WITHOUT_GB18030
void encodeGb18030(Input &input) {
    forEachCharacter(input, [](const uint8_t *bytes, int32_t left) {
        uint32_t character = 0;
        const int used = utf8_mbtowc(&character, bytes, left);
        uint8_t out[4];
        int written = -1;
        if (character <= 0xFFFF) {
            written = uni2char(character, out, sizeof out);
        } else if (uni2char(0xD7C0 + (character >> 10), out, sizeof out) == 0) {
            written = uni2char(0xDC00 + (character & 0x3FF), out, sizeof out);
        }
        if (used < 1 || written < 1) {
            return -1;
        }
        write({reinterpret_cast<const char *>(out), static_cast<size_t>(written)});
        return used;
    });
}

void decodeGb18030(Input &input) {
    forEachCharacter(input, [](const uint8_t *bytes, int32_t left) {
        uint32_t unit = 0;
        int used = char2uni(bytes, left, &unit);
        if (used == 2 && unit >= 0xD800 && unit <= 0xDBFF) {
            uint32_t low = 0;
            if (char2uni(bytes + 2, left - 2, &low) != 2) {
                return -1;
            }
            unit = 0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF));
            used = 4;
        }
        uint8_t out[6];
        const int written = used < 1 ? -1 : utf8_wctomb(out, unit, sizeof out);
        if (written < 1) {
            return -1;
        }
        write({reinterpret_cast<const char *>(out), static_cast<size_t>(written)});
        return used;
    });
}
#endif

void printCrc32(Input &input) {
    uint32_t crc = 0xFFFFFFFF;
    forEachPiece(input, [&](const std::string &piece) { crc = utilCrc_getCrc32(raw(piece), size32(piece), crc); });
    char text[16];
    snprintf(text, sizeof text, "%08x\n", ~crc);
    write(text);
}

struct Codec {
    const char *name;
    const char *summary;
    void (*encode)(Input &);
    void (*decode)(Input &);  // NULL: there is no way back
};
constexpr std::array kCodecs{
    Codec{"b64", "base64", encodeBase64, decodeBase64},
    Codec{"hex", "hexadecimal digits", encodeHex, decodeHex},
    Codec{"xml", "XML entities", escapeXml, unescapeXml},
    Codec{"lzw", "LZW stream", encodeLzw, decodeLzw},
#ifndef VOS_WITHOUT_GB18030
    Codec{"gb18030", "GB18030 text out of UTF-8", encodeGb18030, decodeGb18030},
#endif
    Codec{"crc32", "CRC-32 of the input", printCrc32, nullptr},
};

struct Options {
    bool decode = false;
    std::string file = "-";
};

void run(const Codec &codec, const Options &options) {
    if (options.decode && codec.decode == nullptr) {
        throw Failure{std::string{codec.name} + " cannot be decoded", vosctl::Exit::kUsage};
    }
    Input input{options.file};
    (options.decode ? codec.decode : codec.encode)(input);
}

void setUp(vosctl::Arguments app) {
    app.needsSubcommand();
    for (const Codec &codec : kCodecs) {
        vosctl::Arguments sub = app.subcommand(codec.name, codec.summary);
        auto options = std::make_shared<Options>();
        sub.flag("-d,--decode", options->decode, "decode");
        sub.option("file", options->file, "input; '-' is standard input");
        sub.runs([&codec, options] { run(codec, *options); });
    }
}
const vosctl::Command kCommand{"codec", "encode or decode a file or standard input", setUp};

}  // namespace
