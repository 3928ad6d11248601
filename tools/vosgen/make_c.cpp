// C: structures as they lie on the wire, with their proof beside them, and checked readers and writers.
#include <algorithm>
#include <map>

#include "generate.h"

namespace vosgen {

namespace {

using iface::Field;
using iface::Kind;
using iface::Struct;

class CMaker {
  public:
    explicit CMaker(const iface::Interface &all)
        : all_{all}, type_{upperFirst(all.name)}, constant_{upperSnake(all.name) + "_"}, function_{all.name + "_"} {}

    std::string make() {
        out_.put("/* Made by vosgen ", "from the description of ", all_.name, "; do not edit. */");
        out_.put("#ifndef ", constant_, "INTERFACE_H\n#define ", constant_, "INTERFACE_H\n");
        out_.put("#include <string.h>\n#include <vos/msg_types.h>\n#include <vos/ret.h>\n");
        out_.put(
            "/** @file\n *  ", all_.doc,
            "\n *\n *  Readers take a message's payload, aligned to 8 bytes as in every "
            "message: VOS_RET_OK, or VOS_RET_BAD_ARG for\n *  NULL and whatever does not fit, where nothing in the "
            "result means anything. Pointers in a result point into the payload.\n *  Writers give the length in "
            "any case; VOS_RET_NO_RESOURCE where the room is smaller, VOS_RET_BAD_ARG for NULL, a text\n *  without "
            "its NUL and more elements than can be counted.\n */\n");
        if (std::ranges::any_of(all_.structs, hasAlignedList)) {
            out_.put(
                "#ifndef VOS_ADDRESS\n#ifdef __cplusplus\n#define VOS_ADDRESS(pointer) "
                "reinterpret_cast<uintptr_t>(pointer)");
            out_.put("#else\n#define VOS_ADDRESS(pointer) ((uintptr_t)(pointer))\n#endif\n#endif");
        }
        if (std::ranges::any_of(all_.structs, hasPads)) {
            putKeep();
        }
        out_.put("#define ", constant_, "SERVER \"", all_.server, "\" /**< the daemon's name */");
        if (all_.eid != 0) {
            out_.put("#define ", constant_, "EID ", std::to_string(all_.eid), "u /**< and its entity id */");
        }
        for (const iface::Constant &each : all_.constants) {
            out_.put("#define ", constant_, upperSnake(each.name), " ", literal(each.value, 8, each.value < 0),
                     " /**< ", each.doc, " */");
        }
        putTypes();
        for (const iface::Named &each : all_.named) {
            putNamed(each);
        }
        for (const Struct &each : all_.structs) {
            putStruct(each);
        }
        out_.put("\n#endif");
        return out_.text();
    }

  private:
    void putKeep() {
        out_.put("#ifndef VOS_KEEP\n#define VOS_KEEP");
        out_.put(
            "/* 16 bytes, zero where the mask is: in one store, so that clearing a gap costs a copy next to nothing. "
            "*/");
        out_.put(
            "static inline void vos_keep(uint8_t *to, const uint8_t *from, const uint8_t *mask) {\n#ifdef __GNUC__");
        out_.put("    typedef uint8_t VosBlock __attribute__((vector_size(16)));\n    VosBlock block, kept;");
        out_.put("    memcpy(&block, from, sizeof block);\n    memcpy(&kept, mask, sizeof kept);");
        out_.put("    block &= kept;\n    memcpy(to, &block, sizeof block);\n#else");
        out_.put("    for (int i = 0; i < 16; i++) to[i] = VOS_CAST(uint8_t, from[i] & mask[i]);\n#endif\n}\n#endif");
    }
    static bool hasAlignedList(const Struct &record) {
        return std::ranges::any_of(record.fields,
                                   [](const Field &field) { return field.kind == Kind::kList && field.align > 1; });
    }
    static std::string literal(int64_t value, uint32_t size, bool isSigned) {
        const std::string macro = (isSigned ? "INT" : "UINT") + std::to_string(8 * size) + "_C(";
        // The most negative number is no literal.
        return value == INT64_MIN ? "INT64_MIN"
               : value < 0        ? "(-" + macro + std::to_string(-value) + "))"
                                  : macro + std::to_string(value) + ")";
    }
    void putTypes() {
        out_.put();
        for (const iface::Message &each : all_.messages) {
            const std::string name = constant_ + upperSnake(each.name);
            if (each.constant.empty()) {
                out_.put("#define ", name, "_TYPE ", hex(each.type), "u /**< ", each.doc, " */");
            } else {
                out_.put("#define ", name, "_TYPE ", hex(each.type), "u /**< ", each.constant, ": ", each.doc, " */");
                if (each.constant.starts_with("VOS_MSG_")) {
                    out_.put("VOS_STATIC_ASSERT(", name, "_TYPE == ", each.constant,
                             ", \"the header says otherwise\");");
                }
            }
            if (each.kind == iface::MessageKind::kProcedure) {
                out_.put("#define ", name, "_NUMBER ", std::to_string(each.number), "u /**< its procedure */");
            }
        }
    }
    void putNamed(const iface::Named &named) {
        out_.put("\n/** ", named.doc, " */");
        out_.put("typedef ", integer(named.size, named.isSigned), " ", type_, named.name, ";");
        for (const iface::Named::Value &value : named.values) {
            out_.put("#define ", constant_, upperSnake(named.name), "_", upperSnake(value.name), " ",
                     literal(value.value, named.size, named.isSigned), " /**< ", value.doc, " */");
        }
    }

    static std::string integer(uint32_t size, bool isSigned) {
        return (isSigned ? "int" : "uint") + std::to_string(8 * size) + "_t";
    }
    std::string elementType(const Field &field) const {
        switch (field.elementKind()) {
            case Kind::kInteger:
                return integer(field.size, field.isSigned);
            case Kind::kEnum:
            case Kind::kFlags:
                return type_ + field.named->name;
            case Kind::kStruct:
                return type_ + field.record->name;
            case Kind::kBool:
                return "bool";
            case Kind::kChars:
                return "char";
            case Kind::kTextAt:
                return "uint64_t";
            default:
                return "uint8_t";
        }
    }
    // "[4]", or "[2][4]" for an array of what is one itself.
    static std::string dimensions(const Field &field) {
        const Kind kind = field.elementKind();
        const bool address = kind == Kind::kIpv4 || kind == Kind::kIpv6 || kind == Kind::kMac;
        const bool many = field.array || kind == Kind::kChars || kind == Kind::kBytes || kind == Kind::kPad;
        return (many ? "[" + std::to_string(field.count) + "]" : "") +
               (address ? "[" + std::to_string(field.size) + "]" : "");
    }
    std::string fixedName(const Struct &record) const { return type_ + record.name + (record.hasTail ? "Head" : ""); }

    void putFixedPart(const Struct &record) {
        const std::string name = fixedName(record);
        out_.put("\n/** ", record.hasTail ? "The fixed part of " + type_ + record.name : record.doc, " (",
                 std::to_string(record.size), " bytes) */");
        out_.put("typedef struct {");
        unsigned pads = 0;
        std::string proof;
        const std::string why = ", \"" + all_.name + " describes the wire so\");\n";
        for (const Field &field : record.fields) {
            if (field.isTail()) {
                continue;
            }
            const bool pad = field.kind == Kind::kPad;
            const std::string member = pad ? "reserved" + std::to_string(++pads) : memberName(record, field);
            out_.put("    ", elementType(field), " ", member, dimensions(field), "; /**< ", pad ? "0" : field.doc,
                     " */");
            proof +=
                "VOS_STATIC_ASSERT(offsetof(" + name + ", " + member + ") == " + std::to_string(field.offset) + why;
        }
        out_.put("} ", name, ";");
        out_.put("VOS_STATIC_ASSERT(sizeof(", name, ") == ", std::to_string(record.size), why,
                 proof.substr(0, proof.size() - 1));
    }
    static std::string memberName(const Struct &record, const Field &field) {
        return record.isCount(field) ? field.name : field.name + (field.kind == Kind::kTextAt ? "Offset" : "");
    }

    // Bytes that not every value may have: truth values and the ends of texts.
    static bool isChecked(const Field &field) {
        const Kind kind = field.elementKind();
        return kind == Kind::kBool || kind == Kind::kChars || (kind == Kind::kStruct && isChecked(*field.record));
    }
    static bool isChecked(const Struct &record) {
        return std::ranges::any_of(record.fields,
                                   [](const Field &field) { return !field.isTail() && isChecked(field); });
    }
    void putCheck(const Struct &record) {
        if (!isChecked(record)) {
            return;
        }
        out_.put("static inline bool ", function_, "fits", record.name, "(const uint8_t *bytes) {");
        for (const Field &field : record.fields) {
            if (field.isTail() || !isChecked(field)) {
                continue;
            }
            std::string at = std::to_string(field.offset);
            if (field.array) {
                out_.put("    for (size_t i = 0; i < ", std::to_string(field.count), "; i++) {");
                at += " + i * " + std::to_string(field.size);
            }
            const std::string failing =
                field.kind == Kind::kChars  ? "bytes[" + std::to_string(field.offset + field.count - 1) + "] != 0"
                : field.kind == Kind::kBool ? "bytes[" + at + "] > 1"
                                            : "!" + function_ + "fits" + field.record->name + "(bytes + " + at + ")";
            out_.put(field.array ? "        if (" : "    if (", failing, ") return false;");
            if (field.array) {
                out_.put("    }");
            }
        }
        out_.put("    return true;\n}");
    }

    void putStruct(const Struct &record) {
        if (record.size > 0) {
            putFixedPart(record);
            putCheck(record);
            putClear(record);
        }
        if (record.hasTail) {
            putValue(record);
        }
        const std::string name = type_ + record.name;
        out_.put("static inline VosRet ", function_, "read", record.name, "(const void *payload, uint32_t length, ",
                 name, " *out) {");
        record.hasTail ? putTailReader(record) : putPlainReader(record);
        out_.put("static inline VosRet ", function_, "write", record.name, "(const ", name,
                 " *value, void *payload, uint32_t room, uint32_t *length) {");
        record.hasTail ? putTailWriter(record) : putPlainWriter(record);
    }
    // What is read: the fixed part and where the rest stands.
    void putValue(const Struct &record) {
        out_.put("/** ", record.doc, " */\ntypedef struct {");
        if (record.size > 0) {
            out_.put("    ", fixedName(record), " head; /**< the fixed part",
                     record.textsAt ? ", whose offsets writers ignore" : "", " */");
        }
        for (const Field &field : record.fields) {
            const std::string doc = "; /**< " + field.doc;
            switch (field.kind) {
                case Kind::kTextAt:
                    out_.put("    const char *", field.name, doc, "; NULL: none */");
                    break;
                case Kind::kCString:
                    out_.put("    const char *", field.name, doc, " */");
                    break;
                case Kind::kText:
                case Kind::kCStrings:
                    out_.put("    const char *", field.name, doc,
                             field.kind == Kind::kText ? ", without a NUL */" : ", each with its NUL */");
                    out_.put("    uint32_t ", field.name, "Length; /**< its bytes */");
                    break;
                case Kind::kRest:
                    out_.put("    const uint8_t *", field.name, doc, " */");
                    out_.put("    uint32_t ", field.name, "Length; /**< its bytes */");
                    break;
                case Kind::kList:
                    out_.put(
                        "    const ", elementType(field),
                        dimensions(field).empty() ? " *" + field.name : " (*" + field.name + ")" + dimensions(field),
                        doc, " */");
                    out_.put("    uint32_t ", field.name, "Count; /**< how many */");
                    break;
                default:
                    break;
            }
        }
        out_.put("} ", type_, record.name, ";");
    }
    void putPlainReader(const Struct &record) {
        out_.put("    if (payload == NULL || out == NULL || length != sizeof *out",
                 isChecked(record) ? " || !" + function_ + "fits" + record.name + "(VOS_CAST(const uint8_t *, payload))"
                                   : "",
                 ") return VOS_RET_BAD_ARG;");
        out_.put("    memcpy(out, payload, sizeof *out);\n    return VOS_RET_OK;\n}");
    }
    void putPlainWriter(const Struct &record) {
        out_.put("    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;");
        out_.put("    *length = sizeof *value;");
        out_.put("    if (payload == NULL || room < sizeof *value) return VOS_RET_NO_RESOURCE;");
        if (isChecked(record) || hasPads(record)) {
            out_.put("    const void *const bytes = value;");
        }
        if (isChecked(record)) {
            out_.put("    if (!", function_, "fits", record.name,
                     "(VOS_CAST(const uint8_t *, bytes))) return VOS_RET_BAD_ARG;");
        }
        out_.put("    memcpy(payload, value, sizeof *value);");
        putPads(record, "VOS_CAST(uint8_t *, payload)", "bytes");
        out_.put("    return VOS_RET_OK;\n}");
    }
    // Nobody gets to see what happened to lie in the gaps.
    static bool hasPads(const Struct &record) { return std::ranges::any_of(record.fields, hasPad); }
    static bool hasPad(const Field &field) {
        return field.kind == Kind::kPad || (field.kind == Kind::kStruct && hasPads(*field.record));
    }
    // By chunks as a compiler copies them: which of their bytes are nobody's.
    using Chunks = std::map<uint64_t, uint16_t>;
    static constexpr uint64_t kChunk = 16;
    void putGaps(const Struct &record, uint64_t base, uint64_t whole, Chunks &chunks) {
        for (const Field &field : record.fields) {
            const uint64_t at = base + field.offset;
            if (field.kind == Kind::kPad && (field.count >= kChunk || (at + field.count - 1) / kChunk >= whole)) {
                out_.put("    memset(to + ", std::to_string(at), ", 0, ", std::to_string(field.count), ");");
            } else if (field.kind == Kind::kPad) {
                for (uint64_t byte = at; byte < at + field.count; byte++) {
                    chunks[byte / kChunk] |= static_cast<uint16_t>(1u << byte % kChunk);
                }
            } else if (hasPad(field) && field.array) {
                const std::string place = std::to_string(at) + " + i * " + std::to_string(field.size);
                out_.put("    for (size_t i = 0; i < ", std::to_string(field.count), "; i++) ", function_, "clear",
                         field.record->name, "(to + ", place, ", from + ", place, ");");
            } else if (hasPad(field)) {
                putGaps(*field.record, at, whole, chunks);
            }
        }
    }
    void putClear(const Struct &record) {
        if (!hasPads(record)) {
            return;
        }
        out_.put("static inline void ", function_, "clear", record.name, "(uint8_t *to, const uint8_t *from) {");
        out_.put("    (void)from;");
        Chunks chunks;
        putGaps(record, 0, record.size / kChunk, chunks);
        for (const auto &[chunk, gaps] : chunks) {
            const std::string at = std::to_string(chunk * kChunk);
            std::string kept;
            for (unsigned byte = 0; byte < kChunk; byte++) {
                kept += (kept.empty() ? "" : ", ") + std::string{(gaps >> byte & 1) != 0 ? "0" : "255"};
            }
            out_.put("    static const uint8_t kept", at, "[16] = {", kept, "};");
            out_.put("    vos_keep(to + ", at, ", from + ", at, ", kept", at, ");");
        }
        out_.put("}");
    }
    // Of bytes that were copied from elsewhere.
    void putPads(const Struct &record, const std::string &to, const std::string &from) {
        if (hasPads(record)) {
            out_.put("    ", function_, "clear", record.name, "(", to, ", VOS_CAST(const uint8_t *, ", from, "));");
        }
    }

    void putTailReader(const Struct &record) {
        const std::string size = std::to_string(record.size);
        uint32_t align = 1;
        for (const Field &field : record.fields) {
            align = field.kind == Kind::kList ? std::max(align, field.align) : align;
        }
        out_.put("    const uint8_t *const bytes = VOS_CAST(const uint8_t *, payload);");
        out_.put("    if (bytes == NULL || out == NULL", record.size > 0 ? " || length < " + size + "u" : "",
                 align > 1 ? " || (VOS_ADDRESS(bytes) & " + std::to_string(align - 1) + "u) != 0" : "",
                 ") return VOS_RET_BAD_ARG;");
        if (record.size > 0) {
            if (isChecked(record)) {
                out_.put("    if (!", function_, "fits", record.name, "(bytes)) return VOS_RET_BAD_ARG;");
            }
            out_.put("    memcpy(&out->head, bytes, sizeof out->head);");
        }
        if (!record.textsAt) {
            out_.put("    uint32_t at = ", size, ";");
        }
        for (const Field &field : record.fields) {
            putTailRead(record, field);
        }
        out_.put("    return ", record.textsAt ? "VOS_RET_OK" : "at == length ? VOS_RET_OK : VOS_RET_BAD_ARG", ";\n}");
    }
    void putTailRead(const Struct &record, const Field &field) {
        const std::string member = "out->" + field.name;
        switch (field.kind) {
            case Kind::kTextAt: {
                const std::string offset = "out->head." + field.name + "Offset";
                out_.put("    ", member, " = NULL;\n    if (", offset, " != 0) {");
                out_.put("        if (", offset, " < ", std::to_string(record.size), "u || ", offset, " >= length ||");
                out_.put("            memchr(bytes + ", offset, ", 0, VOS_CAST(size_t, length - ", offset,
                         ")) == NULL) return VOS_RET_BAD_ARG;");
                out_.put("        ", member, " = VOS_CAST(const char *, VOS_CAST(const void *, bytes + ", offset,
                         "));\n    }");
                break;
            }
            case Kind::kCString:
                putTextRead(field, "    ");
                break;
            case Kind::kCStrings:
                out_.put("    if (at < length && bytes[length - 1] != 0) return VOS_RET_BAD_ARG;");
                out_.put("    ", member, " = VOS_CAST(const char *, VOS_CAST(const void *, bytes + at));\n    ", member,
                         "Length = length - at;\n    at = length;");
                break;
            case Kind::kText:
                out_.put("    {\n        const void *const end = memchr(bytes + at, 0, length - at);");
                out_.put("        ", member, " = VOS_CAST(const char *, VOS_CAST(const void *, bytes + at));");
                out_.put("        ", member,
                         "Length = end == NULL ? length - at : VOS_CAST(uint32_t, VOS_CAST(const uint8_t *, end) - "
                         "(bytes + at));");
                out_.put("        at = length;\n    }");
                break;
            case Kind::kRest:
                out_.put("    ", member, " = bytes + at;\n    ", member, "Length = length - at;\n    at = length;");
                break;
            case Kind::kList:
                putListRead(record, field);
                break;
            default:
                break;
        }
    }
    void putTextRead(const Field &field, const std::string &indent) {
        out_.put(indent, "{\n", indent, "    const void *const end = memchr(bytes + at, 0, length - at);");
        out_.put(indent, "    if (end == NULL) return VOS_RET_BAD_ARG;");
        out_.put(indent, "    out->", field.name, " = VOS_CAST(const char *, VOS_CAST(const void *, bytes + at));");
        out_.put(indent, "    at = VOS_CAST(uint32_t, VOS_CAST(const uint8_t *, end) - bytes) + 1;\n", indent, "}");
    }
    void putListRead(const Struct &record, const Field &field) {
        const std::string member = "out->" + field.name, size = std::to_string(field.size);
        if (field.countField.empty()) {
            out_.put("    if ((length - at) % ", size, "u != 0) return VOS_RET_BAD_ARG;");
            out_.put("    ", member, "Count = (length - at) / ", size, "u;");
        } else {
            out_.put("    if (out->head.", field.countField, " > (length - at) / ", size, "u) return VOS_RET_BAD_ARG;");
            out_.put("    ", member, "Count = ",
                     record.find(field.countField)->size == 4
                         ? "out->head." + field.countField
                         : "VOS_CAST(uint32_t, out->head." + field.countField + ")",
                     ";");
        }
        const bool flat = dimensions(field).empty();
        out_.put("    ", member, " = VOS_CAST(const ", elementType(field), flat ? " *" : " (*)" + dimensions(field),
                 ", VOS_CAST(const void *, bytes + at));");
        if (isChecked(field)) {
            out_.put("    for (size_t i = 0; i < ", member, "Count; i++) {");
            const std::string place = "at + i * " + size + "u";
            out_.put("        if (", elementCheck(field, place), ") return VOS_RET_BAD_ARG;\n    }");
        }
        out_.put("    at += ", member, "Count * ", size, "u;");
    }
    std::string elementCheck(const Field &field, const std::string &place) const {
        return field.element == Kind::kBool ? "bytes[" + place + "] > 1"
                                            : "!" + function_ + "fits" + field.record->name + "(bytes + " + place + ")";
    }

    void putTailWriter(const Struct &record) {
        out_.put("    if (value == NULL || length == NULL) return VOS_RET_BAD_ARG;");
        out_.put("    uint64_t size = ", std::to_string(record.size), ";");
        for (const Field &field : record.fields) {
            putTailSize(record, field);
        }
        out_.put("    *length = size <= UINT32_MAX ? VOS_CAST(uint32_t, size) : UINT32_MAX;");
        out_.put("    if (size > room || payload == NULL) return size == 0 ? VOS_RET_OK : VOS_RET_NO_RESOURCE;");
        out_.put("    uint8_t *const bytes = VOS_CAST(uint8_t *, payload);");
        if (record.size > 0) {
            out_.put("    ", fixedName(record), " head = value->head;");
        }
        out_.put("    size_t at = ", std::to_string(record.size), ";");
        for (const Field &field : record.fields) {
            putTailWrite(record, field);
        }
        if (record.size > 0) {
            out_.put("    const void *const fixed = &head;\n    memcpy(bytes, fixed, sizeof head);");
            putPads(record, "bytes", "fixed");
        }
        if (isChecked(record)) {
            out_.put("    if (!", function_, "fits", record.name, "(bytes)) return VOS_RET_BAD_ARG;");
        }
        out_.put("    return at == *length ? VOS_RET_OK : VOS_RET_ERROR;\n}");
    }
    void putTailSize(const Struct &record, const Field &field) {
        const std::string member = "value->" + field.name;
        switch (field.kind) {
            case Kind::kTextAt:
            case Kind::kCString:
                out_.put("    const size_t ", field.name, "Size = ", member, " != NULL ? strlen(", member,
                         ") + 1 : ", field.kind == Kind::kCString ? "1" : "0", ";");
                out_.put("    size += ", field.name, "Size;");
                break;
            case Kind::kText:
            case Kind::kRest:
            case Kind::kCStrings:
                out_.put("    if (", member, " == NULL && ", member, "Length != 0) return VOS_RET_BAD_ARG;");
                if (field.kind == Kind::kCStrings) {
                    out_.put("    if (", member, "Length != 0 && ", member, "[", member,
                             "Length - 1] != 0) return VOS_RET_BAD_ARG;");
                }
                out_.put("    size += ", member, "Length;");
                break;
            case Kind::kList:
                out_.put("    if (", member, " == NULL && ", member, "Count != 0) return VOS_RET_BAD_ARG;");
                if (const Field *counter = record.find(field.countField); counter != nullptr && counter->size < 4) {
                    out_.put("    if (", member, "Count > UINT", std::to_string(8 * counter->size),
                             "_MAX) return VOS_RET_BAD_ARG;");
                }
                out_.put("    size += VOS_CAST(uint64_t, ", member, "Count) * ", std::to_string(field.size), "u;");
                break;
            default:
                break;
        }
    }
    void putTailWrite(const Struct &record, const Field &field) {
        const std::string member = "value->" + field.name;
        switch (field.kind) {
            case Kind::kTextAt:
                out_.put("    head.", field.name, "Offset = ", member, " != NULL ? at : 0;");
                out_.put("    if (", member, " != NULL) memcpy(bytes + at, ", member, ", ", field.name,
                         "Size);\n    at += ", field.name, "Size;");
                break;
            case Kind::kCString:
                out_.put("    memcpy(bytes + at, ", member, " != NULL ? ", member, " : \"\", ", field.name,
                         "Size);\n    at += ", field.name, "Size;");
                break;
            case Kind::kText:
            case Kind::kRest:
            case Kind::kCStrings:
                out_.put("    if (", member, "Length != 0) memcpy(bytes + at, ", member, ", ", member,
                         "Length);\n    at += ", member, "Length;");
                break;
            case Kind::kList: {
                const std::string size = std::to_string(field.size);
                if (const Field *counter = record.find(field.countField)) {
                    out_.put("    head.", counter->name, " = ",
                             counter->size == 4 ? "" : "VOS_CAST(" + integer(counter->size, false) + ", ", member,
                             "Count", counter->size == 4 ? ";" : ");");
                }
                out_.put("    if (", member, "Count != 0) memcpy(bytes + at, ", member, ", VOS_CAST(size_t, ", member,
                         "Count) * ", size, "u);");
                const bool clears = field.element == Kind::kStruct && hasPads(*field.record);
                if (isChecked(field) || clears) {
                    const std::string place = "at + i * " + size + "u";
                    out_.put("    for (size_t i = 0; i < ", member, "Count; i++) {");
                    if (clears) {
                        out_.put("        const void *const one = &", member, "[i];");
                        out_.put("        ", function_, "clear", field.record->name, "(bytes + ", place,
                                 ", VOS_CAST(const uint8_t *, one));");
                    }
                    if (isChecked(field)) {
                        out_.put("        if (", elementCheck(field, place), ") return VOS_RET_BAD_ARG;");
                    }
                    out_.put("    }");
                }
                out_.put("    at += VOS_CAST(size_t, ", member, "Count) * ", size, "u;");
                break;
            }
            default:
                break;
        }
    }

    const iface::Interface &all_;
    std::string type_, constant_, function_;
    Lines out_;
};

}  // namespace

std::string makeC(const iface::Interface &all) {
    return CMaker{all}.make();
}

}  // namespace vosgen
