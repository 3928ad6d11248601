// What a command has printed must arrive: a full disk or a closed reader ends it.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace vosctl {

/** Writes standard output out; throws Failure when that, or an earlier write, failed. */
void flushOutput();

/** One line of JSON, in ASCII whatever the texts hold; what is no UTF-8 in them is replaced. */
void printJson(const nlohmann::ordered_json &value);

}  // namespace vosctl
