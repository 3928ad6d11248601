// Megabytes that are not copied: they lie in shared memory, and a message says that they are there.
#include <sys/wait.h>

#include <cstdio>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_PICTURE = 0x1000f208, kKey = 0x766f7331, kLockKey = 0x766f7332, kSize = 2 * 1024 * 1024 };

struct Picture {
    uint32_t width, height;
    uint8_t pixels[kSize - 8];
};

static int serve() {
    vos::Connection hub = vos::Connection::open("viewerd").value();
    const auto memory = vos::SharedMemory::open(kKey, kSize);
    const auto lock = vos::ProcessLock::join(kLockKey);
    vos::Loop loop{hub};
    loop.serve(MSG_PICTURE, [&](const vos::Request &request) {
        const auto *picture = memory.value().as<Picture>();
        const auto held = lock.value().hold();
        const uint64_t pixels = uint64_t{picture->width} * picture->height;  // read once, then judged
        if (pixels > sizeof picture->pixels) {
            return request.fail(VOS_RET_BAD_ARG);
        }
        uint32_t white = 0;
        for (uint64_t i = 0; i < pixels; i++) {
            white += picture->pixels[i] == 255 ? 1u : 0u;
        }
        request.reply(white);
    });
    return loop.run();
}

int main() {
    const auto memory = vos::SharedMemory::open(kKey, kSize);
    const auto lock = vos::ProcessLock::create(kLockKey);
    if (!memory || !lock) {
        return 1;
    }
    const pid_t server = fork();
    if (server == 0) {
        _exit(serve());
    }
    const vos::Connection hub = vos::Connection::open("painter").value();
    const VosEntityId viewer = hub.waitFor("viewerd", 10s).value();
    auto *picture = memory->as<Picture>();
    for (const uint32_t width : {1000u, 100000u}) {
        {
            const auto held = lock->hold();
            picture->width = width;
            picture->height = 1000;
            picture->pixels[17] = 255;
        }
        const auto white = hub.ask({.to = viewer, .type = MSG_PICTURE});
        printf("%u wide: %s, %u white\n", width, white.message(), white ? white->as<uint32_t>().value_or(0) : 0);
    }
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    memory->remove();
    lock->remove();
    return 0;
}

/* Prints:
1000 wide: success, 1 white
100000 wide: bad argument, 0 white
*/
