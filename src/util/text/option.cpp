// Names and lists of names in configuration values.
#include <array>
#include <cstring>
#include <string_view>

#include "internal/dbg.h"
#include "vos/text.h"

namespace {

constexpr std::array<std::string_view, 4> kPppAuth{"AUTO_AUTH", "PAP", "CHAP", "MS-CHAP"};  // in order of their number
constexpr const char *kSeparators = " ,";

bool holdsItem(const char *list, std::string_view item) {
    while (*list != '\0') {
        const size_t length = strcspn(list, kSeparators);
        if (std::string_view{list, length} == item) {
            return true;
        }
        list += length;
        list += strspn(list, kSeparators);
    }
    return false;
}

}  // namespace

uint32_t util_pppAuthToNum(const char *name) {
    uint32_t number = 0;
    while (number < kPppAuth.size() && (name == nullptr || kPppAuth[number] != name)) {
        number++;
    }
    if (number == kPppAuth.size()) {
        number = 0;
        VOS_DBG_ERROR("unsupported auth string %s, default to auto=%d", name == nullptr ? "" : name,
                      static_cast<int>(number));
    }
    VOS_DBG_DEBUG("authNum = %d", static_cast<int>(number));
    return number;
}

bool util_isSubOptionPresent(const char *fullOptionString, const char *subOption) {
    if (fullOptionString == nullptr || subOption == nullptr) {
        return false;
    }
    VOS_DBG_DEBUG("look for subOption %s in fullOptionString=%s", subOption, fullOptionString);
    const bool found = holdsItem(fullOptionString, subOption);
    VOS_DBG_DEBUG("found=%d", found ? 1 : 0);
    return found;
}
