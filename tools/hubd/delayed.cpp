// Messages that clients want back after a delay.
#include "delayed.h"

#include <new>

namespace hubd {

bool DelayedMessages::add(const Client &client, uint32_t wordData, int64_t dueNs) {
    Owned &owned = byClient_[client.fd.get()];
    owned.client = &client;
    if (owned.dueNs.size() >= kMaxForOneClient || !room_.take(client)) {
        return false;
    }
    const uint64_t order = order_++;
    try {
        owned.dueNs.emplace(Registration{wordData, order}, dueNs);
        byTime_.emplace(Key{dueNs, order}, Due{client.fd.get(), wordData});
        return true;
    } catch (const std::bad_alloc &) {
        owned.dueNs.erase({wordData, order});
        room_.give(client);
        return false;
    }
}

void DelayedMessages::cancel(const Client &client, uint32_t wordData) {
    const auto owned = byClient_.find(client.fd.get());
    if (owned == byClient_.end()) {
        return;
    }
    auto &registrations = owned->second.dueNs;
    const auto oldest = registrations.lower_bound({wordData, 0});
    if (oldest != registrations.end() && oldest->first.wordData == wordData) {
        byTime_.erase({oldest->second, oldest->first.order});
        registrations.erase(oldest);
        room_.give(client);
    }
}

void DelayedMessages::forget(const Client &client) {
    const auto owned = byClient_.find(client.fd.get());
    if (owned != byClient_.end()) {
        for (const auto &[registration, dueNs] : owned->second.dueNs) {
            byTime_.erase({dueNs, registration.order});
        }
        room_.give(client, owned->second.dueNs.size());
        byClient_.erase(owned);
    }
}

std::optional<int64_t> DelayedMessages::nextDueNs() const {
    return byTime_.empty() ? std::nullopt : std::optional{byTime_.begin()->first.dueNs};
}

std::optional<DelayedMessages::Due> DelayedMessages::takeDue(int64_t nowNs) {
    if (byTime_.empty() || byTime_.begin()->first.dueNs > nowNs) {
        return std::nullopt;
    }
    const auto [key, due] = *byTime_.begin();
    byTime_.erase(byTime_.begin());
    Owned &owned = byClient_[due.fd];
    owned.dueNs.erase({due.wordData, key.order});
    room_.give(*owned.client);
    return due;
}

}  // namespace hubd
