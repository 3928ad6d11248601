// What the hub does itself: requests and events that are addressed to it.
#pragma once

#include "delayed.h"
#include "entity_directory.h"
#include "interests.h"
#include "options.h"
#include "router.h"

namespace hubd {

/** The clients that are connected, for the list of them. */
class ClientWalk {
  public:
    virtual ~ClientWalk() = default;
    virtual void forEachClient(const std::function<void(Client &)> &visit) = 0;
};

class Services {
  public:
    Services(const Options &options, ClientWalk &clients, const IdTable &ids, EntityDirectory &directory,
             Router &router, Observers &observers, Memory &memory);

    void handle(Client &from, const Frame &frame);
    /** Whether an event or a request has to wait; its sender is paused then. */
    bool mustWait(Client &from, const Frame &frame);
    /** Copies an event to everybody who registered for its type. */
    void publish(Client &from, const Frame &event);

    /** When the next delayed message is due. */
    std::optional<int64_t> nextDueNs() const;
    /** The next one that is due, as the message for its registrant; `fd` is that client's. */
    std::optional<DelayedMessages::Due> takeDue(int64_t nowNs) {
        return delayed_.takeDue(options_.testClock ? testNowNs_ : nowNs);
    }
    void sendDelayed(Client &to, uint32_t wordData);

    /** Everything that a client left here ends with it. */
    void forget(Client &client);

  private:
    using Handler = void (Services::*)(Client &, const Frame &);
    static Handler handlerOf(uint32_t type);

    /** Answers with VOS_RET_NO_RESOURCE and says why. */
    void refuse(Client &from, const Frame &frame, const char *what, const std::string &limit);
    std::string tableLimit(size_t ofAClient) const;

    void registerDelayed(Client &from, const Frame &frame);
    void unregisterDelayed(Client &from, const Frame &frame);
    void registerInterest(Client &from, const Frame &frame);
    void unregisterInterest(Client &from, const Frame &frame);
    void isAppRunning(Client &from, const Frame &frame);
    void heartbeat(Client &from, const Frame &frame);
    void stopWatchdog(Client &from, const Frame &frame);
    void reboot(Client &from, const Frame &frame);
    void addEntity(Client &from, const Frame &frame);
    void deleteEntity(Client &from, const Frame &frame);
    void eidByAppName(Client &from, const Frame &frame);
    void pluginDirectory(Client &from, const Frame &frame);
    void attachMonitor(Client &from, const Frame &frame);
    void listClients(Client &from, const Frame &frame);
    void getCounters(Client &from, const Frame &frame);
    void advanceClock(Client &from, const Frame &frame);
    void echo(Client &from, const Frame &frame);

    /** The time that delayed messages go by. */
    int64_t delayedNowNs() const;
    /** Whether the client is the hub's own user's; others are refused `what`. */
    bool mayDo(const char *what, Client &from, const Frame &frame);

    const Options &options_;
    ClientWalk &clients_;
    const IdTable &ids_;
    EntityDirectory &directory_;
    Router &router_;
    Observers &observers_;
    const Memory &memory_;
    TableRoom room_;
    DelayedMessages delayed_;
    Interests interests_;
    int64_t startedNs_;
    int64_t testNowNs_ = 0;
};

}  // namespace hubd
