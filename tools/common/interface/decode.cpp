// Payload bytes to JSON. The bytes are hostile: each is looked at only after its place was compared with the end.
#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "common/interface/codec.h"
#include "common/msg_names.h"

namespace iface {

namespace {

struct Misfit {
    std::string text;
};

std::string_view characters(ByteView bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

std::string bytesText(uint64_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string hex(ByteView bytes, std::string_view between = "") {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : bytes) {
        const auto value = std::to_integer<size_t>(byte);
        text.append(text.empty() ? "" : between);
        text += kDigits[value >> 4];
        text += kDigits[value & 15];
    }
    return text;
}

uint64_t unsignedAt(ByteView bytes) {
    const auto as = [&bytes](auto value) {
        memcpy(&value, bytes.data(), sizeof value);
        return uint64_t{value};
    };
    switch (bytes.size()) {
        case 1:
            return as(uint8_t{});
        case 2:
            return as(uint16_t{});
        case 4:
            return as(uint32_t{});
        default:
            return as(uint64_t{});
    }
}

Json integer(const Field &field, ByteView bytes) {
    const uint64_t value = unsignedAt(bytes);
    if (!field.isSigned) {
        return value;
    }
    const unsigned unused = 64 - 8 * static_cast<unsigned>(bytes.size());
    return static_cast<int64_t>(value << unused) >> unused;
}

Json namesOf(const Field &field, ByteView bytes) {
    if (!field.named->flags) {
        const Json number = integer(field, bytes);
        const auto value = static_cast<int64_t>(unsignedAt(bytes));
        const int64_t wanted = field.isSigned ? number.get<int64_t>() : value;
        const auto found = std::ranges::find(field.named->values, wanted, &Named::Value::value);
        return found != field.named->values.end() ? Json(found->name) : number;
    }
    uint64_t rest = unsignedAt(bytes);
    Json names = Json::array();
    for (const Named::Value &bit : field.named->values) {
        if ((rest & static_cast<uint64_t>(bit.value)) != 0) {
            names.push_back(bit.name);
            rest &= ~static_cast<uint64_t>(bit.value);
        }
    }
    if (rest != 0) {
        names.push_back(rest);
    }
    return names;
}

Json address(int family, ByteView bytes) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(family, bytes.data(), text, sizeof text);
    return text;
}

class Decoder {
  public:
    explicit Decoder(ByteView payload) : payload_{payload} {}

    Json decode(const Struct &record) {
        if (payload_.size() < record.size || (!record.hasTail && payload_.size() != record.size)) {
            throw Misfit{bytesText(payload_.size()) + ", where " + record.name + " has " +
                         (record.hasTail ? "at least " : "") + std::to_string(record.size)};
        }
        Json object = fixedPart(record, payload_.first(record.size), record.size);
        at_ = record.size;
        bool open = record.textsAt;
        for (const Field &field : record.fields) {
            if (field.isTail()) {
                open = field.kind == Kind::kText;
                object[field.name] = tail(record, field);
            }
        }
        if (at_ != payload_.size() && !open) {
            throw Misfit{bytesText(payload_.size() - at_) + " more than " + record.name + " has"};
        }
        return object;
    }

  private:
    Json fixedPart(const Struct &record, ByteView bytes, size_t textsFrom) const {
        Json object = Json::object();
        for (const Field &field : record.fields) {
            if (field.kind != Kind::kPad && !field.isTail() && !record.isCount(field)) {
                object[field.name] = fixed(field, bytes.subspan(field.offset, field.bytes()), textsFrom);
            }
        }
        return object;
    }
    Json fixed(const Field &field, ByteView bytes, size_t textsFrom) const {
        if (!field.array) {
            return element(field, bytes, textsFrom);
        }
        Json values = Json::array();
        for (size_t i = 0; i < field.count; i++) {
            values.push_back(element(field, bytes.subspan(i * field.size, field.size), textsFrom));
        }
        return values;
    }
    Json element(const Field &field, ByteView bytes, size_t textsFrom) const {
        switch (field.elementKind()) {
            case Kind::kInteger:
                return integer(field, bytes);
            case Kind::kBool:
                if (std::to_integer<unsigned>(bytes[0]) > 1) {
                    throw Misfit{"'" + field.name + "' is " + std::to_string(std::to_integer<unsigned>(bytes[0])) +
                                 ", neither 0 nor 1"};
                }
                return bytes[0] != std::byte{0};
            case Kind::kChars:
                if (bytes.back() != std::byte{0}) {
                    throw Misfit{"'" + field.name + "' does not end with a NUL"};
                }
                return std::string{characters(bytes).data()};
            case Kind::kIpv4:
                return address(AF_INET, bytes);
            case Kind::kIpv6:
                return address(AF_INET6, bytes);
            case Kind::kMac:
                return hex(bytes, ":");
            case Kind::kEnum:
            case Kind::kFlags:
                return namesOf(field, bytes);
            case Kind::kStruct:
                return fixedPart(*field.record, bytes, textsFrom);
            case Kind::kTextAt:
                return textAt(field, unsignedAt(bytes), textsFrom);
            default:
                return hex(bytes);
        }
    }
    Json textAt(const Field &field, uint64_t offset, size_t from) const {
        if (offset == 0) {
            return nullptr;
        }
        if (offset < from || offset >= payload_.size()) {
            throw Misfit{"'" + field.name + "' stands at " + std::to_string(offset) +
                         ", outside of what follows the record"};
        }
        const std::string_view rest = characters(payload_.subspan(offset));
        const size_t end = rest.find('\0');
        if (end == std::string_view::npos) {
            throw Misfit{"'" + field.name + "' does not end with a NUL"};
        }
        return std::string{rest.substr(0, end)};
    }

    std::string text(const Field &field) {
        const std::string_view rest = characters(payload_.subspan(at_));
        const size_t end = rest.find('\0');
        if (end == std::string_view::npos) {
            throw Misfit{"'" + field.name + "' does not end with a NUL"};
        }
        at_ += end + 1;
        return std::string{rest.substr(0, end)};
    }
    Json tail(const Struct &record, const Field &field) {
        const ByteView rest = payload_.subspan(at_);
        switch (field.kind) {
            case Kind::kCString:
                return text(field);
            case Kind::kCStrings: {
                Json values = Json::array();
                while (at_ < payload_.size()) {
                    values.push_back(text(field));
                }
                return values;
            }
            case Kind::kText:
                at_ = payload_.size();
                return std::string{characters(rest).substr(0, characters(rest).find('\0'))};
            case Kind::kList:
                return list(record, field, rest);
            default:
                at_ = payload_.size();
                return hex(rest);
        }
    }
    Json list(const Struct &record, const Field &field, ByteView rest) {
        uint64_t count = rest.size() / field.size;
        if (const Field *counter = record.find(field.countField)) {
            const uint64_t said = unsignedAt(payload_.subspan(counter->offset, counter->size));
            if (said > count) {
                throw Misfit{"'" + counter->name + "' says " + std::to_string(said) + ", there is room for " +
                             std::to_string(count)};
            }
            count = said;
        }
        Json values = Json::array();
        for (uint64_t i = 0; i < count; i++) {
            values.push_back(element(field, rest.subspan(i * field.size, field.size), SIZE_MAX));
        }
        at_ += count * field.size;
        return values;
    }

    ByteView payload_;
    size_t at_ = 0;
};

}  // namespace

Decoded decode(const Struct *record, ByteView payload) {
    if (record == nullptr) {
        return {Json::object(), payload.empty() ? "" : bytesText(payload.size()) + ", where none is described"};
    }
    try {
        return {Decoder{payload}.decode(*record), ""};
    } catch (const Misfit &misfit) {
        return {nullptr, misfit.text};
    }
}

Decoded decode(const Message &message, bool reply, uint32_t word, ByteView payload) {
    const std::optional<Field> &described = reply ? message.result : message.word;
    const bool plainResult = reply && !described && message.kind != MessageKind::kProcedure;
    Json object = Json::object();
    if (described) {
        object[described->name] = described->named != nullptr ? namesOf(*described, std::as_bytes(std::span{&word, 1}))
                                                              : integer(*described, std::as_bytes(std::span{&word, 1}));
    } else if (plainResult) {
        const auto name = msgnames::retName(word);
        object["result"] = name ? Json(*name) : Json(word);
    }
    if (plainResult && word != 0 && payload.empty()) {
        return {object, ""};
    }
    // What a procedure is sent may be filled up to the 8 bytes that it has at least.
    const Struct *record = reply ? message.reply : message.payload;
    if (record == nullptr && !reply && message.kind == MessageKind::kProcedure) {
        return {object, ""};
    }
    Decoded decoded = decode(record, payload);
    if (decoded.misfit.empty()) {
        object.update(decoded.value);
        decoded.value = std::move(object);
    }
    return decoded;
}

}  // namespace iface
