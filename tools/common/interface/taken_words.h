// Names that a description must leave to the code that is made of it.
#pragma once

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>

namespace iface {

/** Words of C, C++ or Python and macros of theirs, and what generated classes call their own. */
const std::set<std::string_view> kTakenWords{
    "alignas",      "alignof",      "and",
    "and_eq",       "as",           "asm",
    "assert",       "async",        "AsyncClient",
    "AsyncServer",  "auto",         "await",
    "bitand",       "bitor",        "bool",
    "break",        "bytes",        "case",
    "catch",        "char",         "char16_t",
    "char32_t",     "char8_t",      "class",
    "Client",       "co_await",     "co_return",
    "co_yield",     "compl",        "concept",
    "const",        "const_cast",   "consteval",
    "constexpr",    "constinit",    "continue",
    "decltype",     "def",          "default",
    "del",          "delete",       "do",
    "double",       "dynamic_cast", "elif",
    "else",         "enum",         "EOF",
    "errno",        "except",       "explicit",
    "export",       "extern",       "False",
    "false",        "finally",      "find",
    "float",        "for",          "friend",
    "from",         "global",       "goto",
    "head",         "hub_",         "if",
    "import",       "in",           "inline",
    "int",          "is",           "lambda",
    "linux",        "list",         "long",
    "loop_",        "mutable",      "namespace",
    "new",          "noexcept",     "None",
    "nonlocal",     "not",          "not_eq",
    "NULL",         "nullptr",      "operator",
    "or",           "or_eq",        "pack",
    "pad",          "pass",         "Payloads",
    "private",      "protected",    "public",
    "raise",        "register",     "reinterpret_cast",
    "requires",     "restrict",     "return",
    "self",         "Server",       "server",
    "server_",      "short",        "signed",
    "sizeof",       "static",       "static_assert",
    "static_cast",  "stderr",       "stdin",
    "stdout",       "str",          "struct",
    "switch",       "template",     "this",
    "thread_local", "throw",        "True",
    "true",         "try",          "tuple",
    "typedef",      "typeid",       "typename",
    "union",        "unix",         "unpack",
    "unsigned",     "using",        "virtual",
    "void",         "volatile",     "wchar_t",
    "while",        "with",         "xor",
    "xor_eq",       "yield",
};

/** What generated calls call their own parameters: no name for a header's word. */
const std::set<std::string_view> kTakenByCalls{"done",  "loop",    "patience", "payload",
                                               "reply", "timeout", "vos",      "written"};

/** A letter, then letters, digits and _. */
inline bool isName(std::string_view text) {
    const auto inName = [](char c) { return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    return !text.empty() && isalpha(static_cast<unsigned char>(text[0])) != 0 && std::ranges::all_of(text, inName);
}

}  // namespace iface
