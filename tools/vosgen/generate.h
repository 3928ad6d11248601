// What vosgen makes of a description.
#pragma once

#include <string>
#include <vector>

#include "common/interface/model.h"

namespace vosgen {

/** Text that grows by lines. */
class Lines {
  public:
    template <typename... Parts>
    void put(const Parts &...parts) {
        (text_.append(parts), ...);
        text_ += '\n';
    }
    const std::string &text() const { return text_; }

  private:
    std::string text_;
};

using iface::upperFirst;
using iface::upperSnake;
std::string hex(uint32_t number);

std::string makeC(const iface::Interface &all);
std::string makeCpp(const iface::Interface &all);
std::string makePython(const iface::Interface &all);
std::string makeLua(const iface::Interface &all);
std::string makeMarkdown(const iface::Interface &all);

/** Sizes, offsets and padding, for people. */
std::string layoutOf(const iface::Interface &all);

/** Rows "{code, name}," of the types that have a constant, in order of code. */
std::string typeNames(const std::vector<iface::Interface> &all);

/** A difference between two states of a description. */
struct Change {
    bool breaks;  // peers of the two do not understand each other
    std::string text;
};
std::vector<Change> compare(const iface::Interface &before, const iface::Interface &after);

}  // namespace vosgen
