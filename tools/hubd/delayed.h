// Messages that clients want back after a delay.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>

#include "table_room.h"

namespace hubd {

class DelayedMessages {
  public:
    explicit DelayedMessages(TableRoom &room) : room_{room} {}

    static constexpr size_t kMaxForOneClient = 4096;

    /** @return false when the client has too many already, or memory is short */
    bool add(const Client &client, uint32_t wordData, int64_t dueNs);
    /** Takes back the client's oldest registration of this word; nothing when there is none. */
    void cancel(const Client &client, uint32_t wordData);
    void forget(const Client &client);

    /** When the next one is due; nothing when none waits. */
    std::optional<int64_t> nextDueNs() const;

    struct Due {
        int fd;  // of the client
        uint32_t wordData;
    };
    /** Takes the next one that is due by `nowNs`; equal times in order of registration. */
    std::optional<Due> takeDue(int64_t nowNs);

  private:
    struct Key {
        int64_t dueNs;
        uint64_t order;
        auto operator<=>(const Key &) const = default;
    };
    struct Registration {
        uint32_t wordData;
        uint64_t order;
        auto operator<=>(const Registration &) const = default;
    };
    struct Owned {
        const Client *client = nullptr;
        std::map<Registration, int64_t> dueNs;
    };

    TableRoom &room_;
    std::map<Key, Due> byTime_;
    std::unordered_map<int, Owned> byClient_;
    uint64_t order_ = 0;
};

}  // namespace hubd
