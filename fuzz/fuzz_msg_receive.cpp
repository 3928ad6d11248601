// Receives whatever a broken hub may send, in pieces, with time-outs between them and memory refused for some payloads:
// every message handed out is exactly what stood on the wire, and nothing but a refused one is lost.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vos/mem.h"
#include "vos/msg/stream.h"

namespace {

constexpr size_t kSizes = 4;    // bytes in front of the wire: sizes of the pieces
constexpr size_t kPieces = 16;  // then the rest in one
constexpr size_t kLargestWire = 8192;
constexpr uint32_t kLongest = 0x3FFF;  // longer than any wire; what is larger only costs the sanitizer time
constexpr uint32_t kImpossible = 0xFFFFFFE0;

bool g_isReceiving;
bool g_wasRefused;
void *g_newest;  // block that a receive took last

void check(bool holds) {
    if (!holds) {
        abort();
    }
}

// One end of a socket, and what must come out of the bytes that go into the other.
class Wire {
  public:
    Wire(const uint8_t *data, size_t size) : bytes_(data, data + size) {
        for (size_t at = 0; at + sizeof(VosMsgHeader) <= bytes_.size(); at += sizeAt(at)) {
            const uint32_t length = lengthAt(at);
            const uint32_t shorter = length & kLongest;
            if (length < kImpossible) {
                memcpy(&bytes_[at + offsetof(VosMsgHeader, dataLength)], &shorter, sizeof shorter);
            }
        }
        check(socketpair(AF_UNIX, SOCK_STREAM, 0, fds_) == 0);
    }
    ~Wire() {
        stream_.drop();
        close(fds_[0]);
    }
    void putInPieces(const uint8_t *sizes) {
        for (size_t piece = 0; put_ < bytes_.size(); piece++) {
            const size_t rest = bytes_.size() - put_;
            const size_t count = piece < kPieces ? std::min<size_t>(rest, 1 + sizes[piece % kSizes]) : rest;
            check(send(fds_[1], &bytes_[put_], count, MSG_DONTWAIT) == static_cast<ssize_t>(count));
            put_ += count;
            VosRet ret = VOS_RET_OK;
            while (ret == VOS_RET_OK || ret == VOS_RET_NO_RESOURCE) {
                ret = receive();
            }
            check(ret == VOS_RET_TIMEOUT && (!holdsHeader() || taken_ + sizeAt(taken_) > put_));
        }
    }
    void end() {
        close(fds_[1]);
        if (holdsHeader()) {
            check(receive() == VOS_RET_ERROR);
        }
        check(receive() == VOS_RET_PEER_GONE);
    }

  private:
    uint32_t lengthAt(size_t at) const {
        uint32_t length = 0;
        memcpy(&length, &bytes_[at + offsetof(VosMsgHeader, dataLength)], sizeof length);
        return length;
    }
    size_t sizeAt(size_t at) const { return sizeof(VosMsgHeader) + size_t{lengthAt(at)}; }
    /** Whether the header of the message that is due has come. */
    bool holdsHeader() const { return taken_ + sizeof(VosMsgHeader) <= put_; }
    VosRet receive() {
        VosMsgHeader *msg = nullptr;
        vos::Deadline now{0};
        g_wasRefused = false;
        g_isReceiving = true;
        const VosRet ret = stream_.receive(fds_[0], &msg, now, vos::FirstStep::kRead);
        g_isReceiving = false;
        check((msg != nullptr) == (ret == VOS_RET_OK));
        if (ret == VOS_RET_OK) {
            check(holdsHeader() && taken_ + sizeAt(taken_) <= put_ &&
                  memcmp(msg, &bytes_[taken_], sizeAt(taken_)) == 0);
            VOS_FREE(msg);
            taken_ += sizeAt(taken_);
        } else if (ret == VOS_RET_NO_RESOURCE) {
            check(holdsHeader() && (g_wasRefused || lengthAt(taken_) >= kImpossible));
            taken_ += sizeAt(taken_);
            free(g_newest);  // the header, which stays allocated by contract
        }
        return ret;
    }

    std::vector<uint8_t> bytes_;
    size_t put_ = 0;
    size_t taken_ = 0;  // where the message that is due begins; beyond put_ while a refused one is skipped
    int fds_[2] = {-1, -1};
    vos::MessageStream stream_{};
};

}  // namespace

// The linker puts these in malloc's place. A receive gets no memory for one payload length in eight.
extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size) {
    if (!g_isReceiving) {
        return __real_malloc(size);
    }
    g_wasRefused = size > 2 * sizeof(VosMsgHeader) + 64 && size / 4 % 8 == 0;
    if (g_wasRefused) {
        return nullptr;
    }
    return g_newest = __real_malloc(size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size <= kSizes) {
        return 0;
    }
    Wire wire{data + kSizes, std::min<size_t>(size - kSizes, kLargestWire)};
    wire.putInPieces(data);
    wire.end();
    return 0;
}
