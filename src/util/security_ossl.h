// What the functions over OpenSSL share.
#ifndef VOS_UTIL_SECURITY_OSSL_H
#define VOS_UTIL_SECURITY_OSSL_H

#include <openssl/crypto.h>
#include <openssl/err.h>

#include <cstddef>
#include <cstdint>

namespace vos {

/** Takes the errors that a function adds to OpenSSL's queue away again at its end; older ones stay. One guard at a
 * time: OpenSSL 1.1 has a single mark. */
class KeepErrorQueue {
  public:
    KeepErrorQueue() { ERR_set_mark(); }
    ~KeepErrorQueue() { ERR_pop_to_mark(); }
    KeepErrorQueue(const KeepErrorQueue &) = delete;
    KeepErrorQueue &operator=(const KeepErrorQueue &) = delete;
};

/** A work buffer that is cleared at its end. */
template <size_t Size>
class SecretBuffer {
  public:
    SecretBuffer() = default;
    ~SecretBuffer() { OPENSSL_cleanse(bytes_, sizeof bytes_); }
    SecretBuffer(const SecretBuffer &) = delete;
    SecretBuffer &operator=(const SecretBuffer &) = delete;
    uint8_t *data() { return bytes_; }
    static constexpr size_t size() { return Size; }

  private:
    uint8_t bytes_[Size];
};

}  // namespace vos

#endif
