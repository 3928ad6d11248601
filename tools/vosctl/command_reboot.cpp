// vosctl reboot: asks the hub to restart the gateway.
#include "command.h"
#include "common/msg_names.h"
#include "hub_connection.h"

namespace {

void run() {
    vosctl::Hub hub;
    const vosctl::MessagePtr reply =
        hub.request(*hub.build(EID_HUBD, VOS_MSG_REBOOT, VOS_MSG_FLAG_REQUEST, 0, {}), "the hub");
    if (reply && reply->wordData != VOS_RET_OK) {
        throw vosctl::Failure{"the hub refuses to reboot: " + msgnames::retText(reply->wordData)};
    }
}

void setUp(vosctl::Arguments app) {
    app.runs(run);
}
const vosctl::Command kCommand{"reboot", "ask the hub to restart the gateway", setUp};

}  // namespace
