// Plug-in names, the payloads of requests and responses byte for byte, set-parameter events and the hub's directories.
#include "vos/plugin.h"

#include <cstring>

#include "support/hub_test.h"

using vostest::kSelf;
using vostest::message;

namespace {

using namespace std::string_literals;

constexpr uint32_t kManager = vostest::kPeer;
constexpr uint32_t kType = 0x10007001;

std::string u32(uint32_t value) {
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

std::string u64(uint64_t value) {
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

std::string numbers(uint32_t first) {
    return u32(first) + u32(first + 1) + u32(first + 2) + u32(first + 3);
}

// A received message in a block of its own, so that the sanitizers see every byte read beyond it.
struct Received {
    explicit Received(const std::string &payload, uint32_t type = kType)
        : bytes{message(type, kManager, kSelf, VOS_MSG_FLAG_REQUEST, 7, payload).bytes()} {}
    Received(const Received &) = delete;
    const std::string bytes;
    std::vector<char> block{bytes.begin(), bytes.end()};
    VosMsgHeader *msg = reinterpret_cast<VosMsgHeader *>(block.data());
};

using PluginTest = vostest::HubTest;

TEST(PluginName, IsRewrittenOnItsCustomerWord) {
    constexpr std::tuple<const char *, const char *, const char *, const char *> kRows[] = {
        {"com.operator.acme.smartgateway.wifi", "com.operator.marlow.smartgateway.wifi",
         "com.operator.acme.smartgateway.wifi", "com.operator..smartgateway.wifi"},
        {"com.x", "com.operator.marlow.smartgateway.x", "com.operator.acme.smartgateway.x",
         "com.operator..smartgateway.x"},
        {"com.operator.all.wifi", "com.operator.all.wifi", "com.operator.all.wifi", "com.operator.all.wifi"},
        {"org.wifi", "org.wifi", "org.wifi", "org.wifi"},
    };
    for (const auto &[given, toBase, toAcme, withoutCustomer] : kRows) {
        SCOPED_TRACE(given);
        const auto rewritten = [&original = given](auto rewrite) {
            char *name = vosMem_strdup(original, __func__, __LINE__);
            EXPECT_EQ(rewrite(&name), VOS_RET_OK);
            std::string text = name;
            VOS_FREE(name);
            return text;
        };
        EXPECT_EQ(rewritten(UTIL_pluginCustormerNameToBase), toBase);
        EXPECT_EQ(rewritten([](char **name) { return UTIL_pluginSetPluginNameByCustomer(name, "acme"); }), toAcme);
        EXPECT_EQ(rewritten(UTIL_replacePluginGetNamebase), withoutCustomer);
    }
}

TEST(PluginName, GivesItsCustomer) {
    for (const auto &[name, customer] : {std::pair{"com.operator.acme.smartgateway.wifi", "acme"},
                                         {"com.operator..x", ""},
                                         {"com.operator.acme", "none"},
                                         {"com.acme.x", "none"}}) {
        char none[] = "none";
        char *found = none;
        char *result = UTIL_pluginGetCustomer(name, &found);
        EXPECT_STREQ(found, customer) << name;
        EXPECT_EQ(result, found == none ? nullptr : found);
        VOS_FREE(result);
    }
}

TEST_F(PluginTest, SendsRequestsWithOffsetsInPlaceOfTexts) {
    const VosMsgHeader header = message(kType, kSelf, kManager, VOS_MSG_FLAG_RESPONSE | VOS_MSG_FLAG_KEEP, 9).header;
    const std::tuple<const char *, const char *, std::string> kRows[] = {
        {"ab", "cde", numbers(1) + u64(32) + u64(35) + "ab\0cde\0"s},
        {nullptr, nullptr, numbers(1) + u64(0) + u64(0)},
        {nullptr, "x", numbers(1) + u64(0) + u64(32) + "x\0"s},
    };
    for (const auto &[name, context, payload] : kRows) {
        const PluginReqMsg request{1, 2, 3, 4, name, context};
        ASSERT_EQ(UTIL_pluginSendReqMsg(handle, &header, &request, nullptr), VOS_RET_OK);
        EXPECT_EQ(sent(),
                  message(kType, kSelf, kManager, VOS_MSG_FLAG_REQUEST | VOS_MSG_FLAG_KEEP, 9, payload).bytes());
    }
}

TEST_F(PluginTest, TakesTheResponseToARequest) {
    const VosMsgHeader header = message(kType, kSelf, kManager).header;
    const PluginReqMsg request{};
    const std::tuple<std::string, VosRet, int32_t, const char *> kRows[] = {
        {numbers(5) + u64(static_cast<uint32_t>(-3)) + u64(40) + u64(43) + "ab\0ok\0"s, VOS_RET_OK, -3, "ok"},
        {numbers(5) + u64(1) + u64(0) + u64(0), VOS_RET_OK, 1, nullptr},
        {numbers(5) + u64(1) + u64(0) + u64(40) + "ok", VOS_RET_BAD_ARG, 77, nullptr},
        {numbers(5), VOS_RET_BAD_ARG, 77, nullptr},
        {"", VOS_RET_OK, 77, nullptr},
    };
    for (const auto &[payload, ret, retCode, retCtx] : kRows) {
        answer(kType, 0, payload);
        PluginRespMsg reply{};
        reply.retCode = 77;
        EXPECT_EQ(UTIL_pluginSendReqMsg(handle, &header, &request, &reply), ret);
        EXPECT_EQ(reply.retCode, retCode);
        EXPECT_EQ(reply.sourceEid, retCode == 77 ? 0U : 8U);
        EXPECT_STREQ(reply.retCtx, retCtx);
        VOS_FREE(reply.retCtx);
    }
    hub.hangUp();
    PluginRespMsg reply{};
    EXPECT_EQ(UTIL_pluginSendReqMsg(handle, &header, &request, &reply), VOS_RET_PEER_GONE);
}

TEST(PluginMessage, IsReadOnceAndOnlyWhenItsTextsLieWithinIt) {
    const std::string texts = "ab\0cde\0"s;
    Received good{numbers(1) + u64(32) + u64(35) + texts};
    PluginReqMsg request{};
    ASSERT_EQ(UTIL_pluginRecvReqMsg(good.msg, &request), VOS_RET_OK);
    EXPECT_EQ(request.sourceEid, 4u);
    EXPECT_STREQ(request.pluginName, "ab");
    EXPECT_STREQ(request.commonCtx, "cde");
    EXPECT_EQ(UTIL_pluginRecvReqMsg(good.msg, &request), VOS_RET_BAD_ARG);
    for (const auto &[name, context] : std::initializer_list<std::pair<uint64_t, uint64_t>>{
             {31, 35}, {32, 39}, {32, 40}, {1, 0}, {UINT64_MAX - 8, 0}, {32, uint64_t{1} << 32}}) {
        SCOPED_TRACE(std::to_string(name) + " " + std::to_string(context));
        Received bad{numbers(1) + u64(name) + u64(context) + texts};
        EXPECT_EQ(UTIL_pluginRecvReqMsg(bad.msg, &request), VOS_RET_BAD_ARG);
        EXPECT_EQ(std::string(bad.block.begin(), bad.block.end()), bad.bytes);
    }
    for (const std::string &payload : {""s, "\0"s, std::string(31, '\0'), numbers(1) + u64(32) + u64(0) + "ab"}) {
        EXPECT_EQ(UTIL_pluginRecvReqMsg(Received{payload}.msg, &request), VOS_RET_BAD_ARG);
    }
    Received response{numbers(1) + u64(static_cast<uint32_t>(-2)) + u64(0) + u64(40) + "done\0"s};
    PluginRespMsg read{};
    ASSERT_EQ(UTIL_pluginRecvRespMsg(response.msg, &read), VOS_RET_OK);
    EXPECT_EQ(read.sourceEid, 4U);
    EXPECT_EQ(read.retCode, -2);
    EXPECT_STREQ(read.retCtx, "done");
    EXPECT_EQ(UTIL_pluginRecvRespMsg(response.msg, &read), VOS_RET_BAD_ARG);
}

TEST_F(PluginTest, AnswersSetParameterEvents) {
    const auto answerTo = [this](PluginSetParamFunc callback) {
        UTIL_pluginRegisterSetParamEvent(handle, callback);
        Received event{numbers(1) + u64(32) + u64(34) + "p\0speed=1\0"s, VOS_MSG_PLUGIN_SET_PARAMETER};
        EXPECT_EQ(UTIL_pluginExecuteSetParamEvent(event.msg), VOS_RET_OK);
        return sent();
    };
    const auto expected = [](uint64_t retCtx, const std::string &texts) {
        return message(VOS_MSG_PLUGIN_SET_PARAMETER, kSelf, kManager, VOS_MSG_FLAG_RESPONSE, 7,
                       u32(0) + u32(2) + u32(3) + u32(4) + u64(0) + u64(40) + u64(retCtx) + texts)
            .bytes();
    };
    EXPECT_EQ(answerTo([](const char *context) {
                  return vosMem_strdup(strcmp(context, "speed=1") == 0 ? "set" : "?", __func__, __LINE__);
              }),
              expected(42, "p\0set\0"s));
    EXPECT_EQ(answerTo(nullptr), expected(0, "p\0"s));
    Received other{numbers(1) + u64(0) + u64(0)};
    EXPECT_EQ(UTIL_pluginExecuteSetParamEvent(other.msg), VOS_RET_OK);
    Received broken{"x", VOS_MSG_PLUGIN_SET_PARAMETER};
    EXPECT_EQ(UTIL_pluginExecuteSetParamEvent(broken.msg), VOS_RET_BAD_ARG);
    EXPECT_FALSE(hub.hasData());
    UTIL_pluginRegisterSetParamEvent(nullptr, nullptr);
}

TEST_F(PluginTest, OpensFilesInTheDirectoriesThatTheHubNames) {
    const vostest::TempDir directory;
    const std::string prefix = directory.path().string() + "/";
    const auto opens = [&](auto open, uint32_t word, const std::string &answer, const char *fileName) {
        hub.send(message(VOS_MSG_GET_PLUGIN_CFG_DIR, EID_HUBD, kSelf, VOS_MSG_FLAG_RESPONSE, 0, answer));
        FILE *file = open(handle, fileName, "w");
        EXPECT_EQ(sent(), message(VOS_MSG_GET_PLUGIN_CFG_DIR, kSelf, EID_HUBD, VOS_MSG_FLAG_REQUEST, word).bytes());
        return file != nullptr && fclose(file) == 0;
    };
    EXPECT_TRUE(opens(UTIL_pluginGetDataFile, 0, prefix, "data.cfg"));
    EXPECT_TRUE(opens(UTIL_pluginGetTmpFile, 1, prefix + "tmp\0garbage"s, ".cfg"));
    EXPECT_TRUE(std::filesystem::exists(directory / "data.cfg"));
    EXPECT_TRUE(std::filesystem::exists(directory / "tmp.cfg"));
    EXPECT_FALSE(opens(UTIL_pluginGetDataFile, 0, "", "data.cfg"));
    const std::string deep = prefix + std::string(600, '/');  // the same directory, but too long a text
    EXPECT_FALSE(opens(UTIL_pluginGetDataFile, 0, deep, "data.cfg"));
}

}  // namespace
