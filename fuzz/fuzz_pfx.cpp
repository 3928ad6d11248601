// Reads key files that anybody may have written: a key or nothing, no descriptor and no error left behind.
#include <openssl/err.h>
#include <openssl/evp.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "vos/security.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const int fd = memfd_create("pfx", MFD_CLOEXEC);
    if (write(fd, data, size) != static_cast<ssize_t>(size)) {
        abort();
    }
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    EVP_PKEY_free(readKeyPairFromPfx(path, "geheim"));
    if (ERR_peek_error() != 0) {
        abort();
    }
    close(fd);
    const int next = dup(STDERR_FILENO);
    if (next > fd) {  // the lowest free number shows what stayed open
        abort();
    }
    close(next);
    return 0;
}
