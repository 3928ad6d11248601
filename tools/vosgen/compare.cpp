// Two states of a description: what changed, and what of it an old and a new peer stumble over.
#include <algorithm>
#include <functional>
#include <iterator>
#include <map>

#include "generate.h"

namespace vosgen {

namespace {

using iface::Field;
using iface::Interface;
using iface::Kind;
using iface::Message;
using iface::Named;
using iface::Struct;

class Comparison {
  public:
    Comparison(const Interface &before, const Interface &after) : before_{before}, after_{after} {}

    std::vector<Change> run() {
        if (before_.server != after_.server || before_.eid != after_.eid) {
            breaks("the server is " + serverText(after_) + ", was " + serverText(before_));
        }
        for (const Message &old : before_.messages) {
            const Message *now = after_.find(old.name);
            now == nullptr ? breaks(title(old) + " is gone") : messages(old, *now);
        }
        for (const Message &now : after_.messages) {
            if (before_.find(now.name) == nullptr) {
                fits(title(now) + " is new" + (now.isAnswered() ? "; an old server refuses it" : ""));
            }
        }
        for (const Named &old : before_.named) {
            const auto now = std::ranges::find(after_.named, old.name, &Named::name);
            if (now != after_.named.end()) {
                names(old, *now);
            }
        }
        for (const iface::Constant &old : before_.constants) {
            const auto now = std::ranges::find(after_.constants, old.name, &iface::Constant::name);
            if (now != after_.constants.end() && now->value != old.value) {
                fits("constant " + old.name + " is " + std::to_string(now->value) + ", was " +
                     std::to_string(old.value));
            }
        }
        return std::move(changes_);
    }

  private:
    void breaks(std::string text) { changes_.push_back({true, std::move(text)}); }
    void fits(std::string text) { changes_.push_back({false, std::move(text)}); }

    static std::string title(const Message &message) {
        return std::string{iface::kindName(message.kind)} + " " + message.name;
    }
    static std::string serverText(const Interface &all) {
        return all.server + (all.eid != 0 ? " (" + std::to_string(all.eid) + ")" : "");
    }

    void messages(const Message &old, const Message &now) {
        const std::string what = title(now);
        if (old.kind != now.kind) {
            breaks(what + " was a " + std::string{iface::kindName(old.kind)});
        }
        if (old.type != now.type || old.number != now.number) {
            breaks(what + " has type " + hex(now.type) + " and number " + std::to_string(now.number) + ", had " +
                   hex(old.type) + " and " + std::to_string(old.number));
        }
        words(what + ": the word", old.word, now.word);
        words(what + ": the reply's word", old.result, now.result);
        payloads(what + ": the payload", old.payload, now.payload);
        payloads(what + ": the reply", old.reply, now.reply);
    }
    void words(const std::string &what, const std::optional<Field> &old, const std::optional<Field> &now) {
        if (old.has_value() != now.has_value()) {
            now ? fits(what + " means " + now->name + ", was nothing")
                : breaks(what + " means nothing, was " + old->name);
        } else if (old && iface::typeText(*old) != iface::typeText(*now)) {
            breaks(what + " is " + iface::typeText(*now) + ", was " + iface::typeText(*old));
        } else if (old && old->name != now->name) {
            fits(what + " is called " + now->name + ", was " + old->name);
        }
    }
    void payloads(const std::string &what, const Struct *old, const Struct *now) {
        if (old == nullptr || now == nullptr) {
            if (old != now) {
                breaks(what +
                       (now == nullptr ? " is gone, was " + old->name : " is " + now->name + ", there was none"));
            }
            return;
        }
        records(what, *old, *now);
    }
    // By place, not by name: what lies where is all that a peer sees.
    void records(const std::string &what, const Struct &old, const Struct &now) {
        if (old.size != now.size || old.hasTail != now.hasTail) {
            breaks(what + " has " + sizeText(now) + ", had " + sizeText(old));
            return;
        }
        const std::vector<Cell> was = cells(old), is = cells(now);
        auto a = was.begin();
        auto b = is.begin();
        while (a != was.end() && b != is.end() && a->offset == b->offset) {
            if (a->type != b->type) {
                breaks(what + ": '" + b->name + "' is " + b->type + ", was " + a->type);
            } else if (a->name != b->name) {
                fits(what + ": '" + b->name + "' was called '" + a->name + "'");
            }
            ++a;
            ++b;
        }
        if (a != was.end() || b != is.end()) {
            padding(what, {a, was.end()}, {b, is.end()});
        }
        for (size_t i = 1; i <= std::min(old.fields.size(), now.fields.size()); i++) {
            const Field &before = old.fields[old.fields.size() - i], &after = now.fields[now.fields.size() - i];
            if (before.kind == Kind::kList && after.kind == Kind::kList && before.record != nullptr &&
                after.record != nullptr) {
                records(what + ": each of '" + after.name + "'", *before.record, *after.record);
            }
        }
    }
    struct Cell {
        std::string name;
        std::string type;
        uint64_t offset;
        uint64_t bytes;
    };
    static std::string sizeText(const Struct &record) {
        return std::to_string(record.size) + " bytes" + (record.hasTail ? " and what follows" : "");
    }
    // Fields without their padding, those of nested structures as their own.
    static std::vector<Cell> cells(const Struct &record, const std::string &path = "", uint64_t base = 0) {
        std::vector<Cell> all;
        for (const Field &field : record.fields) {
            for (uint32_t i = 0; field.kind == Kind::kStruct && i < field.count; i++) {
                const std::string index = field.array ? "[" + std::to_string(i) + "]" : "";
                const uint64_t at = base + field.offset + uint64_t{i} * field.size;
                std::ranges::move(cells(*field.record, path + field.name + index + ".", at), std::back_inserter(all));
            }
            if (field.kind != Kind::kStruct && field.kind != Kind::kPad) {
                const bool records = field.kind == Kind::kList && field.element == Kind::kStruct;
                const std::string type = records ? "a list of structures" : iface::typeText(field);
                const Field *const counter = record.find(field.countField);
                const std::string counted =
                    counter != nullptr ? " counted at " + std::to_string(counter->offset) : std::string{};
                all.push_back({path + field.name, type + counted, base + field.offset, field.bytes()});
            }
        }
        return all;
    }
    // From where the two part: a field in the place of padding is read as zeroes by the one and not at all by the
    // other.
    void padding(const std::string &what, const std::vector<Cell> &old, const std::vector<Cell> &now) {
        const auto single = [](const std::vector<Cell> &cells, const Cell &wanted) {
            return std::ranges::find_if(cells, [&](const Cell &cell) {
                       return cell.offset == wanted.offset && cell.type == wanted.type;
                   }) != cells.end();
        };
        const auto overlaps = [](const std::vector<Cell> &cells, const Cell &wanted) {
            return std::ranges::any_of(cells, [&](const Cell &cell) {
                return cell.offset < wanted.offset + wanted.bytes && wanted.offset < cell.offset + cell.bytes;
            });
        };
        for (const Cell &cell : now) {
            if (!single(old, cell)) {
                const bool fresh = !overlaps(old, cell) && cell.bytes > 0;
                (fresh ? fits(what + ": '" + cell.name + "' takes the place of padding, 0 from old peers")
                       : breaks(what + ": '" + cell.name + "' is " + cell.type + " at " + std::to_string(cell.offset) +
                                ", was something else"));
            }
        }
        for (const Cell &cell : old) {
            if (!single(now, cell) && !overlaps(now, cell)) {
                breaks(what + ": '" + cell.name + "' is gone");
            }
        }
    }
    static std::string kindText(const Named &named) {
        return (named.flags ? "flags " : "enum ") + std::string{named.isSigned ? "i" : "u"} +
               std::to_string(8 * named.size);
    }
    void names(const Named &old, const Named &now) {
        const std::string what = (now.flags ? "flags " : "enum ") + now.name;
        if (kindText(old) != kindText(now)) {
            breaks(what + " is " + kindText(now) + ", was " + kindText(old));
        }
        for (const Named::Value &value : old.values) {
            const auto found = std::ranges::find(now.values, value.name, &Named::Value::name);
            if (found == now.values.end()) {
                breaks(what + ": " + value.name + " is gone");
            } else if (found->value != value.value) {
                breaks(what + ": " + value.name + " is " + std::to_string(found->value) + ", was " +
                       std::to_string(value.value));
            }
        }
        for (const Named::Value &value : now.values) {
            if (std::ranges::find(old.values, value.name, &Named::Value::name) == old.values.end()) {
                fits(what + ": " + value.name + " is new; old peers see a number");
            }
        }
    }

    const Interface &before_;
    const Interface &after_;
    std::vector<Change> changes_;
};

}  // namespace

std::vector<Change> compare(const Interface &before, const Interface &after) {
    return Comparison{before, after}.run();
}

}  // namespace vosgen
