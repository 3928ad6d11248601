// DNS over the loopback against a bare sendto/recvfrom and c-ares, decoding of a five-answer reply against c-ares's
// parser, and listing IPv6 addresses against getifaddrs. Runs in a network namespace of its own, where port 53 is free.
#include <ares.h>
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vos/dns.h"
#include "vos/netif.h"

namespace {

using namespace std::string_literals;

const std::string kQuestion = "\3www\7example\3com\0\0\1\0\1"s;
const std::string kQuery = "\x56\x78\1\0\0\1\0\0\0\0\0\0"s + kQuestion;

std::string reply() {
    std::string wire = "\x56\x78\x81\x80\0\1\0\5\0\0\0\0"s + kQuestion;
    for (char last = 1; last <= 5; last++) {
        wire += "\xC0\x0C\0\1\0\1\0\0\0\x3C\0\4\x0A\0\0"s + last;
    }
    return wire;
}

sockaddr_in server() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void enterNamespace() {
    if (unshare(CLONE_NEWNET | (geteuid() == 0 ? 0 : CLONE_NEWUSER)) != 0) {
        perror("unshare");
        exit(1);
    }
    ifreq request{};
    strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP;
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ioctl(fd, SIOCSIFFLAGS, &request);
    close(fd);
}

// Answers every query with the same addresses, under the query's id.
pid_t startServer() {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = server();
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        perror("bind");
        exit(1);
    }
    const pid_t pid = fork();
    if (pid == 0) {
        std::string answer = reply();
        char query[512];
        for (;;) {
            sockaddr_in client{};
            socklen_t size = sizeof client;
            if (recvfrom(fd, query, sizeof query, 0, reinterpret_cast<sockaddr *>(&client), &size) > 0) {
                memcpy(answer.data(), query, 2);
                sendto(fd, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr *>(&client), size);
            }
        }
    }
    close(fd);
    return pid;
}

void vosQuery(benchmark::State &state) {
    for (auto _ : state) {
        char out[256] = "";
        if (UTIL_dnsDoQuery("www.example.com", nullptr, "127.0.0.1", out, sizeof out) != 0) {
            state.SkipWithError("no answer");
        }
    }
}

// The least a resolver can do: a socket, a datagram out, a wait with a limit, a datagram in.
void bareQuery(benchmark::State &state) {
    for (auto _ : state) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = server();
        sendto(fd, kQuery.data(), kQuery.size(), 0, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
        poll(&waiting, 1, 2000);
        char answer[512];
        benchmark::DoNotOptimize(recvfrom(fd, answer, sizeof answer, 0, nullptr, nullptr));
        close(fd);
    }
}

void caresQuery(benchmark::State &state) {
    ares_library_init(ARES_LIB_INIT_ALL);
    for (auto _ : state) {
        ares_options options{};
        options.flags = ARES_FLAG_NOSEARCH | ARES_FLAG_NOALIASES;
        options.lookups = const_cast<char *>("b");
        ares_channel channel = nullptr;
        ares_init_options(&channel, &options, ARES_OPT_FLAGS | ARES_OPT_LOOKUPS);
        ares_set_servers_csv(channel, "127.0.0.1");
        bool done = false;
        ares_query(
            channel, "www.example.com", 1, 1,
            [](void *arg, int status, int, unsigned char *, int) {
                *static_cast<bool *>(arg) = status == ARES_SUCCESS;
            },
            &done);
        while (!done) {
            ares_socket_t sockets[1];
            if (ares_getsock(channel, sockets, 1) == 0) {
                break;
            }
            pollfd waiting{.fd = sockets[0], .events = POLLIN, .revents = 0};
            poll(&waiting, 1, 2000);
            ares_process_fd(channel, sockets[0], ARES_SOCKET_BAD);
        }
        if (!done) {
            state.SkipWithError("no answer");
        }
        ares_destroy(channel);
    }
}

void vosDecode(benchmark::State &state) {
    std::string wire = reply();
    wire.resize(VOS_DNS_MESSAGE_SIZE);
    for (auto _ : state) {
        char out[256] = "";
        util_dnsDecodeResponse(reinterpret_cast<const uint8_t *>(wire.data()), out, sizeof out);
        benchmark::DoNotOptimize(out);
    }
}

// The parser alone, and with the texts that the other side writes too.
void caresDecode(benchmark::State &state, bool withTexts) {
    const std::string wire = reply();
    for (auto _ : state) {
        hostent *host = nullptr;
        ares_addrttl ttls[5];
        int count = 5;
        ares_parse_a_reply(reinterpret_cast<const unsigned char *>(wire.data()), static_cast<int>(wire.size()), &host,
                           ttls, &count);
        for (int i = 0; withTexts && i < count; i++) {
            char text[INET_ADDRSTRLEN];
            benchmark::DoNotOptimize(inet_ntop(AF_INET, &ttls[i].ipaddr, text, sizeof text));
        }
        ares_free_hostent(host);
    }
}

void vosAddresses(benchmark::State &state) {
    for (auto _ : state) {
        char address[VOS_IF_ADDR6_SIZE];
        uint32_t ifIndex = 0, prefixLen = 0, scope = 0, flags = 0;
        for (uint32_t i = 0; UTIL_getIfAddr6("lo", i, address, &ifIndex, &prefixLen, &scope, &flags) == 0; i++) {
            benchmark::DoNotOptimize(address);
        }
    }
}

void getifaddrsAddresses(benchmark::State &state) {
    for (auto _ : state) {
        ifaddrs *all = nullptr;
        getifaddrs(&all);
        for (const ifaddrs *one = all; one != nullptr; one = one->ifa_next) {
            char text[INET6_ADDRSTRLEN];
            if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET6 && strcmp(one->ifa_name, "lo") == 0) {
                benchmark::DoNotOptimize(inet_ntop(
                    AF_INET6, &reinterpret_cast<sockaddr_in6 *>(one->ifa_addr)->sin6_addr, text, sizeof text));
            }
        }
        freeifaddrs(all);
    }
}

void registerRows() {
    const auto add = [](const char *name, auto round) { benchmark::RegisterBenchmark(name, round)->UseRealTime(); };
    add("DNS query to a local server|vos", vosQuery);
    add("DNS query to a local server|bare sendto + recvfrom", bareQuery);
    add("DNS query to a local server|c-ares", caresQuery);
    add("DNS decode, five answers|vos", vosDecode);
    add("DNS decode, five answers|c-ares", [](benchmark::State &state) { caresDecode(state, false); });
    add("DNS decode, five answers|c-ares + inet_ntop", [](benchmark::State &state) { caresDecode(state, true); });
    add("IPv6 addresses of an interface|vos", vosAddresses);
    add("IPv6 addresses of an interface|getifaddrs", getifaddrsAddresses);
}

}  // namespace

int main(int argc, char **argv) {
    enterNamespace();
    const pid_t serverPid = startServer();
    registerRows();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    kill(serverPid, SIGKILL);
}
