// vos-hubd: routes messages between daemons on a workstation or in CI.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <climits>
#include <cstdio>

#include "common/standard_descriptors.h"
#include "hub.h"
#include "listener.h"
#include "readiness.h"
#include "report.h"

namespace {

enum Exit { kFailed = 1, kUsage = 2 };

mode_t modeOf(const std::string &text) {
    unsigned mode = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mode, 8);
    if (error != std::errc{} || end != text.data() + text.size() || mode > 0777) {
        throw CLI::ValidationError{"--socket-mode", "'" + text + "' is no octal mode from 0 to 777"};
    }
    return static_cast<mode_t>(mode);
}

// Before the hub opens anything: a number that is free now would be one of the hub's own descriptors later.
void checkReadyFd(int fd) {
    if (fd >= 0 && fcntl(fd, F_SETFD, FD_CLOEXEC) != 0) {
        throw CLI::ValidationError{"--ready-fd", "descriptor " + std::to_string(fd) + " is not open"};
    }
}

void addOptions(CLI::App &app, hubd::Options &options) {
    app.set_version_flag("--version", HUBD_VERSION);
    app.add_option("--socket", options.socketPath, "where to listen")->capture_default_str();
    app.add_option_function<std::string>(
           "--socket-mode", [&options](const std::string &text) { options.socketMode = modeOf(text); },
           "who may connect, as the octal mode of the socket file; without it the umask decides")
        ->type_name("OCTAL");
    app.add_option("--ready-fd", options.readyFd,
                   "write a line to this descriptor and close it once clients can connect")
        ->check(CLI::Range(STDERR_FILENO + 1, INT_MAX));
    app.add_flag("--trace", options.trace, "print every message as one line");
    app.add_flag("--test-clock", options.testClock,
                 "for tests: time for delayed messages passes only when a client of the same user lets it");
    app.add_option("--queue-limit", options.queueLimit,
                   "bytes that may wait for a client; senders are held back long before")
        ->capture_default_str()
        ->check(CLI::Range(size_t{1}, size_t{1} << 32));
    app.add_option("--payload-limit", options.payloadLimit, "longest payload in bytes; more disconnects the sender")
        ->capture_default_str()
        ->check(CLI::Range(size_t{0}, size_t{1} << 31));
    app.add_option("--announce-timeout", options.announceTimeoutMs,
                   "milliseconds within which a client has to announce itself")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600000));
    app.add_option("--deaf-after", options.deafAfterMs,
                   "milliseconds after which a client that takes nothing while others wait for it is disconnected")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600000));
    app.add_option("--memory-limit", options.memoryLimit,
                   "bytes that all messages in the hub may take; beyond that whoever holds most is disconnected")
        ->capture_default_str()
        ->check(CLI::Range(size_t{1} << 20, size_t{1} << 40));
    app.add_option("--plugin-data-dir", options.pluginDataDir, "where plug-ins get their data directories")
        ->capture_default_str();
    app.add_option("--plugin-tmp-dir", options.pluginTmpDir, "where plug-ins get their temporary directories")
        ->capture_default_str();
    app.footer("Exit status: 0 after SIGTERM, SIGINT, SIGHUP, 1 when the hub cannot run, 2 for a wrong command line.");
}

// Each client is a descriptor; the soft limit of most systems is too low for a thousand of them.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its command line the program may end
int main(int argc, char **argv) {
    vostool::openMissingStandardDescriptors();
    hubd::Options options;
    CLI::App app{"Routes messages between daemons; stands in for the firmware's hub.", "vos-hubd"};
    addOptions(app, options);
    try {
        app.parse(argc, argv);
        checkReadyFd(options.readyFd);
        hubd::holdEndSignals();
        raiseDescriptorLimit();
        const vos::UniqueFd signals = hubd::awaitEndSignals();
        const hubd::Listener listener{options.socketPath, options.socketMode};
        hubd::Hub hub{options, listener.fd(), signals.get()};
        hubd::tellReady(options.readyFd);
        hub.run();
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);  // --help, --version
        }
        fprintf(stderr, "vos-hubd: %s; see 'vos-hubd --help'\n", error.what());
        return kUsage;
    } catch (const hubd::EndedBySignal &) {
        return 0;
    } catch (const std::exception &error) {
        hubd::logLine("%s", error.what());
        return kFailed;
    }
    return 0;
}
