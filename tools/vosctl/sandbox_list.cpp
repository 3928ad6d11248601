// Finds sandboxes among the abstract sockets of this network namespace.
#include "sandbox_list.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>

namespace vosctl {

namespace {

const std::string kPrefix = "vosctl-sandbox/";

// Anybody can call a socket so: only a process of this user counts, by what the kernel says of it.
bool isOwn(pid_t pid) {
    std::ifstream status{"/proc/" + std::to_string(pid) + "/status"};
    for (std::string word; status >> word;) {
        if (word == "Uid:") {
            uid_t real = 0;
            uid_t effective = 0;
            return status >> real >> effective && real == geteuid() && effective == geteuid();
        }
    }
    return false;
}

}  // namespace

bool isSandboxName(const std::string &name) {
    const auto plain = [](unsigned char c) { return isalnum(c) != 0 || strchr("._-", c) != nullptr; };
    return !name.empty() && name.size() <= 32 && std::ranges::all_of(name, plain);
}

vos::UniqueFd announceSandbox(const std::string &name) {
    vos::UniqueFd fd{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string text = kPrefix + std::to_string(getpid()) + "/" + name;
    text.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + text.size());
    // Without it nothing is lost but the way in from another terminal.
    if (fd && bind(fd.get(), reinterpret_cast<const sockaddr *>(&address), size) != 0) {
        fd.reset();
    }
    return fd;
}

std::vector<Sandbox> runningSandboxes() {
    std::vector<Sandbox> found;
    std::ifstream sockets{"/proc/net/unix"};
    for (std::string line; std::getline(sockets, line);) {
        const size_t at = line.find(" @" + kPrefix);
        if (at == std::string::npos) {
            continue;
        }
        const std::string rest = line.substr(at + 2 + kPrefix.size());
        Sandbox sandbox{};
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), sandbox.pid);
        sandbox.name = end != rest.data() + rest.size() ? std::string{end + 1} : "";
        if (error == std::errc{} && isSandboxName(sandbox.name) && isOwn(sandbox.pid)) {
            found.push_back(std::move(sandbox));
        }
    }
    return found;
}

}  // namespace vosctl
