// The library inside an epoll loop of one's own, in C++: one descriptor, one function.
#include <sys/epoll.h>

#include <cstdio>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_TICK = 0x1000f209 };

int main() {
    vos::Connection hub = vos::Connection::open("guest").value();
    vos::Loop loop{hub};
    loop.after(10ms, [&] {
        printf("timer\n");
        hub.publish(MSG_TICK, 7);
    });
    loop.on(MSG_TICK, [&](const vos::MessageView &event) {
        printf("event %u\n", event.word());
        loop.stop();  // as SIGTERM does
    });
    hub.subscribe(MSG_TICK).value();

    const int epollFd = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    if (epollFd < 0 || epoll_ctl(epollFd, EPOLL_CTL_ADD, loop.descriptor().value(), &event) != 0) {
        return 1;
    }
    auto turned = loop.dispatch();  // once at the beginning: what the set-up left behind
    while (turned && !loop.stopped() && epoll_wait(epollFd, &event, 1, -1) == 1) {
        turned = loop.dispatch();  // other descriptors of this loop would be told apart here
    }
    close(epollFd);
    return turned ? 0 : 1;
}

/* Prints:
timer
event 7
*/
