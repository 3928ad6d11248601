// Who acts when.
#include "play.h"

#include <algorithm>

#include "common/hub_protocol.h"
#include "finding.h"
#include "heap.h"

namespace hubsim {

namespace {

constexpr size_t kBacklog = size_t{64} << 10;
constexpr int64_t kQuietNs = 12'000 * kMs;  // longer than any of the hub's own time-outs

}  // namespace

Plan::Plan(Random &random)
    : honest{2 + random.below(kSlots - 1)},
      hostile{random.once(3) ? 0 : random.below(7)},
      longest{size_t{64} << random.below(12)},
      queueLimit{size_t{16384} << random.below(6)},
      memoryLimit{size_t{4} << (20 + random.below(5))},
      room{size_t{256} << random.below(11)},
      deaths{random.once(4) ? 0 : 50 + random.below(3000)},
      jumps{100 + random.below(3000)},
      faults{random.once(4) ? 2 + random.below(300) : 0},
      sharedProcess{random.once(2)},
      scarce{random.once(8)} {}

Play::Play(Random &random, World &world)
    : random_{random},
      world_{world},
      plan_{random},
      hostile_(plan_.hostile),
      cycles_(static_cast<uint32_t>(1 + random.below(4))) {
    noise_.resize(kOffsets + plan_.longest + 64);
    for (std::byte &byte : noise_) {
        byte = static_cast<std::byte>(random_.next() >> 56);
    }
    cycleEnd_ = 200 + random_.below(8000);
    if (plan_.scarce) {
        world_.setDescriptors(plan_.honest + 1);
    }
}

void Play::actOf(Client &client) {
    const size_t backlog = client.out.size() - client.written;
    const size_t kind = random_.below(16);
    if (kind < 5 || client.eid == 0) {
        write(client, random_.once(3));
    }
    if (kind < 9 || client.eid == 0) {
        read(client, random_.once(2));
        return;
    }
    if (client.slot == 0 ? backlog > 0 || !client.hubAsked.empty() : backlog > kBacklog) {
        return;  // it waits until it can send; the first one asks for little
    }
    const size_t peer = random_.below(kSlots);
    if (client.slot == 0 || kind == 9) {
        askHub(client, hubproto::kEcho, 0, payloadOf(client.serial, client.number++));
    } else if (kind < 12) {
        const size_t burst = random_.once(8) ? random_.below(40) : 1;
        for (size_t i = 0; i < burst; i++) {
            sendEvent(client, peer);
        }
    } else if (kind == 12) {
        sendRequest(client, peer);
    } else if (kind == 13) {
        publish(client);
    } else if (kind == 14) {
        random_.once(2) ? useInterest(client) : useDelayed(client);
    } else if (random_.once(64)) {
        constexpr uint32_t kTypes[] = {hubproto::kListClients, hubproto::kGetCounters, VOS_MSG_IS_APP_RUNNING,
                                       hubproto::kMonitorAttach};
        const uint32_t type = kTypes[random_.below(4)];
        client.monitor = client.monitor || type == hubproto::kMonitorAttach;
        askHub(client, type, static_cast<uint32_t>(100 + peer));
    }
}

void Play::act() {
    steps_++;
    const size_t who = random_.below(plan_.honest + plan_.hostile);
    if (who >= plan_.honest) {
        hostileAct(hostile_[who - plan_.honest], who - plan_.honest);
    } else if (!clients_[who]) {
        launch(who);
    } else if (plan_.deaths != 0 && random_.once(plan_.deaths)) {
        die(who);
    } else {
        actOf(*clients_[who]);
    }
}

void Play::settleStep() {
    for (size_t slot = 0; slot < kSlots; slot++) {
        if (clients_[slot]) {
            steps_++;
            write(*clients_[slot], true);
            read(*clients_[slot], true);
        }
    }
    if (++settleTurns_ > 2'000'000) {
        finding("the hub does not come to rest");
    }
}

void Play::leaveStep(bool *over) {
    if (world_.connections() > 0) {
        if (++settleTurns_ > 10'000) {
            finding("a connection outlives its client");
        }
        return;
    }
    const HeapUse use = hubHeap();
    if (plan_.faults == 0 && (use.blocks > blocksBefore_ + 100 || use.bytes > bytesBefore_ + 1'000'000)) {
        finding("%zu blocks, %zu bytes are left of clients that have gone", use.blocks - blocksBefore_,
                use.bytes - bytesBefore_);
    }
    *over = true;
}

size_t Play::wait(std::span<epoll_event> events, int64_t timeoutNs, bool *over) {
    if (blocksBefore_ == 0) {
        blocksBefore_ = hubHeap().blocks;
        bytesBefore_ = hubHeap().bytes;
    }
    size_t count = 0;
    steps_++;
    world_.setAllocationsFail(plan_.faults != 0 && phase_ == Phase::kActs);
    if (phase_ == Phase::kActs) {
        const size_t most = 1 + random_.below(8);
        for (size_t i = 0; i < most; i++) {
            act();
        }
        world_.pass(static_cast<int64_t>(1000 + random_.below(20'000)));
        if (random_.once(plan_.jumps)) {
            world_.pass(static_cast<int64_t>(random_.below(200 * kMs)));
        }
        failAllocation(plan_.faults != 0 && random_.once(plan_.faults) ? 1 + random_.below(20) : 0,
                       1 + random_.below(3));
        count = world_.ready(events);
        checkTurns(count, timeoutNs);
        if (steps_ >= cycleEnd_) {
            phase_ = Phase::kSettles;
            quietNs_ = 0;
            settleTurns_ = 0;
        }
        return count;
    }
    failAllocation(0);
    if (phase_ == Phase::kLeaves) {
        leaveStep(over);
        return *over ? 0 : world_.ready(events);
    }
    const uint64_t before = moved_;
    settleStep();
    count = world_.ready(events);
    checkTurns(count, timeoutNs);
    if (moved_ != before || timeoutNs == 0) {
        quietNs_ = 0;
        world_.pass(10'000);
        return count;
    }
    const int64_t whole = timeoutNs < 0 ? 100 * kMs : std::min(timeoutNs, 100 * kMs);
    const int64_t ns = count > 0 ? 1000 : whole;
    world_.pass(ns);
    quietNs_ += ns;
    if (quietNs_ > kQuietNs) {
        checkSettled();
        phase_ = Phase::kActs;
        cycleEnd_ = steps_ + 200 + random_.below(8000);
        if (random_.once(4)) {
            world_.pass(3'700'000 * kMs);
        }
        if (cycle_++ == cycles_) {
            phase_ = Phase::kLeaves;
            settleTurns_ = 0;
            for (size_t slot = 0; slot < kSlots; slot++) {
                if (clients_[slot]) {
                    world_.close(*clients_[slot]->connection);
                }
            }
            for (Hostile &hostile : hostile_) {
                if (hostile.connection) {
                    world_.close(*hostile.connection);
                }
            }
        }
    }
    return count;
}

}  // namespace hubsim
