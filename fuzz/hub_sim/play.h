// The clients of a simulation, and what must be true of what they get.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "stage.h"
#include "vos/msg_types.h"

namespace hubsim {

constexpr size_t kSlots = 8;  // places for honest clients, each with an id of its own
constexpr size_t kTopics = 3;

// The types of what clients say to each other.
constexpr uint32_t kEvent = 0x20000001;
constexpr uint32_t kRequest = 0x30000000;
constexpr uint32_t kTopic = 0x40000000;
constexpr uint32_t kHostileType = 0x50000000;

constexpr size_t kOffsets = 4096;  // at which the filling of a message may start

/** Some slots ask the hub for an id by their name. */
constexpr bool isNamed(size_t slot) {
    return slot % 4 == 3;
}

inline std::vector<std::byte> textOf(const std::string &text) {
    const auto bytes = std::as_bytes(std::span{text});
    return {bytes.begin(), bytes.end()};
}

/** What a seed makes of a simulation. */
struct Plan {
    explicit Plan(Random &random);
    size_t honest;  // clients, of kSlots at most
    size_t hostile;
    size_t longest;  // payload
    size_t queueLimit;
    size_t memoryLimit;
    size_t room;         // of a socket, one way
    size_t deaths;       // one client dies in so many steps; 0: none
    size_t jumps;        // the clock jumps once in so many steps
    size_t faults;       // an allocation fails once in so many turns; 0: never
    bool sharedProcess;  // the hostile ones are connections of one process
    bool scarce;         // few descriptors
};

/** What a header may announce; nobody here sends so much. */
constexpr size_t kPayloadLimit = size_t{16} << 20;

/** How far somebody's messages have come: the incarnation that sends and the number that comes next. */
struct Progress {
    uint32_t serial = 0;
    uint32_t next = 0;
};

enum class Interest { kNone, kAsked, kHeld, kGivenUp };

struct Delayed {
    uint32_t word;
    int64_t ms;
    int64_t earliestNs;
    int64_t latestNs;  // by when the hub has taken it at the latest, plus the delay; 0 until it has answered
    bool leaving;      // its unregistering is on the way
};

struct Asked {
    uint32_t type;
    size_t slot;
    uint32_t holder;  // incarnation that held the slot when it was asked; 0: none
    uint32_t cycle;   // in which it was asked
    bool told;        // that it has to ask again, or that nobody is there
};

struct HubAsked {
    uint32_t type;
    uint32_t word;
    size_t payload;
    uint64_t sinceTurn;
};

struct Client {
    size_t slot = 0;
    uint32_t serial = 0;
    std::shared_ptr<Connection> connection;
    VosEntityId eid = 0;  // once launched
    bool monitor = false;
    std::vector<std::byte> out;
    size_t written = 0;
    std::vector<std::byte> in;
    size_t parsed = 0;

    std::array<uint32_t, kSlots> sent{};
    std::array<Progress, kSlots> first{};  // what the current holder of a slot must get first
    std::array<Progress, kSlots> from{};
    std::vector<Asked> asked;
    std::deque<HubAsked> hubAsked;
    uint32_t number = 0;
    uint64_t gotTurn = 0;  // in which it got something last

    std::array<Interest, kTopics> interests{};
    std::array<uint32_t, kTopics> published{};
    std::array<std::array<Progress, kTopics>, kSlots> since{};  // what it must get of a publisher's topic first
    std::array<std::array<Progress, kTopics>, kSlots> copies{};
    std::array<uint32_t, kTopics> heldSince{};  // the latest incarnation of all when its interest began
    std::vector<Delayed> delayed;               // in order of registration
};

/** The kind of those who send bytes that mean nothing. */
constexpr size_t kNoise = 3;

/** One that does what it likes. */
struct Hostile {
    std::shared_ptr<Connection> connection;
    std::vector<std::byte> out;
    size_t written = 0;
    size_t kind = 0;
    VosEntityId eid = 0;
};

class Play final : public Scene {
  public:
    Play(Random &random, World &world);

    const Plan &plan() const { return plan_; }
    size_t wait(std::span<epoll_event> events, int64_t timeoutNs, bool *over) override;
    uint64_t steps() const override { return steps_; }

  private:
    enum class Phase { kActs, kSettles, kLeaves };

    void act();
    void actOf(Client &client);
    void hostileAct(Hostile &hostile, size_t index);
    void settleStep();
    void leaveStep(bool *over);
    void checkTurns(size_t events, int64_t timeoutNs);
    void checkMemory(bool settled) const;
    void checkSettled();
    void checkRows(const Client &client, std::span<const std::byte> payload) const;
    void checkPair(const Client &sender, const Client &receiver) const;
    void checkTopics(const Client &publisher, const Client &subscriber) const;
    void checkAsked(Client &client);
    void checkDelayed(const Client &client) const;

    void launch(size_t slot);
    void die(size_t slot);
    void write(Client &client, bool all);
    void read(Client &client, bool all);
    static void append(std::vector<std::byte> &out, VosMsgHeader header, std::span<const std::byte> payload = {});
    void sendEvent(Client &client, size_t slot);
    void sendRequest(Client &client, size_t slot);
    void askHub(Client &client, uint32_t type, uint32_t word, std::span<const std::byte> payload = {});
    void publish(Client &client);
    void useInterest(Client &client);
    void useDelayed(Client &client);

    void got(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload);
    void gotEvent(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload);
    void gotAnswer(Client &client, const VosMsgHeader &header);
    void gotCopy(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload);
    void gotDelayed(Client &client, const VosMsgHeader &header);
    void gotHubReply(Client &client, const VosMsgHeader &header, std::span<const std::byte> payload);
    void gotInterestReply(Client &client, const HubAsked &asked, uint32_t result);
    void gotResend(Client &client, const VosMsgHeader &header);

    size_t sizeOf(uint32_t serial, uint32_t number) const;
    std::span<const std::byte> payloadOf(uint32_t serial, uint32_t number);
    uint32_t checkedSerial(const Client &client, const VosMsgHeader &header, std::span<const std::byte> payload);
    bool launched(size_t slot) const { return clients_[slot] && clients_[slot]->eid != 0; }

    Random &random_;
    World &world_;
    const Plan plan_;
    Phase phase_ = Phase::kActs;
    std::array<std::unique_ptr<Client>, kSlots> clients_;
    std::array<std::shared_ptr<Connection>, kSlots> last_;  // connections of those who died
    std::array<VosEntityId, kSlots> eids_{};
    std::array<uint32_t, kSlots> changed_{};       // the cycle in which somebody died or came there last
    std::vector<std::unique_ptr<Client>> graves_;  // of those who had written everything
    std::vector<size_t> slotOfSerial_{0};
    std::vector<Hostile> hostile_;
    std::vector<std::byte> noise_;
    std::vector<std::byte> message_;
    uint64_t steps_ = 0;
    uint64_t cycleEnd_ = 0;
    uint32_t cycle_ = 1;
    uint32_t cycles_;
    int64_t quietNs_ = 0;
    uint64_t settleTurns_ = 0;
    uint64_t moved_ = 0;
    uint64_t movedBefore_ = 0;
    uint64_t callsBefore_ = 0;
    size_t eventsBefore_ = 0;
    int64_t timeoutBefore_ = 0;
    uint64_t idleTurns_ = 0;
    size_t blocksBefore_ = 0;
    size_t bytesBefore_ = 0;
};

}  // namespace hubsim
