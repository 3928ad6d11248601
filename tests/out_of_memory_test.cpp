// Every allocation that the library makes fails once: the call gives the code that its header names and keeps nothing.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>

#include "support/fault.h"
#include "support/files.h"
#include "support/hub_process.h"
#include "support/hub_script.h"
#include "vos/codec.h"
#include "vos/lzw.h"
#include "vos/request.h"
#include "vos/task.h"
#include "vos/vos.h"

using vostest::failEach;
using vostest::HubScript;
using vostest::message;
using vostest::Probe;
using vostest::Resource;
using vostest::result;
using vostest::resultWithBlock;

namespace {

constexpr int64_t kOk = VOS_RET_OK;
constexpr int64_t kNoResource = VOS_RET_NO_RESOURCE;
constexpr int64_t kError = VOS_RET_ERROR;
constexpr int64_t kBadArg = VOS_RET_BAD_ARG;
constexpr uint32_t kSelf = 50;
constexpr uint32_t kPeer = 60;
constexpr uint32_t kType = 0x10005000;
const uint8_t kBytes[] = {1, 2, 3, 4};

void check(const std::vector<Probe> &probes) {
    failEach(Resource::kMemory, probes);
}

// Runs `use` when `open` succeeded and gives the first result that is not success.
int64_t opened(void (*close)(void **), VosRet (*open)(void **)) {
    void *state = nullptr;
    const int64_t ret = result([&] { return open(&state); });
    EXPECT_EQ(state != nullptr, ret == kOk);
    close(&state);
    return ret;
}

TEST(OutOfMemory, Codecs) {
    check({
        {"base64 encode", [] { return result([] { return UTIL_base64Encode(kBytes, 4); }); }, 1, {0}},
        {"base64 decode",
         [] {
             uint32_t length = 0;
             return result([&] { return UTILs_base64Decode("AAAA", &length); });
         },
         1,
         {0}},
        {"tolerant base64 encode",
         [] { return resultWithBlock<char>([](char **out) { return utilB64_encode(kBytes, 4, out); }); },
         kOk,
         {kNoResource}},
        {"tolerant base64 decode",
         [] {
             uint32_t length = 0;
             return resultWithBlock<uint8_t>([&](uint8_t **out) { return utilB64_decode("AA AA", out, &length); });
         },
         kOk,
         {kNoResource}},
        {"bytes to hex",
         [] { return resultWithBlock<char>([](char **out) { return util_binaryBufToHexString(kBytes, 4, out); }); },
         kOk,
         {kNoResource}},
        {"hex to bytes",
         [] {
             uint32_t length = 0;
             return resultWithBlock<uint8_t>(
                 [&](uint8_t **out) { return util_hexStringToBinaryBuf("0a0b", out, &length); });
         },
         kOk,
         {kNoResource}},
        {"escape",
         [] { return resultWithBlock<char>([](char **out) { return utilXml_escapeString("<a>", out); }); },
         kOk,
         {kNoResource}},
        {"unescape",
         [] { return resultWithBlock<char>([](char **out) { return utilXml_unescapeString("&lt;", out); }); },
         kOk,
         {kNoResource}},
        {"LZW encoder",
         [] {
             return opened(utilLzw_cleanupEncoder, [](void **state) {
                 static uint8_t out[64];
                 return utilLzw_initEncoder(state, out, sizeof out);
             });
         },
         kOk,
         {kNoResource}},
        {"LZW decoder",
         [] {
             return opened(utilLzw_cleanupDecoder,
                           [](void **state) { return utilLzw_initDecoder(state, kBytes, sizeof kBytes); });
         },
         kOk,
         {kNoResource}},
    });
}

#ifdef VOS_TEST_HAS_GB18030
TEST(OutOfMemory, Gb18030AndUtf8) {
    // A copy of the input stands in for the result while there is memory for one.
    const auto converted = [](char *(*convert)(const char *), const char *in) {
        char *text = nullptr;
        result([&] { return (text = convert(in)) != nullptr; });
        const int64_t outcome = text == nullptr ? 0 : text == std::string{in} ? 1 : 2;
        vostest::freeLibraryBlock(text);
        return outcome;
    };
    check({
        {"to UTF-8", [&] { return converted(EncodeToUTF8, "\xD6\xD0"); }, 2, {0, 1, 2}},
        {"from UTF-8", [&] { return converted(DecodeFromUTF8, "\xE4\xB8\xAD"); }, 2, {0, 1, 2}},
        {"either to UTF-8", [&] { return converted(UTIL_strConvToUTF8, "plain"); }, 1, {0, 1}},
    });
}
#endif

TEST(OutOfMemory, XmlParser) {
    static int values;
    static XmlNode attributes[] = {{nullptr, "v", [](const char *, int, const char *) { return values++, 0; }, nullptr},
                                   {}};
    static XmlNode rows[] = {{nullptr, "root", nullptr, attributes}, {}};
    static XmlNamespace spaces[] = {{nullptr, nullptr, "urn:a"}, {}};
    const XmlTables tables{rows, spaces};
    const std::string long_value(300, 'x');
    const std::string text = "<root xmlns:n=\"urn:a\" v=\"" + long_value + "\">text</root>";
    check({{"parse",
            [&] {
                const int64_t ret = result(
                    [&] { return parseGeneric(nullptr, text.data(), static_cast<uint32_t>(text.size()), &tables); });
                EXPECT_EQ(spaces[0].prefix, nullptr);
                return ret;
            },
            0,
            {0, 1}}});
    EXPECT_GT(values, 0);
}

TEST(OutOfMemory, TextAndAddresses) {
    check({
        {"formatted text",
         [] {
             char *text = nullptr;
             const int64_t length = result([&] { return util_sprintf_alloc("f", 1, &text, "%s", "abc"); });
             EXPECT_EQ(text != nullptr, length != 0);
             VOS_FREE(text);
             return length;
         },
         3,
         {0}},
        {"lower case copy", [] { return result([] { return util_strDupLower("ABC"); }); }, 1, {0}},
        {"MAC address",
         [] {
             uint8_t mac[6];
             return result([&] { return util_macStrToNum("00:11:22:33:44:55", mac); });
         },
         kOk,
         {kNoResource}},
        {"URL",
         [] {
             uint32_t scheme = 0;
             uint16_t port = 0;
             char *host = nullptr;
             char *path = nullptr;
             const int64_t ret = result([&] { return util_parseUrl("http://h:1/p", &scheme, &host, &port, &path); });
             EXPECT_EQ(host != nullptr && path != nullptr, ret == kOk);
             EXPECT_EQ(host == nullptr, path == nullptr);
             VOS_FREE(host);
             VOS_FREE(path);
             return ret;
         },
         kOk,
         {kNoResource}},
        {"prefix address",
         [] {
             char addr[46];
             uint32_t length = 0;
             return result([&] { return util_parsePrefixAddress("::1/64", addr, sizeof addr, &length); });
         },
         kOk,
         {kError}},
        {"valid address", [] { return result([] { return util_isValidIpAddress(AF_INET6, "::1"); }); }, 1, {0}},
        {"standard form",
         [] {
             char out[64];
             return result([&] { return util_standardizeIp6Addr("::1/64", out, sizeof out); });
         },
         kOk,
         {kBadArg}},
        {"list of servers",
         [] {
             char first[46];
             char second[46];
             return result([&] { return util_parseDNS("::1,::2", first, 46, second, 46, 0); });
         },
         kOk,
         {kOk, kError}},
    });
}

TEST(OutOfMemory, Containers) {
    check({
        {"map",
         [] {
             HashMap *map = nullptr;
             const int64_t ret = result([&] { return hashmap_create(&map, 4); });
             hashmap_destroy(map, nullptr);
             return ret;
         },
         kOk,
         {kNoResource}},
        {"map insert",
         [] {
             HashMap *map = nullptr;
             hashmap_create(&map, 1);
             int value = 0;
             const int64_t ret = result([&] { return hashmap_insert(map, "key", -1, &value); });
             EXPECT_EQ(hashmap_search(map, "key"), ret == kOk ? &value : nullptr);
             hashmap_destroy(map, nullptr);
             return ret;
         },
         kOk,
         {kNoResource}},
        {"list entry", [] { return result([] { return list_create_entry(nullptr); }); }, 1, {0}},
        {"vector",
         [] {
             UtilVector *vec = nullptr;
             result([&] { return (vec = UTIL_VectorInit(2)) != nullptr; });
             const int64_t made = vec != nullptr ? 1 : 0;
             UTIL_VectorFree(vec);
             return made;
         },
         1,
         {0}},
        {"vector copy",
         [] {
             UtilVector *vec = UTIL_VectorInit(2);
             UtilVector *copy = nullptr;
             result([&] { return (copy = UTIL_VectorCopy(vec)) != nullptr; });
             const int64_t made = copy != nullptr ? 1 : 0;
             UTIL_VectorFree(copy);
             UTIL_VectorFree(vec);
             return made;
         },
         1,
         {0}},
        {"vector growth",
         [] {
             UtilVector *vec = UTIL_VectorInit(1);
             int value = 0;
             UTIL_VectorSet(vec, &value);
             const int64_t ret = result([&] { return UTIL_VectorSet(vec, &value); });
             EXPECT_EQ(UTIL_VectorCount(vec), ret == kOk ? 2U : 1U);
             UTIL_VectorFree(vec);
             return ret;
         },
         kOk,
         {kError}},
        {"vector slot",
         [] {
             UtilVector *vec = UTIL_VectorInit(1);
             int value = 0;
             const int64_t ret = result([&] { return UTIL_VectorSetIndex(vec, 5, &value); });
             UTIL_VectorFree(vec);
             return ret;
         },
         kOk,
         {kBadArg}},
    });
}

TEST(OutOfMemory, TimersAndEntities) {
    check({
        {"timer list", [] { return opened(utilTmr_cleanup, utilTmr_init); }, kOk, {kNoResource}},
        {"timer",
         [] {
             void *list = nullptr;
             utilTmr_init(&list);
             const int64_t ret = result([&] {
                 return utilTmr_set(
                     list, [](void *) {}, nullptr, 1, "t");
             });
             EXPECT_EQ(utilTmr_getNumberOfEvents(list), ret == kOk ? 1U : 0U);
             utilTmr_cleanup(&list);
             return ret;
         },
         kOk,
         {kNoResource}},
        {"entity names",
         [] { return resultWithBlock<char>([](char **out) { return vosEid_getStringNamesFromBitMask(1, out); }); },
         kOk,
         {kNoResource}},
    });
}

// A handle and the hub's end of it.
struct Connection {
    Connection() = default;
    ~Connection() { vosMsg_cleanup(&handle); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /** A call whose answer, if it comes to one, waits in the socket already. */
    template <typename Call>
    std::function<int64_t()> answered(Call call, uint32_t type, const std::string &payload = "answer") {
        return [this, call, type, payload] {
            hub.send(message(type, kPeer, kSelf, VOS_MSG_FLAG_RESPONSE, 0, payload));
            const int64_t ret = call();
            char rest[256];
            while (recv(hub.fd(), rest, sizeof rest, MSG_DONTWAIT) > 0) {
            }
            VosMsgHeader *late = nullptr;
            while (vosMsg_receiveWithTimeout(handle, &late, 0) == VOS_RET_OK) {
                VOS_FREE(late);
            }
            return ret;
        };
    }

    HubScript hub;
    VosMsgHandle *handle = hub.open(kSelf);
    const VosMsgHeader request = message(kType, kSelf, kPeer, VOS_MSG_FLAG_REQUEST).header;
};

TEST(OutOfMemory, Messages) {
    Connection c;
    check({
        {"duplicate", [&] { return result([&] { return vosMsg_duplicate(&c.request); }); }, 1, {0}},
        {"receive",
         c.answered(
             [&] {
                 return resultWithBlock<VosMsgHeader>(
                     [&](VosMsgHeader **out) { return vosMsg_receive(c.handle, out); });
             },
             kType),
         kOk,
         {kNoResource},
         1},
        {"request and reply",
         c.answered(
             [&] {
                 return resultWithBlock<VosMsgHeader>([&](VosMsgHeader **out) {
                     return vosMsg_sendAndGetReplyBufWithTimeout(c.handle, &c.request, out, 10000);
                 });
             },
             kType),
         kOk,
         {kNoResource},
         1},
        {"one-call request",
         c.answered([&] { return result([&] { return UTIL_sendRequest(c.handle, kPeer, kType, 0, kBytes, 4); }); },
                    kType, ""),
         kOk,
         {kNoResource}},
        {"one-call request with buffer",
         c.answered(
             [&] {
                 uint8_t reply[16];
                 return result([&] {
                     return UTIL_sendRequestAndGetReplyBuf(c.handle, kPeer, kType, 0, kBytes, reply, 4, sizeof reply);
                 });
             },
             kType),
         kOk,
         {kNoResource},
         1},
        {"entity id of a name",
         c.answered([&] { return result([&] { return UTIL_getEidByAppName("snmpd", c.handle); }); },
                    VOS_MSG_GET_EID_BY_APP_NAME, ""),
         kOk,
         {kNoResource}},
        {"event",
         c.answered([&] { return result([&] { return UTIL_sendEventToHubd(c.handle, kType, 0, kBytes, 4); }); }, kType),
         kOk,
         {kNoResource}},
    });
}

TEST(OutOfMemory, Handles) {
    const vostest::HubProcess hub;
    check({{"open", vostest::resultOfLaunch, kOk, {kNoResource, kError}}});
}

TEST(OutOfMemory, Plugins) {
    Connection c;
    const PluginReqMsg asked{1, 2, 3, 4, "com.a", "text"};
    PluginRespMsg told{};
    told.pluginName = "com.a";
    // Numbers, return code, no name, a text behind the record.
    std::string response(40, '\0');
    response[32] = 40;
    response += std::string{"ok\0", 3};
    check({
        {"name",
         [] {
             char *name = vosMem_strdup("com.operator.x.smartgateway.base", __func__, __LINE__);
             const int64_t ret = result([&] { return UTIL_pluginCustormerNameToBase(&name); });
             EXPECT_NE(name, nullptr);
             VOS_FREE(name);
             return ret;
         },
         kOk,
         {kOk}},
        {"customer",
         [] {
             char *customer = nullptr;
             return result([&] { return UTIL_pluginGetCustomer("com.operator.x.smartgateway.b", &customer); });
         },
         1,
         {0}},
        {"request",
         c.answered(
             [&] {
                 PluginRespMsg reply{};
                 const int64_t ret =
                     result([&] { return UTIL_pluginSendReqMsg(c.handle, &c.request, &asked, &reply); });
                 EXPECT_EQ(reply.retCtx != nullptr, ret == kOk);
                 VOS_FREE(reply.retCtx);
                 return ret;
             },
             kType, response),
         kOk,
         {kNoResource},
         1},
        {"response",
         c.answered([&] { return result([&] { return UTIL_pluginSendRespMsg(c.handle, &c.request, &told); }); }, kType),
         kOk,
         {kNoResource}},
        {"value of a line", [] { return result([] { return util_pluginParseGetVal("Name", "Name: x"); }); }, 1, {0}},
        {"data file",
         c.answered(
             [&] {
                 FILE *file = nullptr;
                 result([&] { return (file = UTIL_pluginGetDataFile(c.handle, "f", "w")) != nullptr; });
                 const int64_t ret = file != nullptr ? 1 : 0;
                 if (file != nullptr) {
                     fclose(file);
                 }
                 return ret;
             },
             VOS_MSG_GET_PLUGIN_CFG_DIR, "/tmp/"),
         1,
         {0},
         1},
    });
}

TEST(OutOfMemory, Tasks) {
    Connection c;
    check({{"start",
            [&] {
                const int64_t ret =
                    result([&] { return UTIL_taskStart([](void *) {}, nullptr, [](void *) {}, c.handle); });
                if (ret == kOk) {
                    EXPECT_TRUE(c.hub.read().has_value());
                }
                return ret;
            },
            kOk,
            {kNoResource, kError},
            1}});
}

TEST(OutOfMemory, Tags) {
    const auto made = [](auto generate) {
        uint8_t *buffer = nullptr;
        uint32_t length = 0;
        result([&] { return generate(&buffer, &length), 0; });
        EXPECT_EQ(buffer != nullptr, length != 0);
        VOS_FREE(buffer);
        return length != 0 ? 1 : 0;
    };
    check({
        {"Wi-Fi",
         [&] { return made([](uint8_t **b, uint32_t *l) { UTIL_nfcGenWifiNdefData("s", "psk2", "aes", "k", b, l); }); },
         1,
         {0}},
        {"URL", [&] { return made([](uint8_t **b, uint32_t *l) { UTIL_nfcGenUrlNdefData("u", b, l); }); }, 1, {0}},
    });
}

TEST(OutOfMemory, FilesAndProcesses) {
    const vostest::TempDir dir;
    const std::string tree = (dir / "tree").string();
    PrctlSpawnRequest request{};
    request.exe = "/bin/true";
    request.args = "a b";
    request.extraLibPath = "/x";
    request.spawnMode = PRCTL_SPAWN_AND_WAIT;
    request.timeoutMs = 10000;
    request.stdinFd = request.stdoutFd = request.stderrFd = request.serverFd = -1;
    const std::string longCommand = "true " + std::string(5000, ' ');
    check({
        {"remove a tree",
         [&] {
             std::filesystem::create_directories(tree + "/a/b");
             return result([&] { return utilFil_removeDir(tree.c_str()); });
         },
         kOk,
         {kOk}},
        {"arguments",
         [] {
             char **argv = nullptr;
             const int64_t ret = result([&] { return parseArgs("/bin/x", "a b", &argv); });
             EXPECT_EQ(argv != nullptr, ret == kOk);
             freeArgs(argv);
             return ret;
         },
         kOk,
         {kNoResource}},
        // Without a fork there is no child to wait for.
        {"spawn",
         [&] {
             PrctlProcessResult child{};
             return result([&] { return prctl_spawnProcess(&request, &child); });
         },
         kOk,
         {kNoResource, kBadArg}},
        {"long command",
         [&] { return result([&] { return UTIL_doSystemAction("t", "%s", longCommand.c_str()); }); },
         0,
         {-1}},
        {"command's output",
         [] {
             char text[16];
             return result([&] { return UTIL_commSystemEx("echo x", text, sizeof text - 1); });
         },
         1,
         {0}},
    });
}

TEST(OutOfMemory, Log) {
    std::filesystem::create_directories("/tmp/log3");
    check({
        {"init",
         [] {
             const int64_t ret = result([] { return vosLog_init(21), 0; });
             vosLog_cleanup();
             return ret;
         },
         0,
         {0}},
        {"text with percent signs", [] { return result([] { return vosSyslog_info("100%%%%"); }); }, 0, {0}},
    });
}

}  // namespace
