// The share of the hub that a process has.
#include <gtest/gtest.h>

#include <map>

#include "turns.h"

namespace {

TEST(HubTurns, ServeTheProcessThatUsedLeastHoweverManyConnectionsItHas) {
    hubd::Turns turns;
    hubd::Client clients[4];  // three connections of a process that costs much a turn, one of another that costs little
    for (hubd::Client &client : clients) {
        client.credentials.pid = &client == &clients[3] ? 2 : 1;
        turns.enter(client);
        turns.add(client);
    }
    std::map<const hubd::Client *, int> served;
    for (int i = 0; i < 300 * 101; i++) {
        hubd::Client *client = turns.next();
        ASSERT_NE(client, nullptr);
        served[client]++;
        turns.charge(*client, client == &clients[3] ? 1 : 100);
        turns.add(*client);
    }
    for (hubd::Client &client : clients) {
        EXPECT_NEAR(served[&client], &client == &clients[3] ? 30000 : 100, 2);
        turns.leave(client);
    }
}

}  // namespace
