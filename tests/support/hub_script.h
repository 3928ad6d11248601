// The hub's side of one connection, driven byte by byte from the test.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "vos/msg.h"

namespace vostest {

/** One message as it stands on the wire. */
struct WireMessage {
    VosMsgHeader header{};
    std::string payload;

    std::string bytes() const;
};

/** Builds a message; dataLength follows the payload. */
WireMessage message(uint32_t type, uint32_t src, uint32_t dst, uint16_t flags = 0, uint32_t wordData = 0,
                    const std::string &payload = {});

/** The next message on a socket; nothing at its end and when nothing comes. */
std::optional<WireMessage> readMessage(int fd);

class HubScript {
  public:
    /** Listens on the fixed path. */
    HubScript();
    ~HubScript();
    HubScript(const HubScript &) = delete;
    HubScript &operator=(const HubScript &) = delete;

    /** Runs `open` (which blocks in the handshake) while a helper thread accepts, reads the announcement and answers
     *  with `eid`. Returns what `open` returned; the announcement is kept in `launch()`. */
    VosRet launch(uint32_t eid, const std::function<VosRet()> &open);
    /** The same for a handle opened with vosMsg_initByName(name). */
    VosMsgHandle *open(uint32_t eid, const char *name = "test");

    /** Accepts and reads the announcement without an answer; for tests that answer by hand. */
    void acceptOnly();
    const WireMessage &announcement() const { return announcement_; }

    void send(const WireMessage &message) { sendBytes(message.bytes()); }
    void sendBytes(const std::string &bytes);
    /** The next message from the process; empty at end of file or when nothing comes. */
    std::optional<WireMessage> read() { return readMessage(fd_); }
    /** Whether bytes of the process wait unread. */
    bool hasData() const;
    /** Closes the connection, as a dying hub does. */
    void hangUp();
    int fd() const { return fd_; }

  private:
    int listenFd_ = -1;
    int fd_ = -1;
    WireMessage announcement_;
};

}  // namespace vostest
