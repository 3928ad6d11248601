// LZW streams: bit for bit against a plain encoder of our own, and both ways against libtiff.
#include "vos/lzw.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <vector>

#include "support/files.h"
#include "support/syslog_catcher.h"
#ifdef VOS_TEST_HAS_TIFF
#include "support/tiff_strip.h"
#endif

namespace {

using testing::Contains;

using Bytes = std::vector<uint8_t>;

// The stream as a list of bits, strings in a map: slow and plain.
class PlainEncoder {
  public:
    void encode(const Bytes &in) {
        if (last_ < 0) {
            clear();
        }
        for (const uint8_t b : in) {
            if (last_ < 0) {
                last_ = b;
            } else if (const auto found = codes_.find({last_, b}); found != codes_.end()) {
                last_ = found->second;
            } else {
                put(last_);
                codes_[{last_, b}] = size_++;
                width_ += size_ >= 1 << width_ ? 1 : 0;
                last_ = b;
            }
            if (size_ >= 4095) {
                clear();
            }
        }
    }
    void flush() {
        if (last_ >= 0) {
            put(last_);
        }
        put(257);
        bits_.resize((bits_.size() + 7) / 8 * 8);
        last_ = -1;
    }
    void put(int code) { put(code, width_); }
    void put(int code, int width) {
        for (int bit = width - 1; bit >= 0; bit--) {
            bits_.push_back((code >> bit & 1) != 0);
        }
    }
    Bytes bytes() const {
        Bytes bytes(bits_.size() / 8);
        for (size_t i = 0; i < bytes.size() * 8; i++) {
            bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] << 1 | (bits_[i] ? 1 : 0));
        }
        return bytes;
    }

  private:
    void clear() {
        put(256);
        codes_.clear();
        width_ = 9;
        size_ = 258;
    }
    std::vector<bool> bits_;
    std::map<std::pair<int, int>, int> codes_;
    int width_ = 9;
    int size_ = 258;
    int last_ = -1;
};

Bytes plainStream(const Bytes &data) {
    PlainEncoder encoder;
    encoder.encode(data);
    encoder.flush();
    return encoder.bytes();
}

Bytes codes(std::initializer_list<std::pair<int, int>> codesAndWidths) {
    PlainEncoder encoder;
    for (const auto &[code, width] : codesAndWidths) {
        encoder.put(code, width);
    }
    encoder.put(0, 7);
    return encoder.bytes();
}

Bytes noise(size_t size, unsigned values) {
    std::mt19937 random{values};
    Bytes data(size);
    for (uint8_t &byte : data) {
        byte = static_cast<uint8_t>(random() % values);
    }
    return data;
}

// Every two bytes are new to the table.
Bytes newPairs(size_t size) {
    Bytes data(size);
    for (size_t i = 1; i < size; i++) {
        data[i] = static_cast<uint8_t>(data[i - 1] + 1 + i / 256 * 2);
    }
    return data;
}

// Few and many different strings, runs longer than any piece, and every length around the changes of width.
std::vector<Bytes> inputs() {
    std::vector<Bytes> all{{}, {'A'}, Bytes(9000, 0), noise(30000, 256), noise(30000, 3), noise(30000, 40)};
    for (const size_t widens : {254U, 766U, 1790U}) {
        for (size_t size = widens - 3; size < widens + 4; size++) {
            all.push_back(newPairs(size));
        }
    }
    return all;
}

Bytes decode(const Bytes &stream, uint32_t piece, uint32_t end = UTIL_LZW_END_CODE) {
    void *state = nullptr;
    EXPECT_EQ(utilLzw_initDecoder(&state, stream.data(), static_cast<uint32_t>(stream.size())), VOS_RET_OK);
    Bytes all;
    int32_t written = 0;
    do {
        Bytes out(piece);  // a new block each time: nothing may depend on what a caller was given before
        written = utilLzw_decode(state, out.data(), piece);
        all.insert(all.end(), out.begin(), out.begin() + std::max(written, 0));
    } while (written == static_cast<int32_t>(piece));
    EXPECT_EQ(static_cast<const UtilLzwDecoderState *>(state)->end, end);
    EXPECT_EQ(utilLzw_decode(state, nullptr, 0), -1);
    utilLzw_cleanupDecoder(&state);
    EXPECT_EQ(state, nullptr);
    return all;
}

TEST(LzwEncoder, WritesTheSameBitsWhateverTheCalls) {
    EXPECT_EQ(plainStream({}), (Bytes{0x80, 0x40, 0x40}));
    EXPECT_EQ(plainStream({0x41}), (Bytes{0x80, 0x10, 0x60, 0x20}));
    for (const Bytes &data : inputs()) {
        for (const size_t piece : {data.size() + 1, size_t{4999}}) {
            SCOPED_TRACE(testing::Message() << data.size() << " bytes by " << piece);
            PlainEncoder plain;
            Bytes out(data.size() * 4 + 64);
            void *state = nullptr;
            ASSERT_EQ(utilLzw_initEncoder(&state, out.data(), static_cast<int32_t>(out.size())), VOS_RET_OK);
            size_t reported = 0;
            for (int stream = 0; stream < 2; stream++) {  // the second one follows the first in the same buffer
                for (size_t at = 0; at < data.size() + 1; at += piece) {
                    const Bytes part(data.begin() + static_cast<ptrdiff_t>(at),
                                     data.begin() + static_cast<ptrdiff_t>(std::min(data.size(), at + piece)));
                    plain.encode(part);
                    const auto size = static_cast<uint32_t>(part.size());
                    reported += static_cast<size_t>(utilLzw_encode(state, part.data(), size));
                    ASSERT_EQ(Bytes(out.begin(), out.begin() + static_cast<ptrdiff_t>(reported)), plain.bytes());
                }
                plain.flush();
                reported += static_cast<size_t>(utilLzw_flushEncoder(state));
                ASSERT_EQ(Bytes(out.begin(), out.begin() + static_cast<ptrdiff_t>(reported)), plain.bytes());
            }
            utilLzw_cleanupEncoder(&state);
            EXPECT_EQ(state, nullptr);
        }
    }
}

TEST(LzwEncoder, RefusesInputThatTheRestOfTheBufferMayNotHold) {
    vostest::Diagnostics diagnostics;
    const Bytes data = noise(64, 256);
    Bytes out(16);
    void *state = nullptr;
    ASSERT_EQ(utilLzw_initEncoder(&state, out.data(), 16), VOS_RET_OK);
    EXPECT_EQ(utilLzw_encode(state, data.data(), 13), -1);
    EXPECT_THAT(diagnostics.takeBodies(), Contains("size check failed, insize=13 (*3) outsize=16 (*2)"));
    EXPECT_EQ(utilLzw_encode(state, data.data(), 5), 5);
    EXPECT_EQ(utilLzw_encode(state, data.data() + 5, 10), -1);
    EXPECT_EQ(utilLzw_encode(state, data.data() + 5, 9), 10);
    utilLzw_cleanupEncoder(&state);
}

TEST(LzwEncoder, KeepsWithinABufferThatTheStreamOutgrows) {
    const Bytes data = noise(40, 256);
    const Bytes whole = plainStream(data);
    for (size_t room = 0; room <= whole.size(); room++) {
        SCOPED_TRACE(room);
        Bytes out(room + 8, 0xEE);
        void *state = nullptr;
        ASSERT_EQ(utilLzw_initEncoder(&state, out.data(), room == 0 ? -1 : static_cast<int32_t>(room)), VOS_RET_OK);
        int32_t total = 0;
        for (const uint8_t byte : data) {
            total += std::max(utilLzw_encode(state, &byte, 1), 0);
        }
        EXPECT_EQ(utilLzw_flushEncoder(state) == -1, room < whole.size());
        EXPECT_EQ(Bytes(out.begin() + static_cast<ptrdiff_t>(room), out.end()), Bytes(8, 0xEE));
        EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + total, out.begin()));
        EXPECT_EQ(utilLzw_flushEncoder(state) == -1, room < whole.size() + 2) << "stays broken";
        utilLzw_cleanupEncoder(&state);
    }
}

TEST(LzwDecoder, GivesTheDataInPiecesOfAnySize) {
    for (const Bytes &data : inputs()) {
        const Bytes stream = plainStream(data);
        for (const uint32_t piece : {1U, 7U, 64U, 1000U, 40000U}) {
            SCOPED_TRACE(testing::Message() << data.size() << " bytes by " << piece);
            ASSERT_EQ(decode(stream, piece), data);
        }
    }
}

TEST(LzwDecoder, EndsAtCorruptCodesAndMissingOnes) {
    const auto corrupt = UTIL_LZW_CORRUPT, cut = UTIL_LZW_CUT_SHORT, whole = UTIL_LZW_END_CODE;
    const std::tuple<Bytes, Bytes, uint32_t, const char *> kRows[] = {
        {codes({{256, 9}, {65, 9}, {66, 9}, {260, 9}}), {65, 66}, corrupt, "code 260 greater than slot 259"},
        {codes({{256, 9}, {258, 9}}), {}, corrupt, "code 258 greater than slot 258"},
        {codes({{65, 9}, {256, 9}, {258, 9}}), {65}, corrupt, "code 258 greater than slot 258"},
        {codes({{65, 9}, {258, 9}, {257, 9}, {65, 9}}), {65, 65, 65}, whole, "got end code 257"},
        {codes({{65, 9}, {66, 9}}), {65, 66}, cut, "unexpected end of input"},
        {{}, {}, cut, "unexpected end of input"}};
    for (const auto &[stream, data, end, log] : kRows) {
        SCOPED_TRACE(log);
        vostest::Diagnostics diagnostics;
        EXPECT_EQ(decode(stream, 64, end), data);
        EXPECT_THAT(diagnostics.takeBodies(), Contains(log));
    }
}

TEST(LzwDecoder, ReadsOnWithAFullTable) {
    PlainEncoder stream;
    Bytes data;
    const auto put = [&](int code, size_t slot) {
        stream.put(code, slot < 511 ? 9 : slot < 1023 ? 10 : slot < 2047 ? 11 : 12);
    };
    // Slot 258 + n holds the bytes n and n + 1.
    for (size_t n = 0; n < 5000; n++) {
        put(static_cast<int>(n % 256), std::min<size_t>(258 + (n > 0 ? n - 1 : 0), 4096));
        data.push_back(static_cast<uint8_t>(n));
    }
    put(4095, 4096);
    data.insert(data.end(), {static_cast<uint8_t>(4095 - 258), static_cast<uint8_t>(4096 - 258)});
    put(257, 4096);
    stream.put(0, 7);
    EXPECT_EQ(decode(stream.bytes(), 10000), data);
}

TEST(LzwDecoder, SkippedInputStillGivesWhatWasDecoded) {
    const Bytes stream = plainStream(Bytes(30, 'x'));
    void *state = nullptr;
    ASSERT_EQ(utilLzw_initDecoder(&state, stream.data(), static_cast<uint32_t>(stream.size())), VOS_RET_OK);
    uint8_t out[30];
    EXPECT_EQ(utilLzw_decode(state, out, 0), 0);
    EXPECT_EQ(utilLzw_decode(state, out, 4), 4);  // x, xx and one of xxx
    EXPECT_EQ(static_cast<const UtilLzwDecoderState *>(state)->end, uint32_t{UTIL_LZW_OPEN});
    ff_lzw_decode_tail(state);
    EXPECT_EQ(utilLzw_decode(state, out, 30), 2);
    EXPECT_EQ(utilLzw_decode(state, out, 30), -1);
    utilLzw_cleanupDecoder(&state);
}

#ifdef VOS_TEST_HAS_TIFF
TEST(LzwTiff, ReadsOurStripsAndWritesOnesThatWeRead) {
    const vostest::TempDir directory;
    for (const Bytes &data : inputs()) {
        if (data.empty()) {
            continue;  // TIFF has no empty rows
        }
        SCOPED_TRACE(data.size());
        const auto size = static_cast<tsize_t>(data.size());
        const auto open = [&](const char *mode) {
            TIFF *tiff = TIFFOpen((directory / "strip.tif").c_str(), mode);
            if (*mode == 'w') {
                vostest::describeLzwStrip(tiff, data.size());
            }
            return std::unique_ptr<TIFF, decltype(&TIFFClose)>{tiff, TIFFClose};
        };
        Bytes ours = plainStream(data);
        TIFFWriteRawStrip(open("w").get(), 0, ours.data(), static_cast<tsize_t>(ours.size()));
        Bytes read(data.size());
        EXPECT_EQ(TIFFReadEncodedStrip(open("r").get(), 0, read.data(), -1), size);
        EXPECT_EQ(read, data);
        TIFFWriteEncodedStrip(open("w").get(), 0, Bytes{data}.data(), size);
        Bytes theirs(static_cast<size_t>(TIFFRawStripSize(open("r").get(), 0)));
        TIFFReadRawStrip(open("r").get(), 0, theirs.data(), static_cast<tsize_t>(theirs.size()));
        EXPECT_EQ(decode(theirs, 512), data);
    }
}
#endif

}  // namespace
