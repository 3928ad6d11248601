// vosctl top: a live picture of the hub, on a terminal or as lines of JSON.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "command.h"
#include "message_feed.h"
#include "output.h"
#include "stop_signals.h"
#include "top_model.h"
#include "top_screen.h"

namespace {

using Clock = vosctl::TopModel::Clock;

struct Options {
    uint32_t intervalMs = 1000;
    uint32_t count = 0;  // 0: without end
    bool json = false;
    std::string entity;
};

class Top {
  public:
    Top(vosctl::Hub &hub, const Options &options) : hub_{hub}, feed_{hub}, interval_{options.intervalMs} { look(); }

    /** Takes what comes until the next look is due or `otherFd` can be read; true when the look was taken. */
    bool advance(int otherFd) {
        while (Clock::now() < next_) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(next_ - Clock::now()).count();
            const vosctl::MessagePtr msg = hub_.receiveUnless(otherFd, static_cast<int>(std::max<int64_t>(left, 0)));
            if (!msg && Clock::now() < next_) {
                return false;  // a key
            }
            take(msg.get());
        }
        look();
        return true;
    }
    vosctl::TopModel &model() { return model_; }
    const vosctl::Names &names() const { return feed_.names(); }

  private:
    void take(const VosMsgHeader *msg) {
        const auto seen = msg != nullptr ? feed_.read(*msg) : std::nullopt;
        if (seen && !feed_.isOwn(seen->header)) {
            model_.take(*seen, feed_.names());
        }
    }
    void look() {
        const std::vector<hubproto::ClientRow> clients = hub_.clients();
        model_.look(clients, hub_.counters(), Clock::now());
        next_ = Clock::now() + interval_;
    }

    vosctl::Hub &hub_;
    vosctl::Feed feed_;
    vosctl::TopModel model_;
    std::chrono::milliseconds interval_;
    Clock::time_point next_{};
};

void runJson(const Options &options) {
    vosctl::Hub hub;
    Top top{hub, options};
    uint32_t printed = 0;
    vosctl::untilStopped(hub, [&] {
        if (!top.advance(-1)) {
            return true;
        }
        vosctl::printJson(vosctl::topJson(top.model(), top.names()));
        vosctl::flushOutput();
        printed++;
        return options.count == 0 || printed < options.count;
    });
}

void runScreen(const Options &options) {
    vosctl::requireScreen();
    vosctl::Hub hub;
    vosctl::TopView view;
    if (!options.entity.empty()) {
        view.followed = view.selected = hub.find(options.entity).eid;
    }
    Top top{hub, options};
    top.model().follow(view.followed);
    vosctl::TopScreen screen;
    uint32_t looks = 0;
    vosctl::untilStopped(hub, [&] {
        screen.show(vosctl::topLines(top.model(), top.names(), view, screen.width(), screen.height()));
        looks += top.advance(STDIN_FILENO) ? 1 : 0;
        return screen.takeKeys(view, top.model()) && (options.count == 0 || looks < options.count);
    });
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("--interval", options->intervalMs, "milliseconds between two looks")
        .called("MS")
        .within(50U, 3'600'000U)
        .showsDefault();
    vosctl::addCount(app, "-c,--count", options->count, "end after so many looks");
    vosctl::Argument json = vosctl::addJson(app, options->json, "one JSON object a look, for scripts");
    vosctl::addEntity(app, "--follow", options->entity)
        .describedAs("show one client and its messages, as Enter does")
        .excludes(json);
    app.runs([options] { (options->json ? runJson : runScreen)(*options); });
}
const vosctl::Command kCommand{"top", "show the hub's clients, traffic and answer times, live", setUp};

}  // namespace
