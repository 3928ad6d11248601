// Lua: what the Wireshark dissector has to know of an interface.
#include "generate.h"

namespace vosgen {

namespace {

using iface::Field;
using iface::Kind;
using iface::Struct;

std::string quoted(const std::string &text) {
    std::string result = "\"";
    for (const char c : text) {
        result += c == '"' || c == '\\' ? "\\" : "";
        result += c;
    }
    return result + '"';
}

std::string fieldOf(const Field &field) {
    std::string row = "{ name = " + quoted(field.name) + ", kind = \"" +
                      std::string{iface::kindText(field.elementKind())} + "\", doc = " + quoted(field.doc);
    if (field.kind == Kind::kList || !field.isTail()) {
        const bool whole = field.kind == Kind::kChars || field.kind == Kind::kBytes;
        row += ", size = " + std::to_string(whole ? field.count : field.size);
    }
    if (!field.isTail()) {
        row += ", offset = " + std::to_string(field.offset);
    }
    row += field.array ? ", count = " + std::to_string(field.count) : "";
    row += field.kind == Kind::kList ? ", list = true" : "";
    row += field.isSigned ? ", signed = true" : "";
    row += field.countField.empty() ? "" : ", counter = " + quoted(field.countField);
    row += field.named != nullptr ? ", names = " + quoted(field.named->name) : "";
    row += field.record != nullptr ? ", record = " + quoted(field.record->name) : "";
    return row + " }";
}

}  // namespace

std::string makeLua(const iface::Interface &all) {
    Lines out;
    out.put("-- Made by vosgen from the description of ", all.name, "; do not edit.");
    out.put("return {\n    name = ", quoted(all.name), ",\n    names = {");
    for (const iface::Named &named : all.named) {
        out.put("        ", named.name, " = {");
        for (const iface::Named::Value &value : named.values) {
            out.put("            [", std::to_string(value.value), "] = ", quoted(value.name), ",");
        }
        out.put("        },");
    }
    out.put("    },\n    records = {");
    for (const Struct &record : all.structs) {
        out.put("        { name = ", quoted(record.name), ", size = ", std::to_string(record.size),
                ", tail = ", record.hasTail ? "true" : "false", ", fields = {");
        for (const Field &field : record.fields) {
            if (field.kind != Kind::kPad) {
                out.put("            ", fieldOf(field), ",");
            }
        }
        out.put("        } },");
    }
    out.put("    },\n    messages = {");
    for (const iface::Message &message : all.messages) {
        std::string row = "        { name = " + quoted(message.name) + ", kind = \"" +
                          std::string{iface::kindName(message.kind)} + "\", type = " + hex(message.type);
        row += message.kind == iface::MessageKind::kProcedure ? ", number = " + std::to_string(message.number) : "";
        row += message.constant.empty() ? "" : ", constant = " + quoted(message.constant);
        row += message.payload != nullptr ? ", payload = " + quoted(message.payload->name) : "";
        row += message.reply != nullptr ? ", reply = " + quoted(message.reply->name) : "";
        out.put(row, " },");
    }
    out.put("    },\n}");
    return out.text();
}

}  // namespace vosgen
