// The hub's own services.
#include "services.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "clock.h"
#include "internal/bytes.h"
#include "internal/message_header.h"
#include "report.h"

namespace hubd {

namespace {

// In the units of Turns: what these cost beyond the message itself.
constexpr uint64_t kDirectoryWork = 40;
constexpr uint64_t kNameWork = 4;

constexpr int64_t kRefusalLinesApartNs = 1000 * kNsPerMs;

constexpr size_t kMaxDirectory = 512;  // what requesters read of a directory's text, its NUL included

vos::ByteReader readerOf(const Frame &frame) {
    return {frame.payload().data(), frame.payload().size()};
}

/** The payload's text up to its NUL; empty without one. */
std::string textOf(const Frame &frame) {
    vos::ByteReader reader = readerOf(frame);
    return std::string{reader.terminatedText()};
}

template <typename T>
std::span<const std::byte> bytesOf(const std::vector<T> &items) {
    return std::as_bytes(std::span{items});
}

void copyText(std::span<char> out, const std::string &text) {
    const size_t length = std::min(text.size(), out.size() - 1);
    memcpy(out.data(), text.data(), length);
}

hubproto::ClientRow rowOf(const Client &client) {
    hubproto::ClientRow row{};
    row.eid = client.eid;
    row.pid = static_cast<uint32_t>(client.credentials.pid);
    row.uid = client.credentials.uid;
    row.heartbeats = client.heartbeats;
    row.connectedMs = elapsedMs(client.connectedNs);
    row.lastHeartbeatMs = client.heartbeats == 0 ? UINT64_MAX : elapsedMs(client.lastHeartbeatNs);
    row.messagesIn = client.messagesIn;
    row.messagesOut = client.messagesOut;
    row.queuedBytes = client.queue.size();
    row.watchdogStopped = client.watchdogStopped;
    row.monitor = client.monitor;
    row.heldBack = client.pauses > 0;
    copyText(row.name, client.name);
    copyText(row.path, client.path);
    return row;
}

}  // namespace

Services::Services(const Options &options, ClientWalk &clients, const IdTable &ids, EntityDirectory &directory,
                   Router &router, Observers &observers, Memory &memory)
    : options_{options},
      clients_{clients},
      ids_{ids},
      directory_{directory},
      router_{router},
      observers_{observers},
      memory_{memory},
      room_{memory},
      delayed_{room_},
      interests_{room_},
      startedNs_{monotonicNs()} {}

Services::Handler Services::handlerOf(uint32_t type) {
    struct Entry {
        uint32_t type;
        Handler handler;
    };
    static constexpr std::array kHandlers{
        Entry{VOS_MSG_REGISTER_DELAYED_MSG, &Services::registerDelayed},
        Entry{VOS_MSG_UNREGISTER_DELAYED_MSG, &Services::unregisterDelayed},
        Entry{VOS_MSG_REGISTER_EVENT_INTEREST, &Services::registerInterest},
        Entry{VOS_MSG_UNREGISTER_EVENT_INTEREST, &Services::unregisterInterest},
        Entry{VOS_MSG_IS_APP_RUNNING, &Services::isAppRunning},
        Entry{VOS_MSG_HEARTBEAT, &Services::heartbeat},
        Entry{VOS_MSG_STOP_WATCHDOG, &Services::stopWatchdog},
        Entry{VOS_MSG_REBOOT, &Services::reboot},
        Entry{VOS_MSG_ADD_ENTITY_INFO, &Services::addEntity},
        Entry{VOS_MSG_DEL_ENTITY_INFO, &Services::deleteEntity},
        Entry{VOS_MSG_GET_EID_BY_APP_NAME, &Services::eidByAppName},
        Entry{VOS_MSG_GET_PLUGIN_CFG_DIR, &Services::pluginDirectory},
        Entry{hubproto::kMonitorAttach, &Services::attachMonitor},
        Entry{hubproto::kListClients, &Services::listClients},
        Entry{hubproto::kGetCounters, &Services::getCounters},
        Entry{hubproto::kAdvanceClock, &Services::advanceClock},
        Entry{hubproto::kEcho, &Services::echo},
    };
    const auto found = std::ranges::find(kHandlers, type, &Entry::type);
    return found != kHandlers.end() ? found->handler : nullptr;
}

void Services::handle(Client &from, const Frame &frame) {
    router_.flush();
    if (observers_.active()) {
        Payload payload{frame.payload(), frame.block};
        observers_.observe(frame.header, payload, hubproto::Verdict::kToHub);
    }
    const uint16_t flags = frame.header.flags;
    if ((flags & VOS_MSG_FLAG_RESPONSE) != 0) {
        return;  // the hub asks nobody
    }
    if (isRequest(flags)) {
        router_.counters().hubRequests++;
    }
    if (const Handler handler = handlerOf(frame.header.type)) {
        (this->*handler)(from, frame);
    } else {
        router_.reply(from, frame.header, VOS_RET_ERROR);
    }
    if (!isRequest(flags)) {
        publish(from, frame);
    }
}

bool Services::mustWait(Client &from, const Frame &frame) {
    const std::span<Client *const> receivers =
        isRequest(frame.header.flags) ? std::span<Client *const>{} : interests_.of(frame.header.type);
    return router_.mustWait(from, receivers);
}

void Services::publish(Client &from, const Frame &event) {
    router_.copyEvent(from, interests_.of(event.header.type), event);
}

void Services::forget(Client &client) {
    delayed_.forget(client);
    interests_.forget(client);
}

// One line a second for each client: whoever asks again and again must not fill the report.
void Services::refuse(Client &from, const Frame &frame, const char *what, const std::string &limit) {
    if (from.refusedNs == 0 || monotonicNs() - from.refusedNs >= kRefusalLinesApartNs) {
        from.refusedNs = monotonicNs();
        logLine("refusing %s to %s: %s", what, from.describe().c_str(), limit.c_str());
    }
    router_.reply(from, frame.header, VOS_RET_NO_RESOURCE);
}

std::string Services::tableLimit(size_t ofAClient) const {
    return "there are " + std::to_string(ofAClient) + " for a client, and a sixteenth of " +
           std::to_string(memory_.limit()) + " bytes for all registrations of a process (--memory-limit)";
}

int64_t Services::delayedNowNs() const {
    return options_.testClock ? testNowNs_ : monotonicNs();
}

std::optional<int64_t> Services::nextDueNs() const {
    const std::optional<int64_t> due = delayed_.nextDueNs();
    if (!options_.testClock || !due) {
        return due;
    }
    return *due <= testNowNs_ ? std::optional{monotonicNs()} : std::nullopt;
}

void Services::registerDelayed(Client &from, const Frame &frame) {
    vos::ByteReader reader = readerOf(frame);
    const auto delayMs = reader.native<uint32_t>();
    if (!reader.ok()) {
        router_.reply(from, frame.header, VOS_RET_BAD_ARG);
    } else if (delayed_.add(from, frame.header.wordData, delayedNowNs() + int64_t{delayMs} * kNsPerMs)) {
        router_.reply(from, frame.header, VOS_RET_OK);
    } else {
        refuse(from, frame, "a delayed message", tableLimit(DelayedMessages::kMaxForOneClient));
    }
}

void Services::unregisterDelayed(Client &from, const Frame &frame) {
    // A message that was delivered a moment ago is no error: nothing is due after the reply, which is what was asked.
    delayed_.cancel(from, frame.header.wordData);
    router_.reply(from, frame.header, VOS_RET_OK);
}

void Services::sendDelayed(Client &to, uint32_t wordData) {
    router_.sendFromHub(
        to, vos::messageHeader(VOS_MSG_REGISTER_DELAYED_MSG, EID_HUBD, to.eid, VOS_MSG_FLAG_EVENT, wordData));
}

void Services::registerInterest(Client &from, const Frame &frame) {
    if (interests_.add(from, frame.header.wordData)) {
        router_.reply(from, frame.header, VOS_RET_OK);
    } else {
        refuse(from, frame, "an interest in events", tableLimit(Interests::kMaxForOneClient));
    }
}

void Services::unregisterInterest(Client &from, const Frame &frame) {
    router_.reply(from, frame.header, interests_.remove(from, frame.header.wordData));
}

void Services::isAppRunning(Client &from, const Frame &frame) {
    const VosEntityId eid = frame.header.wordData;
    const bool running = eid == EID_HUBD || ids_.find(eid) != nullptr;
    router_.reply(from, frame.header, running ? VOS_RET_OK : VOS_RET_PEER_GONE);
}

void Services::heartbeat(Client &from, const Frame &frame) {
    from.heartbeats++;
    from.lastHeartbeatNs = monotonicNs();
    router_.reply(from, frame.header, VOS_RET_OK);
}

void Services::stopWatchdog(Client &from, const Frame &frame) {
    from.watchdogStopped = true;
    router_.reply(from, frame.header, VOS_RET_OK);
}

void Services::reboot(Client &from, const Frame &frame) {
    logLine("%s asks for a reboot; nothing is rebooted here", from.describe().c_str());
    router_.reply(from, frame.header, VOS_RET_OK);
}

void Services::addEntity(Client &from, const Frame &frame) {
    vos::ByteReader reader = readerOf(frame);
    const auto description = reader.native<hubproto::EntityDescription>();
    router_.addWork(kNameWork);
    const bool whole = reader.ok() && reader.remaining() == 0;
    const VosRet ret = whole ? directory_.add(description) : VosRet{VOS_RET_BAD_ARG};
    if (ret == VOS_RET_NO_RESOURCE) {
        refuse(from, frame, "a name",
               "there is room for " + std::to_string(EntityDirectory::kMaxAdded) + " added ones, and none is free");
    } else {
        router_.reply(from, frame.header, ret);
    }
}

void Services::deleteEntity(Client &from, const Frame &frame) {
    const std::string name = textOf(frame);
    router_.reply(from, frame.header, name.empty() ? VosRet{VOS_RET_BAD_ARG} : directory_.remove(name));
}

void Services::eidByAppName(Client &from, const Frame &frame) {
    const std::string name = textOf(frame).substr(0, kMaxName);
    router_.reply(from, frame.header, name.empty() ? 0 : directory_.idOf(name));
}

void Services::pluginDirectory(Client &from, const Frame &frame) {
    const uint32_t kind = frame.header.wordData;
    if (kind > 1) {
        router_.reply(from, frame.header, VOS_RET_BAD_ARG);
        return;
    }
    // A name comes from the client: it must stay one component of the path.
    std::string own = from.name;
    std::ranges::replace(own, '/', '_');
    if (own.empty() || own.starts_with('.')) {
        own = "eid-" + std::to_string(from.eid);
    }
    router_.addWork(kDirectoryWork);
    const std::string directory = (kind == 0 ? options_.pluginDataDir : options_.pluginTmpDir) + "/" + own + "/";
    const std::string error =
        directory.size() < kMaxDirectory ? kernel::makeDirectories(directory) : std::string{"its path is too long"};
    if (!error.empty()) {
        logLine("no directory %s for %s: %s", directory.c_str(), from.describe().c_str(), error.c_str());
        router_.reply(from, frame.header, VOS_RET_OPEN_FAILED);
        return;
    }
    router_.reply(from, frame.header, VOS_RET_OK, std::as_bytes(std::span{directory.c_str(), directory.size() + 1}));
}

bool Services::mayDo(const char *what, Client &from, const Frame &frame) {
    const bool may = from.credentials.uid == geteuid();
    if (!may) {
        logLine("%s of user %u must not %s", from.describe().c_str(), from.credentials.uid, what);
        router_.reply(from, frame.header, VOS_RET_SYS_REFUSED);
    }
    return may;
}

void Services::attachMonitor(Client &from, const Frame &frame) {
    if (mayDo("look on", from, frame)) {
        router_.reply(from, frame.header, VOS_RET_OK);
        observers_.attach(from);
    }
}

// What is due now goes out before the next message is read.
void Services::advanceClock(Client &from, const Frame &frame) {
    if (!options_.testClock) {
        router_.reply(from, frame.header, VOS_RET_ERROR);
    } else if (mayDo("move the clock", from, frame)) {
        constexpr int64_t kEndOfTime = INT64_MAX / 2;
        testNowNs_ = std::min(testNowNs_ + int64_t{frame.header.wordData} * kNsPerMs, kEndOfTime);
        router_.reply(from, frame.header, VOS_RET_OK);
    }
}

void Services::listClients(Client &from, const Frame &frame) {
    std::vector<hubproto::ClientRow> rows;
    clients_.forEachClient([&](Client &client) {
        if (client.eid != 0) {
            rows.push_back(rowOf(client));
        }
    });
    std::ranges::sort(rows, {}, &hubproto::ClientRow::eid);
    router_.addWork(rows.size() / 4);
    router_.reply(from, frame.header, VOS_RET_OK, bytesOf(rows));
}

void Services::getCounters(Client &from, const Frame &frame) {
    hubproto::HubCounters counters = router_.counters();
    counters.uptimeMs = elapsedMs(startedNs_);
    counters.memoryUsed = memory_.used();
    counters.memoryLimit = memory_.limit();
    clients_.forEachClient([&](Client &client) { counters.clients += client.eid != 0 ? 1 : 0; });
    router_.reply(from, frame.header, VOS_RET_OK, std::as_bytes(std::span{&counters, 1}));
}

void Services::echo(Client &from, const Frame &frame) {
    router_.reply(from, frame.header, VOS_RET_OK, frame.payload(), frame.block);
}

}  // namespace hubd
