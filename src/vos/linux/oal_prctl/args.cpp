// Argument vectors for exec.
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "vos/prctl.h"
#include "vos/text.h"

namespace {

constexpr const char *kSeparators = " \t";

// A vector that frees itself until it is handed out.
class ArgVector {
  public:
    explicit ArgVector(uint64_t slots) : argv_{vos::allocZeroed<char *>(slots * sizeof(char *)).release()} {}
    ArgVector(const ArgVector &) = delete;
    ArgVector &operator=(const ArgVector &) = delete;
    ~ArgVector() { vos::own::freeArgs(argv_); }

    explicit operator bool() const { return argv_ != nullptr; }
    bool append(const char *text) {
        argv_[count_] = vosMem_strdup(text, __func__, __LINE__);
        return argv_[count_++] != nullptr;
    }
    char **release() {
        char **argv = argv_;
        argv_ = nullptr;
        return argv;
    }

  private:
    char **argv_;
    size_t count_ = 0;
};

uint64_t countTokens(const char *text) {
    uint64_t count = 0;
    for (text += strspn(text, kSeparators); *text != '\0'; text += strspn(text, kSeparators)) {
        text += strcspn(text, kSeparators);
        count++;
    }
    return count;
}

// `tokens` is cut apart.
bool fill(ArgVector *argv, const char *exe, char *tokens) {
    if (exe != nullptr && *exe != '\0') {
        const char *slash = strrchr(exe, '/');
        if (!argv->append(slash == nullptr ? exe : slash + 1)) {
            return false;
        }
    }
    char *rest = nullptr;
    for (const char *token = tokens == nullptr ? nullptr : strtok_r(tokens, kSeparators, &rest); token != nullptr;
         token = strtok_r(nullptr, kSeparators, &rest)) {
        if (!argv->append(token)) {
            return false;
        }
    }
    return true;
}

}  // namespace

VosRet vos::own::parseArgs(const char *exe, const char *args, char ***argvOut) {
    VOS_DBG_DEBUG("cmd = %s, args = %s, argv = %p", exe == nullptr ? "" : exe, args == nullptr ? "" : args,
                  static_cast<void *>(argvOut));
    if (argvOut == nullptr) {
        VOS_DBG_ERROR("NULL == argv");
        return VOS_RET_BAD_ARG;
    }
    *argvOut = nullptr;
    MemPtr<char> tokens;
    if (util_strlen(args) > 0) {
        tokens.reset(vosMem_strdup(args, __func__, __LINE__));
        if (!tokens) {
            VOS_DBG_ERROR("dup args failed");
            return VOS_RET_NO_RESOURCE;
        }
    }
    ArgVector argv{(tokens ? countTokens(tokens.get()) : 0) + 2};
    if (!argv) {
        VOS_DBG_ERROR("malloc failed");
        return VOS_RET_NO_RESOURCE;
    }
    if (!fill(&argv, exe, tokens.get())) {
        VOS_DBG_ERROR("dup arg failed");
        return VOS_RET_NO_RESOURCE;
    }
    *argvOut = argv.release();
    for (uint32_t i = 0; (*argvOut)[i] != nullptr; i++) {
        VOS_DBG_DEBUG("argv[%u] = %s", i, (*argvOut)[i]);
    }
    return VOS_RET_OK;
}

void vos::own::freeArgs(char **argv) {
    if (argv == nullptr) {
        return;
    }
    for (char **arg = argv; *arg != nullptr; arg++) {
        VOS_FREE(*arg);
    }
    VOS_FREE(argv);
}

VOS_OPEN_NAME VosRet parseArgs(const char *exe, const char *args, char ***argvOut) {
    return vos::own::parseArgs(exe, args, argvOut);
}

VOS_OPEN_NAME void freeArgs(char **argv) {
    vos::own::freeArgs(argv);
}
