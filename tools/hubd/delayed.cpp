// Messages that clients want back after a delay.
#include "delayed.h"

#include <algorithm>

namespace hubd {

namespace {

constexpr size_t kMaxForOneClient = 4096;

}  // namespace

bool DelayedMessages::add(const Client &client, uint32_t wordData, int64_t dueNs) {
    std::vector<Key> &keys = byClient_[client.fd.get()];
    if (keys.size() >= kMaxForOneClient) {
        return false;
    }
    const Key key{dueNs, order_++};
    keys.push_back(key);
    byTime_.emplace(key, Due{client.fd.get(), wordData});
    return true;
}

void DelayedMessages::cancel(const Client &client, uint32_t wordData) {
    const auto owned = byClient_.find(client.fd.get());
    if (owned == byClient_.end()) {
        return;
    }
    const auto key =
        std::ranges::find(owned->second, wordData, [this](const Key &k) { return byTime_.at(k).wordData; });
    if (key != owned->second.end()) {
        byTime_.erase(*key);
        owned->second.erase(key);
    }
}

void DelayedMessages::forget(const Client &client) {
    const auto owned = byClient_.find(client.fd.get());
    if (owned != byClient_.end()) {
        for (const Key &key : owned->second) {
            byTime_.erase(key);
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
    std::erase(byClient_[due.fd], key);
    return due;
}

}  // namespace hubd
