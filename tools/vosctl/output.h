// What a command has printed must arrive: a full disk or a closed reader ends it.
#pragma once

namespace vosctl {

/** Writes standard output out; throws Failure when that, or an earlier write, failed. */
void flushOutput();

}  // namespace vosctl
