// Events: one publishes, whoever subscribed gets a copy.
#include <cstdio>
#include <vos/vos.hpp>

enum : uint32_t { MSG_LINK_CHANGED = 0x1000f202 };

struct Link {
    uint32_t port;
    uint32_t up;
};

int main() {
    vos::Connection hub = vos::Connection::open("viewer").value();
    vos::Loop loop{hub};
    loop.on(MSG_LINK_CHANGED, [&](const vos::MessageView &event) {
        const auto link = event.as<Link>();
        if (!link) {
            printf("not a link: %zu bytes\n", event.payload().size());  // whoever sent it, it is not ours
            return;
        }
        printf("change %u: port %u is %s\n", event.word(), link->port, link->up != 0 ? "up" : "down");
        if (link->up == 0) {
            hub.unsubscribe(MSG_LINK_CHANGED).value();
            loop.stop();
        }
    });
    hub.subscribe(MSG_LINK_CHANGED).value();  // the hub has noted it when this returns

    const vos::Connection wand = vos::Connection::open("wand").value();  // another daemon, usually
    wand.publish(MSG_LINK_CHANGED, 0, "text");
    wand.publish(MSG_LINK_CHANGED, 1, Link{.port = 3, .up = 1});
    wand.publish(MSG_LINK_CHANGED, 2, Link{.port = 3, .up = 0});
    return loop.run();
}

/* Prints:
not a link: 4 bytes
change 1: port 3 is up
change 2: port 3 is down
*/
