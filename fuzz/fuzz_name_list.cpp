// Reads whatever stands for a list of entity names: the mask is the one that splitting the text naively gives, and the
// names of every mask read back as that mask.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "vos/eid.h"
#include "vos/mem.h"

namespace {

void check(bool holds) {
    if (!holds) {
        abort();
    }
}

bool addName(const std::string &name, uint16_t *mask) {
    const EntityInfo *row = name.size() < 255 ? vosEid_getEntityInfoByStringName(name.c_str()) : nullptr;
    *mask |= row == nullptr ? uint16_t{0} : row->accessBit;
    return row != nullptr;
}

void checkList(const std::string &names) {
    uint16_t expected = 0;
    bool allKnown = true;
    for (size_t start = 0; !names.empty() && start != std::string::npos;) {
        const size_t comma = names.find(',', start);
        allKnown &= addName(names.substr(start, comma - start), &expected);
        start = comma == std::string::npos ? comma : std::min(names.find_first_not_of(' ', comma + 1), names.size());
    }
    uint16_t mask = 0xFFFF;
    const VosRet ret = vosEid_getBitMaskFromStringNames(names.c_str(), &mask);
    check(mask == expected && ret == (allKnown ? VOS_RET_OK : VOS_RET_UNKNOWN_NAME));
}

void checkMask(uint16_t mask) {
    char *names = nullptr;
    const VosRet ret = vosEid_getStringNamesFromBitMask(mask, &names);
    uint16_t back = 0;
    check(vosEid_getBitMaskFromStringNames(names, &back) == VOS_RET_OK);
    check((mask & back) == back && (back == mask) == (ret == VOS_RET_OK));
    VOS_FREE(names);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text{reinterpret_cast<const char *>(data), size};
    checkList(text.c_str());
    if (size >= 2) {
        checkMask(static_cast<uint16_t>(data[0] << 8 | data[1]));
    }
    vosEid_getAppEid(text.c_str());
    return 0;
}
