/** @file
 *  The daemon's log. Part of vos/vos.hpp.
 *
 *  Entries are written with the macros of vos/log.h, VOS_LOG_NOTICE("%u nodes", count) and its sisters. Inside a lambda
 *  they name the function around it.
 */
#ifndef VOS_HPP_LOG_HPP
#define VOS_HPP_LOG_HPP

#include <algorithm>
#include <cstring>
#include <string_view>

#include "vos/log.h"

namespace vos {

/** The log is open as long as this lives. */
class Log {
  public:
    /** Opens it, see vosLog_init(). */
    explicit Log(VosEntityId eid) { vosLog_init(eid); }
    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;
    ~Log() { vosLog_cleanup(); }
};

namespace detail {

/** The name of a function and, for a lambda's "operator()", that of the function around it. */
class FunctionName {
  public:
    FunctionName(const char *name, const char *pretty) noexcept : name_{name} {
        if (std::strcmp(name, "operator()") != 0) {
            return;
        }
        std::string_view outer{pretty};
        /* "int main()::<lambda(int)>" and "auto main()::(anonymous class)::operator()(int) const" */
        outer = outer.substr(
            0, std::min({outer.find("::<lambda"), outer.find("::(anonymous class)"), outer.find("::(lambda")}));
        /* "(anonymous namespace)::Class::name(void (*)(int)) const": without the last pair of parentheses */
        size_t open = outer.rfind(')');
        for (size_t depth = 1; open != outer.npos && open > 0 && depth > 0;) {
            open--;
            depth += outer[open] == ')' ? 1u : 0u;
            depth -= outer[open] == '(' ? 1u : 0u;
        }
        outer = outer.substr(0, open);
        outer = outer.substr(outer.find_last_of(" :") + 1);
        buffer_[outer.copy(buffer_, sizeof buffer_ - 1)] = '\0';
        name_ = outer.empty() ? name : buffer_;
    }
    FunctionName(const FunctionName &) = delete;
    FunctionName &operator=(const FunctionName &) = delete;
    const char *get() const noexcept { return name_; }

  private:
    const char *name_;
    char buffer_[64];
};

}  // namespace detail
}  // namespace vos

#undef VOS_FUNCTION
/** The function that an entry is named after. */
#define VOS_FUNCTION (vos::detail::FunctionName{__func__, __PRETTY_FUNCTION__}.get())

#endif
