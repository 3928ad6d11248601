// NDEF records for the gateway's NFC tag.
#include "vos/nfc.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "internal/bytes.h"
#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/slice.h"

using std::string_view;
using vos::ByteWriter;

const uint8_t g_ndefAppDataHead[26] = {0xD2, 0x76, 0x00, 0x00, 0x85, 0x01, 0x01, 0xE1, 0x03, 0x00, 0x0F, 0x20, 0x08,
                                       0x00, 0x08, 0x00, 0x04, 0x06, 0xE1, 0x04, 0x0B, 0xDF, 0x00, 0x00, 0xE1, 0x04};

namespace {

constexpr size_t kHeadSize = sizeof g_ndefAppDataHead;
constexpr size_t kTypeLengthOffset = 29;
constexpr size_t kPayloadLengthOffset = 30;
constexpr size_t kTypeOffset = 31;
constexpr size_t kUriPayloadOffset = 32;
constexpr size_t kTextOffset = 44;
constexpr size_t kRecordHeader = 3;  // flags, type length, payload length

// Only record of its message (MB, ME), short, type name format in the low bits.
constexpr uint8_t kMimeRecord = 0xD2;
constexpr uint8_t kWellKnownRecord = 0xD1;

constexpr string_view kWifiType = "application/vnd.wfa.wsc";
constexpr string_view kUriType = "U";
constexpr uint8_t kNoAbbreviation = 0;
constexpr size_t kMaxUrl = 511;

constexpr uint16_t kAttrVersion = 0x104A;
constexpr uint16_t kAttrCredential = 0x100E;
constexpr uint16_t kAttrNetworkIndex = 0x1026;
constexpr uint16_t kAttrSsid = 0x1045;
constexpr uint16_t kAttrAuthentication = 0x1003;
constexpr uint16_t kAttrEncryption = 0x100F;
constexpr uint16_t kAttrNetworkKey = 0x1027;
constexpr uint8_t kWscVersion = 0x10;
constexpr size_t kWifiOverhead = 34;        // all attributes without SSID and key
constexpr size_t kCredentialOverhead = 25;  // those inside the credential

struct NamedType {
    string_view name;
    uint16_t value;
};
constexpr std::array<NamedType, 6> kAuthentication{
    {{"psk2", 0x20}, {"wpa2", 0x10}, {"shared", 4}, {"open", 1}, {"psk", 2}, {"wpa", 8}}};
constexpr std::array<NamedType, 3> kEncryption{{{"aes", 8}, {"tkip", 4}, {"wep", 2}}};
constexpr uint16_t kNoEncryption = 1;

const NamedType *find(std::span<const NamedType> table, string_view name) {
    const auto found = std::find_if(table.begin(), table.end(), [&](const NamedType &t) { return t.name == name; });
    return found == table.end() ? nullptr : &*found;
}

string_view textOf(const char *text) {
    return text == nullptr ? string_view{} : string_view{text};
}

void attributeHead(ByteWriter &out, uint16_t id, size_t length) {
    out.native(id);
    out.native(static_cast<uint16_t>(length));
}

void attribute8(ByteWriter &out, uint16_t id, uint8_t value) {
    attributeHead(out, id, 1);
    out.u8(value);
}

void attributeText(ByteWriter &out, uint16_t id, string_view value) {
    attributeHead(out, id, value.size());
    out.text(value);
}

void writeWifiPayload(ByteWriter &out, string_view ssid, string_view auth, string_view encryption, string_view key) {
    attribute8(out, kAttrVersion, kWscVersion);
    attributeHead(out, kAttrCredential, kCredentialOverhead + ssid.size() + key.size());
    attribute8(out, kAttrNetworkIndex, 1);
    attributeText(out, kAttrSsid, ssid);
    attributeHead(out, kAttrAuthentication, sizeof(uint16_t));
    // Readers rely on an unknown name leaving the value out although the length counts it.
    if (const NamedType *known = find(kAuthentication, auth)) {
        out.native(known->value);
    }
    attributeHead(out, kAttrEncryption, sizeof(uint16_t));
    const NamedType *cipher = find(kEncryption, encryption);
    out.native(cipher == nullptr ? kNoEncryption : cipher->value);
    attributeText(out, kAttrNetworkKey, key);
}

void writeRecordHead(ByteWriter &out, uint8_t flags, string_view type, size_t payloadLength) {
    out.bytes(g_ndefAppDataHead, kHeadSize);
    out.native(static_cast<uint16_t>(kRecordHeader + type.size() + payloadLength));
    out.u8(flags);
    out.u8(static_cast<uint8_t>(type.size()));
    out.u8(static_cast<uint8_t>(payloadLength));  // a short record: modulo 256
    out.text(type);
}

void printBytes(const uint8_t *bytes, size_t count) {
    for (size_t i = 0; i < count; i++) {
        printf("0x%2x ", bytes[i]);
    }
}

}  // namespace

void UTIL_nfcGenWifiNdefData(const char *ssid, const char *auth, const char *encryption, const char *key,
                             uint8_t **bufferOut, uint32_t *lengthOut) {
    if (bufferOut == nullptr || lengthOut == nullptr) {
        return;
    }
    *bufferOut = nullptr;
    *lengthOut = 0;
    const size_t payloadLength = textOf(ssid).size() + textOf(key).size() + kWifiOverhead;
    const size_t carried = payloadLength % 256;
    const size_t total = kHeadSize + sizeof(uint16_t) + kRecordHeader + kWifiType.size() + carried;
    const auto payload = vos::allocZeroed<uint8_t>(payloadLength);
    auto buffer = vos::allocZeroed<uint8_t>(total);
    if (!payload || !buffer) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return;
    }
    ByteWriter payloadOut{payload.get(), payloadLength};
    writeWifiPayload(payloadOut, textOf(ssid), textOf(auth), textOf(encryption), textOf(key));
    ByteWriter out{buffer.get(), total};
    writeRecordHead(out, kMimeRecord, kWifiType, payloadLength);
    out.bytes(payload.get(), carried);
    *bufferOut = buffer.release();
    *lengthOut = static_cast<uint32_t>(total);
}

void UTIL_nfcGenUrlNdefData(const char *url, uint8_t **bufferOut, uint32_t *lengthOut) {
    if (bufferOut == nullptr || lengthOut == nullptr) {
        return;
    }
    *bufferOut = nullptr;
    *lengthOut = 0;
    const string_view address = vos::slice(textOf(url), 0, kMaxUrl);
    const size_t total = kUriPayloadOffset + 1 + address.size();
    auto buffer = vos::allocZeroed<uint8_t>(total);
    if (!buffer) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return;
    }
    ByteWriter out{buffer.get(), total};
    writeRecordHead(out, kWellKnownRecord, kUriType, address.size() + 1);
    out.u8(kNoAbbreviation);
    out.text(address);
    *bufferOut = buffer.release();
    *lengthOut = static_cast<uint32_t>(total);
}

int util_nfcGetWifiPayloadLen(const char *ssid, const char *key) {
    return static_cast<int>(textOf(ssid).size() + textOf(key).size() + kWifiOverhead);
}

void UTIL_nfcGetNdefPayload(const uint8_t *buffer, uint8_t *payloadOut, uint32_t *payloadLen, uint32_t *typeLen,
                            char *typeOut) {
    if (buffer == nullptr || payloadOut == nullptr || payloadLen == nullptr || typeLen == nullptr ||
        typeOut == nullptr) {
        return;
    }
    *typeLen = buffer[kTypeLengthOffset];
    *payloadLen = buffer[kPayloadLengthOffset];
    memcpy(typeOut, buffer + kTypeOffset, *typeLen);
    typeOut[*typeLen] = '\0';
    // Contract: the offset is fixed, which is right for one-character types only.
    memcpy(payloadOut, buffer + kUriPayloadOffset, *payloadLen);
}

const uint8_t *UTIL_nfcGetTextNdefData(const uint8_t *buffer, const uint8_t **out) {
    const uint8_t *text = buffer == nullptr ? nullptr : buffer + kTextOffset;
    if (out != nullptr) {
        *out = text;
    }
    return text;
}

void UTIL_nfcPrintNdefData(const uint8_t *buffer, uint32_t length) {
    if (buffer == nullptr) {
        return;
    }
    puts("************* NDEF APP DATA *************");
    puts("************* NDEF LEN *************");
    printBytes(buffer + kHeadSize, 2);
    puts("\n************* NDEF HEAD *************");
    printBytes(buffer + kHeadSize + 2, 4);
    puts("\n************* RECORD TYPE + PAYLOAD **************");
    const size_t shown = kUriPayloadOffset - kHeadSize;
    if (length > shown) {
        printBytes(buffer + kUriPayloadOffset, length - shown);
    }
    puts("\n************* END **************");
}
