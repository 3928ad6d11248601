// Connections and the loop.
#include "hub.h"

#include <sys/resource.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "clock.h"
#include "log.h"

namespace hubd {

namespace {

constexpr int kAcceptsInARow = 64;
constexpr uint64_t kSendsInATurn = 256;
constexpr int64_t kAcceptRestNs = 100 * kNsPerMs;

// Each client is a descriptor; the soft limit of most systems is too low for a thousand of them.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

vos::UniqueFd endSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return vos::UniqueFd{signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC)};
}

}  // namespace

Hub::Hub(const Options &options)
    : options_{options},
      signals_{endSignals()},
      listener_{options_.socketPath, options_.socketMode},
      outbox_{poller_, departures_, options_.queueLimit},
      congestion_{poller_, options_.queueLimit, options_.longestPauseMs * kNsPerMs},
      directory_{ids_},
      observers_{outbox_, directory_, options_.trace, signals_.get()},
      router_{ids_, outbox_, congestion_, observers_},
      services_{options_, *this, ids_, directory_, router_, observers_},
      launcher_{*this, ids_, directory_, router_, services_} {
    raiseDescriptorLimit();
    if (!poller_.add(listener_.fd()) || !poller_.add(signals_.get())) {
        throw HubError{std::string{"cannot watch descriptors: "} + strerror(errno)};
    }
}

void Hub::run() {
    logLine("listening on %s", options_.socketPath.c_str());
    while (running_) {
        round_++;
        for (const epoll_event &event : poller_.wait(msToNextDeadline())) {
            const int fd = event.data.fd;
            if (fd == listener_.fd()) {
                acceptClients();
            } else if (fd == signals_.get()) {
                running_ = false;
            } else {
                handleClient(fd, event.events);
            }
        }
        runDeadlines();
        serveKept();
        endDepartures();
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
        vos::UniqueFd fd = listener_.accept();
        if (fd) {
            admit(std::move(fd));
            continue;
        }
        if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
            // Out of descriptors or memory: whoever waits in the backlog gets in when others have left.
            if (!acceptTrouble_) {
                logLine("cannot accept a client for now: %s", strerror(errno));
            }
            acceptTrouble_ = true;
            acceptAgainNs_ = monotonicNs() + kAcceptRestNs;
            poller_.remove(listener_.fd());
        } else if (errno == EAGAIN) {
            acceptTrouble_ = false;
        }
        return;
    }
}

void Hub::admit(vos::UniqueFd fd) {
    auto client = std::make_unique<Client>();
    socklen_t size = sizeof client->credentials;
    if (getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &client->credentials, &size) != 0 || !poller_.add(fd.get())) {
        return;
    }
    client->watched = EPOLLIN;
    client->serial = ++serial_;
    client->connectedNs = monotonicNs();
    const int slot = fd.get();
    unannounced_.push_back({slot, client->serial, client->connectedNs + options_.announceTimeoutMs * kNsPerMs});
    client->fd = std::move(fd);
    if (clients_.size() <= static_cast<size_t>(slot)) {
        clients_.resize(static_cast<size_t>(slot) + 1);
    }
    clients_[static_cast<size_t>(slot)] = std::move(client);
}

void Hub::handleClient(int fd, uint32_t events) {
    Client *client = clients_[static_cast<size_t>(fd)].get();
    if (client == nullptr) {
        return;  // disconnected earlier in this round
    }
    if ((events & EPOLLOUT) != 0) {
        outbox_.drain(*client);
        congestion_.drained(*client);
        serveKept();  // before others who have not waited fill the queue again
    }
    if ((events & ~uint32_t{EPOLLOUT}) != 0 && client->pauses == 0 && !client->leaving && client->kept.empty()) {
        readFrom(*client);
    }
    if (!departures_.empty()) {
        endDepartures();
    }
}

void Hub::readFrom(Client &client) {
    beginTurn(client);
    const ReadStatus status = reader_.read(
        client.fd.get(), client.partial, client.kept, [&] { return payloadLimitOf(client); },
        [&](const Frame &frame) { return receive(client, frame); });
    router_.flush();
    if (!client.kept.empty()) {
        kept_.push_back(&client);
        poller_.update(client);
    }
    conclude(client, status);
}

void Hub::continueWith(Client &client) {
    beginTurn(client);
    std::span<const std::byte> rest = client.kept.waiting();
    const ReadStatus status = FrameReader::cut(
        rest, client.partial, [&] { return payloadLimitOf(client); },
        [&](const Frame &frame) { return receive(client, frame); });
    router_.flush();
    client.kept.consume(client.kept.size() - rest.size());
    poller_.update(client);
    conclude(client, status);
}

void Hub::serveKept() {
    std::vector<Client *> served;
    std::erase_if(kept_, [&](Client *client) {
        const size_t before = client->kept.size();
        if (client->pauses == 0 && !client->leaving && client->turn != round_) {
            continueWith(*client);
        }
        if (client->kept.size() < before && !client->kept.empty()) {
            served.push_back(client);
        }
        return client->kept.size() < before;
    });
    kept_.insert(kept_.end(), served.begin(), served.end());
}

void Hub::beginTurn(Client &client) {
    client.turn = round_;
    sendsLeft_ = kSendsInATurn;
}

void Hub::conclude(Client &client, ReadStatus status) {
    if (status == ReadStatus::broken) {
        departures_.add(client, "announces a longer payload than " + std::to_string(payloadLimitOf(client)) + " bytes");
    } else if (status == ReadStatus::closed) {
        departures_.add(client, "");
    }
}

size_t Hub::payloadLimitOf(const Client &client) const {
    return client.eid == 0 ? kMaxAnnouncement : options_.payloadLimit;
}

Turn Hub::receive(Client &client, const Frame &frame) {
    const uint64_t ownBefore = router_.ownMessages();
    const bool forHub = frame.header.dst == EID_HUBD && (frame.header.flags & VOS_MSG_FLAG_REQUEUE) == 0;
    if (client.eid == 0 || forHub) {
        client.messagesIn++;
        serve(client, frame);
    } else if (router_.route(client, frame)) [[likely]] {
        client.messagesIn++;
    } else {
        return Turn::comesLater;
    }
    // An event counts as often as it is copied.
    const uint64_t cost = std::max(router_.ownMessages() - ownBefore, uint64_t{1});
    sendsLeft_ -= std::min(cost, sendsLeft_);
    return client.leaving || client.pauses > 0 || sendsLeft_ == 0 ? Turn::isOver : Turn::goesOn;
}

void Hub::serve(Client &client, const Frame &frame) {
    if (client.eid == 0) {
        if (std::string why = launcher_.launch(client, frame); !why.empty()) {
            departures_.add(client, std::move(why));
        }
    } else if (frame.header.type == VOS_MSG_LAUNCHED) {
        departures_.add(client, "announces itself twice");
    } else {
        services_.handle(client, frame);
    }
}

void Hub::endDepartures() {
    for (const auto &[client, why] : departures_.take()) {
        end(*client, why);
    }
}

void Hub::end(Client &client, const std::string &why) {
    if (!why.empty()) {
        logLine("disconnecting %s: %s", client.describe().c_str(), why.c_str());
        router_.counters().disconnects++;
    }
    if (client.eid != 0) {
        ids_.erase(client.eid);
        directory_.leave(client.name, client.eid);
        if (!client.pending.empty()) {
            directory_.retire(client.name, client.eid);  // late replies must not reach its successor
        }
    }
    services_.forget(client);
    observers_.detach(client);
    congestion_.forget(client);
    std::erase(kept_, &client);
    ended_.push_back(std::move(clients_[static_cast<size_t>(client.fd.get())]));
    poller_.remove(client.fd.get());
}

int64_t Hub::nextDeadlineNs() const {
    const int64_t announcement = unannounced_.empty() ? kNever : unannounced_.front().deadlineNs;
    return std::min({acceptAgainNs_, announcement, services_.nextDueNs().value_or(kNever),
                     congestion_.nextDeadlineNs().value_or(kNever)});
}

int Hub::msToNextDeadline() const {
    if (std::ranges::any_of(kept_, [](const Client *client) { return client->pauses == 0; })) {
        return 0;
    }
    const int64_t next = nextDeadlineNs();
    if (next == kNever) {
        return -1;
    }
    // Rounded up: nothing is due earlier than asked.
    const int64_t ms = (next - monotonicNs() + kNsPerMs - 1) / kNsPerMs;
    return static_cast<int>(std::clamp<int64_t>(ms, 0, INT_MAX));
}

void Hub::runDeadlines() {
    if (nextDeadlineNs() == kNever) {
        return;
    }
    const int64_t now = monotonicNs();
    congestion_.endPauses(now);
    if (acceptAgainNs_ <= now) {
        acceptAgainNs_ = poller_.add(listener_.fd()) ? kNever : now + kAcceptRestNs;
    }
    while (!unannounced_.empty()) {
        const Unannounced &first = unannounced_.front();
        Client *client = clients_[static_cast<size_t>(first.fd)].get();
        if (client != nullptr && client->serial == first.serial && client->eid == 0) {
            if (first.deadlineNs > now) {
                break;
            }
            departures_.add(*client, "never announced itself");
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
