// MD5, SHA-256 and AES-128-CBC against OpenSSL's envelope functions, over 64 bytes, 1 KiB and 1 MiB.
//
// The portable SHA-256 is compared with a second copy of libcrypto that has been told to use no SHA instructions: once
// also without AVX, which is OpenSSL's plain integer code, once with all that is left of the processor.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <openssl/evp.h>
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "util/digest/sha256_blocks.h"
#include "vos/digest.h"
#ifdef BENCH_WITH_SECURITY
#include "vos/security.h"
#endif

namespace {

using Bytes = std::vector<uint8_t>;

// Runs `work` on a buffer of the row's size.
template <typename Work>
void measure(benchmark::State &state, Work work) {
    const auto size = static_cast<size_t>(state.range(0));
    const Bytes data(size, 0x5A);
    Bytes out(size + 64);
    for (auto _ : state) {
        work(data, out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void vosMd5(const Bytes &data, uint8_t *out) {
    UtilMd5Context context;
    UTIL_md5Init(&context);
    UTIL_md5Update(&context, data.data(), static_cast<uint32_t>(data.size()));
    UTIL_md5Final(out, &context);
}

void vosSha256(const Bytes &data, uint8_t *out) {
    Sha256Context context;
    sha256_init(&context);
    sha256_update(&context, data.data(), static_cast<uint32_t>(data.size()));
    sha256_final(&context, out);
}

// As sha256_*() does it for these sizes: the whole blocks and one of padding.
void vosPortableSha256(const Bytes &data, uint8_t *out) {
    static const uint8_t kPadding[64] = {0x80};
    uint32_t state[8] = {};
    vos::sha256BlocksPortable(state, data.data(), data.size() / 64);
    vos::sha256BlocksPortable(state, kPadding, 1);
    std::copy(std::begin(state), std::end(state), reinterpret_cast<uint32_t *>(out));
}

// The calls of one libcrypto.
struct Peer {
    decltype(&EVP_MD_CTX_new) newContext = EVP_MD_CTX_new;
    decltype(&EVP_MD_CTX_free) freeContext = EVP_MD_CTX_free;
    decltype(&EVP_DigestInit_ex) init = EVP_DigestInit_ex;
    decltype(&EVP_DigestUpdate) update = EVP_DigestUpdate;
    decltype(&EVP_DigestFinal_ex) final = EVP_DigestFinal_ex;
    decltype(&EVP_md5) md5 = EVP_md5;
    decltype(&EVP_sha256) sha256 = EVP_sha256;

    void digest(const EVP_MD *algorithm, const Bytes &data, uint8_t *out) const {
        EVP_MD_CTX *context = newContext();
        init(context, algorithm, nullptr);
        update(context, data.data(), data.size());
        final(context, out, nullptr);
        freeContext(context);
    }
};

// A name space with a C library of its own. Each numbers the threads' own values from 0 on, yet all of them keep these
// in the same place: the numbers that the others use are given away first.
Lmid_t newNamespace() {
    static int spaces = 0;
    Lmid_t space = LM_ID_BASE;
    void *library = dlmopen(LM_ID_NEWLM, "libc.so.6", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr || dlinfo(library, RTLD_DI_LMID, &space) != 0) {
        return LM_ID_NEWLM;
    }
    const auto create = reinterpret_cast<decltype(&pthread_key_create)>(dlsym(library, "pthread_key_create"));
    spaces++;
    for (int i = 0; create != nullptr && i < 32 * spaces; i++) {
        pthread_key_t key;
        create(&key, nullptr);
    }
    return space;
}

// A libcrypto of its own that reads `capabilities` from its environment when it is loaded.
Peer loadPeer(const char *capabilities) {
    setenv("OPENSSL_ia32cap", capabilities, 1);
    setenv("OPENSSL_armcap", "0", 1);
    Dl_info loaded;
    void *library = dladdr(reinterpret_cast<void *>(EVP_sha256), &loaded) != 0
                        ? dlmopen(newNamespace(), loaded.dli_fname, RTLD_NOW | RTLD_LOCAL)
                        : nullptr;
    unsetenv("OPENSSL_ia32cap");
    unsetenv("OPENSSL_armcap");
    if (library == nullptr) {
        fprintf(stderr, "no second libcrypto: %s\n", dlerror());
        exit(1);
    }
    Peer peer;
    const auto take = [library](auto &function, const char *name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
    };
    take(peer.newContext, "EVP_MD_CTX_new");
    take(peer.freeContext, "EVP_MD_CTX_free");
    take(peer.init, "EVP_DigestInit_ex");
    take(peer.update, "EVP_DigestUpdate");
    take(peer.final, "EVP_DigestFinal_ex");
    take(peer.sha256, "EVP_sha256");
    return peer;
}

#ifdef BENCH_WITH_SECURITY
constexpr uint8_t kKey[UTIL_AES128_SIZE] = {1, 2, 3};
constexpr uint8_t kIv[UTIL_AES128_SIZE] = {4, 5, 6};

void vosAes(const Bytes &data, uint8_t *out) {
    uint32_t length = 0;
    UTIL_aes128CbcBufferEncrypt(kKey, kIv, data.data(), static_cast<uint32_t>(data.size()), out, &length, 1);
}

void peerAes(const Bytes &data, uint8_t *out) {
    EVP_CIPHER_CTX *context = EVP_CIPHER_CTX_new();
    int length = 0;
    int last = 0;
    EVP_CipherInit_ex(context, EVP_aes_128_cbc(), nullptr, kKey, kIv, 1);
    EVP_CipherUpdate(context, out, &length, data.data(), static_cast<int>(data.size()));
    EVP_CipherFinal_ex(context, out + length, &last);
    EVP_CIPHER_CTX_free(context);
}
#endif

template <typename Work>
void addRow(const std::string &row, const char *system, int64_t size, Work work) {
    benchmark::RegisterBenchmark((row + "|" + system).c_str(), [work](benchmark::State &state) {
        measure(state, work);
    })->Arg(size);
}

void addPeerRow(const std::string &row, const char *system, int64_t size, const Peer &peer, const EVP_MD *algorithm) {
    addRow(row, system, size,
           [peer, algorithm](const Bytes &data, uint8_t *out) { peer.digest(algorithm, data, out); });
}

void registerRows() {
    const Peer whole;
    const Peer noSha = loadPeer(":~0x20000000");
    const Peer integerOnly = loadPeer("~0x1000020000000000:~0x20000128");  // no SSSE3, AVX, BMI, AVX2, SHA
    for (const auto &[size, name] : {std::pair{int64_t{64}, "64 B"}, {1024, "1 KiB"}, {1 << 20, "1 MiB"}}) {
        const std::string suffix = std::string{" "} + name;
        addRow("MD5" + suffix, "vos", size, vosMd5);
        addPeerRow("MD5" + suffix, "OpenSSL", size, whole, whole.md5());
        addRow("SHA-256" + suffix, "vos", size, vosSha256);
        addPeerRow("SHA-256" + suffix, "OpenSSL", size, whole, whole.sha256());
        addRow("SHA-256 portable" + suffix, "vos", size, vosPortableSha256);
        addPeerRow("SHA-256 portable" + suffix, "OpenSSL, integer code", size, integerOnly, integerOnly.sha256());
        addPeerRow("SHA-256 portable" + suffix, "OpenSSL, vector code", size, noSha, noSha.sha256());
#ifdef BENCH_WITH_SECURITY
        addRow("AES-128-CBC encrypt" + suffix, "vos", size, vosAes);
        addRow("AES-128-CBC encrypt" + suffix, "OpenSSL", size, peerAes);
#endif
    }
}

}  // namespace

int main(int argc, char **argv) {
    registerRows();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
