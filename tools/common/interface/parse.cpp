// Reads descriptions: TOML with every mistake told by line and with what to write instead.
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <sstream>

#include "common/interface/basic_types.h"
#include "common/interface/model.h"
#include "common/interface/toml_values.h"

namespace iface {

namespace {

constexpr uint64_t kLargestFixedPart = 1U << 20;
constexpr uint32_t kLargestCount = 65536;
constexpr uint32_t kSmallestProcedure = 8;  // bytes that every procedure's request has

class Reader {
  public:
    Reader(const toml::table &root, const std::string &file) : root_{root} { out_.file = file; }

    Parsed read() {
        attempt([this] {
            knownKeys(root_, "this file",
                      {"interface", "constants", "enum", "flags", "struct", "request", "procedure", "notice", "event"});
        });
        attempt([this] { readHead(); });
        eachIn("constants", [this](const std::string &name, const toml::node &node) { readConstant(name, node); });
        for (const bool flags : {false, true}) {
            eachIn(flags ? "flags" : "enum",
                   [&](const std::string &name, const toml::node &node) { readNamed(name, table(node, name), flags); });
        }
        eachIn("struct", [this](const std::string &name, const toml::node &node) { structNamed(name, lineOf(node)); });
        for (const auto kind :
             {MessageKind::kRequest, MessageKind::kProcedure, MessageKind::kNotice, MessageKind::kEvent}) {
            eachIn(kindName(kind), [this, kind](const std::string &name, const toml::node &node) {
                readMessage(kind, name, table(node, name));
            });
        }
        std::ranges::stable_sort(mistakes_, {}, &Mistake::line);
        if (!mistakes_.empty()) {
            return {std::nullopt, std::move(mistakes_)};
        }
        std::ranges::stable_sort(out_.messages, {}, &Message::line);
        return {std::move(out_), {}};
    }

  private:
    void attempt(const std::function<void()> &step) {
        try {
            step();
        } catch (const Stop &stop) {
            mistakes_.push_back({out_.file, std::max(stop.line, 1), oneLine(stop.text)});
        }
    }

    // Calls for every entry of a table of the file, in the order in which they stand there.
    void eachIn(std::string_view section, const std::function<void(const std::string &, const toml::node &)> &entry) {
        const toml::node *node = root_.get(section);
        if (node == nullptr) {
            return;
        }
        attempt([&] {
            std::vector<std::pair<toml::source_position, std::pair<std::string, const toml::node *>>> entries;
            for (const auto &[key, value] : table(*node, section)) {
                entries.push_back({key.source().begin, {std::string{key.str()}, &value}});
            }
            std::ranges::stable_sort(entries, [](const auto &a, const auto &b) { return a.first < b.first; });
            for (const auto &each : entries) {
                attempt([&] {
                    const auto &[name, value] = each.second;
                    checkName(name, lineOf(*value));
                    entry(name, *value);
                });
            }
        });
    }

    void readHead() {
        const toml::node *node = root_.get("interface");
        if (node == nullptr) {
            throw Stop{1, "[interface] is missing; write [interface] with name = \"…\" and doc = \"…\""};
        }
        const toml::table &head = table(*node, "interface");
        knownKeys(head, "[interface]", {"name", "doc", "server", "eid"});
        out_.name = text(head, "name", "meshd");
        checkName(out_.name, lineOf(*head.get("name")));
        out_.doc = doc(head);
        out_.server = text(head, "server", nullptr);
        out_.server = out_.server.empty() ? out_.name : out_.server;
        if (out_.server.size() > 63) {
            throw Stop{lineOf(head), "a daemon's name has 63 characters at most; write a shorter server = \"…\""};
        }
        out_.eid = static_cast<uint32_t>(number(head, "eid", 1, UINT32_MAX).value_or(0));
        macros_ = {"SERVER", "EID"};
    }

    void readConstant(const std::string &name, const toml::node &node) {
        const toml::table &entry = table(node, name);
        knownKeys(entry, "constant " + quote(name), {"value", "doc"});
        claim(macros_, upperSnake(name), lineOf(entry));
        out_.constants.push_back({name, doc(entry), needed(entry, "value", INT64_MIN, INT64_MAX)});
    }

    void readNamed(const std::string &name, const toml::table &entry, bool flags) {
        claim(types_, name, lineOf(entry));
        knownKeys(entry, quote(name), {"type", "doc", "values"});
        const std::string type = entry.get("type") != nullptr ? text(entry, "type", "u32") : "u32";
        const auto basic = std::ranges::find(kBasicTypes, type, &BasicType::name);
        if (basic == kBasicTypes.end() || basic->kind != Kind::kInteger || (flags && basic->isSigned)) {
            throw Stop{lineOf(*entry.get("type")),
                       quote(type) + " cannot hold " + quote(name) + "; write type = \"u32\""};
        }
        Named named{name, doc(entry), flags, basic->size, basic->isSigned, {}};
        const toml::array *values = entry.get("values") != nullptr ? entry.get("values")->as_array() : nullptr;
        if (values == nullptr || values->empty()) {
            throw Stop{lineOf(entry), "'values' is missing; write values = [ { name = \"…\", " +
                                          std::string{flags ? "bit" : "value"} + " = 0, doc = \"…\" } ]"};
        }
        const unsigned bits = 8 * named.size - (named.isSigned ? 1 : 0);
        const int64_t most = bits >= 63 ? INT64_MAX : (int64_t{1} << bits) - 1;
        std::set<std::string> names;
        for (const toml::node &node : *values) {
            const toml::table &value = table(node, "values");
            const std::string_view key = flags ? "bit" : "value";
            knownKeys(value, "a value of " + quote(name), {"name", key, "doc"});
            const std::string valueName = text(value, "name", "…");
            checkName(valueName, lineOf(node));
            claim(names, valueName, lineOf(node));
            claim(macros_, upperSnake(name) + "_" + upperSnake(valueName), lineOf(node));
            const int64_t given = flags ? int64_t{1} << needed(value, key, 0, std::min(bits - 1, 62U))
                                        : needed(value, key, named.isSigned ? -most - 1 : 0, most);
            named.values.push_back({valueName, doc(value), given});
        }
        out_.named.push_back(std::move(named));
    }

    // The structure of a name, read when first asked for, so that those that it contains stand before it.
    const Struct *structNamed(const std::string &name, int line) {
        const auto done = std::ranges::find(out_.structs, name, &Struct::name);
        if (done != out_.structs.end()) {
            return &*done;
        }
        const toml::node *section = root_.get("struct");
        const toml::node *node = section != nullptr && section->is_table() ? section->as_table()->get(name) : nullptr;
        if (node == nullptr) {
            return nullptr;
        }
        if (!reading_.insert(name).second) {
            throw Stop{line, reported_.contains(name) ? quote(name) + " has a mistake of its own; correct that first"
                                                      : quote(name) + " contains itself; write a list of ids instead"};
        }
        try {
            const toml::table &entry = table(*node, name);
            claim(types_, name, lineOf(entry));
            knownKeys(entry, quote(name), {"doc", "fields"});
            const toml::array *fields = entry.get("fields") != nullptr ? entry.get("fields")->as_array() : nullptr;
            if (fields == nullptr) {
                throw Stop{lineOf(entry),
                           "'fields' is missing; write fields = [ { name = \"…\", type = \"u32\", doc = \"…\" } ]"};
            }
            Struct record{.name = name, .doc = doc(entry), .line = lineOf(entry)};
            layOut(record, *fields);
            out_.structs.push_back(std::move(record));
        } catch (const Stop &) {
            reported_.insert(name);
            throw;
        }
        return &out_.structs.back();
    }

    // What C calls a field and what comes with it, of the fixed part and of what is behind it.
    struct Members {
        unsigned pads = 0;
        std::set<std::string> fixed;
        std::set<std::string> behind;
    };
    void claimMembers(const Field &field, std::set<std::string> &names, Members &members) {
        if (field.kind == Kind::kPad) {
            claim(members.fixed, "reserved" + std::to_string(++members.pads), field.line);
            return;
        }
        claim(names, field.name, field.line);
        if (!field.isTail()) {
            claim(members.fixed, field.name + (field.kind == Kind::kTextAt ? "Offset" : ""), field.line);
            return;
        }
        claim(members.behind, field.name, field.line);
        if (field.kind != Kind::kCString) {
            claim(members.behind, field.name + (field.kind == Kind::kList ? "Count" : "Length"), field.line);
        }
    }

    void layOut(Struct &record, const toml::array &fields) {
        std::set<std::string> names;
        Members members;
        uint64_t at = 0;
        for (const toml::node &node : fields) {
            Field field = readField(record, table(node, "fields"));
            claimMembers(field, names, members);
            if (field.isTail()) {
                closeFixedPart(record, at, field.line);
                field.offset = at;
                checkTail(record, field);
            } else {
                if (record.hasTail) {
                    throw Stop{field.line, quote(field.name) + " has a fixed size; write it in front of " +
                                               quote(record.fields.back().name)};
                }
                if (at % field.align != 0) {
                    const uint64_t pad = field.align - at % field.align;
                    throw Stop{field.line, quote(field.name) + " would stand at offset " + std::to_string(at) +
                                               ", where C puts it at " + std::to_string(at + pad) +
                                               "; write { pad = " + std::to_string(pad) + " } in front of it"};
                }
                field.offset = at;
                at += field.bytes();
                record.align = std::max(record.align, field.align);
                record.textsAt = record.textsAt || field.kind == Kind::kTextAt;
                if (at > kLargestFixedPart) {
                    throw Stop{field.line, "the fixed part ends behind 1 MiB; write a list, type = \"…[]\", instead"};
                }
            }
            record.hasTail = record.hasTail || field.isTail();
            record.fields.push_back(std::move(field));
        }
        if (record.fields.empty()) {
            throw Stop{lineOf(fields), "no fields; leave the structure out"};
        }
        closeFixedPart(record, at, lineOf(fields));
        if (record.textsAt && record.hasTail) {
            throw Stop{lineOf(fields), "texts by offset take all that follows the fixed part; write either them or " +
                                           quote(record.fields.back().name)};
        }
        record.size = static_cast<uint32_t>(at);
        record.hasTail = record.hasTail || record.textsAt;
    }
    static void closeFixedPart(const Struct &record, uint64_t at, int line) {
        if (at % record.align != 0) {
            const uint64_t pad = record.align - at % record.align;
            throw Stop{line, "the fixed part has " + std::to_string(at) + " bytes, where C makes them " +
                                 std::to_string(at + pad) + "; write { pad = " + std::to_string(pad) + " } at its end"};
        }
    }
    static void checkTail(const Struct &record, const Field &field) {
        if (!record.fields.empty()) {
            const Field &last = record.fields.back();
            if (last.kind == Kind::kText || last.kind == Kind::kRest || last.kind == Kind::kCStrings ||
                (last.kind == Kind::kList && last.countField.empty())) {
                throw Stop{field.line, quote(last.name) + " takes all that follows; write " + quote(field.name) +
                                           " in front of it"};
            }
        }
        // Elements must be where C may read them: behind what is as aligned as they are.
        const auto loose = [&field](const Field &before) {
            return before.isTail() && (before.kind != Kind::kList || before.size % field.align != 0);
        };
        if (field.kind == Kind::kList &&
            (field.offset % field.align != 0 || std::ranges::any_of(record.fields, loose))) {
            throw Stop{field.line, quote(field.name) + " must begin at a multiple of " + std::to_string(field.align) +
                                       " bytes; write it directly behind a fixed part of such a size"};
        }
    }

    Field readField(const Struct &record, const toml::table &entry) {
        Field field;
        field.line = lineOf(entry);
        if (entry.get("pad") != nullptr) {
            knownKeys(entry, "a pad", {"pad"});
            field.kind = Kind::kPad;
            field.size = 1;
            field.count = static_cast<uint32_t>(needed(entry, "pad", 1, 4096));
            return field;
        }
        field.name = text(entry, "name", "…");
        checkName(field.name, field.line);
        knownKeys(entry, quote(field.name), {"name", "type", "doc", "count"});
        readType(field, text(entry, "type", "u32"));
        field.doc = doc(entry);
        if (const toml::node *count = entry.get("count")) {
            field.countField = text(entry, "count", "…");
            const Field *counter = record.find(field.countField);
            if (field.kind != Kind::kList || counter == nullptr || counter->kind != Kind::kInteger || counter->array ||
                counter->isSigned) {
                throw Stop{lineOf(*count),
                           "'count' names an unsigned field in front of a list; write type = \"…[]\" and "
                           "count = \"the field's name\""};
            }
            if (record.isCount(*counter)) {
                throw Stop{lineOf(*count), quote(field.countField) + " counts another list; write a field for each"};
            }
        }
        return field;
    }

    void readType(Field &field, const std::string &type) {
        const size_t bracket = type.find('[');
        const std::string base = type.substr(0, bracket);
        const bool sized = bracket != std::string::npos && type.back() == ']';
        const std::string inside = sized ? type.substr(bracket + 1, type.size() - bracket - 2) : "";
        if (bracket != std::string::npos && !sized) {
            throw Stop{field.line, quote(type) + " has no closing bracket; write " + quote(type + "]")};
        }
        const auto basic = std::ranges::find(kBasicTypes, base, &BasicType::name);
        const auto named = std::ranges::find(out_.named, base, &Named::name);
        if (basic != kBasicTypes.end()) {
            field.kind = basic->kind;
            field.size = basic->size;
            field.align = basic->align;
            field.isSigned = basic->isSigned;
        } else if (named != out_.named.end()) {
            field.kind = named->flags ? Kind::kFlags : Kind::kEnum;
            field.size = field.align = named->size;
            field.isSigned = named->isSigned;
            field.named = &*named;
        } else if (const Struct *record = structNamed(base, field.line)) {
            if (record->hasTail) {
                throw Stop{field.line, quote(base) + " has no fixed size; write it as a message's payload only"};
            }
            field.kind = Kind::kStruct;
            field.size = record->size;
            field.align = record->align;
            field.record = record;
        } else {
            throw Stop{field.line, "unknown type " + quote(base) +
                                       "; write u8 to u64, i8 to i64, bool, char[N], byte[N], ipv4, ipv6, mac, textAt, "
                                       "cstring, text, bytes or the name of a struct, enum or flags"};
        }
        if (field.kind == Kind::kChars || field.kind == Kind::kBytes) {
            const bool text = field.kind == Kind::kChars;
            if (inside.empty()) {
                throw Stop{field.line,
                           quote(type) + " has no size; write " + (text ? "char[32] or text" : "byte[8] or bytes")};
            }
            field.count = sizeIn(field, inside);
        } else if (sized) {
            readBrackets(field, type, inside);
        }
    }
    void readBrackets(Field &field, const std::string &type, const std::string &inside) {
        if (field.kind == Kind::kCString && inside.empty()) {
            field.kind = Kind::kCStrings;
        } else if (field.isTail() || field.kind == Kind::kTextAt) {
            throw Stop{field.line, quote(type) + " has no fixed size to repeat; write cstring[] or a list of a struct"};
        } else if (inside.empty()) {
            field.element = field.kind;
            field.kind = Kind::kList;
        } else {
            field.array = true;
            field.count = sizeIn(field, inside);
        }
    }
    uint32_t sizeIn(const Field &field, const std::string &inside) const {
        const auto constant = std::ranges::find(out_.constants, inside, &Constant::name);
        int64_t value = 0;
        const auto [end, error] = std::from_chars(inside.data(), inside.data() + inside.size(), value);
        if (constant != out_.constants.end()) {
            value = constant->value;
        } else if (error != std::errc{} || end != inside.data() + inside.size()) {
            throw Stop{field.line, quote(inside) + " is neither a number nor a constant of this file; write [16]"};
        }
        if (value < 1 || value > kLargestCount) {
            throw Stop{field.line, "a size is between 1 and 65536, not " + std::to_string(value) + "; write [16]"};
        }
        return static_cast<uint32_t>(value);
    }

    std::optional<Field> readWord(const toml::table &entry, const char *key) {
        const toml::node *node = entry.get(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        const toml::table &word = table(*node, key);
        knownKeys(word, quote(key), {"name", "type", "doc"});
        Field field;
        field.line = lineOf(*node);
        field.name = text(word, "name", "…");
        checkName(field.name, field.line);
        refuseTaken(field.name, kTakenByCalls, field.line);
        readType(field, word.get("type") != nullptr ? text(word, "type", "u32") : "u32");
        const bool fits = field.kind == Kind::kInteger || field.kind == Kind::kEnum || field.kind == Kind::kFlags;
        if (!fits || field.size != 4 || field.array) {
            throw Stop{field.line, "the header's word has 4 bytes; write type = \"u32\", \"i32\" or an enum of such"};
        }
        field.doc = doc(word);
        return field;
    }

    // A structure by its name, or fields that stand here.
    const Struct *readPayload(const toml::table &entry, const char *key, const std::string &inlineName,
                              const std::string &inlineDoc) {
        const toml::node *node = entry.get(key);
        if (node == nullptr) {
            return nullptr;
        }
        if (const auto name = node->value_exact<std::string>()) {
            const Struct *record = structNamed(*name, lineOf(*node));
            if (record == nullptr) {
                throw Stop{lineOf(*node), "there is no structure " + quote(*name) + "; write [struct." + *name +
                                              "] or the fields themselves"};
            }
            return record;
        }
        const toml::array *fields = node->as_array();
        if (fields == nullptr) {
            throw Stop{lineOf(*node), quote(key) + " is neither a structure's name nor fields; write " +
                                          std::string{key} + " = [ { name = \"…\", type = \"u32\", doc = \"…\" } ]"};
        }
        claim(types_, inlineName, lineOf(*node));
        Struct record{.name = inlineName, .doc = inlineDoc, .line = lineOf(*node), .inlined = true};
        layOut(record, *fields);
        out_.structs.push_back(std::move(record));
        return &out_.structs.back();
    }

    void readMessage(MessageKind kind, const std::string &name, const toml::table &entry) {
        const int line = lineOf(entry);
        claim(messages_, name, line);
        claim(types_, name, line);
        claim(macros_, upperSnake(name) + "_TYPE", line);
        if (kind == MessageKind::kEvent) {
            claim(messages_, "on" + upperFirst(name), line);
            claim(messages_, "publish" + upperFirst(name), line);
        } else if (kind == MessageKind::kProcedure) {
            claim(macros_, upperSnake(name) + "_NUMBER", line);
        }
        Message message{.name = name, .doc = doc(entry), .line = line, .kind = kind};
        const std::string what = std::string{kindName(kind)} + " " + quote(name);
        if (message.kind == MessageKind::kProcedure) {
            knownKeys(entry, what, {"type", "constant", "doc", "number", "payload", "reply"});
            message.number = static_cast<uint32_t>(needed(entry, "number", 0, UINT32_MAX));
        } else if (message.isAnswered()) {
            knownKeys(entry, what, {"type", "constant", "doc", "word", "payload", "reply", "result"});
        } else {
            knownKeys(entry, what, {"type", "constant", "doc", "word", "payload"});
        }
        message.type = static_cast<uint32_t>(needed(entry, "type", 1, UINT32_MAX));
        message.constant = text(entry, "constant", nullptr);
        message.word = readWord(entry, "word");
        message.result = readWord(entry, "result");
        const std::string upper = upperFirst(name);
        message.payload = readPayload(entry, "payload", upper, message.doc);
        if (message.isAnswered() && message.payload != nullptr && message.payload->inlined) {
            for (const Field &field : message.payload->fields) {  // each is a parameter of a call in Python
                refuseTaken(field.name, {"timeout", "vos"}, field.line);
            }
        }
        message.reply = readPayload(entry, "reply", upper + "Reply", "Reply: " + message.doc);
        for (const auto &[word, record] :
             {std::pair{&message.word, message.payload}, {&message.result, message.reply}}) {
            if (*word && record != nullptr && record->find((*word)->name) != nullptr) {
                throw Stop{(*word)->line,
                           "the word and a field are both called " + quote((*word)->name) + "; write another name"};
            }
        }
        if (kind == MessageKind::kProcedure && message.payload != nullptr &&
            message.payload->size < kSmallestProcedure) {
            throw Stop{line, "a procedure's fixed part has 8 bytes at least; write { pad = " +
                                 std::to_string(kSmallestProcedure - message.payload->size) + " } at its end"};
        }
        const auto clash = std::ranges::find_if(out_.messages, [&](const Message &other) {
            return other.type == message.type && other.isAnswered() == message.isAnswered() &&
                   (other.kind == MessageKind::kProcedure) == (kind == MessageKind::kProcedure) &&
                   other.number == message.number;
        });
        if (clash != out_.messages.end()) {
            throw Stop{line, "type" + std::string{kind == MessageKind::kProcedure ? " and number are" : " is"} +
                                 " that of " + quote(clash->name) + "; write another"};
        }
        out_.messages.push_back(std::move(message));
    }

    const toml::table &root_;
    Interface out_;
    std::vector<Mistake> mistakes_;
    std::set<std::string> types_;
    std::set<std::string> messages_;
    std::set<std::string> macros_;
    std::set<std::string> reading_;   // structures that were begun
    std::set<std::string> reported_;  // and those that failed
};

}  // namespace

Parsed parse(std::string_view text, const std::string &file) {
    const toml::parse_result result = toml::parse(text, file);
    if (result.failed()) {
        const toml::parse_error &error = result.error();
        return {std::nullopt,
                {{file, static_cast<int>(error.source().begin.line),
                  oneLine("no TOML: " + std::string{error.description()}) + "; write what TOML allows here"}}};
    }
    return Reader{result.table(), file}.read();
}

Parsed parseFile(const std::string &path) {
    std::ifstream in{path, std::ios::binary};
    std::ostringstream text;
    if (!in || !(text << in.rdbuf())) {
        return {std::nullopt, {{path, 1, "cannot be read; give the name of a description"}}};
    }
    Parsed parsed = parse(text.str(), path);
    const std::string stem = std::filesystem::path{path}.stem().string();
    if (parsed.interface && parsed.interface->name != stem) {
        return {std::nullopt,
                {{path, 1,
                  "the file is not called like its interface; write name = \"" + stem + "\" or call it " +
                      parsed.interface->name + ".toml"}}};
    }
    return parsed;
}

}  // namespace iface
