// NULL in the place of every pointer of every family: the code that the header names, or nothing happens.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <tuple>

#include "support/hub_script.h"
#include "vos/vos.h"

namespace {

/** An argument that may be NULL, or stays as it is. */
template <typename T>
struct Fixed {
    T value;
};
template <typename T>
Fixed<T> fixed(T value) {
    return {value};
}
template <typename T>
T unwrap(T value) {
    return value;
}
template <typename T>
T unwrap(Fixed<T> value) {
    return value.value;
}

struct Result {
    int64_t value;
    int line;
    Result(int64_t wanted, int at = __builtin_LINE()) : value{wanted}, line{at} {}
};

template <typename... Functions>
auto all(Functions... functions) {
    return std::array{functions...};
}

/** Calls each of the functions with these arguments, one of the pointers NULL in turn, and expects this result of all:
 *  of functions that return a pointer 0 for NULL, of those that return nothing 0. */
template <size_t count, typename Return, typename... Parameters, typename... Arguments>
void gives(Result wanted, const std::array<Return (*)(Parameters...), count> &functions, Arguments... arguments) {
    const std::tuple<Parameters...> valid{unwrap(arguments)...};
    const auto callWithout = [&]<size_t place>(auto *function, std::integral_constant<size_t, place>) {
        using Argument = std::tuple_element_t<place, std::tuple<Arguments...>>;
        if constexpr (std::is_pointer_v<Argument>) {
            auto changed = valid;
            std::get<place>(changed) = nullptr;
            int64_t result = 0;
            if constexpr (std::is_void_v<Return>) {
                std::apply(function, changed);
            } else if constexpr (std::is_pointer_v<Return>) {
                result = std::apply(function, changed) == nullptr ? 0 : 1;
            } else {
                result = static_cast<int64_t>(std::apply(function, changed));
            }
            EXPECT_EQ(result, wanted.value) << "line " << wanted.line << ", argument " << place + 1;
        }
    };
    for (auto *function : functions) {
        [&]<size_t... places>(std::index_sequence<places...>) {
            (callWithout(function, std::integral_constant<size_t, places>{}), ...);
        }
        (std::index_sequence_for<Parameters...>{});
    }
}

constexpr int64_t kOk = VOS_RET_OK;
constexpr int64_t kBad = VOS_RET_BAD_ARG;
constexpr int64_t kError = VOS_RET_ERROR;

// What calls read and write.
uint8_t g_bytes[1024];
char g_text[1024] = "text";
char *g_out;
uint8_t *g_outBytes;
void *g_pointer;
uint32_t g_u32;
int32_t g_i32;
uint16_t g_u16;
int64_t g_i64;
uint64_t g_u64;

TEST(NullArguments, OfTextsAndNumbers) {
    gives(0, all(util_strToUpper, util_strToLower, UTIL_str2Upper, util_strTrimL, util_strTrimR, util_strTrim), g_text);
    gives(0, all(util_strDupLower), "x");
    gives(0, all(util_strIsInt), "1");
    gives(0, all(util_strlen, util_pppAuthToNum), "x");
    gives(0,
          all(util_isValidPortNumber, util_isValidMacAddress, util_isValidIpv4Address, util_isGUAorULA, UTIL_strIsUTF8),
          "x");
    gives(0, all(util_isSubOptionPresent), "a b", "a");
    gives(kBad, all(util_strtol, oal_strtol), "1", fixed(nullptr), 10, &g_i32);
    gives(kBad, all(util_strtol64, oal_strtol64), "1", fixed(nullptr), 10, &g_i64);
    gives(kBad, all(util_strtoul64, oal_strtoul64), "1", fixed(nullptr), 10, &g_u64);
    gives(kBad, all(util_strtoul, oal_strtoul), fixed("1"), fixed(nullptr), 10, &g_u32);
    gives(VOS_RET_BAD_VALUE, all(util_strtoul, oal_strtoul), "1", fixed(nullptr), 10, fixed(&g_u32));
    gives(-1, all(uitl_strToHex), "00", g_bytes, 1);
    gives(-1, all(util_xmlSpecialCharConvert), "x", g_text, 9);
    gives(kBad, all(util_atmVpiVciStrToNum), "PVC: 0/35", &g_i32, &g_i32);
    gives(kBad, all(util_atmVpiVciNumToStr), 0, 35, g_text, 20);
    gives(kBad, all(util_macStrToNum), "00:11:22:33:44:55", g_bytes);
    gives(kBad, all(util_macNumToStr), g_bytes, g_text, 18);
    gives(kBad, all(util_increaseMacValue), g_bytes, 1);
    gives(kBad, all(util_parseUrl), "http://h/p", &g_u32, &g_out, &g_u16, &g_out);
    gives(kBad, all(util_getBaseDir), g_text);
    gives(kBad, all(util_getRunTimeRootDir), g_text, 9);
    gives(kBad, all(util_getRunTimePath), "x", g_text, 9);
}

TEST(NullArguments, OfAddressesAndInterfaces) {
    gives(0, all(util_ipStrToOctets), "1.2.3.4", g_bytes);
    gives(0, all(util_isValidIpAddress), AF_INET, "1.2.3.4");
    gives(kBad, all(util_parsePrefixAddress), "::/64", g_text, 46, &g_u32);
    gives(kBad, all(util_getAddrPrefix), "::", 64, g_text);
    gives(kBad, all(util_replaceEui64), "::1", g_text);
    gives(kBad, all(util_standardizeIp6Addr), "::1", g_text, 46);
    gives(kBad, all(util_parseDNS), "1.1.1.1", fixed(g_text), 46, fixed(g_text), 46, 1);
    gives(kBad, all(UTIL_dnsDoQuery), "a", fixed("lo"), "127.0.0.1", g_text, 99);
    gives(kBad, all(UTIL_dnsDoIpv6Query), "a", fixed("lo"), "::1", g_text, 99, 1);
    gives(0, all(util_dnsDecodeResponse), g_bytes, g_text, 99);
    gives(0, all(UTIL_getIfAddr, UTIL_getIfMask, UTIL_getIfSubnet), "lo", g_text, 16);
    gives(0, all(UTIL_isInterfaceExisted, UTIL_isAddressOnLanSide), "lo");
    gives(kBad, all(UTIL_setIfState), "lo", 1);
    gives(kError, all(UTIL_checkInterfaceUp), "lo", g_bytes);
    gives(0, all(UTIL_getIfMacAddr), "lo", g_bytes);
    gives(-1, all(UTIL_getMacAddrFromArpByIp), "10.9.8.7", g_text, 18);
    gives(kError, all(oal_getIfAddr6, UTIL_getIfAddr6), "lo", 0, g_text, &g_u32, &g_u32, &g_u32, &g_u32);
    gives(VOS_RET_NOTHING_FOUND, all(UTIL_getLinkLocalIfAddr6, UTIL_getGloballyUniqueIfAddr6), "lo", g_text, &g_u32);
    gives(0, all(UTIL_areIpv6AddrEqual, UTIL_isHostInSameSubnet), "::1", "::1");
}

TEST(NullArguments, OfFormats) {
    gives(0, all(UTIL_base64Encode), g_bytes, 4);
    gives(0, all(UTILs_base64Decode), "AAAA", fixed(&g_u32));
    gives(kBad, all(utilB64_encode, util_binaryBufToHexString), g_bytes, 4, &g_out);
    gives(kBad, all(utilB64_decode, util_hexStringToBinaryBuf), "AAAA", &g_outBytes, &g_u32);
    gives(kBad, all(utilXml_escapeString, utilXml_unescapeString), fixed("x"), &g_out);
    gives(kOk, all(utilXml_escapeString, utilXml_unescapeString), "x", fixed(&g_out));
    gives(kBad, all(utilLzw_initEncoder), &g_pointer, g_bytes, 9);
    gives(kBad, all(utilLzw_initDecoder), &g_pointer, g_bytes, 9);
    gives(-1, all(utf8_mbtowc), fixed(&g_u32), g_bytes, 4);
    gives(0, all(utf8_wctomb), g_bytes, 'a', 4);
    gives(kBad, all(UTIL_bufferMessUp), g_bytes, 1, g_bytes, 1);
    gives(0, all(oalPass_crypt), "secret", "rl");
    gives(0, all(UTIL_nfcGetNdefPayload), g_bytes, g_bytes, &g_u32, &g_u32, g_text);
    gives(0, all(UTIL_nfcGetTextNdefData), g_bytes, fixed(nullptr));
    gives(0, all(UTIL_nfcPrintNdefData), g_bytes, 9);
}

TEST(NullArguments, OfFilesProcessesAndLoad) {
    PrctlSpawnRequest spawn{};
    PrctlCollectRequest collect{};
    PrctlProcessResult child{};
    UtilCpuOccupy times{};
    UtilMemOccupy memory{};
    char **words = nullptr;
    gives(0, all(utilFil_isFilePresent), "/");
    gives(0xFFFFFFFF, all(utilFil_getSize), "/");
    gives(kBad, all(utilFil_copyToBuffer), "/", g_bytes, &g_u32);
    gives(kBad, all(utilFil_writeToProc, utilFil_writeToFileEnd), "/none/file", "text");
    gives(kBad, all(utilFil_writeBufferToFile), "/none/file", g_bytes, 1);
    gives(kBad, all(utilFil_removeDir, utilFil_makeDir), "/none/file");
    gives(kBad, all(utilFil_chownDir), "/none/file", 0);
    gives(kBad, all(prctl_spawnProcess, oal_spawnProcess), &spawn, &child);
    gives(kBad, all(prctl_collectProcess, oal_collectProcess), &collect, &child);
    gives(0, all(prctl_getPidByName, oal_getPidByName), "none");
    gives(kBad, all(parseArgs), fixed("x"), fixed("y"), &words);
    gives(0, all(freeArgs), words);
    gives(1, all(prctl_runCommandInShellBlocking), "true");
    gives(0, all(UTIL_commSystemEx), "true", g_text, 7);
    gives(-1, all(netns_switch, netns_get_fd), "none");
    gives(-1, all(UTIL_getCpuOccupy), &times);
    gives(0, all(UTIL_calCpuOccupy), &times, &times);
    gives(-1, all(UTIL_getMemOccupy), &memory);
    gives(kBad, all(UTIL_pluginGetInfoName), "/none", g_text, 9);
    gives(kBad, all(UTIL_pluginGetName, UTIL_pluginGetImportInterface), g_text, 9);
    gives(0, all(util_pluginIsField), "a", "a");
    gives(0, all(util_pluginParseGetVal), "a", "a:b");
    gives(kBad, all(vosLog_stdRedirect, vosLog_saveLastPty), "/dev/null");
    gives(kBad, all(vosSm_creat), 1, 1, &g_i32, &g_pointer);
    gives(kBad, all(vosSem_init), 1, false, &g_i32);
}

TEST(NullArguments, OfContainersMemoryAndTime) {
    HashMap *map = nullptr;
    ASSERT_EQ(hashmap_create(&map, 4), VOS_RET_OK);
    UtilVector *vec = UTIL_VectorInit(1);
    List list{};
    ListEntry entry{};
    NodeList nodes{};
    ListNode node{};
    ListNode *found = nullptr;
    VosMemStats stats;
    UtilTimestamp stamp{};
    void *timers = nullptr;
    utilTmr_init(&timers);
    const UtilTmrFunc ignore = [](void *) {};
    gives(0, all(hash_string), "x", 1);
    gives(kBad, all(hashmap_create), &map, 4);
    gives(kBad, all(hashmap_insert), map, "key", -1, fixed(nullptr));
    gives(0, all(hashmap_search), map, "key");
    gives(kBad, all(hashmap_delete), map, "key", fixed(nullptr));
    gives(kBad, all(hashmap_getAllKey), map, g_text, 1, 9);
    gives(kError, all(UTIL_VectorSet), vec, fixed(nullptr));
    gives(kBad, all(UTIL_VectorSetIndex), vec, 0, fixed(nullptr));
    gives(kBad, all(UTIL_VectorEnsure, UTIL_VectorUnset), vec, 0);
    gives(kBad, all(UTIL_VectorEmptySlot), vec, &g_u32);
    gives(0, all(UTIL_VectorLookupIndex), vec, 0);
    gives(0, all(UTIL_VectorCopy), vec);
    gives(0, all(UTIL_VectorCount), vec);
    gives(0, all(UTIL_VectorFree, UTIL_VectorOnlyWapperFree), vec);
    gives(kBad, all(list_append, list_prepend), &entry, &list);
    gives(kBad, all(list_merge), &list, &list);
    gives(0, all(list_deleteTail), &list);
    gives(0, all(list_delete), fixed(&entry), &list);
    gives(kBad, all(addEnd, addFront), &node, &nodes);
    gives(0, all(removeFront, removeEnd), &nodes);
    gives(0, all(sortIntList), &nodes);
    gives(0, all(findIntEntry), &nodes, &g_i32, fixed(&found), fixed(&found));
    gives(0, all(findStrEntry), &nodes, "x", fixed(&found), fixed(&found));
    gives(0, all(removeIntEntry), &nodes, &g_i32);
    gives(0, all(removeStrEntry), &nodes, "x");
    gives(0, all(vosMem_strdup), "x", fixed("f"), 1);
    gives(0, all(vosMem_strnlen), "x", 1, fixed(nullptr));
    gives(0, all(vosMem_realloc), g_pointer, 4, fixed("f"), 1);
    gives(0, all(vosMem_getStats), &stats);
    gives(0, all(vosMem_initSharedMem, vosMem_initSharedMemPointer), g_pointer, 99);
    gives(0, all(brel), g_pointer);
    gives(kBad, all(utilTmr_init), &timers);
    gives(kBad, all(utilTmr_set, utilTmr_replaceIfSooner), timers, ignore, fixed(nullptr), 9, fixed("t"));
    gives(kBad, all(utilTmr_getTimeToNextEvent), timers, &g_u32);
    gives(kBad, all(utilTmr_getTimeRemaining), timers, ignore, fixed(nullptr), &g_u32);
    gives(0, all(utilTmr_getNumberOfEvents), timers);
    gives(0, all(utilTmr_isEventPresent), timers, ignore, fixed(nullptr));
    gives(0, all(utilTmr_cancel), timers, ignore, fixed(nullptr));
    gives(0, all(utilTms_get), &stamp);
    gives(0, all(utilTms_deltaInMilliSeconds), &stamp, &stamp);
    gives(kBad, all(utilTms_getXSIDateTime, utilTms_getDaysHoursMinutesSeconds), 1, g_text, 26);
    utilTmr_cleanup(&timers);
    UTIL_VectorFree(vec);
    hashmap_destroy(map, nullptr);
}

TEST(NullArguments, OfEntitiesAndMessages) {
    vostest::HubScript hub;
    VosMsgHandle *handle = hub.open(50);
    VosMsgHandle *other = nullptr;
    VosMsgHeader msg{};
    VosMsgHeader *out = nullptr;
    PluginReqMsg request{};
    PluginRespMsg response{};
    gives(0, all(vosEid_getEntityInfoByStringName), "hubd");
    gives(kBad, all(vosEid_getAppName), g_text, 9, EID_HUBD);
    gives(0, all(vosEid_getAppEid), "hubd");
    gives(kBad, all(vosEid_getStringNamesFromBitMask), 1, &g_out);
    gives(kBad, all(vosEid_getBitMaskFromStringNames), fixed("hubd"), &g_u16);
    gives(kOk, all(vosEid_addDynamicEntityInfo), "x");
    gives(kBad, all(vosEid_delDynamicEntityInfo), "x");
    gives(kBad, all(vosMsg_init), 9, &other);
    gives(kBad, all(vosMsg_initByName), fixed("x"), &other);
    gives(kBad, all(vosMsg_send, vosMsg_sendAndGetReply), handle, &msg);
    gives(kBad, all(vosMsg_sendReply), handle, &msg, 0);
    gives(kBad, all(vosMsg_getEventHandle), handle, &g_i32);
    gives(0, all(vosMsg_getHandleEid), handle);
    gives(0, all(vosMsg_duplicate), &msg);
    gives(0, all(vosMsg_putBack, vosMsg_receivePutBack), handle, &out);
    gives(0, all(vosMsg_requeuePutBacks), handle);
    gives(0, all(vosMsg_cleanup, oalVosMsg_cleanup), &other);
    gives(kBad, all(vosMsg_receive), handle, &out);
    gives(kBad, all(vosMsg_receiveWithTimeout), handle, &out, 0);
    gives(kBad, all(vosMsg_sendAndGetReplyWithTimeout), handle, &msg, 0);
    gives(kBad, all(vosMsg_sendAndGetReplyBuf), handle, &msg, &out);
    gives(kBad, all(vosMsg_sendAndGetReplyBufWithTimeout), handle, &msg, &out, 0);
    gives(kBad, all(oalVosMsg_receive), 0, &out, fixed(&g_u32));
    gives(kBad, all(oalVosMsg_send), 0, &msg);
    gives(kBad, all(UTIL_sendRequest), handle, 60, 1, 0, fixed(g_bytes), 1);
    gives(kBad, all(UTIL_addEntityInfo), g_bytes, handle);
    gives(kBad, all(UTIL_delEntityInfo, UTIL_getEidByAppName), "x", handle);
    gives(kBad, all(UTIL_cliHandleCmd, SRPC_msgProcess), handle, &msg);
    gives(kBad, all(UTIL_processRemoteCli), handle, &msg, fixed([](int, char **, FILE *) { return 0U; }));
    gives(kBad, all(UTIL_taskFinish), &msg);
    gives(kBad, all(UTIL_pluginSendReqMsg), handle, &msg, &request, fixed(nullptr));
    gives(kBad, all(UTIL_pluginSendRespMsg), handle, &msg, &response);
    gives(kBad, all(UTIL_pluginRecvReqMsg), &msg, &request);
    gives(kBad, all(UTIL_pluginRecvRespMsg), &msg, &response);
    gives(kBad, all(UTIL_pluginExecuteSetParamEvent), &msg);
    gives(0, all(UTIL_pluginGetDataFile, UTIL_pluginGetTmpFile), handle, "f", "r");
    EXPECT_FALSE(hub.hasData()) << "something was sent";
    vosMsg_cleanup(&handle);
}

#ifdef VOS_TEST_HAS_GB18030
TEST(NullArguments, OfGb18030) {
    gives(-1, all(char2uni), g_bytes, 4, &g_u32);
    gives(-1, all(uni2char), 'a', g_bytes, 4);
    gives(0, all(String_Copy), "x", 1);
    gives(0, all(EncodeToUTF8, DecodeFromUTF8, UTIL_strConvToUTF8), "x");
}
#endif

#ifdef VOS_TEST_HAS_SECURITY
TEST(NullArguments, OfSecurity) {
    gives(0, all(readKeyPairFromPfx), "/none", fixed("x"));
    gives(kBad, all(UTIL_RsaPulicKeyEcrypt, UTIL_RsaPrivateKeyDecrypt), g_bytes, 10, g_bytes, &g_u32, fixed("/x"),
          fixed("x"));
    gives(kError, all(UTIL_sha1FromBuffer), g_bytes, 1, g_bytes);
    gives(kError, all(UTIL_sha1FromStream), 0, g_bytes);
    gives(kError, all(UTIL_aes128CbcBufferEncrypt), g_bytes, g_bytes, g_bytes, 32, g_bytes, &g_u32, 0);
    gives(kError, all(UTIL_aes128CbcStreamEncrypt), g_bytes, g_bytes, -1, -1, 1);
}
#endif

}  // namespace
