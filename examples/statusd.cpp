// The status daemon of statusd.c, on vos/vos.hpp: numbered procedures, a background task, heartbeat, a delayed message,
// remote commands. SIGTERM and SIGINT end it cleanly.
#include <cstdio>
#include <string>
#include <thread>
#include <vos/vos.hpp>

#include "statusd.h"

using namespace std::chrono_literals;

namespace {

class Status {
  public:
    explicit Status(vos::Connection &hub) : hub_{hub}, loop_{hub} {
        loop_.serve(MSG_STATUS, STATUS_UPTIME, [this](const vos::Request &request) { request.reply(uptime()); });
        loop_.serve(MSG_STATUS, STATUS_LOAD, [this](const vos::Request &request) { request.reply(load()); });
        loop_.commands(MSG_REMOTE_CLI, [this](auto words, FILE *out) { return command(words, out); });
        loop_.every(1s, [this] { hub_.heartbeat(); });
        hub_.heartbeat();
        report();
    }
    int run() { return loop_.run(); }

  private:
    std::string uptime() const {
        const auto up = std::chrono::duration_cast<std::chrono::seconds>(vos::Clock::now() - started_);
        char text[64];
        utilTms_getDaysHoursMinutesSeconds(static_cast<uint32_t>(up.count()), text, sizeof text);
        return text;
    }
    std::string load() const { return std::to_string(loadPercent_) + " % of the CPU"; }
    uint32_t command(std::span<char *const> words, FILE *out) const {
        const std::string name = words.empty() ? "" : words[0];
        if (name == "echo") {
            for (size_t i = 1; i < words.size(); i++) {
                fprintf(out, "%s%s", words[i], i + 1 < words.size() ? " " : "\n");
            }
        } else if (words.size() == 1 && (name == "uptime" || name == "load")) {
            fprintf(out, "%s\n", (name == "load" ? load() : uptime()).c_str());
        } else {
            fprintf(out, "commands: uptime, load, echo WORDS\n");
            return VOS_RET_UNKNOWN_NAME;
        }
        return VOS_RET_OK;
    }

    void report() {
        hub_.publish(MSG_STATUS_REPORT, loadPercent_, uptime());
        if (!measuring_) {
            measuring_ = bool{loop_.task(measure, [this](uint32_t percent) {
                loadPercent_ = percent;
                measuring_ = false;
                VOS_LOG_DEBUG("load is %u %%", percent);
            })};
        }
        loop_.afterMessage(500ms, [this] { report(); });
    }

    static uint32_t measure() {  // in a thread of its own
        UtilCpuOccupy before{}, after{};
        UTIL_getCpuOccupy(&before);
        std::this_thread::sleep_for(200ms);
        UTIL_getCpuOccupy(&after);
        return UTIL_calCpuOccupy(&before, &after);
    }
    vos::Connection &hub_;
    const vos::Clock::time_point started_ = vos::Clock::now();
    uint32_t loadPercent_ = 0;
    bool measuring_ = false;
    vos::Loop loop_;
};

}  // namespace

int main(int argc, char **argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    auto hub = vos::Connection::open(argc > 1 ? argv[1] : "statusd");
    if (!hub) {
        fprintf(stderr, "statusd: launch failed (%s); is the hub running?\n", hub.message());
        return 1;
    }
    printf("launched as entity %u\n", hub->eid());
    const vos::Log log{hub->eid()};
    VOS_LOG_NOTICE("launched");  // recorded in the ring, written at this level and above only
    const int status = Status{*hub}.run();
    printf("%s\n", status == 0 ? "stopped" : "the hub is gone");
    return status;
}
