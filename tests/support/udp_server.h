// A name server's port on the loopback, answered by the test.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace vostest {

/** Answers every datagram that comes to port 53, or none; on request from another port. */
class UdpServer {
  public:
    using Answer = std::function<std::string(const std::string &query)>;

    UdpServer(int family, Answer answer, bool fromElsewhere = false)
        : fd_{bound(family, 53)}, from_{fromElsewhere ? bound(family, 0) : dup(fd_)}, answer_{std::move(answer)} {}
    UdpServer(int family, const std::string &answer, bool fromElsewhere = false)
        : UdpServer{family, [answer](const std::string &) { return answer; }, fromElsewhere} {}
    ~UdpServer() {
        query();
        close(fd_);
        close(from_);
    }
    UdpServer(const UdpServer &) = delete;
    UdpServer &operator=(const UdpServer &) = delete;

    /** Ends the service; the query that came last. */
    std::string query() {
        if (thread_.joinable()) {
            shutdown(fd_, SHUT_RDWR);
            thread_.join();
        }
        return query_;
    }

  private:
    static int bound(int family, uint16_t port) {
        sockaddr_in6 any{};
        any.sin6_family = static_cast<sa_family_t>(family);
        any.sin6_port = htons(port);  // the same place in both families
        const int fd = socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&any), sizeof any), 0);
        return fd;
    }
    void serve() {
        char bytes[600];
        sockaddr_storage client{};
        socklen_t size = sizeof client;
        ssize_t got = 0;
        while ((got = recvfrom(fd_, bytes, sizeof bytes, 0, reinterpret_cast<sockaddr *>(&client), &size)) > 0) {
            query_.assign(bytes, static_cast<size_t>(got));
            if (answer_) {
                const std::string answer = answer_(query_);
                sendto(from_, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr *>(&client), size);
            }
        }
    }

    int fd_;
    int from_;
    Answer answer_;
    std::string query_;
    std::thread thread_{[this] { serve(); }};
};

}  // namespace vostest
