// The hub: connections from accept to close, and the loop that drives everything.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "launch.h"
#include "listener.h"
#include "options.h"

namespace hubd {

class Hub final : private ClientWalk {
  public:
    /** Listens from here on; throws HubError. */
    explicit Hub(const Options &options);

    /** Routes until a SIGTERM, SIGINT or SIGHUP. */
    void run();

  private:
    void forEachClient(const std::function<void(Client &)> &visit) override;

    void acceptClients();
    void admit(vos::UniqueFd fd);
    void handleClient(int fd, uint32_t events);
    void readFrom(Client &client);
    void continueWith(Client &client);
    /** Gives every client with kept messages a turn, unless it has to wait or had its turn in this round. */
    void serveKept();
    void beginTurn(Client &client);
    void conclude(Client &client, ReadStatus status);
    Turn receive(Client &client, const Frame &frame);
    void serve(Client &client, const Frame &frame);
    size_t payloadLimitOf(const Client &client) const;
    void endDepartures();
    void end(Client &client, const std::string &why);

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
    vos::UniqueFd signals_;  // before the listener: from then on a signal must not leave the socket file behind
    Listener listener_;
    Poller poller_;
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
    std::vector<std::unique_ptr<Client>> clients_;  // by descriptor
    std::vector<std::unique_ptr<Client>> ended_;    // kept until no event of the last wait can name them
    std::deque<Unannounced> unannounced_;           // in order of deadline
    std::vector<Client *> kept_;                    // those with kept messages; who has waited longest is first
    uint64_t round_ = 0;
    uint64_t sendsLeft_ = 0;  // of the current turn
    uint64_t serial_ = 0;
    int64_t acceptAgainNs_ = kNever;  // accepting rests until then
    bool acceptTrouble_ = false;
    bool running_ = true;
};

}  // namespace hubd
