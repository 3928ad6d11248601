// JSON to payload bytes.
#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "common/interface/codec.h"

namespace iface {

namespace {

constexpr size_t kSmallestProcedure = 8;
constexpr size_t kLargestPayload = 256U << 20;

void append(Bytes &bytes, uint64_t value, size_t size) {
    const auto as = [&](auto narrow) {
        const auto all = std::as_bytes(std::span{&narrow, 1});
        bytes.insert(bytes.end(), all.begin(), all.end());
    };
    switch (size) {
        case 1:
            return as(static_cast<uint8_t>(value));
        case 2:
            return as(static_cast<uint16_t>(value));
        case 4:
            return as(static_cast<uint32_t>(value));
        default:
            return as(value);
    }
}

void append(Bytes &bytes, std::string_view text) {
    const auto all = std::as_bytes(std::span{text});
    bytes.insert(bytes.end(), all.begin(), all.end());
}

std::string shown(const Json &value) {
    const std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    return text.size() <= 40 ? text : text.substr(0, 40) + "…";
}

[[noreturn]] void wrong(const std::string &path, const Json &value, const std::string &what) {
    throw WrongField{path, shown(value) + " is " + what};
}

std::string textOf(const Json &value, const std::string &path) {
    if (!value.is_string()) {
        wrong(path, value, "no text; write \"…\"");
    }
    const auto &text = value.get_ref<const std::string &>();
    if (text.find('\0') != std::string::npos) {
        wrong(path, value, "a text with a NUL inside, which would end it; write it without");
    }
    return text;
}

/** The bytes of a number, checked against its width. */
uint64_t numberOf(const Json &value, const Field &field, const std::string &path) {
    const unsigned bits = 8 * field.size;
    const uint64_t most = UINT64_MAX >> (64 - bits + (field.isSigned ? 1 : 0));
    const int64_t least = field.isSigned ? -static_cast<int64_t>(most) - 1 : 0;
    const bool fits = value.is_number_unsigned()
                          ? value.get<uint64_t>() <= most
                          : value.is_number_integer() && value.get<int64_t>() >= least &&
                                value.get<int64_t>() <= static_cast<int64_t>(std::min<uint64_t>(most, INT64_MAX));
    if (!fits) {
        wrong(path, value, "no whole number between " + std::to_string(least) + " and " + std::to_string(most));
    }
    return value.is_number_unsigned() ? value.get<uint64_t>() : static_cast<uint64_t>(value.get<int64_t>());
}

std::string allNames(const Named &named) {
    std::string all;
    for (const Named::Value &value : named.values) {
        all.append(all.empty() ? "" : ", ").append(value.name);
    }
    return all;
}

uint64_t nameOf(const Json &value, const Field &field, const std::string &path) {
    if (!value.is_string()) {
        return numberOf(value, field, path);
    }
    const auto found = std::ranges::find(field.named->values, value.get<std::string>(), &Named::Value::name);
    if (found == field.named->values.end()) {
        wrong(path, value, "none of: " + allNames(*field.named));
    }
    return static_cast<uint64_t>(found->value);
}

uint64_t namesOf(const Json &value, const Field &field, const std::string &path) {
    if (!value.is_array()) {
        return nameOf(value, field, path);
    }
    uint64_t all = 0;
    for (size_t i = 0; i < value.size(); i++) {
        all |= nameOf(value[i], field, path + "[" + std::to_string(i) + "]");
    }
    return all;
}

Bytes hexOf(const Json &value, const std::string &path, const std::string &advice) {
    std::string digits = textOf(value, path);
    std::erase_if(digits, [](char c) { return c == ' ' || c == ':'; });
    Bytes bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const char *first = digits.data() + i;
        const char *last = first + std::min<size_t>(2, digits.size() - i);
        uint8_t byte = 0;
        const auto [end, error] = std::from_chars(first, last, byte, 16);
        if (error != std::errc{} || end != first + 2) {
            wrong(path, value, advice);
        }
        bytes.push_back(std::byte{byte});
    }
    return bytes;
}

class Encoder {
  public:
    Bytes encode(const Struct &record, const Json &value, const std::string &path) {
        fixedPart(record, value, path);
        for (const Field &field : record.fields) {
            if (field.isTail()) {
                tail(record, field, member(value, field, path), inside(path, field));
            }
        }
        for (const auto &[place, text] : texts_) {
            patch(place, bytes_.size(), 8);
            append(bytes_, text + '\0');
        }
        return std::move(bytes_);
    }

  private:
    static std::string inside(const std::string &path, const Field &field) {
        return path.empty() ? field.name : path + "." + field.name;
    }
    static const Json &member(const Json &value, const Field &field, const std::string &path) {
        const auto found = value.find(field.name);
        if (found == value.end()) {
            throw WrongField{inside(path, field),
                             "is missing; write \"" + field.name + "\": … (" + typeText(field) + ")"};
        }
        return *found;
    }
    static void checkMembers(const Struct &record, const Json &value, const std::string &path) {
        if (!value.is_object()) {
            wrong(path, value, "no object; write {\"field\": value, …}");
        }
        for (const auto &[name, ignored] : value.items()) {
            const Field *field = record.find(name);
            if (field == nullptr || record.isCount(*field)) {
                std::string known;
                for (const Field &each : record.fields) {
                    if (each.kind != Kind::kPad && !record.isCount(each)) {
                        known.append(known.empty() ? "" : ", ").append(each.name);
                    }
                }
                throw WrongField{path.empty() ? name : path + "." + name, field == nullptr
                                                                              ? "is no field; write one of: " + known
                                                                              : "follows from its list; leave it out"};
            }
        }
    }
    void fixedPart(const Struct &record, const Json &value, const std::string &path) {
        checkMembers(record, value, path);
        for (const Field &field : record.fields) {
            if (field.isTail()) {
                continue;
            }
            if (field.kind == Kind::kPad || record.isCount(field)) {
                bytes_.resize(bytes_.size() + field.bytes());
            } else if (field.kind == Kind::kTextAt && !value.contains(field.name)) {
                append(bytes_, 0, 8);
            } else {
                fixed(field, member(value, field, path), inside(path, field));
            }
        }
    }
    void fixed(const Field &field, const Json &value, const std::string &path) {
        if (!field.array) {
            return element(field, value, path);
        }
        if (!value.is_array() || value.size() != field.count) {
            wrong(path, value, "no array of " + std::to_string(field.count));
        }
        for (size_t i = 0; i < value.size(); i++) {
            element(field, value[i], path + "[" + std::to_string(i) + "]");
        }
    }
    void element(const Field &field, const Json &value, const std::string &path) {
        switch (field.elementKind()) {
            case Kind::kInteger:
                return append(bytes_, numberOf(value, field, path), field.size);
            case Kind::kEnum:
                return append(bytes_, nameOf(value, field, path), field.size);
            case Kind::kFlags:
                return append(bytes_, namesOf(value, field, path), field.size);
            case Kind::kBool:
                if (!value.is_boolean()) {
                    wrong(path, value, "neither true nor false");
                }
                return append(bytes_, value.get<bool>() ? 1 : 0, 1);
            case Kind::kStruct:
                return fixedPart(*field.record, value, path);
            case Kind::kIpv4:
                return address(AF_INET, value, path, "\"192.0.2.1\"");
            case Kind::kIpv6:
                return address(AF_INET6, value, path, "\"2001:db8::1\"");
            case Kind::kChars: {
                std::string text = textOf(value, path);
                if (text.size() >= field.count) {
                    wrong(path, value,
                          "longer than the " + std::to_string(field.count - 1) + " bytes of " + typeText(field));
                }
                text.resize(field.count);
                return append(bytes_, text);
            }
            case Kind::kTextAt:
                if (!value.is_null()) {
                    texts_.emplace_back(bytes_.size(), textOf(value, path));
                }
                return append(bytes_, 0, 8);
            default: {
                const bool mac = field.elementKind() == Kind::kMac;
                const size_t size = mac ? field.size : field.count;
                const std::string advice = mac ? "no MAC address; write \"00:11:22:33:44:55\""
                                               : "not " + std::to_string(size) + " bytes; write \"00 ff …\"";
                const Bytes all = hexOf(value, path, advice);
                if (all.size() != size) {
                    wrong(path, value, advice);
                }
                bytes_.insert(bytes_.end(), all.begin(), all.end());
            }
        }
    }
    void address(int family, const Json &value, const std::string &path, const std::string &like) {
        unsigned char parsed[16] = {};
        if (inet_pton(family, textOf(value, path).c_str(), parsed) != 1) {
            wrong(path, value, std::string{"no "} + (family == AF_INET ? "IPv4" : "IPv6") + " address; write " + like);
        }
        const auto bytes = std::as_bytes(std::span{parsed}).first(family == AF_INET ? 4 : 16);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    void tail(const Struct &record, const Field &field, const Json &value, const std::string &path) {
        switch (field.kind) {
            case Kind::kCString:
                return append(bytes_, textOf(value, path) + '\0');
            case Kind::kText:
                return append(bytes_, textOf(value, path));
            case Kind::kRest: {
                const Bytes rest = hexOf(value, path, "no bytes; write \"00 ff …\"");
                bytes_.insert(bytes_.end(), rest.begin(), rest.end());
                return;
            }
            default:
                break;
        }
        if (!value.is_array()) {
            wrong(path, value, "no array; write […]");
        }
        for (size_t i = 0; i < value.size(); i++) {
            const std::string each = path + "[" + std::to_string(i) + "]";
            if (field.kind == Kind::kCStrings) {
                append(bytes_, textOf(value[i], each) + '\0');
            } else {
                element(field, value[i], each);
            }
        }
        if (const Field *counter = record.find(field.countField)) {
            if (counter->size < 8 && value.size() >> (8 * counter->size) != 0) {
                wrong(path, value, "longer than '" + counter->name + "' can count");
            }
            patch(counter->offset, value.size(), counter->size);
        }
    }
    void patch(size_t place, uint64_t value, size_t size) {
        Bytes bytes;
        append(bytes, value, size);
        std::ranges::copy(bytes, bytes_.begin() + static_cast<ptrdiff_t>(place));
    }

    Bytes bytes_;
    std::vector<std::pair<size_t, std::string>> texts_;  // and where their offsets stand
};

uint32_t wordOf(const Field &field, const Json &value, const std::string &path) {
    return static_cast<uint32_t>(field.kind == Kind::kFlags  ? namesOf(value, field, path)
                                 : field.kind == Kind::kEnum ? nameOf(value, field, path)
                                                             : numberOf(value, field, path));
}

}  // namespace

Bytes encode(const Struct &record, const Json &value) {
    return Encoder{}.encode(record, value, "");
}

Encoded encode(const Message &message, bool reply, const Json &value) {
    const std::optional<Field> &word = reply ? message.result : message.word;
    const Struct *record = reply ? message.reply : message.payload;
    Json rest = value;
    Encoded encoded{message.kind == MessageKind::kProcedure ? message.number : 0, {}};
    if (!rest.is_object()) {
        wrong("", value, "no object; write {\"field\": value, …}");
    }
    if (word) {
        const auto found = rest.find(word->name);
        if (found == rest.end()) {
            throw WrongField{word->name, "is missing; write \"" + word->name + "\": …"};
        }
        encoded.word = wordOf(*word, *found, word->name);
        rest.erase(word->name);
    }
    if (record != nullptr) {
        encoded.payload = encode(*record, rest);
    } else if (!rest.empty()) {
        throw WrongField{rest.begin().key(), "is no field; leave it out"};
    }
    if (message.kind == MessageKind::kProcedure && !reply && encoded.payload.size() < kSmallestProcedure) {
        encoded.payload.resize(kSmallestProcedure);
    }
    if (encoded.payload.size() > kLargestPayload) {
        throw WrongField{"", "gives " + std::to_string(encoded.payload.size()) + " bytes, more than a message takes"};
    }
    return encoded;
}

}  // namespace iface
