// Salts, hashes, random identifiers and scrambling.
#include "vos/password.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "support/syslog_catcher.h"

static std::vector<int> s_rolls;  // what rand() gives, last one first

// Takes the place of the C library's for the library under test.
extern "C" int rand(void) noexcept(noexcept(srand(0))) {
    if (s_rolls.empty()) {
        ADD_FAILURE() << "rand() drawn once too often";
        return 0;
    }
    const int roll = s_rolls.back();
    s_rolls.pop_back();
    return roll;
}

namespace {

TEST(Salt, IsTwoCharactersThatTheTraditionalHashTakes) {
    const std::string first = util_cryptMakeSalt();
    EXPECT_THAT(first, testing::MatchesRegex("[./0-9A-Za-z][./0-9A-Za-z]"));
    const std::string hash = util_pwEncrypt("secret", first.c_str());
    EXPECT_EQ(hash.size(), 13U);
    EXPECT_EQ(hash.substr(0, 2), first);
    std::set<std::string> salts;
    std::generate_n(std::inserter(salts, salts.end()), 20, util_cryptMakeSalt);
    EXPECT_GT(salts.size(), 1U);
}

TEST(PasswordHash, IsCryptsAndHasAtMostTwentyThreeCharacters) {
    EXPECT_STREQ(util_pwEncrypt("rasmuslerdorf", "rl"), "rl.3StKT.4T8M");
    const std::string whole = oalPass_crypt("secret", "$1$abcdefgh$");
    ASSERT_EQ(whole.size(), 34U);
    EXPECT_EQ(util_pwEncrypt("secret", "$1$abcdefgh$"), whole.substr(0, 23));
    EXPECT_STREQ(util_pwEncrypt("secret", "rl"), oalPass_crypt("secret", "rl")) << "nothing of a longer hash stays";
    EXPECT_STREQ(util_pwEncrypt("secret", "*0"), "");
    EXPECT_STREQ(util_pwEncrypt(nullptr, "rl"), "");
}

TEST(RandomString, DrawsCharactersAndStopsAsTheRollsSay) {
    const std::tuple<const char *, uint32_t, uint32_t, std::vector<int>, const char *> kRows[] = {
        {"first of 26, then of 63", 3, 3, {25, 62, 63, 1}, "y9a"},
        {"modulo", 2, 2, {26 + 24, 63 + 17, 0}, "xu"},
        {"both letters u", 3, 3, {17, 21, 21 + 63, 3}, "uuu"},
        {"even stops", 1, 5, {0, 1, 2, 3, 3, 6}, "acd"},
        {"longest", 1, 2, {0, 1, 1, 1}, "ab"},
    };
    for (const auto &[what, minLen, maxLen, rolls, expected] : kRows) {
        SCOPED_TRACE(what);
        s_rolls.assign(rolls.rbegin(), rolls.rend());
        EXPECT_STREQ(utilRand_getRandString(minLen, maxLen), expected);
        EXPECT_TRUE(s_rolls.empty());
    }
    s_rolls.assign(128, 1);
    EXPECT_EQ(std::string(utilRand_getRandString(127, 127)), std::string(127, 'b'));
    for (const auto &[minLen, maxLen] : {std::pair{0U, 5U}, {5U, 4U}, {1U, 128U}}) {
        EXPECT_EQ(utilRand_getRandString(minLen, maxLen), nullptr);
    }
}

TEST(Scrambling, SwapsTheBitsOfEachPairAndAddsThemToTheOutput) {
    std::vector<uint8_t> all(256);
    std::iota(all.begin(), all.end(), uint8_t{0});
    std::vector<uint8_t> scrambled(256), back(256);
    ASSERT_EQ(UTIL_bufferMessUp(all.data(), 256, scrambled.data(), 256), VOS_RET_OK);
    EXPECT_EQ(scrambled[0x01], 0x02);
    EXPECT_EQ(scrambled[0x48], 0x84);
    ASSERT_EQ(UTIL_bufferMessUp(scrambled.data(), 256, back.data(), 256), VOS_RET_OK);
    EXPECT_EQ(back, all);

    uint8_t out[3] = {0x10, 0x10, 0x10};
    EXPECT_EQ(UTIL_bufferMessUp(all.data() + 1, 200, out, 2), VOS_RET_OK);
    EXPECT_EQ(UTIL_bufferMessUp(all.data() + 4, 1, out, 3), VOS_RET_OK);
    EXPECT_THAT(out, testing::ElementsAre(0x1A, 0x11, 0x10));
}

TEST(Scrambling, RefusesNothingToDo) {
    vostest::Diagnostics diagnostics;
    uint8_t byte = 0;
    EXPECT_EQ(UTIL_bufferMessUp(&byte, 0, &byte, 1), VOS_RET_BAD_ARG);
    EXPECT_EQ(UTIL_bufferMessUp(&byte, 1, &byte, 0), VOS_RET_BAD_ARG);
    EXPECT_THAT(diagnostics.takeBodies(),
                testing::ElementsAre(testing::MatchesRegex("param error in=.* inlen=0 out=.* outlen=1"),
                                     testing::HasSubstr("outlen=0")));
}

}  // namespace
