// NFC tag contents, byte for byte.
#include "vos/nfc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "support/printed.h"
#include "vos/mem.h"

namespace {

using namespace std::string_literals;

const std::string kHead{reinterpret_cast<const char *>(g_ndefAppDataHead), 26};

template <typename Generate>
std::string made(Generate generate) {
    uint8_t *buffer = nullptr;
    uint32_t length = 0;
    generate(&buffer, &length);
    std::string bytes{reinterpret_cast<char *>(buffer), length};
    VOS_FREE(buffer);
    return bytes;
}

std::string wifi(const char *ssid, const char *auth, const char *encryption, const char *key) {
    return made([=](auto out, auto length) { UTIL_nfcGenWifiNdefData(ssid, auth, encryption, key, out, length); });
}

std::string url(const char *address) {
    return made([=](auto out, auto length) { UTIL_nfcGenUrlNdefData(address, out, length); });
}

TEST(NfcWifi, WritesTheCredentialInMachineByteOrder) {
    const std::string expected = kHead + "\x50\x00"s + "\xD2\x17\x36" + "application/vnd.wfa.wsc" +
                                 "\x4A\x10\x01\x00\x10"s + "\x0E\x10\x2D\x00"s + "\x26\x10\x01\x00\x01"s +
                                 "\x45\x10\x08\x00"s + "homenet1" + "\x03\x10\x02\x00\x20\x00"s +
                                 "\x0F\x10\x02\x00\x08\x00"s + "\x27\x10\x0C\x00"s + "secretsecret";
    EXPECT_EQ(wifi("homenet1", "psk2", "aes", "secretsecret"), expected);
    EXPECT_EQ(expected.size(), 108U);
    EXPECT_EQ(util_nfcGetWifiPayloadLen("homenet1", "secretsecret"), 54);
}

TEST(NfcWifi, NamesAuthenticationAndEncryption) {
    const std::tuple<const char *, const char *, std::string> kRows[] = {
        {"wpa2", "tkip", "\x03\x10\x02\x00\x10\x00\x0F\x10\x02\x00\x04\x00\x27\x10\x01\x00k"s},
        {"shared", "wep", "\x03\x10\x02\x00\x04\x00\x0F\x10\x02\x00\x02\x00\x27\x10\x01\x00k"s},
        {"open", "none", "\x03\x10\x02\x00\x01\x00\x0F\x10\x02\x00\x01\x00\x27\x10\x01\x00k"s},
        {"psk", "AES", "\x03\x10\x02\x00\x02\x00\x0F\x10\x02\x00\x01\x00\x27\x10\x01\x00k"s},
        {"wpa", nullptr, "\x03\x10\x02\x00\x08\x00\x0F\x10\x02\x00\x01\x00\x27\x10\x01\x00k"s},
        {"sae", "aes", "\x03\x10\x02\x00\x0F\x10\x02\x00\x08\x00\x27\x10\x01\x00k\x00\x00"s},
        {nullptr, "aes", "\x03\x10\x02\x00\x0F\x10\x02\x00\x08\x00\x27\x10\x01\x00k\x00\x00"s},
    };
    for (const auto &[auth, encryption, attributes] : kRows) {
        SCOPED_TRACE(auth == nullptr ? "NULL" : auth);
        EXPECT_EQ(wifi("s", auth, encryption, "k").substr(54 + 5 + 4 + 5 + 5), attributes);
    }
}

TEST(NfcWifi, CutsLongPayloadsModulo256) {
    for (const int length : {221, 222, 223}) {
        const int carried = (34 + length) % 256;
        const std::string bytes = wifi("", "psk2", "aes", std::string(static_cast<size_t>(length), 'k').c_str());
        EXPECT_EQ(bytes.size(), static_cast<size_t>(54 + carried));
        EXPECT_EQ(static_cast<uint8_t>(bytes[30]), carried);
        uint16_t messageLength = 0;
        memcpy(&messageLength, &bytes[26], 2);
        EXPECT_EQ(messageLength, 3 + 23 + 34 + length);
    }
}

TEST(NfcUrl, KeepsTheWholeAddress) {
    EXPECT_EQ(url("http://192.168.1.1/a"), kHead + "\x19\x00\xD1\x01\x15U\x00http://192.168.1.1/a"s);
    EXPECT_EQ(url(nullptr), kHead + "\x05\x00\xD1\x01\x01U\x00"s);
    const std::string tooLong(600, 'u');
    const std::string bytes = url(tooLong.c_str());
    EXPECT_EQ(bytes.size(), 511U + 33);
    EXPECT_EQ(bytes[30], '\x00') << "the record's length byte wraps";
}

TEST(NfcReader, ReadsOneCharacterTypes) {
    std::string bytes = url("http://a");
    uint8_t payload[255];
    uint32_t payloadLength = 0, typeLength = 0;
    char type[256];
    UTIL_nfcGetNdefPayload(reinterpret_cast<uint8_t *>(bytes.data()), payload, &payloadLength, &typeLength, type);
    EXPECT_STREQ(type, "U");
    EXPECT_EQ((std::string{reinterpret_cast<char *>(payload), payloadLength}), "\0http://a"s);
    const uint8_t *text = nullptr;
    const auto *raw = reinterpret_cast<const uint8_t *>(bytes.data());
    EXPECT_EQ(UTIL_nfcGetTextNdefData(raw, &text), raw + 44);
    EXPECT_EQ(text, raw + 44);

    EXPECT_EQ(vostest::printed([&] { UTIL_nfcPrintNdefData(raw, static_cast<uint32_t>(bytes.size() - 26)); }),
              "************* NDEF APP DATA *************\n************* NDEF LEN *************\n0x d 0x 0 "
              "\n************* NDEF HEAD *************\n0xd1 0x 1 0x 9 0x55 "
              "\n************* RECORD TYPE + PAYLOAD **************\n"
              "0x 0 0x68 0x74 0x74 0x70 0x3a 0x2f 0x2f 0x61 \n************* END **************\n");
}

}  // namespace
