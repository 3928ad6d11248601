// A peer that dies with a request of ours in its hands, and comes back.
#include <sys/wait.h>

#include <cstdio>
#include <thread>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_WORK = 0x1000f204, MSG_OTHER = 0x1000f205 };

/** Starts the peer; a sick one dies of the first request. */
static pid_t start(bool sick) {
    const pid_t pid = fork();
    if (pid == 0) {
        vos::Connection hub = vos::Connection::open("workerd").value();
        vos::Loop loop{hub};
        loop.serve(MSG_WORK, [&](const vos::Request &request) {
            if (sick) {
                _exit(1);
            }
            request.reply("done");
        });
        _exit(loop.run());
    }
    return pid;
}

int main() {
    const pid_t first = start(true);
    vos::Connection hub = vos::Connection::open("asker").value();
    vos::Loop loop{hub};
    const VosEntityId peer = hub.waitFor("workerd", 10s).value();

    // Under way when the peer dies: nothing is told, the request's own time goes on.
    const vos::Call call =
        loop.ask({.to = peer, .type = MSG_WORK, .patience = 20s}, [&](vos::Result<vos::Message> reply) {
            printf("the first request: %s\n", reply ? std::string{reply->text()}.c_str() : reply.message());
            loop.stop();
        });
    waitpid(first, nullptr, 0);
    while (hub.isRunning(peer)) {
        std::this_thread::sleep_for(10ms);
    }
    // Asked while nobody holds the id: refused at once.
    printf("in between: %s\n", hub.ask({.to = peer, .type = MSG_OTHER}).message());

    // A name that comes back gets the id it had. The hub tells, the loop asks again by itself.
    const pid_t second = start(false);
    loop.run();
    kill(second, SIGTERM);
    waitpid(second, nullptr, 0);
    return 0;
}

/* Prints:
in between: peer is gone
the first request: done
*/
