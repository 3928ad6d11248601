// vos.hpp with a real hub: requests that wait and that do not, what arrives, and how each thing ends that can go wrong.
#include "vos/vos.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "support/hub_process.h"
#include "support/hub_script.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

constexpr uint32_t kType = 0x10005001, kOther = 0x10005002;
[[maybe_unused]] constexpr uint32_t kCli = 0x10005003;

/** A daemon and a client in one thread: their loops take turns. */
class Hpp : public testing::Test {
  protected:
    template <typename Until>
    void turnUntil(Until until) {
        for (const auto end = vos::Clock::now() + 20s; !until() && vos::Clock::now() < end;) {
            server_.turn(1ms);
            client_.turn(1ms);
        }
        EXPECT_TRUE(until());
    }
    vos::Ask ask(uint32_t word = 0) const { return {.to = serverHub_.eid(), .type = kType, .word = word}; }
    /** Replies and codes as they come. */
    vos::Answered note() {
        return [this](vos::Result<vos::Message> reply) { ends_.push_back(reply ? reply->word() : reply.ret()); };
    }

    vostest::HubProcess hub_;
    vos::Connection serverHub_ = vos::Connection::open("server").value();
    vos::Connection clientHub_ = vos::Connection::open("client").value();
    vos::Loop server_{serverHub_}, client_{clientHub_};
    std::vector<uint32_t> ends_;
};

TEST_F(Hpp, GivesAThousandRequestsUnderWayTheirOwnReplies) {
    std::vector<vos::PendingReply> kept;
    server_.serve(kType, [&](const vos::Request &request) { kept.push_back(request.later()); });
    std::vector<vos::Call> calls;
    std::vector<uint32_t> words;
    for (uint32_t i = 0; i < 1000; i++) {
        vos::Ask one = ask(i);
        one.matchWord = true;
        calls.push_back(client_.ask(one, [&](vos::Result<vos::Message> reply) { words.push_back(reply->word()); }));
        if (i % 100 == 0) {
            server_.turn(0ms);  // no room for a thousand in the socket
        }
    }
    turnUntil([&] { return kept.size() == 1000; });
    for (size_t i = kept.size(); i-- > 0;) {
        kept[i].replyWord(static_cast<uint32_t>(i));
        client_.turn(0ms);
    }
    turnUntil([&] { return words.size() == 1000; });
    EXPECT_TRUE(std::is_sorted(words.rbegin(), words.rend()));
    EXPECT_EQ(client_.asking(), 0u);
}

TEST_F(Hpp, DropsTheReplyThatComesTooLateAndNotTheOneAfterIt) {
    std::vector<vos::PendingReply> kept;
    server_.serve(kType, [&](const vos::Request &request) { kept.push_back(request.later()); });
    vos::Ask first = ask(1);
    first.patience = 1ms;
    vos::Call late = client_.ask(first, note());
    turnUntil([&] { return ends_.size() == 1 && kept.size() == 1; });
    vos::Call dropped = client_.ask(ask(2), note());
    turnUntil([&] { return kept.size() == 2; });
    dropped.cancel();
    vos::Call wanted = client_.ask(ask(3), note());
    turnUntil([&] { return kept.size() == 3; });
    for (uint32_t i = 0; i < 3; i++) {
        kept[i].replyWord(i + 1);
    }
    turnUntil([&] { return ends_.size() == 2; });
    EXPECT_THAT(ends_, ElementsAre(VOS_RET_TIMEOUT, 3));
    EXPECT_EQ(client_.counters().lateReplies, 2u);
    // A peer that never answers one costs a second one at most.
    ends_.clear();
    kept.clear();
    for (uint32_t word = 1; word <= 3; word++) {
        vos::Ask next = ask(word);
        next.patience = word == 3 ? std::chrono::nanoseconds{20s} : 30ms;
        client_.ask(next, note()).detach();
        turnUntil([&] { return kept.size() == word; });
        word == 1 ? kept.back().dismiss() : kept.back().replyWord(word);
        turnUntil([&] { return ends_.size() == word; });
    }
    EXPECT_THAT(ends_, ElementsAre(VOS_RET_TIMEOUT, VOS_RET_TIMEOUT, 3));
}

TEST_F(Hpp, EndsEachRequestInAStatedResult) {
    server_.serve(kType, [](const vos::Request &request) { request.fail(VOS_RET_BAD_ARG); });
    server_.serve(kOther, [](const vos::Request &) {});
    server_.serve(kOther, 7, [](const vos::Request &request) { request.reply(std::string{"seven"}); });
    const VosEntityId server = serverHub_.eid();
    for (const vos::Ask &one : {
             vos::Ask{.to = server, .type = kType},                                // refused
             vos::Ask{.to = server, .type = kOther},                               // left unanswered
             vos::Ask{.to = server, .type = 0x10005009},                           // not served
             vos::Ask{.to = 4711, .type = kType},                                  // nobody there
             vos::Ask{.to = 4711, .type = kOther, .word = 7, .procedure = true},   // nor there
             vos::Ask{.to = server, .type = kOther, .word = 7, .procedure = true}  // its own number
         }) {
        const size_t before = ends_.size();
        vos::Call call = client_.ask(one, note());
        EXPECT_EQ(ends_.size(), before) << "called back inside ask()";
        turnUntil([&] { return ends_.size() > before; });
    }
    EXPECT_THAT(ends_,
                ElementsAre(VOS_RET_BAD_ARG, VOS_RET_ERROR, VOS_RET_ERROR, VOS_RET_PEER_GONE, VOS_RET_PEER_GONE, 7));
    EXPECT_EQ(server_.counters().unhandled, 1u);
    EXPECT_EQ(clientHub_.ask({.to = 4711, .type = kType}).ret(), VOS_RET_PEER_GONE);
    EXPECT_EQ(clientHub_.lookUp("nobody").ret(), VOS_RET_UNKNOWN_NAME);
    EXPECT_EQ(clientHub_.waitFor("server", 1s).value(), server);

    auto waiting = client_.ask({.to = clientHub_.eid(), .type = kOther}, note());
    hub_.stop(SIGKILL);
    EXPECT_EQ(client_.run(), 1);
    EXPECT_EQ(ends_.back(), VosRet{VOS_RET_PEER_GONE});
    EXPECT_EQ(client_.turn().ret(), VOS_RET_PEER_GONE);
}

TEST_F(Hpp, ReadsOnlyPayloadsOfTheRightSize) {
    std::vector<std::string> seen;
    server_.on(kType, [&](const vos::MessageView &event) {
        seen.push_back(std::to_string(event.as<uint32_t>().value_or(0)) + std::string{event.text()});
    });
    server_.serve(kType, 1, [&](const vos::Request &request) { request.reply(*request.as<uint16_t>() + 1); });
    serverHub_.subscribe(kType).value();
    clientHub_.publish(kType, 0, uint32_t{0x20414141});
    clientHub_.publish(kType, 0, "AAAAA");
    clientHub_.notify(serverHub_.eid(), kType);
    turnUntil([&] { return seen.size() == 3; });
    EXPECT_THAT(seen, ElementsAre("541147457AAA ", "0AAAAA", "0"));
    client_
        .ask({.to = serverHub_.eid(), .type = kType, .word = 1, .payload = uint16_t{41}, .procedure = true},
             [&](vos::Result<vos::Message> reply) { ends_.push_back(reply->as<uint32_t>().value_or(0)); })
        .detach();
    turnUntil([&] { return !ends_.empty(); });
    EXPECT_THAT(ends_, ElementsAre(42)) << "eight bytes at least, whatever the value's size";
}

vos::Flow twice(vos::Loop &loop, vos::Ask one, std::vector<uint32_t> &ends) {
    for (int i = 0; i < 2; i++) {
        const vos::Result<vos::Message> reply = co_await loop.ask(one);
        ends.push_back(reply ? reply->word() : reply.ret());
    }
#if VOS_HPP_EXCEPTIONS
    throw std::runtime_error{"from the flow"};
#endif
}

TEST_F(Hpp, LetsFlowsWaitAndEndsThemWithTheirOwner) {
    server_.serve(kType, [](const vos::Request &request) { request.replyWord(request.word()); });
    vos::Flow flow = twice(client_, ask(5), ends_);
    flow.start();
#if VOS_HPP_EXCEPTIONS
    EXPECT_THROW(turnUntil([&] { return ends_.size() == 3; }), std::runtime_error);
#else
    turnUntil([&] { return flow.done(); });
#endif
    EXPECT_TRUE(flow.done());
    EXPECT_THAT(ends_, ElementsAre(5, 5));
    flow = twice(client_, ask(5), ends_);
    flow.start();
    { const vos::Flow ended = std::move(flow); }
    {
        vos::Loop shortLived{clientHub_};
        twice(shortLived, ask(5), ends_).detach();
    }
    EXPECT_EQ(ends_.size(), 2u);
    turnUntil([&] { return client_.counters().lateReplies == 2; });
}

#if VOS_HPP_EXCEPTIONS
TEST_F(Hpp, LetsWhatHandlersThrowOutOfRunAndAnswersTheRequester) {
    server_.serve(kType, [](const vos::Request &) { throw std::runtime_error{"handler"}; });
    server_.commands(kCli, [](auto, FILE *) -> uint32_t { throw std::runtime_error{"command"}; });
    std::vector<std::string> thrown;
    auto call = client_.ask(ask(), note());
    auto command = client_.ask({.to = serverHub_.eid(), .type = kCli, .payload = uint64_t{0}}, note());
    server_.task([] { throw std::runtime_error{"task"}; }, [] {});
    server_.after(0ms, [] { throw std::runtime_error{"timer"}; });
    while (thrown.size() < 4) {
        try {
            server_.run();
        } catch (const std::runtime_error &error) {
            thrown.emplace_back(error.what());
        }
    }
    EXPECT_THAT(thrown, testing::UnorderedElementsAre("timer", "handler", "command", "task"));
    turnUntil([&] { return ends_.size() == 2; });
    EXPECT_THAT(ends_, ElementsAre(VOS_RET_ERROR, VOS_RET_ERROR));
}

#else
TEST_F(Hpp, EndsTheProgramWhereAValueIsMissingAndNothingMayBeThrown) {
    EXPECT_DEATH(vos::Result<int>{VosRet{VOS_RET_TIMEOUT}}.value(), "timed out");
}
#endif

TEST_F(Hpp, RunsTimersTasksChildrenDescriptorsAndDelays) {
    std::multiset<std::string> seen;
    const int event = eventfd(0, EFD_CLOEXEC);
    int beats = 0;
    vos::Timer beat = server_.every(1ms, [&] { beats++ == 2 ? server_.cancel(beat) : void(); });
    server_.after(1h, [&] { seen.insert("never"); });
    server_.watch(event, EPOLLIN, [&](uint32_t) {
        seen.insert("descriptor");
        server_.unwatch(event);
    });
    server_.task([] { return std::make_unique<int>(7); },
                 [&](std::unique_ptr<int> seven) { seen.insert("task " + std::to_string(*seven)); });
    for (const char *script : {"/bin/true", "/bin/false"}) {
        server_
            .spawn(vos::Command{script},
                   [&](const vos::Ended &child) { seen.insert("child " + std::to_string(child.exitCode)); })
            .value();
    }
    // SIGTERM is not blocked in the child although it is here.
    const auto sleeper = server_.spawn(vos::Command{"/bin/sleep", "100"}, [&](const vos::Ended &child) {
        seen.insert("signal " + std::to_string(child.signalNumber));
    });
    kill(sleeper.value(), SIGTERM);
    server_.afterMessage(1ms, [&] { seen.insert("delay"); });
    server_.onSignal(SIGUSR1, [&] { seen.insert("signal"); });
    raise(SIGUSR1);
    const uint64_t one = 1;
    ASSERT_EQ(write(event, &one, sizeof one), ssize_t{sizeof one});
    turnUntil([&] { return seen.size() == 7 && beats == 3; });
    EXPECT_THAT(seen, ElementsAre("child 0", "child 1", "delay", "descriptor", "signal", "signal 15", "task 7"));
    close(event);
    raise(SIGTERM);
    EXPECT_EQ(server_.run(), 0);
}

TEST_F(Hpp, WakesAForeignLoopForMessagesAndTimers) {
    server_.serve(kType, [&](const vos::Request &request) {
        server_.after(1ms, [reply = std::make_shared<vos::PendingReply>(request.later())] { reply->replyWord(9); });
    });
    pollfd descriptors[] = {{server_.descriptor().value(), POLLIN, 0}, {client_.descriptor().value(), POLLIN, 0}};
    auto call = client_.ask(ask(), note());
    client_.after(5ms, [&] { ends_.push_back(1); });
    while (ends_.size() < 2 && poll(descriptors, 2, 20000) > 0) {
        server_.dispatch().value();
        client_.dispatch().value();
    }
    EXPECT_THAT(ends_, testing::UnorderedElementsAre(9, 1));
}

TEST(HppScript, AsksAPeerThatCameBackAgainButNotForEver) {
    vostest::HubScript script;
    vos::Connection hub{script.open(77)};
    vos::Loop loop{hub};
    std::vector<uint32_t> ends;
    const auto note = [&](vos::Result<vos::Message> reply) { ends.push_back(reply ? reply->word() : reply.ret()); };
    const auto comesBack = vostest::message(VOS_MSG_RESEND_REQUEST, 5, 77, VOS_MSG_FLAG_EVENT);
    loop.ask({.to = 5, .type = kType}, note).detach();
    script.send(comesBack);
    loop.turn().value();
    EXPECT_EQ(script.read()->bytes(), script.read()->bytes());
    script.send(vostest::message(kType, 6, 77, VOS_MSG_FLAG_RESPONSE, 1));  // another's
    script.send(vostest::message(kType, 5, 77, VOS_MSG_FLAG_RESPONSE, 2));
    while (ends.empty()) {
        loop.turn().value();
    }
    loop.ask({.to = 5, .type = kType}, note).detach();
    for (int i = 0; i < 17; i++) {
        script.send(comesBack);
        loop.turn().value();
    }
    EXPECT_THAT(ends, ElementsAre(2, VOS_RET_ERROR));
    EXPECT_EQ(loop.counters().lateReplies, 1u);
}

std::string aroundALambda(void (*)(int)) {
    return [] { return std::string{VOS_FUNCTION}; }();
}

TEST(HppLog, NamesTheFunctionAroundALambda) {
    EXPECT_EQ(aroundALambda(nullptr), "aroundALambda");
    const auto name = [](auto) { return std::string{VOS_FUNCTION}; };
    EXPECT_EQ([&] { return std::string{VOS_FUNCTION}; }(), "TestBody");
    EXPECT_EQ(name(1), "TestBody");
    EXPECT_STREQ(VOS_FUNCTION, "TestBody");
}

}  // namespace
