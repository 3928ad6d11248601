// How an answer differs from the recorded one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "replay_script.h"

namespace vosctl {

/** What may differ: "TYPE", "TYPE:word", "TYPE:FIELD" by description, "TYPE:FROM-TO" in bytes. */
class Ignored {
  public:
    /** Throws a usage Failure. */
    explicit Ignored(const std::string &text);
    bool isOf(uint32_t type) const { return type == type_; }
    bool all() const { return field_.empty(); }
    bool field(const std::string &name) const;
    bool byte(size_t offset) const { return bytes_ && offset >= bytes_->first && offset <= bytes_->second; }

  private:
    uint32_t type_ = 0;
    std::string field_;
    std::optional<std::pair<size_t, size_t>> bytes_;
};

struct Difference {
    uint64_t message;  // in the capture; of what is too much, 0
    uint32_t type;
    std::string kind;   // "reply", "event"
    std::string field;  // "word", "bytes 4-7", a described field, "message"
    std::string recorded;
    std::string now;
};

/** @param now  nothing when it did not come; `recorded` is nothing for one too much */
std::vector<Difference> compare(const std::string &kind, const std::optional<Message> &recorded,
                                const std::optional<Message> &now, const std::vector<Ignored> &ignored);

}  // namespace vosctl
