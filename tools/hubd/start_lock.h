// One hub at a time looks at a socket file and takes its place.
#pragma once

#include <stdexcept>
#include <string>

#include "internal/guards.h"

namespace hubd {

/** Why the hub cannot start or go on, in one line. */
struct HubError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** A SIGTERM, SIGINT or SIGHUP came before the hub had begun. */
struct EndedBySignal {};

/** Keeps SIGTERM, SIGINT and SIGHUP back until somebody asks for them, and does without SIGPIPE. */
void holdEndSignals();
/** A descriptor that becomes readable when one of them comes. */
vos::UniqueFd awaitEndSignals();

/** Held by a hub that starts: two at once must not each find the socket file stale and remove the other's. A file of
 *  its own beside the socket, since anybody who may open a directory may lock it. */
class StartLock {
  public:
    /** Waits for a hub that starts at the same time, but not for ever. Expects holdEndSignals(); throws HubError or
     *  EndedBySignal. */
    explicit StartLock(const std::string &socketPath);
    /** Removes the file. */
    ~StartLock();
    StartLock(const StartLock &) = delete;
    StartLock &operator=(const StartLock &) = delete;

  private:
    std::string path_;
    vos::UniqueFd fd_;
};

}  // namespace hubd
