// Messages that clients want back after a delay.
#include "delayed.h"

namespace hubd {

namespace {

constexpr size_t kMaxForOneClient = 4096;

}  // namespace

bool DelayedMessages::add(const Client &client, uint32_t wordData, int64_t dueNs) {
    std::map<Registration, int64_t> &owned = byClient_[client.fd.get()];
    if (owned.size() >= kMaxForOneClient) {
        return false;
    }
    const uint64_t order = order_++;
    owned.emplace(Registration{wordData, order}, dueNs);
    byTime_.emplace(Key{dueNs, order}, Due{client.fd.get(), wordData});
    return true;
}

void DelayedMessages::cancel(const Client &client, uint32_t wordData) {
    const auto owned = byClient_.find(client.fd.get());
    if (owned == byClient_.end()) {
        return;
    }
    const auto oldest = owned->second.lower_bound({wordData, 0});
    if (oldest != owned->second.end() && oldest->first.wordData == wordData) {
        byTime_.erase({oldest->second, oldest->first.order});
        owned->second.erase(oldest);
    }
}

void DelayedMessages::forget(const Client &client) {
    const auto owned = byClient_.find(client.fd.get());
    if (owned != byClient_.end()) {
        for (const auto &[registration, dueNs] : owned->second) {
            byTime_.erase({dueNs, registration.order});
        }
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
    byClient_[due.fd].erase({due.wordData, key.order});
    return due;
}

}  // namespace hubd
