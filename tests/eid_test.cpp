// Entity registry: the table's promises, look-ups, access masks and the cache.
#include "vos/eid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/syslog_catcher.h"
#include "vos/hashmap.h"
#include "vos/mem.h"

using testing::ElementsAre;
using testing::IsSupersetOf;

namespace {

std::vector<EntityInfo> table() {
    std::vector<EntityInfo> rows;
    vosEid_forEachEntityInfo(
        [](const EntityInfo *row, void *context) {
            static_cast<std::vector<EntityInfo> *>(context)->push_back(*row);
            return 0;
        },
        &rows);
    return rows;
}

std::string nameOfBit(uint16_t bit) {
    const EntityInfo *row = vosEid_getEntityInfoByAccessBit(bit);
    return row == nullptr ? "" : row->name;
}

TEST(EntityTable, KeepsItsPromises) {
    std::set<VosEntityId> ids;
    std::set<std::string> names;
    std::map<uint16_t, int> bits;
    for (const EntityInfo &row : table()) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(row.eid >= 1 && row.eid <= 0xFFFF && ids.insert(row.eid).second);
        EXPECT_TRUE(names.insert(row.name).second);
        EXPECT_LT(strlen(row.name), 64u);  // fits where messages carry names
        EXPECT_EQ(std::string{row.name}.find_first_of(", \""), std::string::npos);
        bits[row.accessBit]++;
    }
    EXPECT_EQ(ids.size(), 95u);
    EXPECT_EQ(bits, (std::map<uint16_t, int>{
                        {0, 48}, {0x01, 1}, {0x04, 1}, {0x08, 1}, {0x10, 1}, {0x20, 1}, {0x40, 1}, {0x80, 41}}));
    EXPECT_THAT(ids, IsSupersetOf({4, 15, EID_HUBD + 0, EID_GUARDD + 0, 30, 42048}));
    EXPECT_EQ(vosEid_getAppEid("hubd"), EID_HUBD);
    EXPECT_EQ(vosEid_getAppEid("guardd"), EID_GUARDD);
}

TEST(EntityLookUp, TakesTheFirstRowThatMatches) {
    for (const EntityInfo &row : table()) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(vosEid_getEntityInfoByStringName(row.name)->eid, row.eid);
        EXPECT_EQ(vosEid_getAppAccessBit(row.eid), row.accessBit);
        char name[64];
        EXPECT_EQ(vosEid_getAppName(name, sizeof name, row.eid), VOS_RET_OK);
        EXPECT_STREQ(name, row.name);
    }
    // A bit that several rows share leads to the first of them.
    const auto rows = table();
    for (const unsigned bit : {0x01U, 0x40U, 0x80U, 0x00U, 0x02U, 0x05U, 0x100U, 0x8000U}) {
        const auto first = std::ranges::find(rows, bit, &EntityInfo::accessBit);
        EXPECT_EQ(nameOfBit(static_cast<uint16_t>(bit)), bit == 0 || first == rows.end() ? "" : first->name) << bit;
    }
    EXPECT_EQ(vosEid_getEntityInfoByStringName("hub"), nullptr);
}

TEST(EntityLookUp, CutsTheNameAndLeavesTheBufferOnFailure) {
    char name[8];
    memset(name, 'x', sizeof name);
    EXPECT_EQ(vosEid_getAppName(name, sizeof name, 9999), VOS_RET_ERROR);
    EXPECT_EQ(vosEid_getAppName(name, 0, EID_HUBD), VOS_RET_BAD_ARG);
    EXPECT_EQ(std::string(name, 8), "xxxxxxxx");
    EXPECT_EQ(vosEid_getAppName(name, 4, EID_HUBD), VOS_RET_OK);
    EXPECT_EQ(std::string(name, 8), std::string("hub\0xxxx", 8));
    EXPECT_EQ(vosEid_getAppAccessBit(9999), 0);
}

TEST(EntityCache, AnswersASecondLookUpFromTheMap) {
    auto *const *map = reinterpret_cast<HashMap *const *>(vosEid_getFirstEntityInfo());
    EXPECT_EQ(vosEid_getAppEid("gponproxy"), 42048u);
    ASSERT_NE(*map, nullptr);
    EXPECT_EQ((*map)->bucketCount, 1024u);
    auto *cached = static_cast<VosEntityId *>(hashmap_search(*map, "gponproxy"));
    ASSERT_NE(cached, nullptr);
    *cached = 5;
    EXPECT_EQ(vosEid_getAppEid("gponproxy"), 5u);
    *cached = 42048;
    EXPECT_EQ(vosEid_getAppEid("nobody"), 0u);
    EXPECT_EQ(hashmap_search(*map, "nobody"), nullptr);
}

TEST(EntityMask, ListsNamesFromTheLowestBitOn) {
    const std::string known = nameOfBit(0x01) + "," + nameOfBit(0x04) + "," + nameOfBit(0x80);
    const std::tuple<uint16_t, VosRet, std::string> kRows[] = {
        {0, VOS_RET_OK, ""},
        {0x85, VOS_RET_OK, known},
        {0x87, VOS_RET_UNKNOWN_NAME, known},
        {0xFF02, VOS_RET_UNKNOWN_NAME, ""},
        {0x8001, VOS_RET_UNKNOWN_NAME, nameOfBit(0x01)},
    };
    for (const auto &[mask, ret, listed] : kRows) {
        SCOPED_TRACE(mask);
        char *names = nullptr;
        EXPECT_EQ(vosEid_getStringNamesFromBitMask(mask, &names), ret);
        EXPECT_EQ(names, listed);
        VOS_FREE(names);
    }
}

TEST(EntityMask, ReadsListsOfNames) {
    const std::string a = nameOfBit(0x01);
    const std::string b = nameOfBit(0x80);
    const std::tuple<std::string, VosRet, uint16_t> kRows[] = {
        {"", VOS_RET_OK, 0},
        {a, VOS_RET_OK, 0x01},
        {a + "," + b, VOS_RET_OK, 0x81},
        {a + ",   " + b + ",hubd", VOS_RET_OK, 0x81},
        {a + " ," + b, VOS_RET_UNKNOWN_NAME, 0x80},
        {" " + a, VOS_RET_UNKNOWN_NAME, 0},
        {a + ",\t" + b, VOS_RET_UNKNOWN_NAME, 0x01},
        {a + ",", VOS_RET_UNKNOWN_NAME, 0x01},
        {a + ",  ", VOS_RET_UNKNOWN_NAME, 0x01},
        {",,", VOS_RET_UNKNOWN_NAME, 0},
    };
    for (const auto &[names, ret, expected] : kRows) {
        SCOPED_TRACE(names);
        uint16_t mask = 0xFFFF;
        EXPECT_EQ(vosEid_getBitMaskFromStringNames(names.c_str(), &mask), ret);
        EXPECT_EQ(mask, expected);
    }
}

TEST(EntityMask, AssertsThatNamesAreShort) {
    vostest::Diagnostics diagnostics;
    uint16_t mask = 0;
    for (const size_t length : {254u, 255u, 3000u}) {
        const std::string name(length, 'x');
        for (const std::string &list : {name + ",hubd", "hubd," + name}) {
            EXPECT_EQ(vosEid_getBitMaskFromStringNames(list.c_str(), &mask), VOS_RET_UNKNOWN_NAME);
            const auto bodies = diagnostics.takeBodies();
            EXPECT_EQ(bodies.back(), "ignoring name " + name.substr(0, 254));
            EXPECT_EQ(bodies.size(), length > 254 ? 2U : 1U);
            EXPECT_TRUE(length == 254 || bodies[0].find("1) < (SINT32) sizeof(name)") != std::string::npos);
        }
    }
}

TEST(EntityRegistry, SaysWhatIsMissing) {
    vostest::Diagnostics diagnostics;
    char *names = nullptr;
    uint16_t mask = 0;
    vosEid_getStringNamesFromBitMask(0x102, &names);
    VOS_FREE(names);
    vosEid_getBitMaskFromStringNames("x", &mask);
    EXPECT_EQ(vosEid_addDynamicEntityInfo("app"), VOS_RET_OK);
    EXPECT_EQ(vosEid_delDynamicEntityInfo("app"), VOS_RET_NOT_IN_LIST);
    EXPECT_THAT(
        diagnostics.takeBodies(),
        ElementsAre("unrecognized bitmask 0x2", "unrecognized bitmask 0x100", "ignoring name x", "Add app app to array",
                    "No available space for dynamic app", "Del app app from array", "Not found app app in array"));
}

}  // namespace
