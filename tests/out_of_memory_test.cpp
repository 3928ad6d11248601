// Every allocation that the library makes fails once: the call gives the code that its header names and keeps nothing.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>

#include "support/fault.h"
#include "support/files.h"
#include "support/hub_process.h"
#include "support/hub_script.h"
#include "vos/vos.h"

using vostest::message;
using vostest::of;
using vostest::ofOut;
using vostest::Probe;
using vostest::result;
using Run = std::function<int64_t()>;

namespace {

constexpr int64_t kOk = VOS_RET_OK;
constexpr int64_t kNoResource = VOS_RET_NO_RESOURCE;
constexpr int64_t kError = VOS_RET_ERROR;
constexpr int64_t kBadArg = VOS_RET_BAD_ARG;
constexpr uint32_t kSelf = 50;
constexpr uint32_t kPeer = 60;
constexpr uint32_t kType = 0x10005000;

// What calls write to and nobody reads.
uint8_t g_bytes[64];
char g_text[64];
char g_more[64];
uint32_t g_length;
int g_value;

void check(const std::vector<Probe> &probes) {
    vostest::failEach(vostest::Resource::kMemory, probes);
}

TEST(OutOfMemory, Codecs) {
    const auto endEncoder = [](void *state) { utilLzw_cleanupEncoder(&state); };
    const auto endDecoder = [](void *state) { utilLzw_cleanupDecoder(&state); };
    check({
        {"encode base64", 1, {0}, of([] { return UTIL_base64Encode(g_bytes, 4); })},
        {"decode base64", 1, {0}, of([] { return UTILs_base64Decode("AAAA", &g_length); })},
        {"tolerant encoder", kOk, {kNoResource}, ofOut<char>([](auto o) { return utilB64_encode(g_bytes, 4, o); })},
        {"tolerant decoder", kOk, {kNoResource}, ofOut<uint8_t>([](auto o) {
             return utilB64_decode("AA A", o, &g_length);
         })},
        {"to hex", kOk, {kNoResource}, ofOut<char>([](auto o) { return util_binaryBufToHexString(g_bytes, 4, o); })},
        {"from hex", kOk, {kNoResource}, ofOut<uint8_t>([](auto o) {
             return util_hexStringToBinaryBuf("0a0b", o, &g_length);
         })},
        {"escape", kOk, {kNoResource}, ofOut<char>([](auto o) { return utilXml_escapeString("<a>", o); })},
        {"unescape", kOk, {kNoResource}, ofOut<char>([](auto o) { return utilXml_unescapeString("&lt;", o); })},
        {"LZW encoder",
         kOk,
         {kNoResource},
         ofOut<void>([](auto o) { return utilLzw_initEncoder(o, g_bytes, 64); }, endEncoder)},
        {"LZW decoder",
         kOk,
         {kNoResource},
         ofOut<void>([](auto o) { return utilLzw_initDecoder(o, g_bytes, 64); }, endDecoder)},
    });
}

#ifdef VOS_TEST_HAS_GB18030
TEST(OutOfMemory, Gb18030AndUtf8) {
    // A copy of the input stands in for the result while there is memory for one.
    const auto converted = [](char *(*convert)(const char *), const char *in) {
        return [=] {
            char *text = nullptr;
            result([&] { return (text = convert(in)) != nullptr; });
            const int64_t outcome = text == nullptr ? 0 : text == std::string{in} ? 1 : 2;
            vostest::freeLibraryBlock(text);
            return outcome;
        };
    };
    check({{"to UTF-8", 2, {0, 1, 2}, converted(EncodeToUTF8, "\xD6\xD0")},
           {"from UTF-8", 2, {0, 1, 2}, converted(DecodeFromUTF8, "\xE4\xB8\xAD")},
           {"either to UTF-8", 1, {0, 1}, converted(UTIL_strConvToUTF8, "plain")}});
}
#endif

TEST(OutOfMemory, XmlParser) {
    static const XmlNode attributes[] = {{nullptr, "v", [](auto...) { return g_value++, 0; }, nullptr}, {}};
    static const XmlNode rows[] = {{nullptr, "root", nullptr, attributes}, {}};
    static XmlNamespace spaces[] = {{nullptr, nullptr, "urn:a"}, {}};
    const XmlTables tables{rows, spaces};
    const std::string text = "<root xmlns:n=\"urn:a\" v=\"" + std::string(300, 'x') + "\">text</root>";
    check({{"parse", 0, {0, 1}, [&] {
                const int64_t ret =
                    result([&] { return parseGeneric(nullptr, &text[0], uint32_t(text.size()), &tables); });
                EXPECT_EQ(spaces[0].prefix, nullptr);
                return ret;
            }}});
    EXPECT_GT(g_value, 0);
}

int64_t parsedUrl() {
    uint32_t scheme = 0;
    uint16_t port = 0;
    char *host = nullptr;
    char *path = nullptr;
    const int64_t ret = result([&] { return util_parseUrl("http://h:1/p", &scheme, &host, &port, &path); });
    EXPECT_TRUE((host != nullptr) == (ret == kOk) && (path != nullptr) == (ret == kOk));
    VOS_FREE(host);
    VOS_FREE(path);
    return ret;
}

TEST(OutOfMemory, TextAndAddresses) {
    const auto formatted = [](char **out) { return util_sprintf_alloc("f", 1, out, "%s", "abc") == 3 ? kOk : kError; };
    check({
        {"formatted text", kOk, {kError}, ofOut<char>(formatted)},
        {"lower case copy", 1, {0}, of([] { return util_strDupLower("ABC"); })},
        {"MAC address", kOk, {kNoResource}, of([] { return util_macStrToNum("00:11:22:33:44:55", g_bytes); })},
        {"URL", kOk, {kNoResource}, parsedUrl},
        {"prefix", kOk, {kError}, of([] { return util_parsePrefixAddress("::1/64", g_text, 46, &g_length); })},
        {"valid address", 1, {0}, of([] { return util_isValidIpAddress(AF_INET6, "::1"); })},
        {"standard form", kOk, {kBadArg}, of([] { return util_standardizeIp6Addr("::1/64", g_text, sizeof g_text); })},
        {"servers", kOk, {kOk, kError}, of([] { return util_parseDNS("::1,::2", g_text, 46, g_more, 46, 0); })},
    });
}

// A call on a vector of one slot that is taken, and how many values it holds afterwards.
Run onFullVector(VosRet (*call)(UtilVector *vec), uint32_t counted) {
    return [=] {
        UtilVector *vec = UTIL_VectorInit(1);
        UTIL_VectorSet(vec, &g_value);
        const int64_t ret = result([&] { return call(vec); });
        EXPECT_EQ(UTIL_VectorCount(vec), ret == kOk ? counted : 1U);
        UTIL_VectorFree(vec);
        return ret;
    };
}

int64_t inserted() {
    HashMap *map = nullptr;
    hashmap_create(&map, 1);
    const int64_t ret = result([&] { return hashmap_insert(map, "key", -1, &g_value); });
    EXPECT_EQ(hashmap_search(map, "key"), ret == kOk ? &g_value : nullptr);
    hashmap_destroy(map, nullptr);
    return ret;
}

int64_t copied() {
    UtilVector *vec = UTIL_VectorInit(2);
    const int64_t made = result([&] { return UTIL_VectorCopy(vec); }, UTIL_VectorFree);
    UTIL_VectorFree(vec);
    return made;
}

TEST(OutOfMemory, Containers) {
    const auto end = [](HashMap *map) { hashmap_destroy(map, nullptr); };
    check({
        {"map", kOk, {kNoResource}, ofOut<HashMap>([](auto o) { return hashmap_create(o, 4); }, end)},
        {"map insert", kOk, {kNoResource}, inserted},
        {"list entry", 1, {0}, of([] { return list_create_entry(nullptr); })},
        {"vector", 1, {0}, of([] { return UTIL_VectorInit(2); }, UTIL_VectorFree)},
        {"vector copy", 1, {0}, copied},
        {"vector growth", kOk, {kError}, onFullVector([](auto v) { return UTIL_VectorSet(v, &g_value); }, 2)},
        {"vector slot", kOk, {kBadArg}, onFullVector([](auto v) { return UTIL_VectorSetIndex(v, 5, &g_value); }, 2)},
    });
}

int64_t timed() {
    void *list = nullptr;
    utilTmr_init(&list);
    const auto callback = [](void *) {};
    const int64_t ret = result([&] { return utilTmr_set(list, callback, nullptr, 1, "t"); });
    EXPECT_EQ(utilTmr_getNumberOfEvents(list), ret == kOk ? 1U : 0U);
    utilTmr_cleanup(&list);
    return ret;
}

TEST(OutOfMemory, TimersAndEntities) {
    const auto end = [](void *list) { utilTmr_cleanup(&list); };
    check({
        {"timer list", kOk, {kNoResource}, ofOut<void>(utilTmr_init, end)},
        {"timer", kOk, {kNoResource}, timed},
        {"names", kOk, {kNoResource}, ofOut<char>([](auto o) { return vosEid_getStringNamesFromBitMask(1, o); })},
    });
}

// A handle and the hub's end of it.
struct Connection {
    ~Connection() { vosMsg_cleanup(&handle); }

    /** A run whose answer, if it comes to one, waits in the socket already. */
    Run answered(uint32_t type, const std::string &payload, const Run &run) {
        return [=, this] {
            hub.send(message(type, kPeer, kSelf, VOS_MSG_FLAG_RESPONSE, 0, payload));
            const int64_t ret = run();
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

    vostest::HubScript hub;
    VosMsgHandle *handle = hub.open(kSelf);
    const VosMsgHeader request = message(kType, kSelf, kPeer, VOS_MSG_FLAG_REQUEST).header;
};

TEST(OutOfMemory, Messages) {
    Connection c;
    VosMsgHandle *const h = c.handle;
    const auto receive = ofOut<VosMsgHeader>([h](auto o) { return vosMsg_receive(h, o); });
    const auto ask = ofOut<VosMsgHeader>(
        [&c](auto o) { return vosMsg_sendAndGetReplyBufWithTimeout(c.handle, &c.request, o, 10000); });
    const auto askForBuffer =
        of([h] { return UTIL_sendRequestAndGetReplyBuf(h, kPeer, kType, 0, g_bytes, g_bytes, 4, 16); });
    const auto name = [h] { return UTIL_getEidByAppName("snmpd", h); };
    check({
        {"duplicate", 1, {0}, of([&c] { return vosMsg_duplicate(&c.request); })},
        {"receive", kOk, {kNoResource}, c.answered(kType, "answer", receive), 1},
        {"request and reply", kOk, {kNoResource}, c.answered(kType, "answer", ask), 1},
        {"request", kOk, {kNoResource}, c.answered(kType, "", of([h] {
                                                       return UTIL_sendRequest(h, kPeer, kType, 0, g_bytes, 4);
                                                   }))},
        {"request with buffer", kOk, {kNoResource}, c.answered(kType, "answer", askForBuffer), 1},
        {"entity id of a name", kOk, {kNoResource}, c.answered(VOS_MSG_GET_EID_BY_APP_NAME, "", of(name))},
        {"event", kOk, {kNoResource}, c.answered(kType, "", of([h] {
                                                     return UTIL_sendEventToHubd(h, kType, 0, g_bytes, 4);
                                                 }))},
    });
}

TEST(OutOfMemory, Handles) {
    const vostest::HubProcess hub;
    check({{"open", kOk, {kNoResource, kError}, vostest::resultOfLaunch}});
}

TEST(OutOfMemory, Plugins) {
    Connection c;
    const PluginReqMsg asked{1, 2, 3, 4, "com.a", "text"};
    const PluginRespMsg told{0, 0, 0, 0, 0, 0, "com.a", nullptr};
    // Numbers, return code, no name, a text behind the record.
    const std::string response = std::string(32, '\0') + '\x28' + std::string(7, '\0') + "ok" + '\0';
    const auto rename = [] {
        char *name = vosMem_strdup("com.operator.x.smartgateway.base", __func__, __LINE__);
        const int64_t ret = result([&] { return UTIL_pluginCustormerNameToBase(&name); });
        EXPECT_NE(name, nullptr);
        VOS_FREE(name);
        return ret;
    };
    const auto customer = [] {
        char *found = nullptr;
        return UTIL_pluginGetCustomer("com.operator.x.smartgateway.b", &found);
    };
    const auto ask = [&] {
        PluginRespMsg reply{};
        const int64_t ret = result([&] { return UTIL_pluginSendReqMsg(c.handle, &c.request, &asked, &reply); });
        EXPECT_EQ(reply.retCtx != nullptr, ret == kOk);
        VOS_FREE(reply.retCtx);
        return ret;
    };
    const auto openFile = of([&c] { return UTIL_pluginGetDataFile(c.handle, "f", "w"); }, fclose);
    check({
        {"name", kOk, {kOk}, rename},
        {"customer", 1, {0}, of(customer)},
        {"request", kOk, {kNoResource}, c.answered(kType, response, ask), 1},
        {"response", kOk, {kNoResource}, c.answered(kType, "", of([&] {
                                                        return UTIL_pluginSendRespMsg(c.handle, &c.request, &told);
                                                    }))},
        {"value of a line", 1, {0}, of([] { return util_pluginParseGetVal("Name", "Name: x"); })},
        {"data file", 1, {0}, c.answered(VOS_MSG_GET_PLUGIN_CFG_DIR, "/tmp/", openFile), 1},
    });
}

TEST(OutOfMemory, Tasks) {
    Connection c;
    uintptr_t number = 1;
    int refused = 0;
    const auto startNext = [&] {
        return UTIL_taskStart([](void *) {}, nullptr, reinterpret_cast<UtilTaskFunc>(number << 32), c.handle);
    };
    for (; number < 64; number++) {
        ASSERT_EQ(startNext(), kOk);
        c.hub.read();
    }
    const auto start = [&] {
        const int64_t ret = result(startNext);
        EXPECT_TRUE(ret != kOk || c.hub.read().value_or(vostest::WireMessage{}).header.wordData != 0);
        number += ret == kOk ? 1 : 0;
        if (ret == kNoResource && ++refused == 2) {
            number = 1;  // the 65th completion takes room that stays
        }
        return ret;
    };
    check({{"start", kOk, {kNoResource, kError}, start, 1}});
    EXPECT_TRUE(IsSkipped() || refused == 2);
}

TEST(OutOfMemory, Tags) {
    const auto made = [](void (*generate)(uint8_t * *buffer, uint32_t * length)) {
        return ofOut<uint8_t>([=](uint8_t **buffer) {
            generate(buffer, &g_length);
            return g_length != 0 ? kOk : kError;
        });
    };
    check(
        {{"Wi-Fi", kOk, {kError}, made([](auto b, auto l) { UTIL_nfcGenWifiNdefData("s", "psk2", "aes", "k", b, l); })},
         {"URL", kOk, {kError}, made([](auto b, auto l) { UTIL_nfcGenUrlNdefData("u", b, l); })}});
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
    const auto removeTree = [&] {
        std::filesystem::create_directories(tree + "/a/b");
        return result([&] { return utilFil_removeDir(tree.c_str()); });
    };
    PrctlProcessResult child{};
    check({
        {"remove a tree", kOk, {kOk}, removeTree},
        {"arguments",
         kOk,
         {kNoResource},
         ofOut<char *>([](auto o) { return parseArgs("/bin/x", "a b", o); }, freeArgs)},
        // Without a fork there is no child to wait for.
        {"spawn", kOk, {kNoResource, kBadArg}, of([&] { return prctl_spawnProcess(&request, &child); })},
        {"long command", 0, {-1}, of([&] { return UTIL_doSystemAction("t", "%s", longCommand.c_str()); })},
        {"command's output", 1, {0}, of([] { return UTIL_commSystemEx("echo x", g_text, 15); })},
    });
}

TEST(OutOfMemory, Log) {
    std::filesystem::create_directories("/tmp/log3");
    const auto init = [] {
        result([] { vosLog_init(21); });
        vosLog_cleanup();
        return 0;
    };
    check({{"init", 0, {0}, init}, {"percent signs", 0, {0}, of([] { return vosSyslog_info("100%%%%"), 0; })}});
}

}  // namespace
