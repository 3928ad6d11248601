// What other processes see must be the same on every platform: layouts of the public records and the bytes of messages.
// The table tests/layout.txt was written on 64-bit x86 with glibc; each lane compares itself with it.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

#include "support/files.h"
#include "support/hub_script.h"
#include "vos/digest.h"
#include "vos/dns.h"
#include "vos/eid.h"
#include "vos/hashmap.h"
#include "vos/list.h"
#include "vos/load.h"
#include "vos/log.h"
#include "vos/mem.h"
#include "vos/msg.h"
#include "vos/plugin.h"
#include "vos/prctl.h"
#include "vos/request.h"
#include "vos/srpc.h"
#include "vos/task.h"
#include "vos/tmr.h"
#include "vos/tms.h"
#include "vos/vector.h"
#include "vos/xml.h"

namespace {

constexpr uint32_t kSelf = 50;
constexpr uint32_t kType = 0x10005000;

std::string format(const char *text, auto... values) {
    char line[200];
    snprintf(line, sizeof line, text, values...);
    return line;
}

#define RECORD(type) out += format("%s size %zu align %zu\n", #type, sizeof(type), alignof(type))
#define FIELD(type, field) \
    out += format("  %s at %zu size %zu\n", #field, offsetof(type, field), sizeof(static_cast<type *>(nullptr)->field))

std::string records() {
    std::string out;
    RECORD(VosMsgHeader);
    FIELD(VosMsgHeader, type);
    FIELD(VosMsgHeader, src);
    FIELD(VosMsgHeader, dst);
    FIELD(VosMsgHeader, flags);
    FIELD(VosMsgHeader, sequenceNumber);
    FIELD(VosMsgHeader, next);
    FIELD(VosMsgHeader, wordData);
    FIELD(VosMsgHeader, dataLength);
    RECORD(UtilMd5Context);
    FIELD(UtilMd5Context, bitCount);
    FIELD(UtilMd5Context, state);
    FIELD(UtilMd5Context, block);
    RECORD(Sha256Context);
    FIELD(Sha256Context, block);
    FIELD(Sha256Context, fill);
    FIELD(Sha256Context, bitLength);
    FIELD(Sha256Context, state);
    RECORD(DnsResourceRecord);
    FIELD(DnsResourceRecord, name);
    FIELD(DnsResourceRecord, type);
    FIELD(DnsResourceRecord, rrClass);
    FIELD(DnsResourceRecord, ttl);
    FIELD(DnsResourceRecord, rdLength);
    FIELD(DnsResourceRecord, rdata);
    RECORD(EntityInfo);
    FIELD(EntityInfo, eid);
    FIELD(EntityInfo, name);
    FIELD(EntityInfo, accessBit);
    RECORD(ListEntry);
    FIELD(ListEntry, next);
    FIELD(ListEntry, data);
    RECORD(List);
    FIELD(List, head);
    FIELD(List, tail);
    RECORD(ListNode);
    FIELD(ListNode, next);
    FIELD(ListNode, reserved);
    FIELD(ListNode, data);
    RECORD(NodeList);
    FIELD(NodeList, head);
    FIELD(NodeList, tail);
    RECORD(HashMap);
    FIELD(HashMap, bucketCount);
    FIELD(HashMap, keyChains);
    FIELD(HashMap, valueChains);
    RECORD(UtilCpuOccupy);
    FIELD(UtilCpuOccupy, name);
    FIELD(UtilCpuOccupy, user);
    FIELD(UtilCpuOccupy, nice);
    FIELD(UtilCpuOccupy, system);
    FIELD(UtilCpuOccupy, idle);
    FIELD(UtilCpuOccupy, iowait);
    FIELD(UtilCpuOccupy, irq);
    FIELD(UtilCpuOccupy, softirq);
    FIELD(UtilCpuOccupy, steal);
    FIELD(UtilCpuOccupy, guest);
    RECORD(UtilMemEntry);
    FIELD(UtilMemEntry, name);
    FIELD(UtilMemEntry, value);
    RECORD(UtilMemOccupy);
    FIELD(UtilMemOccupy, memTotal);
    FIELD(UtilMemOccupy, memFree);
    FIELD(UtilMemOccupy, buffers);
    FIELD(UtilMemOccupy, cached);
    RECORD(LogSharedConfig);
    FIELD(LogSharedConfig, level);
    FIELD(LogSharedConfig, destination);
    FIELD(LogSharedConfig, callSites);
    FIELD(LogSharedConfig, callSiteNext);
    FIELD(LogSharedConfig, maxSize);
    RECORD(VosMemStats);
    FIELD(VosMemStats, shmStartAddr);
    FIELD(VosMemStats, shmEndAddr);
    FIELD(VosMemStats, shmBytesUsable);
    FIELD(VosMemStats, shmBytesInUse);
    FIELD(VosMemStats, shmNumAllocs);
    FIELD(VosMemStats, shmNumFrees);
    FIELD(VosMemStats, heapBytesInUse);
    FIELD(VosMemStats, heapNumAllocs);
    FIELD(VosMemStats, heapNumFrees);
    RECORD(PluginReqMsg);
    FIELD(PluginReqMsg, cmdCode);
    FIELD(PluginReqMsg, ID);
    FIELD(PluginReqMsg, source);
    FIELD(PluginReqMsg, sourceEid);
    FIELD(PluginReqMsg, pluginName);
    FIELD(PluginReqMsg, commonCtx);
    RECORD(PluginRespMsg);
    FIELD(PluginRespMsg, cmdCode);
    FIELD(PluginRespMsg, ID);
    FIELD(PluginRespMsg, source);
    FIELD(PluginRespMsg, sourceEid);
    FIELD(PluginRespMsg, retCode);
    FIELD(PluginRespMsg, reserved);
    FIELD(PluginRespMsg, pluginName);
    FIELD(PluginRespMsg, retCtx);
    RECORD(PrctlSpawnRequest);
    FIELD(PrctlSpawnRequest, exe);
    FIELD(PrctlSpawnRequest, args);
    FIELD(PrctlSpawnRequest, workDir);
    FIELD(PrctlSpawnRequest, extraLibPath);
    FIELD(PrctlSpawnRequest, spawnMode);
    FIELD(PrctlSpawnRequest, timeoutMs);
    FIELD(PrctlSpawnRequest, stdinFd);
    FIELD(PrctlSpawnRequest, stdoutFd);
    FIELD(PrctlSpawnRequest, stderrFd);
    FIELD(PrctlSpawnRequest, serverFd);
    FIELD(PrctlSpawnRequest, maxFd);
    FIELD(PrctlSpawnRequest, inheritSigint);
    FIELD(PrctlSpawnRequest, uid);
    FIELD(PrctlSpawnRequest, reserved1);
    FIELD(PrctlSpawnRequest, rssLimit);
    FIELD(PrctlSpawnRequest, asLimit);
    FIELD(PrctlSpawnRequest, reserved2);
    FIELD(PrctlSpawnRequest, nofileLimit);
    FIELD(PrctlSpawnRequest, disableCore);
    FIELD(PrctlSpawnRequest, detach);
    FIELD(PrctlSpawnRequest, usePty);
    FIELD(PrctlSpawnRequest, netnsName);
    RECORD(PrctlProcessResult);
    FIELD(PrctlProcessResult, pid);
    FIELD(PrctlProcessResult, status);
    FIELD(PrctlProcessResult, signalNumber);
    FIELD(PrctlProcessResult, exitCode);
    FIELD(PrctlProcessResult, ptyFd);
    RECORD(PrctlCollectRequest);
    FIELD(PrctlCollectRequest, collectMode);
    FIELD(PrctlCollectRequest, pid);
    FIELD(PrctlCollectRequest, timeoutMs);
    RECORD(UtilTimestamp);
    FIELD(UtilTimestamp, sec);
    FIELD(UtilTimestamp, nsec);
    RECORD(SrpcTaskParams);
    FIELD(SrpcTaskParams, count);
    FIELD(SrpcTaskParams, handlers);
    FIELD(SrpcTaskParams, baseId);
    RECORD(UtilTmrEvent);
    FIELD(UtilTmrEvent, next);
    FIELD(UtilTmrEvent, expireTms);
    FIELD(UtilTmrEvent, func);
    FIELD(UtilTmrEvent, ctxData);
    FIELD(UtilTmrEvent, name);
    RECORD(UtilTmrHandle);
    FIELD(UtilTmrHandle, events);
    FIELD(UtilTmrHandle, numEvents);
    RECORD(UtilVector);
    FIELD(UtilVector, count);
    FIELD(UtilVector, capacity);
    FIELD(UtilVector, slots);
    RECORD(XmlCallbacks);
    FIELD(XmlCallbacks, tagBegin);
    FIELD(XmlCallbacks, attrName);
    FIELD(XmlCallbacks, attrValue);
    FIELD(XmlCallbacks, data);
    FIELD(XmlCallbacks, tagEnd);
    RECORD(XmlNamespace);
    FIELD(XmlNamespace, prefix);
    FIELD(XmlNamespace, reserved);
    FIELD(XmlNamespace, uri);
    RECORD(XmlNode);
    FIELD(XmlNode, ns);
    FIELD(XmlNode, name);
    FIELD(XmlNode, handler);
    FIELD(XmlNode, children);
    RECORD(XmlTables);
    FIELD(XmlTables, root);
    FIELD(XmlTables, namespaces);
    return out;
}

// Offset, bytes in hexadecimal and the readable ones, as a person compares them.
std::string dump(const std::string &bytes) {
    std::string out;
    for (size_t at = 0; at < bytes.size(); at += 16) {
        std::string text;
        out += format("  %04zx ", at);
        for (const char byte : bytes.substr(at, 16)) {
            out += format(" %02x", static_cast<unsigned>(static_cast<uint8_t>(byte)));
            text += byte > 0x20 && byte < 0x7F ? byte : '.';
        }
        out += "  " + text + "\n";
    }
    return out;
}

// The words that a platform chooses, addresses of code and heap, are the receiver's to hand back and stand for nothing.
void hide(std::string &bytes, size_t at, size_t size) {
    for (; size > 0 && at < bytes.size(); size--) {
        bytes[at++] = '?';
    }
}

class Wire {
  public:
    ~Wire() { vosMsg_cleanup(&handle); }

    void show(const char *what, const std::function<void()> &build, size_t hideAt = 0, size_t hideSize = 0,
              size_t hideNext = 0, size_t hideNextSize = 0) {
        build();
        auto sent = hub.read();
        while (sent && sent->header.type == VOS_MSG_REQUEUE_WAKEUP) {
            sent = hub.read();  // a call before this one did not take its answer
        }
        std::string bytes = sent.value_or(vostest::WireMessage{}).bytes();
        hide(bytes, hideAt, hideSize);
        hide(bytes, hideNext, hideNextSize);
        text += std::string{what} + "\n" + dump(bytes);
    }
    void answer(uint32_t type) { hub.send(vostest::message(type, 20, kSelf, VOS_MSG_FLAG_RESPONSE, 4711)); }

    vostest::HubScript hub;
    VosMsgHandle *handle = hub.open(kSelf, "layout");
    std::string text;
};

std::string messages() {
    Wire wire;
    VosMsgHandle *const handle = wire.handle;
    const uint8_t data[] = {'a', 0, 'b'};
    // Process id and length of the executable's path, which follows the name.
    std::string launched = wire.hub.announcement().bytes();
    hide(launched, offsetof(VosMsgHeader, wordData), 2 * sizeof(uint32_t));
    wire.text += "vosMsg_initByName\n" + dump(launched.substr(0, sizeof(VosMsgHeader) + sizeof "layout"));
    wire.show("UTIL_sendMsg", [&] { UTIL_sendMsg(handle, 60, kType, 3, data, 3); });
    wire.show("UTIL_sendEventMsg", [&] { UTIL_sendEventMsg(handle, 60, kType, 2, data, 3, 1); });
    wire.answer(kType);
    wire.show("UTIL_sendRequest", [&] { UTIL_sendRequest(handle, 60, kType, 1, data, 3); });
    wire.show("UTIL_sendHeartbeat", [&] { UTIL_sendHeartbeat(handle); });
    wire.show("UTIL_stopWatchdog", [&] { UTIL_stopWatchdog(handle); });
    wire.answer(VOS_MSG_REGISTER_EVENT_INTEREST);
    wire.show("UTIL_registerEvent", [&] { UTIL_registerEvent(handle, 11, data, 3); });
    const VosMsgHeader request = vostest::message(kType, 60, kSelf, VOS_MSG_FLAG_REQUEST, 7).header;
    wire.show("vosMsg_sendReply", [&] { vosMsg_sendReply(handle, &request, 9002); });
    const PluginReqMsg ask{1, 2, 3, 4, "name", "context"};
    wire.show("UTIL_pluginSendReqMsg", [&] { UTIL_pluginSendReqMsg(handle, &request, &ask, nullptr); });
    char context[] = "context";
    const PluginRespMsg response{1, 2, 3, 4, -5, 0, "name", context};
    wire.show("UTIL_pluginSendRespMsg", [&] { UTIL_pluginSendRespMsg(handle, &request, &response); });
    void *timers = nullptr;
    utilTmr_init(&timers);
    // wordData is function or context, so that a context of all ones leaves nothing of the function's address.
    wire.answer(VOS_MSG_REGISTER_DELAYED_MSG);
    wire.show("utilMsgTmr_set", [&] {
        utilMsgTmr_set(
            handle, timers, [](void *) {}, reinterpret_cast<void *>(UINTPTR_MAX), 5000, "layout");
    });
    utilTmr_cleanup(&timers);
    // wordData and payload are the two functions or what stands for them.
    wire.show(
        "UTIL_taskStart", [&] { UTIL_taskStart([](void *) {}, nullptr, [](void *) {}, handle); },
        offsetof(VosMsgHeader, wordData), sizeof(uint32_t), sizeof(VosMsgHeader), sizeof(uint64_t));
    return wire.text;
}

TEST(Layout, IsTheSameOnEveryPlatform) {
    const std::string here = records() + messages();
    const std::string path = VOS_TEST_BUILD_DIR "/layout.txt";
    std::ofstream{path} << here;
    EXPECT_EQ(vostest::readText(VOS_TEST_SOURCE_DIR "/tests/layout.txt"), here)
        << "a released layout never changes; for a new record: cp " << path << " tests/layout.txt";
}

}  // namespace
