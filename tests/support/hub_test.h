// A test with a handle of its own on a hub whose side it drives.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/files.h"
#include "support/heap.h"
#include "support/hub_script.h"
#include "support/leak.h"
#include "support/syslog_catcher.h"

namespace vostest {

constexpr uint32_t kSelf = 50;
constexpr uint32_t kPeer = 60;

class HubTest : public testing::Test {
  protected:
    ~HubTest() override { vosMsg_cleanup(&handle); }
    std::string sent() { return hub.read().value_or(WireMessage{}).bytes(); }
    /** Lets the hub answer the request that is sent next. */
    void answer(uint32_t type, uint32_t result, const std::string &payload = {}) {
        hub.send(message(type, kPeer, kSelf, VOS_MSG_FLAG_RESPONSE, result, payload));
    }

    HubScript hub;
    VosMsgHandle *handle = hub.open(kSelf);
};

}  // namespace vostest
