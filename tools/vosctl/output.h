// What a command has printed must arrive: a full disk, a closed reader or none at all ends it.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace vosctl {

/** Called first of all: a standard output that the program was started without takes nothing, and writing to it fails.
 */
void prepareOutput();

/** Writes standard output out; throws Failure when that, or an earlier write, failed. */
void flushOutput();

/** One line of JSON, in ASCII whatever the texts hold; what is no UTF-8 in them is replaced. */
void printJson(const nlohmann::ordered_json &value);

}  // namespace vosctl
