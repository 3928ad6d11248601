// Questions to a description.
#include "common/interface/model.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace iface {

namespace {

std::string baseText(const Field &field) {
    switch (field.elementKind()) {
        case Kind::kInteger:
            return (field.isSigned ? "i" : "u") + std::to_string(8 * field.size);
        case Kind::kEnum:
        case Kind::kFlags:
            return field.named->name;
        case Kind::kStruct:
            return field.record->name;
        case Kind::kChars:
            return "char";
        case Kind::kBytes:
            return "byte";
        case Kind::kCStrings:
            return "cstring";
        default:
            return std::string{kindText(field.elementKind())};
    }
}

}  // namespace

std::string upperFirst(const std::string &name) {
    std::string result = name;
    result[0] = static_cast<char>(toupper(static_cast<unsigned char>(result[0])));
    return result;
}

std::string upperSnake(const std::string &name) {
    std::string result;
    for (size_t i = 0; i < name.size(); i++) {
        const auto at = [&name](size_t index) { return static_cast<unsigned char>(name[index]); };
        const bool begins = i > 0 && isupper(at(i)) != 0 &&
                            (isupper(at(i - 1)) == 0 || (i + 1 < name.size() && islower(at(i + 1)) != 0));
        result += begins && result.back() != '_' ? "_" : "";
        result += static_cast<char>(toupper(at(i)));
    }
    return result;
}

std::string_view kindText(Kind kind) {
    constexpr std::array<std::string_view, 17> kTexts{"integer", "bool",     "chars", "bytes",  "ipv4", "ipv6",
                                                      "mac",     "enum",     "flags", "struct", "pad",  "textAt",
                                                      "cstring", "cstrings", "text",  "bytes",  "list"};
    return kTexts[static_cast<size_t>(kind)];
}

std::string typeText(const Field &field) {
    const bool sized =
        field.array || field.kind == Kind::kChars || field.kind == Kind::kBytes || field.kind == Kind::kPad;
    const bool open = field.kind == Kind::kList || field.kind == Kind::kCStrings;
    return baseText(field) + (sized ? "[" + std::to_string(field.count) + "]" : open ? "[]" : "");
}

std::string_view kindName(MessageKind kind) {
    switch (kind) {
        case MessageKind::kRequest:
            return "request";
        case MessageKind::kProcedure:
            return "procedure";
        case MessageKind::kNotice:
            return "notice";
        case MessageKind::kEvent:
            break;
    }
    return "event";
}

const Field *Struct::find(std::string_view field) const {
    const auto found = std::ranges::find(fields, field, &Field::name);
    return found != fields.end() && !field.empty() ? &*found : nullptr;
}

bool Struct::isCount(const Field &field) const {
    return !field.name.empty() && std::ranges::find(fields, field.name, &Field::countField) != fields.end();
}

const Message *Interface::find(std::string_view message) const {
    const auto found = std::ranges::find(messages, message, &Message::name);
    return found != messages.end() ? &*found : nullptr;
}

}  // namespace iface
