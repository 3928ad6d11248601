// The types that a description may write without describing them.
#pragma once

#include <array>
#include <string_view>

#include "common/interface/model.h"

namespace iface {

struct BasicType {
    std::string_view name;
    Kind kind;
    uint32_t size;
    uint32_t align;
    bool isSigned = false;
};
constexpr std::array kBasicTypes{
    BasicType{"u8", Kind::kInteger, 1, 1},        BasicType{"u16", Kind::kInteger, 2, 2},
    BasicType{"u32", Kind::kInteger, 4, 4},       BasicType{"u64", Kind::kInteger, 8, 8},
    BasicType{"i8", Kind::kInteger, 1, 1, true},  BasicType{"i16", Kind::kInteger, 2, 2, true},
    BasicType{"i32", Kind::kInteger, 4, 4, true}, BasicType{"i64", Kind::kInteger, 8, 8, true},
    BasicType{"bool", Kind::kBool, 1, 1},         BasicType{"char", Kind::kChars, 1, 1},
    BasicType{"byte", Kind::kBytes, 1, 1},        BasicType{"ipv4", Kind::kIpv4, 4, 1},
    BasicType{"ipv6", Kind::kIpv6, 16, 1},        BasicType{"mac", Kind::kMac, 6, 1},
    BasicType{"textAt", Kind::kTextAt, 8, 8},     BasicType{"cstring", Kind::kCString, 0, 1},
    BasicType{"text", Kind::kText, 0, 1},         BasicType{"bytes", Kind::kRest, 0, 1},
};

}  // namespace iface
