// A program that has every name of the library but those it calls for itself. own_names.cmake writes them; each ends
// the process. With an argument: which semtimedop does a timed lock reach?
#include <sys/mman.h>
#include <sys/sem.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "vos/eid.h"
#include "vos/mem.h"
#include "vos/prctl.h"
#include "vos/sem.h"
#include "vos/text.h"
#include "vos/xml.h"
#ifdef VOS_TEST_GB18030
#include "vos/gb18030.h"
#endif

extern "C" [[noreturn]] void stolen(const char *name) {
    fprintf(stderr, "the library called the program's %s\n", name);
    _Exit(1);
}

namespace {

bool startsAProgram() {
    PrctlSpawnRequest request{};
    request.exe = "/bin/sh";
    request.args = "-c exit";
    request.stdoutFd = 1;
    request.stderrFd = -1;
    request.serverFd = -1;
    request.spawnMode = PRCTL_SPAWN_AND_WAIT;
    request.timeoutMs = 60000;
    request.netnsName = "vosabsent";  // the child goes on without
    PrctlProcessResult result;
    return prctl_spawnProcess(&request, &result) == VOS_RET_OK && result.status == PRCTL_STATUS_EXITED &&
           result.exitCode == 0 && prctl_runCommandInShellBlocking("exit 3") == 3;
}

bool takesFromThePool() {
    constexpr uint32_t kSize = 1 << 16;
    void *region = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    vosMem_initSharedMem(region, kSize);
    void *block = vosMem_alloc(100, ALLOC_SHARED_MEM, __func__, __LINE__);
    VosMemStats stats;
    vosMem_getStats(&stats);
    const bool inside = block > region && block < static_cast<char *>(region) + kSize;
    vosMem_free(block, __func__, __LINE__);
    vosMem_cleanup();
    vosMem_initSharedMemPointer(region, kSize);
    return inside && stats.shmBytesInUse > 100;
}

bool readsAndConverts() {
    const XmlNode root[] = {{nullptr, "a", nullptr, nullptr}, {}};
    const XmlTables tables{root, nullptr};
    uint8_t byte = 0;
    bool good = parseGeneric(nullptr, "<a b=\"c\">d</a>", 14, &tables) == 0 && uitl_strToHex("2a", &byte, 1) == 0;
#ifdef VOS_TEST_GB18030
    char *text = UTIL_strConvToUTF8("\xC4\xE3\xBA\xC3");
    good = good && text != nullptr && strcmp(text, "你好") == 0;
    free(text);  // from the plain heap
#endif
    return good && byte == 0x2A;
}

/** "none" for the library's own, which holds nothing; "kernel" for the call itself. */
const char *timedLock() {
    int32_t id = -1;
    const uint32_t timeoutMs = 1000;
    vosSem_init(IPC_PRIVATE, false, &id);
    const VosRet ret = vosSem_lock(static_cast<uint32_t>(id), &timeoutMs);
    const int value = semctl(id, 0, GETVAL);
    semctl(id, 0, IPC_RMID);
    return ret != VOS_RET_OK ? "error" : value == 1 ? "kernel" : "none";
}

}  // namespace

int main(int argc, char **) {
    if (argc > 1) {
        puts(timedLock());
        return 0;
    }
    VosEntityId eids[2];
    for (VosEntityId &eid : eids) {  // the second from the cache
        eid = vosEid_getAppEid("configd");
    }
    const bool results[] = {startsAProgram(), eids[0] == 22 && eids[1] == 22, takesFromThePool(), readsAndConverts()};
    const auto *wrong = std::find(std::begin(results), std::end(results), false);
    return wrong == std::end(results) ? 0 : 10 + static_cast<int>(wrong - results);
}
