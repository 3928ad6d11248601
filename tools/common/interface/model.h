// A daemon's messages as its description says them, with every size and offset worked out.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace iface {

enum class Kind {
    // of fixed size
    kInteger,
    kBool,   // one byte, 0 or 1
    kChars,  // text of at most count - 1 bytes; the last one is its NUL at the latest
    kBytes,
    kIpv4,
    kIpv6,
    kMac,
    kEnum,
    kFlags,
    kStruct,
    kPad,     // zeroes without a name
    kTextAt,  // 8 bytes: where in the payload a text with its NUL stands; 0: no text
    // behind the fixed part
    kCString,   // text with its NUL
    kCStrings,  // such texts to the end
    kText,      // text to the end
    kRest,      // bytes to the end
    kList,      // elements: as many as an earlier field says, or to the end
};

/** Names of numbers: an enumeration, or a set of bits. */
struct Named {
    struct Value {
        std::string name;
        std::string doc;
        int64_t value = 0;  // of a set: the mask, one bit
    };
    std::string name;
    std::string doc;
    bool flags = false;
    uint32_t size = 4;
    bool isSigned = false;
    std::vector<Value> values;
};

struct Struct;

struct Field {
    std::string name;
    std::string doc;
    int line = 0;
    Kind kind = Kind::kInteger;
    Kind element = Kind::kInteger;  // of a list
    bool isSigned = false;
    bool array = false;      // count elements of a fixed size
    uint32_t size = 0;       // of one element
    uint32_t align = 1;      // of one element
    uint32_t count = 1;      // of an array, of characters and of bytes
    uint64_t offset = 0;     // in its structure; of what follows the fixed part, that part's size
    std::string countField;  // of a list
    const Named *named = nullptr;
    const Struct *record = nullptr;

    bool isTail() const { return kind >= Kind::kCString; }
    uint64_t bytes() const { return isTail() ? 0 : uint64_t{size} * count; }
    /** What each element is. */
    Kind elementKind() const { return kind == Kind::kList ? element : kind; }
};

struct Struct {
    std::string name;
    std::string doc;
    int line = 0;
    bool inlined = false;  // stands inside a message
    std::vector<Field> fields = {};
    uint32_t size = 0;  // of the fixed part
    uint32_t align = 1;
    bool hasTail = false;  // something may follow
    bool textsAt = false;  // which are texts by offset

    const Field *find(std::string_view field) const;
    /** Whether the number of elements of a list stands in this field. */
    bool isCount(const Field &field) const;
};

struct Constant {
    std::string name;
    std::string doc;
    int64_t value = 0;
};

enum class MessageKind {
    kRequest,    // to the daemon; answered
    kProcedure,  // a request with a number
    kNotice,     // to the daemon; not answered
    kEvent       // from the daemon
};

struct Message {
    std::string name;
    std::string doc;
    int line = 0;
    MessageKind kind = MessageKind::kRequest;
    uint32_t type = 0;
    uint32_t number = 0;        // of a procedure
    std::string constant = {};  // the type's name in a header that is there already
    std::optional<Field> word = {};
    std::optional<Field> result = {};  // what the reply's word is, if no return code
    const Struct *payload = nullptr;
    const Struct *reply = nullptr;

    bool isAnswered() const { return kind == MessageKind::kRequest || kind == MessageKind::kProcedure; }
};

std::string_view kindName(MessageKind kind);

struct Interface {
    Interface() = default;
    Interface(Interface &&) = default;
    Interface &operator=(Interface &&) = default;

    std::string file;
    std::string name;
    std::string doc;
    std::string server;  // the name under which the daemon runs
    uint32_t eid = 0;    // 0: by its name
    std::vector<Constant> constants;
    std::deque<Named> named;     // elsewhere referred to, so they stay where they are
    std::deque<Struct> structs;  // each behind those that it contains
    std::vector<Message> messages;

    const Message *find(std::string_view message) const;
};

/** One mistake in a description: "meshd.toml:12: what, and what to write instead". */
struct Mistake {
    std::string file;
    int line = 0;
    std::string text;

    std::string say() const { return file + ":" + std::to_string(line) + ": " + text; }
};

/** A description read from text or from a file: nothing when there are mistakes. */
struct Parsed {
    std::optional<Interface> interface;
    std::vector<Mistake> mistakes;
};
Parsed parse(std::string_view text, const std::string &file);
Parsed parseFile(const std::string &path);

/** "addNode" as "AddNode" and as "ADD_NODE". */
std::string upperFirst(const std::string &name);
std::string upperSnake(const std::string &name);

/** What the dissector's tables call a kind. */
std::string_view kindText(Kind kind);

/** The type of a field as a description writes it. */
std::string typeText(const Field &field);

}  // namespace iface
