// A bound /dev/log that collects what the process writes to syslog, and the gate that switches diagnostics on.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vostest {

struct SyslogLine {
    int priority;       // LOG_ERR, LOG_DEBUG …
    int facility;       // LOG_USER, LOG_DAEMON …
    std::string ident;  // as written in front of the text
    std::string text;   // "[function:line]: message" for diagnostics
    /** The message without the "[function:line]: " in front. */
    std::string body() const;
};

/** A text as a catcher shows it: musl ends every text that lacks it with a new line, so there a catcher drops one. */
std::string asCaught(std::string text);

class SyslogCatcher {
  public:
    SyslogCatcher();
    ~SyslogCatcher();
    SyslogCatcher(const SyslogCatcher &) = delete;
    SyslogCatcher &operator=(const SyslogCatcher &) = delete;

    /** Everything written so far; empties the collection. */
    std::vector<SyslogLine> take();
    /** The bodies of everything written so far; empties the collection. */
    std::vector<std::string> takeBodies();

  private:
    void collect();
    void waitForMarker();

    int fd_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<SyslogLine> lines_;
    unsigned markersSeen_ = 0;
    unsigned markersSent_ = 0;
    std::thread thread_;
};

/** Diagnostics on for a test: catches syslog and holds the gate file open. */
class Diagnostics : public SyslogCatcher {
  public:
    Diagnostics();
    ~Diagnostics();
};

}  // namespace vostest
