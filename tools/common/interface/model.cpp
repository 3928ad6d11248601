// Questions to a description.
#include "common/interface/model.h"

#include <algorithm>

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
        case Kind::kBool:
            return "bool";
        case Kind::kChars:
            return "char";
        case Kind::kBytes:
            return "byte";
        case Kind::kIpv4:
            return "ipv4";
        case Kind::kIpv6:
            return "ipv6";
        case Kind::kMac:
            return "mac";
        case Kind::kPad:
            return "pad";
        case Kind::kTextAt:
            return "textAt";
        case Kind::kCString:
        case Kind::kCStrings:
            return "cstring";
        case Kind::kText:
            return "text";
        case Kind::kRest:
        case Kind::kList:
            break;
    }
    return "bytes";
}

}  // namespace

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
