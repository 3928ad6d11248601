// What went through the hub: `vosctl monitor --pcap FILE` writes it down, a few lines read it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

enum : uint32_t { MSG_LINK_CHANGED = 0x1000f202 };

/** A classic pcap file: 24 bytes, then packets, each with 16 bytes in front. Ours are 8 bytes of the monitor's, the
 *  message header and the payload. */
static void print(const std::vector<char> &file) {
    constexpr size_t kFileHeader = 24, kPacketHeader = 16, kMonitor = 8;
    uint32_t length = 0;
    for (size_t at = kFileHeader; at + kPacketHeader <= file.size(); at += kPacketHeader + length) {
        VosMsgHeader header;
        std::memcpy(&length, &file[at + 8], sizeof length);
        if (length < kMonitor + sizeof header || length > file.size() - at - kPacketHeader) {
            printf("cut off\n");
            return;
        }
        std::memcpy(&header, &file[at + kPacketHeader + kMonitor], sizeof header);
        const char *payload = &file[at + kPacketHeader] + kMonitor + sizeof header;
        printf("type 0x%x, word %u: %.*s\n", header.type, header.wordData,
               static_cast<int>(length - kMonitor - sizeof header), payload);
    }
}

int main() {
    const char *vosctl = getenv("VOSCTL") != nullptr ? getenv("VOSCTL") : "/usr/bin/vosctl";
    vos::Connection hub = vos::Connection::open("wand").value();
    vos::Loop loop{hub};
    loop.spawn(vos::Command{vosctl, "monitor --type 0x1000f202 --count 2 --pcap /tmp/trace.pcap"},
               [&](const vos::Ended &) {
                   std::ifstream file{"/tmp/trace.pcap", std::ios::binary};
                   print({std::istreambuf_iterator<char>{file}, {}});
                   loop.stop();
               })
        .value();
    // The file is there once the hub has begun to copy.
    vos::Timer look;
    look = loop.every(10ms, [&] {
        if (access("/tmp/trace.pcap", F_OK) == 0) {
            hub.publish(MSG_LINK_CHANGED, 1, "port 3 is up");
            hub.publish(MSG_LINK_CHANGED, 0, "port 3 is down");
            loop.cancel(look);
        }
    });
    return loop.run();
}

/* Prints:
type 0x1000f202, word 1: port 3 is up
type 0x1000f202, word 0: port 3 is down
*/
