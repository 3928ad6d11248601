// A requester and its daemon.
#include "pair.h"

#include <algorithm>

#include "vos/eid.h"

namespace load {

namespace {

constexpr size_t kTrips = 3000;
constexpr int64_t kLongestNs = 5'000'000'000;

}  // namespace

Pair::Pair(const Hub &hub)
    : hub_{hub},
      asking_{hub.socketPath()},
      answering_{[&] {
          Connection peer{hub.socketPath()};
          peer.send(message(kType, peer.eid(), asking_.eid(), VOS_MSG_FLAG_EVENT, 0));
          for (;;) {
              const VosMsgHeader request = peer.receive();
              peer.send(message(kType, peer.eid(), request.src, VOS_MSG_FLAG_RESPONSE, 0, std::string(64, 'x')));
          }
      }},
      peer_{asking_.receive().src} {}

Figures Pair::trips() {
    const std::string request = message(kType, asking_.eid(), peer_, VOS_MSG_FLAG_REQUEST, 0, std::string(64, 'x'));
    std::vector<int64_t> took;
    std::vector<int64_t> worked;
    const int64_t start = nowNs();
    while (took.size() < kTrips && (took.size() < 10 || nowNs() - start < kLongestNs)) {
        const int64_t workedBefore = hub_.workedNs();
        const int64_t before = nowNs();
        asking_.send(request);
        asking_.receive();
        took.push_back(nowNs() - before);
        worked.push_back(hub_.workedNs() - workedBefore);
    }
    const auto quantileUs = [](std::vector<int64_t> &values, size_t percent) {
        std::ranges::sort(values);
        return static_cast<double>(values[values.size() * percent / 100]) / 1000;
    };
    return {quantileUs(took, 50), quantileUs(took, 99), quantileUs(worked, 99)};
}

}  // namespace load
