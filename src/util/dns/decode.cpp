// DNS messages taken apart.
#include <arpa/inet.h>
#include <algorithm>
#include <cstring>

#include "internal/bytes.h"
#include "internal/dbg.h"
#include "internal/text_room.h"
#include "vos/dns.h"
#include "vos/text.h"

using vos::ByteReader;

namespace {

constexpr size_t kHeaderSize = 12;
constexpr size_t kQuestionCountAt = 4;
constexpr uint16_t kMaxRecords = 5;
constexpr uint8_t kMaxLabel = 63;  // above: a compression pointer
constexpr int kMaxJumps = 64;
constexpr size_t kMaxName = VOS_DNS_NAME_SIZE - 1;
constexpr size_t kIpv4Bytes = 4;
constexpr size_t kIpv6Bytes = 16;

ByteReader readerAt(const uint8_t *messageStart, const uint8_t *cursor) {
    ByteReader reader{messageStart, VOS_DNS_MESSAGE_SIZE};
    reader.seek(static_cast<size_t>(cursor - messageStart));
    return reader;
}

const uint8_t *cursorOf(const ByteReader &reader, const uint8_t *messageStart) {
    return messageStart + (reader.ok() ? reader.position() : VOS_DNS_MESSAGE_SIZE);
}

// Stored characters with the terminator; -1, with an empty text and the reader failed, for a name that does not end
// well. A NULL `out` checks the name and moves behind it.
int decodeName(char *out, ByteReader *reader) {
    ByteReader source = *reader;
    size_t length = 0;
    int jumps = 0;
    for (uint8_t count = source.u8(); source.ok() && count != 0; count = source.u8()) {
        if (count > kMaxLabel) {
            // Contract: the pointer's low byte alone is the target.
            const uint8_t target = source.u8();
            if (jumps == 0) {
                reader->seek(source.position());
            }
            source.seek(++jumps > kMaxJumps ? SIZE_MAX : target);
            continue;
        }
        const auto label = source.bytes(count);
        if (length + label.size() > kMaxName) {
            source.seek(SIZE_MAX);
            break;
        }
        if (out != nullptr) {
            std::copy(label.begin(), label.end(), out + length);
            out[length + label.size()] = '.';  // at the very end it becomes the terminator
        }
        length += label.size() + 1;
    }
    if (!source.ok()) {
        reader->seek(SIZE_MAX);
        length = 0;
    } else if (jumps == 0) {
        *reader = source;
    }
    length -= length > 0 ? 1 : 0;  // the last dot
    if (out != nullptr) {
        out[length] = '\0';
    }
    return source.ok() ? static_cast<int>(length) + 1 : -1;
}

// "d.c.b.a.in-addr.arpa" to "a.b.c.d"; a name of fewer labels stays.
void reverseAddressName(char *name) {
    const char *labels[kIpv4Bytes];
    size_t lengths[kIpv4Bytes];
    const char *rest = name;
    for (size_t i = 0; i < kIpv4Bytes; i++) {
        labels[i] = rest;
        lengths[i] = strcspn(rest, ".");
        rest += lengths[i];
        if (*rest == '\0' && i + 1 < kIpv4Bytes) {
            return;
        }
        rest += *rest == '.' ? 1 : 0;
    }
    char reversed[VOS_DNS_NAME_SIZE];
    size_t length = 0;
    for (size_t i = kIpv4Bytes; i-- > 0;) {
        memcpy(reversed + length, labels[i], lengths[i]);
        length += lengths[i];
        reversed[length++] = '.';
    }
    reversed[length - 1] = '\0';
    memcpy(name, reversed, length);
}

// With `nameAlways` unset the name is stored for PTR records only, for which it is the answer.
bool decodeRecord(DnsResourceRecord *record, ByteReader *reader, bool isQuestion, bool nameAlways) {
    ByteReader name = *reader;
    decodeName(nameAlways ? record->name : nullptr, reader);
    record->type = reader->u16be();
    record->rrClass = reader->u16be();
    if (!isQuestion) {
        record->ttl = reader->u32be();
        record->rdLength = reader->u16be();
        const auto data = reader->bytes(record->rdLength);
        std::copy_n(data.begin(), std::min(data.size(), sizeof record->rdata), record->rdata);
    }
    if (!reader->ok()) {
        record->type = 0;
        return false;
    }
    if (record->type == VOS_DNS_TYPE_PTR) {
        if (!nameAlways) {
            decodeName(record->name, &name);
        }
        reverseAddressName(record->name);
    }
    return true;
}

// Texts behind what a caller's buffer holds.
class Appender {
  public:
    Appender(char *buf, uint32_t size) : buf_{buf}, size_{size}, used_{strnlen(buf, size)} {}

    void add(const char *text, size_t length) {
        if (length >= size_ - used_) {
            util_strncat(__func__, __LINE__, buf_, text, vos::textRoom(size_));  // cuts, and says so
            used_ = strnlen(buf_, size_);
            return;
        }
        memcpy(buf_ + used_, text, length + 1);
        used_ += length;
    }

  private:
    char *buf_;
    uint32_t size_;
    size_t used_;
};

size_t ipv4Text(const uint8_t *bytes, char *text) {
    char *at = text;
    for (size_t i = 0; i < kIpv4Bytes; i++) {
        const uint8_t value = bytes[i];
        if (value >= 100) {
            *at++ = static_cast<char>('0' + value / 100);
        }
        if (value >= 10) {
            *at++ = static_cast<char>('0' + value / 10 % 10);
        }
        *at++ = static_cast<char>('0' + value % 10);
        *at++ = '.';
    }
    *--at = '\0';
    return static_cast<size_t>(at - text);
}

// Appends the address of a record with a tab behind it; a record that cannot be an address is passed over.
void addAddress(const DnsResourceRecord &record, Appender *out) {
    char text[INET6_ADDRSTRLEN];
    size_t length = 0;
    if (record.type == VOS_DNS_TYPE_A) {
        if (record.rdLength < kIpv4Bytes) {
            return;
        }
        length = ipv4Text(record.rdata, text);
    } else {
        if (record.rdLength != kIpv6Bytes || inet_ntop(AF_INET6, record.rdata, text, sizeof text) == nullptr) {
            VOS_DBG_ERROR("dns response error!");
            return;
        }
        length = strlen(text);
    }
    out->add(text, length);
    out->add("\t", 1);
}

}  // namespace

void util_dnsDecodeResponse(const uint8_t *message, char *hostIp, uint32_t hostIpLen) {
    if (message == nullptr || hostIp == nullptr || hostIpLen == 0) {
        return;
    }
    ByteReader reader{message, VOS_DNS_MESSAGE_SIZE};
    reader.seek(kQuestionCountAt);
    const uint16_t questions = std::min(reader.u16be(), kMaxRecords);
    const uint16_t answers = std::min(reader.u16be(), kMaxRecords);
    reader.seek(kHeaderSize);
    DnsResourceRecord record;
    record.name[0] = '\0';
    uint16_t wanted = 0;
    for (uint16_t i = 0; i < questions; i++) {
        if (!decodeRecord(&record, &reader, true, false)) {
            break;
        }
        wanted = i == 0 ? record.type : wanted;
        if (i == 0 && wanted == VOS_DNS_TYPE_PTR) {
            util_strncpy(__func__, __LINE__, hostIp, record.name, vos::textRoom(hostIpLen));
        }
    }
    Appender out{hostIp, hostIpLen};
    for (uint16_t i = 0; i < answers && decodeRecord(&record, &reader, false, false); i++) {
        if (record.type != wanted) {
            continue;
        }
        if (record.type == VOS_DNS_TYPE_PTR) {
            util_strncpy(__func__, __LINE__, hostIp, record.name, vos::textRoom(hostIpLen));
            return;
        }
        if (record.type == VOS_DNS_TYPE_A || record.type == VOS_DNS_TYPE_AAAA) {
            addAddress(record, &out);
        }
    }
}

void util_dnsDecodeRR(DnsResourceRecord *record, const uint8_t **cursor, int isQuestion, const uint8_t *messageStart) {
    if (record == nullptr || cursor == nullptr || messageStart == nullptr) {
        return;
    }
    ByteReader reader = readerAt(messageStart, *cursor);
    decodeRecord(record, &reader, isQuestion != 0, true);
    *cursor = cursorOf(reader, messageStart);
}

int util_dnsDecodeName(char *out, const uint8_t **cursor, const uint8_t *messageStart) {
    if (out == nullptr || cursor == nullptr || messageStart == nullptr) {
        return -1;
    }
    ByteReader reader = readerAt(messageStart, *cursor);
    const int stored = decodeName(out, &reader);
    *cursor = cursorOf(reader, messageStart);
    return stored;
}
