// Four megabytes from one daemon to another: in pieces, so that both go on serving others meanwhile.
#include <sys/wait.h>

#include <cstdio>
#include <vector>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_IMAGE_PIECE = 0x1000f206, MSG_IMAGE_END = 0x1000f207 };
constexpr size_t kPiece = 64 * 1024, kMost = 8 * 1024 * 1024;

static int serve() {
    vos::Connection hub = vos::Connection::open("flashd").value();
    vos::Loop loop{hub};
    std::vector<std::byte> image;
    // The word is where the piece belongs; its length is the message's own.
    loop.serve(MSG_IMAGE_PIECE, [&](const vos::Request &request) {
        const auto piece = request.payload();
        if (request.word() != image.size() || piece.size() > kMost - image.size()) {
            return request.fail(VOS_RET_BAD_ARG);
        }
        image.insert(image.end(), piece.begin(), piece.end());
        request.reply();
    });
    loop.serve(MSG_IMAGE_END, [&](const vos::Request &request) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(image.data());
        request.reply(utilCrc_getCrc32(bytes, static_cast<uint32_t>(image.size()), 0xffffffffu));
    });
    return loop.run();
}

static vos::Flow upload(vos::Loop &loop, VosEntityId flashd, const std::vector<uint8_t> &image) {
    for (size_t at = 0; at < image.size(); at += kPiece) {
        const std::span piece = std::span{image}.subspan(at, std::min(kPiece, image.size() - at));
        const auto taken = co_await loop.ask(
            {.to = flashd, .type = MSG_IMAGE_PIECE, .word = static_cast<uint32_t>(at), .payload = piece});
        if (!taken) {
            printf("piece at %zu: %s\n", at, taken.message());
            break;
        }
    }
    const auto sum = co_await loop.ask({.to = flashd, .type = MSG_IMAGE_END});
    const uint32_t expected = utilCrc_getCrc32(image.data(), static_cast<uint32_t>(image.size()), 0xffffffffu);
    printf("%s\n", sum && sum->as<uint32_t>() == expected ? "arrived whole" : "damaged");
    loop.stop();
}

int main() {
    const pid_t server = fork();
    if (server == 0) {
        _exit(serve());
    }
    std::vector<uint8_t> image(4 * 1024 * 1024 + 7);
    for (size_t i = 0; i < image.size(); i++) {
        image[i] = static_cast<uint8_t>(i * 2654435761u >> 24);
    }
    vos::Connection hub = vos::Connection::open("updater").value();
    vos::Loop loop{hub};
    upload(loop, hub.waitFor("flashd", 10s).value(), image).detach();
    loop.run();
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    return 0;
}

/* Prints:
arrived whole
*/
