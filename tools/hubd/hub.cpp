// Connections and the loop.
#include "hub.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "clock.h"
#include "report.h"

namespace hubd {

namespace {

constexpr int kAcceptsInARow = 16;
constexpr int64_t kAcceptRestNs = 100 * kNsPerMs;
constexpr int kTraceRetryMs = 20;

// In the units of Turns.
constexpr uint64_t kTurnWork = 128;
constexpr uint64_t kWorkBetweenWaits = 256;

constexpr const char *kNoMemory = "there is no memory for its messages (--memory-limit)";

}  // namespace

Hub::Hub(const Options &options, int listener, int endSignals)
    : options_{options},
      listener_{listener},
      endSignals_{endSignals},
      memory_{options_.memoryLimit},
      outbox_{memory_, departures_, options_.queueLimit},
      congestion_{memory_, departures_, options_.queueLimit, options_.deafAfterMs * kNsPerMs},
      directory_{ids_},
      observers_{outbox_, directory_, options_.trace},
      router_{ids_, outbox_, congestion_, observers_},
      services_{options_, *this, ids_, directory_, router_, observers_, memory_},
      launcher_{*this, ids_, directory_, router_, services_},
      reader_{memory_} {
    memory_.relieve = [this](const Client &asking, size_t size) { return relieve(asking, size); };
    if (!kernel::watch(listener_, EPOLLIN) || !kernel::watch(endSignals_, EPOLLIN)) {
        throw HubError{std::string{"cannot watch descriptors: "} + strerror(errno)};
    }
}

void Hub::run() {
    logLine("listening on %s", options_.socketPath.c_str());
    while (running_) {
        for (const epoll_event &event : kernel::wait(turns_.empty() ? msToNextDeadline() : 0)) {
            const int fd = event.data.fd;
            if (fd == listener_) {
                acceptClients();
            } else if (fd == endSignals_) {
                running_ = false;
            } else if (Client *client = clients_[static_cast<size_t>(fd)].get()) {
                told(*client, event.events);
            }
        }
        try {
            runDeadlines();
        } catch (const std::bad_alloc &) {
            // What is due stays due.
        }
        serveTurns();
        observers_.flush();
        ended_.clear();
    }
}

void Hub::forEachClient(const std::function<void(Client &)> &visit) {
    for (const std::unique_ptr<Client> &client : clients_) {
        if (client) {
            visit(*client);
        }
    }
}

void Hub::acceptClients() {
    for (int i = 0; i < kAcceptsInARow; i++) {
        Descriptor fd{kernel::accept(listener_)};
        int error = fd.get() < 0 ? errno : 0;
        if (error == 0) {
            try {
                admit(std::move(fd));
                continue;
            } catch (const std::bad_alloc &) {
                error = ENOMEM;
            }
        }
        if (error != EAGAIN && error != EINTR && error != ECONNABORTED) {
            // Out of descriptors or memory: whoever waits in the backlog gets in when others have left.
            if (!acceptTrouble_) {
                logLine("cannot accept a client for now: %s", strerror(error));
            }
            acceptTrouble_ = true;
            acceptAgainNs_ = monotonicNs() + kAcceptRestNs;
            kernel::unwatch(listener_);
        } else if (error == EAGAIN) {
            acceptTrouble_ = false;
        }
        return;
    }
}

void Hub::admit(Descriptor fd) {
    const auto credentials = kernel::peerOf(fd.get());
    if (!credentials) {
        return;
    }
    const int slot = fd.get();
    auto client = std::make_unique<Client>();
    client->credentials = *credentials;
    client->serial = ++serial_;
    client->connectedNs = monotonicNs();
    if (clients_.size() <= static_cast<size_t>(slot)) {
        clients_.resize(static_cast<size_t>(slot) + 1);
    }
    ended_.reserve(clients_.size());  // ending must not fail later
    unannounced_.push_back({slot, client->serial, client->connectedNs + options_.announceTimeoutMs * kNsPerMs});
    turns_.enter(*client);
    if (!kernel::watch(slot, EPOLLIN)) {
        turns_.leave(*client);
        throw std::bad_alloc{};
    }
    client->watched = EPOLLIN;
    client->fd = std::move(fd);
    clients_[static_cast<size_t>(slot)] = std::move(client);
}

void Hub::told(Client &client, uint32_t events) {
    client.canSend = client.canSend || (events & EPOLLOUT) != 0;
    client.canRead = client.canRead || (events & ~uint32_t{EPOLLOUT}) != 0;
    if (client.canSend || (client.pauses == 0 && client.kept.empty())) {
        turns_.add(client);
    }
}

void Hub::serveTurns() {
    const uint64_t end = router_.work() + kWorkBetweenWaits;
    while (!turns_.empty() && router_.work() < end) {
        Client *client = turns_.next();
        if (client == nullptr) {
            continue;
        }
        const uint64_t before = router_.work();
        served_ = client;
        giveTurn(*client);
        served_ = nullptr;
        router_.addWork(1);
        turns_.charge(*client, router_.work() - before);
        endDepartures();
        memory_.allowBeyond(0);
    }
    endDepartures();
}

void Hub::giveTurn(Client &client) {
    turnEnds_ = router_.work() + kTurnWork;
    try {
        if (std::exchange(client.canSend, false)) {
            router_.addWork(unitsOf(outbox_.drain(client)));
            congestion_.drained(client, [this](Client &sender) { resumed(sender); });
        }
        if (client.pauses > 0 || client.leaving) {
            return;
        }
        if (!client.kept.empty() || client.partial.complete()) {
            goOnWith(client);
        } else if (std::exchange(client.canRead, false)) {
            readFrom(client);
        }
    } catch (const std::bad_alloc &) {
        departures_.addForMemory(client);
    }
    router_.flush();
}

// It was not read for a while, or what was read from it was kept.
void Hub::resumed(Client &client) {
    if (!client.kept.empty() || client.partial.complete()) {
        turns_.add(client);
    }
}

void Hub::readFrom(Client &client) {
    const ReadStatus status = reader_.read(
        client, [&] { return payloadLimitOf(client); }, [&](const Frame &frame) { return receive(client, frame); });
    router_.addWork(unitsOf(reader_.got()));
    router_.flush();
    conclude(client, status);
}

void Hub::goOnWith(Client &client) {
    const ReadStatus status = reader_.goOn(
        client, [&] { return payloadLimitOf(client); }, [&](const Frame &frame) { return receive(client, frame); });
    router_.flush();
    reader_.dropServed(client);
    conclude(client, status);
}

void Hub::conclude(Client &client, ReadStatus status) {
    switch (status) {
        case ReadStatus::kTooLong:
            departures_.add(client, "announces a longer payload than " + std::to_string(payloadLimitOf(client)) +
                                        " bytes (--payload-limit)");
            break;
        case ReadStatus::kClosed:
            departures_.add(client, {});
            break;
        case ReadStatus::kNoMemory:
            departures_.addForMemory(client);
            break;
        default:
            updateWatch(client);
            if (client.pauses == 0) {
                resumed(client);
            }
    }
}

size_t Hub::payloadLimitOf(const Client &client) const {
    return client.eid == 0 ? kMaxAnnouncement : options_.payloadLimit;
}

Turn Hub::receive(Client &client, const Frame &frame) {
    const bool forHub = frame.header.dst == EID_HUBD && (frame.header.flags & VOS_MSG_FLAG_REQUEUE) == 0;
    if (client.eid == 0 || forHub) {
        if (serve(client, frame) == Turn::kComesLater) {
            return Turn::kComesLater;
        }
    } else if (router_.route(client, frame)) [[likely]] {
        client.messagesIn++;
    } else {
        return Turn::kComesLater;
    }
    return client.leaving || client.pauses > 0 || router_.work() >= turnEnds_ ? Turn::kIsOver : Turn::kGoesOn;
}

Turn Hub::serve(Client &client, const Frame &frame) {
    router_.addWork(1);
    if (client.eid == 0) {
        client.messagesIn++;
        if (std::string why = launcher_.launch(client, frame); !why.empty()) {
            departures_.add(client, std::move(why));
        }
    } else if (frame.header.type == VOS_MSG_LAUNCHED) {
        departures_.add(client, "announces itself twice");
    } else {
        router_.flush();
        if (services_.mustWait(client, frame)) {
            return Turn::kComesLater;
        }
        client.messagesIn++;
        services_.handle(client, frame);
    }
    return Turn::kGoesOn;
}

// Connections of one process count together: whoever opens many does not hide what it holds.
bool Hub::relieve(const Client &asking, size_t size) {
    Client *most = nullptr;
    size_t mostHeld = 0;
    for (const std::unique_ptr<Client> &client : clients_) {
        if (client) {
            client->process->held = 0;
        }
    }
    for (const std::unique_ptr<Client> &client : clients_) {
        if (client && !client->leaving) {
            client->process->held += client->held() + (client.get() == &asking ? size : 0);
        }
    }
    for (const std::unique_ptr<Client> &client : clients_) {
        if (!client || client->leaving) {
            continue;
        }
        const bool isMore = most == nullptr || client->process->held > most->process->held ||
                            (client->process == most->process && client->held() > mostHeld);
        if (isMore) {
            most = client.get();
            mostHeld = client->held();
        }
    }
    if (most == nullptr || most == &asking || mostHeld == 0) {
        return false;
    }
    try {
        departures_.add(*most, "holds " + std::to_string(mostHeld) + " bytes, its process " +
                                   std::to_string(most->process->held) + " of the " + std::to_string(memory_.limit()) +
                                   " that there are (--memory-limit)");
    } catch (const std::bad_alloc &) {
        departures_.addForMemory(*most);
    }
    if (most == served_) {
        // Its messages are in use until its turn ends: who gets them does not pay for it.
        memory_.allowBeyond(mostHeld);
        return true;
    }
    most->queue.clear();
    most->kept.clear();
    most->partial.clear();
    return true;
}

void Hub::endDepartures() {
    while (Client *client = departures_.take()) {
        end(*client);
    }
}

void Hub::end(Client &client) {
    if (client.lacksMemory || !client.departsWhy.empty()) {
        router_.counters().disconnects++;
        try {
            logLine("disconnecting %s: %s", client.describe().c_str(),
                    client.lacksMemory ? kNoMemory : client.departsWhy.c_str());
        } catch (const std::bad_alloc &) {
            logLine("disconnecting process %d: %s", client.credentials.pid, kNoMemory);
        }
    }
    if (client.eid != 0) {
        ids_.erase(client.eid);
        if (!client.pending.empty()) {
            directory_.retire(client.name, client.eid);  // late replies must not reach its successor
        }
    }
    directory_.leave(client.name, client.eid);
    services_.forget(client);
    observers_.detach(client);
    congestion_.forget(client, [this](Client &sender) { resumed(sender); });
    turns_.leave(client);
    client.queue.clear();
    client.kept.clear();
    client.partial.clear();
    kernel::unwatch(client.fd.get());
    ended_.push_back(std::move(clients_[static_cast<size_t>(client.fd.get())]));
}

int64_t Hub::nextDeadlineNs() const {
    const int64_t announcement = unannounced_.empty() ? kNever : unannounced_.front().deadlineNs;
    return std::min({acceptAgainNs_, announcement, services_.nextDueNs().value_or(kNever),
                     congestion_.nextDeadlineNs().value_or(kNever)});
}

int Hub::msToNextDeadline() const {
    const int64_t next = nextDeadlineNs();
    if (next == kNever) {
        return observers_.isBehind() ? kTraceRetryMs : -1;
    }
    // Rounded up: nothing is due earlier than asked.
    const int64_t ms = (next - monotonicNs() + kNsPerMs - 1) / kNsPerMs;
    return static_cast<int>(std::clamp<int64_t>(ms, 0, observers_.isBehind() ? kTraceRetryMs : INT_MAX));
}

void Hub::runDeadlines() {
    const int64_t next = nextDeadlineNs();
    if (next == kNever) {
        return;
    }
    const int64_t now = monotonicNs();
    if (next > now) {
        return;
    }
    congestion_.runDeadlines(now, [this](Client &sender) { resumed(sender); });
    if (acceptAgainNs_ <= now) {
        acceptAgainNs_ = kernel::watch(listener_, EPOLLIN) ? kNever : now + kAcceptRestNs;
    }
    while (!unannounced_.empty()) {
        const Unannounced &first = unannounced_.front();
        Client *client = clients_[static_cast<size_t>(first.fd)].get();
        if (client != nullptr && client->serial == first.serial && client->eid == 0) {
            if (first.deadlineNs > now) {
                break;
            }
            departures_.add(*client, "never announced itself (--announce-timeout)");
        }
        unannounced_.pop_front();
    }
    while (const auto due = services_.takeDue(now)) {
        if (Client *client = clients_[static_cast<size_t>(due->fd)].get()) {
            services_.sendDelayed(*client, due->wordData);
        }
    }
    endDepartures();
}

}  // namespace hubd
