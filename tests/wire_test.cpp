// What other processes see on the socket, byte for byte and the same on every platform.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "support/hub_script.h"
#include "vos/request.h"
#include "vos/task.h"
#include "vos/tmr.h"

namespace {

constexpr uint32_t kType = 0x10005000;
constexpr uint8_t kData[] = {'a', 0, 'b'};
const VosMsgHeader kRequest = vostest::message(kType, 60, 50, VOS_MSG_FLAG_REQUEST, 7).header;

std::string hex(std::string_view bytes) {
    std::string out;
    for (const char byte : bytes) {
        char text[3];
        snprintf(text, sizeof text, "%02x", static_cast<unsigned>(static_cast<uint8_t>(byte)));
        out += text;
    }
    return out;
}

// What a platform chooses, ids and addresses of code, stands as "?" and counts as equal.
std::string masked(std::string found, std::string_view wanted) {
    for (size_t at = 0; at < found.size() && at < wanted.size(); at++) {
        found[at] = wanted[at] == '?' ? '?' : found[at];
    }
    return found;
}

struct Call {
    const char *name;
    const char *header;  // type, source, destination, flags, number, link, word, length
    const char *payload;
    uint32_t answered;  // type of the answer that the call waits for
    void (*send)(VosMsgHandle *handle, void *timers);
};

// The timer's context of all ones leaves nothing of the function's address in the word.
constexpr Call kCalls[] = {
    {"UTIL_sendMsg", "00500010320000003c0000000000000000000000000000000300000003000000", "610062", 0,
     [](VosMsgHandle *h, void *) { UTIL_sendMsg(h, 60, kType, 3, kData, 3); }},
    {"UTIL_sendEventMsg", "00500010320000003c0000000100000000000000000000000200000003000000", "610062", 0,
     [](VosMsgHandle *h, void *) { UTIL_sendEventMsg(h, 60, kType, 2, kData, 3, 1); }},
    {"UTIL_sendRequest", "00500010320000003c0000000200000000000000000000000100000003000000", "610062", kType,
     [](VosMsgHandle *h, void *) { UTIL_sendRequest(h, 60, kType, 1, kData, 3); }},
    {"UTIL_sendHeartbeat", "3208001032000000140000000000000000000000000000000000000000000000", "", 0,
     [](VosMsgHandle *h, void *) { UTIL_sendHeartbeat(h); }},
    {"UTIL_stopWatchdog", "3408001032000000140000000000000000000000000000000000000000000000", "", 0,
     [](VosMsgHandle *h, void *) { UTIL_stopWatchdog(h); }},
    {"UTIL_registerEvent", "0208001032000000140000000200000000000000000000000b00000003000000", "610062",
     VOS_MSG_REGISTER_EVENT_INTEREST, [](VosMsgHandle *h, void *) { UTIL_registerEvent(h, 11, kData, 3); }},
    {"vosMsg_sendReply", "00500010320000003c0000000400000000000000000000002a23000000000000", "", 0,
     [](VosMsgHandle *h, void *) { vosMsg_sendReply(h, &kRequest, 9002); }},
    {"utilMsgTmr_set", "000800103200000014000000020000000000000000000000ffffffff04000000", "88130000",
     VOS_MSG_REGISTER_DELAYED_MSG,
     [](VosMsgHandle *h, void *timers) {
         utilMsgTmr_set(
             h, timers, [](void *) {}, reinterpret_cast<void *>(UINTPTR_MAX), 5000, "wire");
     }},
    {"UTIL_taskStart", "130000003200000032000000010000000000000000000000????????08000000", "????????????????", 0,
     [](VosMsgHandle *h, void *) { UTIL_taskStart([](void *) {}, nullptr, [](void *) {}, h); }},
};

TEST(Wire, HoldsTheSameBytesOnEveryPlatform) {
    vostest::HubScript hub;
    VosMsgHandle *handle = hub.open(50, "layout");
    void *timers = nullptr;
    utilTmr_init(&timers);
    // The word is the process id; a path follows the name.
    const std::string launched = "510200100000000014000000010000000000000000000000????????????????6c61796f757400";
    EXPECT_EQ(masked(hex(hub.announcement().bytes()), launched).substr(0, launched.size()), launched);
    for (const Call &call : kCalls) {
        SCOPED_TRACE(call.name);
        if (call.answered != 0) {
            hub.send(vostest::message(call.answered, 20, 50, VOS_MSG_FLAG_RESPONSE, 4711));
        }
        call.send(handle, timers);
        const std::string wanted = std::string{call.header} + call.payload;
        EXPECT_EQ(masked(hex(hub.read().value_or(vostest::WireMessage{}).bytes()), wanted), wanted);
    }
    utilTmr_cleanup(&timers);
    vosMsg_cleanup(&handle);
}

}  // namespace
