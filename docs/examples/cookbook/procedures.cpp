// Numbered procedures: a daemon that serves them, and a program that calls them and waits.
#include <sys/wait.h>

#include <cstdio>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_SUM = 0x1000f203, SUM_ADD = 1, SUM_DIVIDE = 2, SUM_UNKNOWN = 3 };

struct Pair {
    int32_t a, b;
};

static int serve() {
    vos::Connection hub = vos::Connection::open("sumd").value();
    vos::Loop loop{hub};
    loop.serve(MSG_SUM, SUM_ADD, [](const vos::Request &request) {
        const auto pair = request.as<Pair>();
        pair ? request.reply(int64_t{pair->a} + pair->b) : request.fail(VOS_RET_BAD_ARG);
    });
    loop.serve(MSG_SUM, SUM_DIVIDE, [](const vos::Request &request) {
        const auto pair = request.as<Pair>();
        pair && pair->b != 0 ? request.reply(int64_t{pair->a} / pair->b) : request.fail(VOS_RET_BAD_ARG);
    });
    return loop.run();
}

int main() {
    const pid_t server = fork();
    if (server == 0) {
        _exit(serve());
    }
    const vos::Connection hub = vos::Connection::open("asker").value();
    const VosEntityId sumd = hub.waitFor("sumd", 10s).value();
    for (const auto &[number, pair] :
         {std::pair{SUM_ADD, Pair{40, 2}}, {SUM_DIVIDE, Pair{1, 0}}, {SUM_UNKNOWN, Pair{1, 1}}}) {
        const auto reply =
            hub.ask({.to = sumd, .type = MSG_SUM, .word = number, .payload = pair, .patience = 5s, .procedure = true});
        if (!reply) {
            printf("%u: %s\n", number, reply.message());  // nobody there, or no answer in time
        } else if (const auto result = reply->as<int64_t>()) {
            printf("%u: %d\n", number, static_cast<int>(*result));
        } else {
            printf("%u: refused\n", number);  // a procedure that fails, or is not there, answers without payload
        }
    }
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    return 0;
}

/* Prints:
1: 42
2: refused
3: refused
*/
