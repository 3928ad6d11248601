// The hub: connections from accept to close, and the loop that drives everything.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "launch.h"
#include "options.h"
#include "start_lock.h"
#include "turns.h"

namespace hubd {

class Hub final : private ClientWalk {
  public:
    /** `listener` has connections to accept, `endSignals` becomes readable when the hub is to end. Throws HubError. */
    Hub(const Options &options, int listener, int endSignals);

    /** Routes until a SIGTERM, SIGINT or SIGHUP. */
    void run();

  private:
    void forEachClient(const std::function<void(Client &)> &visit) override;

    void acceptClients();
    void admit(Descriptor fd);
    void told(Client &client, uint32_t events);
    /** Gives turns until the system is to be asked again what is ready. */
    void serveTurns();
    void giveTurn(Client &client);
    void readFrom(Client &client);
    void goOnWith(Client &client);
    void conclude(Client &client, ReadStatus status);
    Turn receive(Client &client, const Frame &frame);
    Turn serve(Client &client, const Frame &frame);
    size_t payloadLimitOf(const Client &client) const;
    /** Disconnects whoever holds most, if that is not the one who asks for more. */
    bool relieve(const Client &asking, size_t size);
    void resumed(Client &client);
    void endDepartures();
    void end(Client &client);

    /** When something has to be done without an event; kNever otherwise. */
    int64_t nextDeadlineNs() const;
    int msToNextDeadline() const;
    void runDeadlines();

    static constexpr int64_t kNever = INT64_MAX;

    struct Unannounced {
        int fd;
        uint64_t serial;
        int64_t deadlineNs;
    };

    const Options options_;
    const int listener_;
    const int endSignals_;
    Memory memory_;  // before everybody who keeps blocks
    Departures departures_;
    Outbox outbox_;
    Congestion congestion_;
    IdTable ids_;
    EntityDirectory directory_;
    Observers observers_;
    Router router_;
    Services services_;
    Launcher launcher_;
    FrameReader reader_;
    Turns turns_;
    std::vector<std::unique_ptr<Client>> clients_;  // by descriptor
    std::vector<std::unique_ptr<Client>> ended_;    // kept until no event of the last wait can name them
    std::deque<Unannounced> unannounced_;           // in order of deadline
    const Client *served_ = nullptr;                // whose turn it is
    uint64_t turnEnds_ = 0;                         // at this much work of the router
    uint64_t serial_ = 0;
    int64_t acceptAgainNs_ = kNever;  // accepting rests until then
    bool acceptTrouble_ = false;
    bool running_ = true;
};

}  // namespace hubd
