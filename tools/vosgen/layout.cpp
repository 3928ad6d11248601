// Descriptions for people: sizes and offsets, and a page for a manual.
#include <algorithm>

#include "generate.h"

namespace vosgen {

namespace {

using iface::Field;
using iface::Kind;
using iface::Message;
using iface::Struct;

std::string padded(const std::string &text, size_t width) {
    const auto length = static_cast<size_t>(std::ranges::count_if(text, [](char c) { return (c & 0xc0) != 0x80; }));
    return text + std::string(length < width ? width - length : 1, ' ');
}

std::string docOf(const Struct &record, const Field &field) {
    if (field.kind == Kind::kPad) {
        return "padding, zeroes";
    }
    const auto counted = std::ranges::find(record.fields, field.name, &Field::countField);
    if (counted != record.fields.end() && !field.name.empty()) {
        return field.doc + " (counts " + counted->name + ")";
    }
    return field.doc;
}

std::string offsetOf(const Struct &record, const Field &field) {
    return field.isTail() && &field != &record.fields.front() && (&field - 1)->isTail() ? "then"
                                                                                        : std::to_string(field.offset);
}

std::string sizeOf(const Field &field) {
    return field.isTail() ? "…" : std::to_string(field.bytes());
}

std::string payloadText(const Struct *record) {
    return record == nullptr ? "none" : record->name;
}

std::string wordText(const Message &message) {
    if (message.kind == iface::MessageKind::kProcedure) {
        return "the number";
    }
    return message.word ? message.word->name + ": " + message.word->doc : "0";
}

std::string resultText(const Message &message) {
    if (message.kind == iface::MessageKind::kProcedure) {
        return "the number";
    }
    return message.result ? message.result->name + ": " + message.result->doc : "a return code";
}

void putRecord(Lines &out, const Struct &record) {
    out.put("\n| offset | bytes | type | field | what |\n|---|---|---|---|---|");
    for (const Field &field : record.fields) {
        out.put("| ", offsetOf(record, field), " | ", sizeOf(field), " | ", iface::typeText(field), " | ", field.name,
                " | ", docOf(record, field), " |");
    }
}

}  // namespace

std::string layoutOf(const iface::Interface &all) {
    Lines out;
    for (const Struct &record : all.structs) {
        out.put(record.name, ": ", std::to_string(record.size), " bytes", record.hasTail ? " and what follows" : "",
                ", aligned to ", std::to_string(record.align));
        for (const Field &field : record.fields) {
            out.put("  ", padded(offsetOf(record, field), 6), padded(sizeOf(field), 6),
                    padded(iface::typeText(field), 12), padded(field.name, 16), docOf(record, field));
        }
    }
    return out.text();
}

std::string makeMarkdown(const iface::Interface &all) {
    Lines out;
    out.put("Interface ", all.name, " {#interface_", all.name, "}\n", std::string(10 + all.name.size(), '='), "\n");
    out.put(all.doc, "\n\nServed by `", all.server, "`", all.eid != 0 ? ", entity " + std::to_string(all.eid) : "",
            ".\n");
    out.put(
        "## Messages\n\n| message | kind | type | wordData | payload | reply | its wordData | what "
        "|\n|---|---|---|---|---|---|---|---|");
    for (const Message &each : all.messages) {
        const std::string number =
            each.kind == iface::MessageKind::kProcedure ? ", " + std::to_string(each.number) : "";
        out.put("| `", each.name, "` | ", iface::kindName(each.kind), " | ",
                each.constant.empty() ? "" : each.constant + " ", hex(each.type), number, " | ", wordText(each), " | ",
                payloadText(each.payload), " | ", each.isAnswered() ? payloadText(each.reply) : "", " | ",
                each.isAnswered() ? resultText(each) : "", " | ", each.doc, " |");
    }
    if (!all.structs.empty()) {
        out.put("\n## Payloads");
    }
    for (const Struct &record : all.structs) {
        out.put("\n### ", record.name, "\n\n", record.doc, " ", std::to_string(record.size), " bytes",
                record.hasTail ? " and what follows." : ".");
        putRecord(out, record);
    }
    if (!all.named.empty() || !all.constants.empty()) {
        out.put("\n## Names");
    }
    if (!all.constants.empty()) {
        out.put("\n| constant | value | what |\n|---|---|---|");
    }
    for (const iface::Constant &each : all.constants) {
        out.put("| ", each.name, " | ", std::to_string(each.value), " | ", each.doc, " |");
    }
    for (const iface::Named &named : all.named) {
        out.put("\n### ", named.name, "\n\n", named.doc, "\n\n| ", named.flags ? "bit" : "name",
                " | value | what |\n|---|---|---|");
        for (const iface::Named::Value &value : named.values) {
            out.put("| ", value.name, " | ",
                    named.flags ? hex(static_cast<uint32_t>(value.value)) : std::to_string(value.value), " | ",
                    value.doc, " |");
        }
    }
    return out.text();
}

}  // namespace vosgen
