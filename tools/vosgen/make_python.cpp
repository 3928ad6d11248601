// Python: a typed module on the package vos.
#include <cctype>

#include "generate.h"

namespace vosgen {

namespace {

using iface::Field;
using iface::Kind;
using iface::Message;
using iface::MessageKind;
using iface::Struct;

constexpr const char *kHead = R"(
import ipaddress
import struct
from abc import ABC, abstractmethod
from collections.abc import Callable
from dataclasses import dataclass
from enum import IntEnum, IntFlag
from typing import ClassVar

import vos
)";

// What every module carries, so that it needs nothing but the package's connection.
constexpr const char *kHelpers = R"(

def _require(fits: bool, what: str) -> None:
    if not fits:
        raise vos.BadArgument(vos.Ret.BAD_ARG, what)


def _bool(value: int) -> bool:
    _require(value <= 1, "a truth value is 0 or 1")
    return bool(value)


def _chars(value: bytes) -> str:
    _require(value[-1:] == b"\0", "a text ends with a NUL")
    return value.split(b"\0", 1)[0].decode(errors="replace")


def _packed_chars(value: str, size: int) -> bytes:
    packed = value.encode()
    _require(len(packed) < size and b"\0" not in packed, f"a text of {size} bytes takes {size - 1}")
    return packed


def _mac(value: bytes) -> str:
    return value.hex(":")


def _packed_mac(value: str) -> bytes:
    packed = bytes.fromhex(value.replace(":", ""))
    _require(len(packed) == 6, "a MAC address has 6 bytes")
    return packed


def _sized(value: bytes, size: int) -> bytes:
    _require(len(value) == size, f"{size} bytes")
    return value


def _pieces(value: bytes, size: int) -> list[bytes]:
    return [value[at : at + size] for at in range(0, len(value), size)]


def _text_at(payload: bytes, offset: int, least: int) -> str | None:
    if offset == 0:
        return None
    _require(least <= offset < len(payload) and b"\0" in payload[offset:], "a text lies within the payload")
    return payload[offset:].split(b"\0", 1)[0].decode(errors="replace")


class _Rest:
    """What follows the fixed part."""

    def __init__(self, payload: bytes, at: int) -> None:
        self._payload = payload
        self._at = at

    def take(self, size: int) -> bytes:
        _require(0 <= size <= len(self._payload) - self._at, "the payload is too short")
        self._at += size
        return self._payload[self._at - size : self._at]

    def all(self) -> bytes:
        return self.take(len(self._payload) - self._at)

    def cstring(self) -> str:
        end = self._payload.find(b"\0", self._at)
        _require(end >= 0, "a text ends with a NUL")
        return self.take(end + 1 - self._at)[:-1].decode(errors="replace")

    def cstrings(self) -> list[str]:
        texts = []
        while self._at < len(self._payload):
            texts.append(self.cstring())
        return texts

    def pieces(self, size: int, count: int | None = None) -> list[bytes]:
        whole = self.all() if count is None else self.take(size * count)
        _require(len(whole) % size == 0, "whole elements")
        return _pieces(whole, size)

    def end(self) -> None:
        _require(self._at == len(self._payload), "the payload is too long")


def _cstring(value: str) -> bytes:
    packed = value.encode()
    _require(b"\0" not in packed, "no NUL inside a text")
    return packed + b"\0"
)";

std::string snake(const std::string &name) {
    std::string lower = upperSnake(name);
    for (char &c : lower) {
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

std::string docText(const std::string &doc) {
    std::string text;
    for (const char c : doc) {
        text += c == '\\' || c == '"' ? "\\" : "";
        text += c;
    }
    return "\"\"\"" + text + "\"\"\"";
}

class PythonMaker {
  public:
    explicit PythonMaker(const iface::Interface &all) : all_{all} {}

    std::string make() {
        out_.put(docText(all_.doc + "\n\nMade by vosgen; do not edit."), kHead);
        out_.put("SERVER = \"", all_.server, "\"");
        if (all_.eid != 0) {
            out_.put("EID = ", std::to_string(all_.eid));
        }
        for (const iface::Constant &each : all_.constants) {
            out_.put(upperSnake(each.name), " = ", std::to_string(each.value), "\n", docText(each.doc));
        }
        for (const Message &each : all_.messages) {
            out_.put(upperSnake(each.name), "_TYPE = ", hex(each.type));
            if (each.kind == MessageKind::kProcedure) {
                out_.put(upperSnake(each.name), "_NUMBER = ", std::to_string(each.number));
            }
        }
        out_.put("\nvos.name_types(\n    {");
        for (const Message &each : all_.messages) {
            out_.put("        \"", each.constant.empty() ? all_.name + "." + each.name : each.constant,
                     "\": ", upperSnake(each.name), "_TYPE,");
        }
        out_.put("    }\n)", kHelpers);
        for (const iface::Named &each : all_.named) {
            out_.put("\nclass ", each.name, each.flags ? "(IntFlag):" : "(IntEnum):", "\n    ", docText(each.doc),
                     "\n");
            for (const iface::Named::Value &value : each.values) {
                out_.put("    ", upperSnake(value.name), " = ", std::to_string(value.value), "\n    ",
                         docText(value.doc));
            }
            if (!each.flags) {
                out_.put("\n    @classmethod\n    def of(cls, value: int) -> \"", each.name, " | int\":");
                out_.put("        \"\"\"The name of a number; the number where it has none.\"\"\"");
                out_.put("        return cls(value) if value in list(cls) else value\n");
            }
            out_.put();
        }
        for (const Struct &each : all_.structs) {
            putRecord(each);
        }
        putClient(false);
        putClient(true);
        putServer();
        return out_.text();
    }

  private:
    static std::string elementType(const Field &field) {
        switch (field.elementKind()) {
            case Kind::kInteger:
                return "int";
            case Kind::kBool:
                return "bool";
            case Kind::kEnum:
                return field.named->name + " | int";
            case Kind::kFlags:
                return field.named->name;
            case Kind::kStruct:
                return field.record->name;
            case Kind::kIpv4:
                return "ipaddress.IPv4Address";
            case Kind::kIpv6:
                return "ipaddress.IPv6Address";
            case Kind::kTextAt:
                return "str | None";
            case Kind::kBytes:
            case Kind::kRest:
            case Kind::kPad:
                return "bytes";
            default:
                return "str";
        }
    }
    static std::string typeOf(const Field &field) {
        const bool many = field.array || field.kind == Kind::kList || field.kind == Kind::kCStrings;
        return many ? "list[" + elementType(field) + "]" : elementType(field);
    }
    static bool isNumber(const Field &field) {
        const Kind kind = field.elementKind();
        return kind == Kind::kInteger || kind == Kind::kBool || kind == Kind::kEnum || kind == Kind::kFlags ||
               kind == Kind::kTextAt;
    }
    static char letter(const Field &field) {
        const char small = field.size == 1 ? 'b' : field.size == 2 ? 'h' : field.size == 4 ? 'i' : 'q';
        return static_cast<char>(field.isSigned ? small : toupper(small));
    }
    static std::string formatOf(const Struct &record) {
        std::string format = "=";
        for (const Field &field : record.fields) {
            if (field.isTail()) {
                continue;
            }
            format += isNumber(field)            ? (field.array ? std::to_string(field.count) : "") + letter(field)
                      : field.kind == Kind::kPad ? std::to_string(field.count) + "x"
                                                 : std::to_string(field.bytes()) + "s";
        }
        return format;
    }
    // An element's value out of what struct gives.
    static std::string read(const Field &field, const std::string &raw) {
        switch (field.elementKind()) {
            case Kind::kBool:
                return "_bool(" + raw + ")";
            case Kind::kChars:
                return "_chars(" + raw + ")";
            case Kind::kEnum:
                return field.named->name + ".of(" + raw + ")";
            case Kind::kFlags:
                return field.named->name + "(" + raw + ")";
            case Kind::kStruct:
                return field.record->name + ".unpack(" + raw + ")";
            case Kind::kIpv4:
                return "ipaddress.IPv4Address(" + raw + ")";
            case Kind::kIpv6:
                return "ipaddress.IPv6Address(" + raw + ")";
            case Kind::kMac:
                return "_mac(" + raw + ")";
            default:
                return raw;
        }
    }
    // A list of the values in a list of raw ones.
    static std::string eachOf(const Field &field, const std::string &raw) {
        return read(field, "each") == "each" ? "list(" + raw + ")"
                                             : "[" + read(field, "each") + " for each in " + raw + "]";
    }
    // The header's word is an unsigned number for struct.
    static std::string wordOf(const Message &message) {
        return message.word ? ", word=" + message.word->name + (message.word->isSigned ? " & 0xFFFFFFFF" : "") : "";
    }
    static std::string readWord(const Field &word, const std::string &raw) {
        return read(word, word.isSigned ? "(" + raw + " ^ 0x80000000) - 0x80000000" : raw);
    }
    static std::string written(const Field &field, const std::string &value) {
        switch (field.elementKind()) {
            case Kind::kChars:
                return "_packed_chars(" + value + ", " + std::to_string(field.count) + ")";
            case Kind::kBytes:
                return "_sized(" + value + ", " + std::to_string(field.count) + ")";
            case Kind::kStruct:
                return value + ".pack()";
            case Kind::kIpv4:
            case Kind::kIpv6:
                return value + ".packed";
            case Kind::kMac:
                return "_packed_mac(" + value + ")";
            default:
                return value;
        }
    }

    void putRecord(const Struct &record) {
        out_.put("\n@dataclass(slots=True)\nclass ", record.name, ":\n    ", docText(record.doc), "\n");
        for (const Field &field : record.fields) {
            if (field.kind != Kind::kPad && !record.isCount(field)) {
                out_.put("    ", field.name, ": ", typeOf(field), field.kind == Kind::kTextAt ? " = None" : "",
                         "\n    ", docText(field.doc));
            }
        }
        out_.put("\n    _FIXED: ClassVar[struct.Struct] = struct.Struct(\"", formatOf(record), "\")\n");
        putUnpack(record);
        putPack(record);
        out_.put();
    }
    void putUnpack(const Struct &record) {
        const std::string size = std::to_string(record.size);
        out_.put("    @classmethod\n    def unpack(cls, payload: bytes) -> \"", record.name, "\":");
        out_.put("        \"\"\"Out of a payload; raises vos.BadArgument for one that does not fit.\"\"\"");
        out_.put("        _require(len(payload) ", record.hasTail ? ">= " : "== ", size, ", \"", record.name, " has ",
                 size, " bytes\")");
        out_.put("        fixed = cls._FIXED.unpack_from(payload)");
        const bool sequence = record.hasTail && !record.textsAt;
        if (sequence) {
            out_.put("        rest = _Rest(payload, ", size, ")");
        }
        out_.put("        value = cls(");
        size_t index = 0;
        std::string counter;
        for (const Field &field : record.fields) {
            if (field.kind == Kind::kPad) {
                continue;
            }
            if (field.isTail()) {
                out_.put("            ", field.name, "=", readTail(record, field), ",");
                continue;
            }
            const std::string raw = "fixed[" + std::to_string(index) + "]";
            const bool numbers = field.array && isNumber(field);
            if (!record.isCount(field)) {
                out_.put("            ", field.name, "=",
                         field.kind == Kind::kTextAt ? "_text_at(payload, " + raw + ", " + size + ")"
                         : numbers                   ? eachOf(field, "fixed[" + std::to_string(index) + ":" +
                                                                         std::to_string(index + field.count) + "]")
                         : field.array ? "[" + read(field, "each") + " for each in _pieces(" + raw + ", " +
                                             std::to_string(field.size) + ")]"
                                       : read(field, raw),
                         ",");
            }
            index += numbers ? field.count : 1;
        }
        out_.put("        )");
        if (sequence) {
            out_.put("        rest.end()");
        }
        out_.put("        return value\n");
    }
    static std::string readTail(const Struct &record, const Field &field) {
        switch (field.kind) {
            case Kind::kCString:
                return "rest.cstring()";
            case Kind::kCStrings:
                return "rest.cstrings()";
            case Kind::kText:
                return "rest.all().split(b\"\\0\", 1)[0].decode(errors=\"replace\")";
            case Kind::kRest:
                return "rest.all()";
            default:
                break;
        }
        size_t index = 0;
        for (const Field &before : record.fields) {
            if (before.name == field.countField || before.isTail()) {
                break;
            }
            index += before.kind == Kind::kPad ? 0 : before.array && isNumber(before) ? before.count : 1;
        }
        const std::string pieces = "rest.pieces(" + std::to_string(field.size) +
                                   (field.countField.empty() ? "" : ", fixed[" + std::to_string(index) + "]") + ")";
        const std::string each =
            isNumber(field) ? "struct.unpack(\"=" + std::string{letter(field)} + "\", each)[0]" : "each";
        return each == "each" ? eachOf(field, pieces) : "[" + read(field, each) + " for each in " + pieces + "]";
    }
    void putPack(const Struct &record) {
        out_.put(
            "    def pack(self) -> bytes:\n        \"\"\"The payload; raises vos.BadArgument for a value that has no "
            "room.\"\"\"");
        out_.put("        try:");
        std::string texts;
        if (record.textsAt) {
            out_.put("            texts = b\"\"\n            offsets = []");
            for (const Field &field : record.fields) {
                if (field.kind == Kind::kTextAt) {
                    out_.put("            offsets.append(0 if self.", field.name, " is None else ",
                             std::to_string(record.size), " + len(texts))");
                    out_.put("            texts += b\"\" if self.", field.name, " is None else _cstring(self.",
                             field.name, ")");
                }
            }
        }
        out_.put("            return self._FIXED.pack(");
        size_t offset = 0;
        std::string tail = record.textsAt ? " + texts" : "";
        for (const Field &field : record.fields) {
            const std::string value = "self." + field.name;
            if (field.kind == Kind::kPad) {
                continue;
            }
            if (field.isTail()) {
                tail += " + " + writeTail(field, value);
            } else if (record.isCount(field)) {
                for (const Field &list : record.fields) {
                    if (list.countField == field.name) {
                        out_.put("                len(self.", list.name, "),");
                    }
                }
            } else if (field.kind == Kind::kTextAt) {
                out_.put("                offsets[", std::to_string(offset++), "],");
            } else if (field.array && isNumber(field)) {
                out_.put("                *", value, ",");
            } else if (field.array) {
                out_.put("                _sized(b\"\".join(", written(field, "each"), " for each in ", value, "), ",
                         std::to_string(field.bytes()), "),");
            } else {
                out_.put("                ", written(field, value), ",");
            }
        }
        out_.put("            )", tail);
        out_.put("        except (struct.error, ValueError) as error:");
        out_.put("            raise vos.BadArgument(vos.Ret.BAD_ARG, f\"", record.name, ": {error}\") from error\n");
    }
    static std::string writeTail(const Field &field, const std::string &value) {
        switch (field.kind) {
            case Kind::kCString:
                return "_cstring(" + value + ")";
            case Kind::kCStrings:
                return "b\"\".join(map(_cstring, " + value + "))";
            case Kind::kText:
                return value + ".encode()";
            case Kind::kRest:
                return value;
            default:
                return "b\"\".join(" +
                       (isNumber(field) ? "struct.pack(\"=" + std::string{letter(field)} + "\", each)"
                                        : written(field, "each")) +
                       " for each in " + value + ")";
        }
    }

    // Fields that stand inside a message are its method's own parameters.
    static std::string parameters(const Message &message) {
        std::string list, optional;
        if (message.payload != nullptr && !message.payload->inlined) {
            list = ", payload: " + message.payload->name;
        } else if (message.payload != nullptr) {
            for (const Field &field : message.payload->fields) {
                if (field.kind != Kind::kPad && !message.payload->isCount(field)) {
                    (field.kind == Kind::kTextAt ? optional : list) +=
                        ", " + field.name + ": " + typeOf(field) + (field.kind == Kind::kTextAt ? " = None" : "");
                }
            }
        }
        if (message.word) {
            list += ", " + message.word->name + ": " + elementType(*message.word);
        }
        return list + optional;
    }
    static std::string packed(const Message &message) {
        if (message.payload == nullptr) {
            return message.kind == MessageKind::kProcedure ? "bytes(8)" : "b\"\"";
        }
        if (!message.payload->inlined) {
            return "payload.pack()";
        }
        std::string list;
        for (const Field &field : message.payload->fields) {
            if (field.kind != Kind::kPad && !message.payload->isCount(field)) {
                list += (list.empty() ? "" : ", ") + field.name + "=" + field.name;
            }
        }
        return message.payload->name + "(" + list + ").pack()";
    }
    static std::string resultType(const Message &message) {
        const std::string word = message.result ? elementType(*message.result) : "";
        const std::string reply = message.reply != nullptr ? message.reply->name : "";
        return !word.empty() && !reply.empty() ? "tuple[" + word + ", " + reply + "]"
               : !word.empty()                 ? word
               : !reply.empty()                ? reply
                                               : "None";
    }
    static std::string resultValue(const Message &message) {
        const std::string word = message.result ? readWord(*message.result, "reply.word") : "";
        const std::string reply = message.reply != nullptr ? message.reply->name + ".unpack(reply.payload)" : "";
        return !word.empty() && !reply.empty() ? word + ", " + reply : word + reply;
    }

    void putClient(bool waits) {
        const std::string name = waits ? "AsyncClient" : "Client",
                          hub = waits ? "vos.aio.Connection" : "vos.Connection";
        const std::string function = waits ? "    async def " : "    def ", await = waits ? "await " : "";
        out_.put("\nclass ", name, ":\n    \"\"\"Asks ", all_.server, waits ? " on asyncio" : "", ".\"\"\"\n");
        out_.put("    def __init__(self, hub: ", hub,
                 ", to: int) -> None:\n        self._hub = hub\n        self._to = to\n");
        out_.put("    @classmethod\n", function, "find(cls, hub: ", hub, ") -> \"", name,
                 "\":\n        \"\"\"Looks the server up.\"\"\"");
        out_.put("        return cls(hub, ", all_.eid != 0 ? "EID" : await + "hub.look_up(SERVER)", ")");
        for (const Message &each : all_.messages) {
            const std::string type = upperSnake(each.name) + "_TYPE", method = snake(each.name);
            const std::string word = wordOf(each);
            if (each.isAnswered()) {
                out_.put("\n", function, method, "(self", parameters(each), ", *, timeout: float = 15.0) -> ",
                         resultType(each), ":\n        ", docText(each.doc));
                out_.put("        reply = ", await, "self._hub.request(\n            self._to, ", type, ", ",
                         packed(each), word,
                         each.kind == MessageKind::kProcedure ? ", procedure=" + upperSnake(each.name) + "_NUMBER" : "",
                         ", timeout=timeout\n        )");
                if (!each.result && each.kind != MessageKind::kProcedure) {
                    out_.put("        if reply.word != vos.Ret.OK:\n            raise vos.VosError(reply.word, \"",
                             all_.name, ".", each.name, "\")");
                }
                out_.put(resultType(each) == "None" ? "        _require(not reply.payload, \"no payload\")"
                                                    : "        return " + resultValue(each));
            } else if (each.kind == MessageKind::kNotice) {
                out_.put("\n    def ", method, "(self", parameters(each), ") -> None:\n        ", docText(each.doc));
                out_.put("        self._hub.notify(self._to, ", type, ", ", packed(each), word, ")");
            } else {
                putListen(each, function, await);
            }
        }
        out_.put();
    }
    static std::string handled(const Message &message, const std::string &from) {
        const std::string payload =
            message.payload != nullptr ? message.payload->name + ".unpack(" + from + ".payload)" : "";
        const std::string word = message.word ? readWord(*message.word, from + ".word") : "";
        return payload + (!payload.empty() && !word.empty() ? ", " : "") + word;
    }
    static std::string handledTypes(const Message &message) {
        const std::string payload = message.payload != nullptr ? message.payload->name : "";
        const std::string word = message.word ? elementType(*message.word) : "";
        return payload + (!payload.empty() && !word.empty() ? ", " : "") + word;
    }
    void putListen(const Message &message, const std::string &function, const std::string &await) {
        const std::string type = upperSnake(message.name) + "_TYPE";
        out_.put("\n", function, "on_", snake(message.name), "(self, handler: Callable[[", handledTypes(message),
                 "], None]) -> None:\n        ", docText(message.doc));
        out_.put("        self._hub.on(", type, ", lambda message: handler(", handled(message, "message"), "))");
        out_.put("        ", await, "self._hub.subscribe(", type, ")");
    }

    void putServer() {
        out_.put("\nclass Server(ABC):\n    \"\"\"Answers as ", all_.server,
                 ". A request that does not fit is answered VOS_RET_BAD_ARG.\"\"\"\n");
        out_.put("    def __init__(self, hub: vos.Connection | vos.aio.Connection) -> None:\n        self._hub = hub");
        for (const Message &each : all_.messages) {
            if (each.kind != MessageKind::kEvent) {
                out_.put("        hub.", each.isAnswered() ? "serve(" : "on(", upperSnake(each.name), "_TYPE, self._",
                         snake(each.name),
                         each.kind == MessageKind::kProcedure ? ", procedure=" + upperSnake(each.name) + "_NUMBER" : "",
                         ")");
            }
        }
        for (const Message &each : all_.messages) {
            const std::string method = snake(each.name);
            const std::string word = each.word ? ", " + each.word->name + ": " + elementType(*each.word) : "";
            const std::string payload = each.payload != nullptr ? ", payload: " + each.payload->name : "";
            if (each.kind == MessageKind::kEvent) {
                out_.put("\n    def publish_", method, "(self", parameters(each),
                         ") -> None:\n        \"\"\"To all who listen: ", docText(each.doc).substr(3));
                out_.put("        self._hub.publish(", upperSnake(each.name), "_TYPE, ", packed(each), wordOf(each),
                         ")");
                continue;
            }
            out_.put("\n    @abstractmethod\n    def ", method, "(self", payload, word, ") -> ",
                     each.isAnswered() ? resultType(each) : "None", ":\n        ", docText(each.doc));
            out_.put("\n    def _", method, "(self, ",
                     each.isAnswered() ? "request: vos.Request" : "message: vos.Message", ") -> None:");
            const std::string from = each.isAnswered() ? "request" : "message";
            const std::string call = "self." + method + "(" + handled(each, from) + ")";
            if (each.payload == nullptr && each.kind != MessageKind::kProcedure) {
                out_.put("        _require(not ", from, ".payload, \"no payload\")");
            }
            if (!each.isAnswered() || resultType(each) == "None") {
                out_.put("        ", call);
            } else if (each.result && each.reply != nullptr) {
                out_.put("        word, reply = ", call, "\n        request.reply(reply.pack(), word",
                         each.result->isSigned ? " & 0xFFFFFFFF)" : ")");
            } else {
                out_.put(
                    "        request.reply(",
                    each.result ? "b\"\", " + call + (each.result->isSigned ? " & 0xFFFFFFFF" : "") : call + ".pack()",
                    ")");
            }
        }
    }

    const iface::Interface &all_;
    Lines out_;
};

}  // namespace

std::string makePython(const iface::Interface &all) {
    return PythonMaker{all}.make();
}

}  // namespace vosgen
