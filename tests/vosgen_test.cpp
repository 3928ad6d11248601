// Descriptions of interfaces: mistakes in them, payloads and JSON by them, what vosgen makes of them, and peers that
// use it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <string>
#include <vector>

#include "common/interface/store.h"
#include "meshd.hpp"
#include "support/complaints.h"
#include "support/files.h"
#include "support/hub_process.h"
#include "vos.h"

using namespace std::chrono_literals;
using iface::Json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using vostest::Outcome;

namespace {

const std::string kExamples = VOS_TEST_SOURCE_DIR "/examples";

Outcome vosgen(const std::string &arguments) {
    return vostest::shell("'" VOS_TEST_BIN_DIR "/vosgen' " + arguments);
}

TEST(Vosgen, TellsEachMistakeByLineAndWhatToWriteInstead) {
    const auto record = [](const std::string &fields) {
        return "[struct.S]\ndoc = \"d\"\nfields = [\n" + fields + "\n]\n";
    };
    const auto field = [](const std::string &name, const std::string &type, const std::string &more = "") {
        return "{ name = \"" + name + "\", type = \"" + type + "\", doc = \"d\"" + more + " },\n";
    };
    const std::string head = "[interface]\nname = \"x\"\ndoc = \"d\"\n";  // three lines
    struct Row {
        std::string text;
        const char *mistake;
    };
    for (const auto &[text, mistake] : {
             Row{"[interface]\nname = \"x\"", "x.toml:1: 'doc' is missing; write doc = "},
             Row{"[struct.S", "x.toml:1: no TOML: "},
             Row{head + "[structs.S]", "x.toml:4: unknown key 'structs' in this file; write one of: interface, "},
             Row{head + "[\"a\\nb\"]", "x.toml:4: unknown key 'a?b' in this file"},
             Row{head + record(field("a", "u8") + field("b", "u32")),
                 "x.toml:8: 'b' would stand at offset 1, where C puts it at 4; write { pad = 3 } in front of it"},
             Row{head + record(field("a", "u64") + field("b", "u8")),
                 "x.toml:6: the fixed part has 9 bytes, where C makes them 16; write { pad = 7 } at its end"},
             Row{head + record(field("a", "unit8")), "x.toml:7: unknown type 'unit8'; write u8 to u64, "},
             Row{head + record(field("a", "char")), "x.toml:7: 'char' has no size; write char[32] or text"},
             Row{head + record(field("a", "u8[0]")), "x.toml:7: a size is between 1 and 65536, not 0"},
             Row{head + record(field("a", "u8[n]")), "x.toml:7: 'n' is neither a number nor a constant"},
             Row{head + record(field("a", "S")), "x.toml:7: 'S' contains itself"},
             Row{head + record(field("class", "u8")), "x.toml:7: 'class' means something in generated code"},
             Row{head + record(field("bitand", "u8")), "x.toml:7: 'bitand' means something in generated code"},
             Row{head + record(field("reserved1", "u32") + "{ pad = 4 },\n"), "x.toml:8: 'reserved1' is there already"},
             Row{head + record(field("rawLength", "cstring") + field("raw", "bytes")),
                 "x.toml:8: 'rawLength' is there"},
             Row{head + "[constants]\nserver_ = { value = 1, doc = \"d\" }", "x.toml:5: 'server_' means something"},
             Row{head + "[constants]\neType = { value = 1, doc = \"d\" }\n[event.e]\ntype = 5\ndoc = \"d\"",
                 "x.toml:6: 'E_TYPE' is there already"},
             Row{head + record(field("a", "u8")) + "[event.S]\ntype = 5\ndoc = \"d\"",
                 "x.toml:10: 'S' is there already"},
             Row{head + "[event.e]\ntype = 5\ndoc = \"d\"\n[notice.onE]\ntype = 6\ndoc = \"d\"",
                 "x.toml:4: 'onE' is there already"},
             Row{head + "[event.e]\ntype = 5\ndoc = \"d\"\nword = { name = \"loop\", doc = \"d\" }",
                 "x.toml:7: 'loop' means something in generated code"},
             Row{head + "[event.e]\ntype = 5\ndoc = \"a */ b\"", "x.toml:6: 'doc' becomes a comment in C"},
             Row{head + record(field("a", "u8") + field("a", "u8")), "x.toml:8: 'a' is there already"},
             Row{head + record(field("a", "text") + field("b", "u8")),
                 "x.toml:8: 'b' has a fixed size; write it in front of 'a'"},
             Row{head + record(field("a", "bytes") + field("b", "cstring")), "x.toml:8: 'a' takes all that follows"},
             Row{head + record(field("a", "cstring") + field("b", "u32[]")),
                 "x.toml:8: 'b' must begin at a multiple of 4 bytes"},
             Row{head + record(field("a", "textAt") + field("b", "text")), "x.toml:6: texts by offset take all"},
             Row{head + record(field("n", "i8") + field("a", "u8[]", ", count = \"n\"")),
                 "x.toml:8: 'count' names an unsigned field in front of a list"},
             Row{head +
                     "[enum.E]\ndoc = \"d\"\ntype = \"u8\"\nvalues = [\n{ name = \"a\", value = 256, doc = \"d\" }\n]",
                 "x.toml:8: 'value' is no number between 0 and 255; write value = 0"},
             Row{head + "[request.r]\ndoc = \"d\"\npayload = \"T\"", "x.toml:4: 'type' is missing; write type = 1"},
             Row{head + "[request.r]\ndoc = \"d\"\ntype = 5\npayload = \"T\"", "x.toml:7: there is no structure 'T'"},
             Row{head + "[event.r]\ndoc = \"d\"\ntype = 5\n[notice.s]\ndoc = \"d\"\ntype = 5",
                 "x.toml:4: type is that of 's'; write another"},
             Row{head + "[procedure.r]\ndoc = \"d\"\ntype = 5\nnumber = 1\npayload = [ " + field("a", "u32") + " ]",
                 "x.toml:4: a procedure's fixed part has 8 bytes at least; write { pad = 4 } at its end"},
         }) {
        SCOPED_TRACE(text);
        const iface::Parsed parsed = iface::parse(text, "x.toml");
        ASSERT_FALSE(parsed.interface);
        EXPECT_THAT(parsed.mistakes.front().say(), StartsWith(mistake));
        EXPECT_EQ(parsed.mistakes.size(), 1u) << parsed.mistakes.back().say();
    }
    EXPECT_EQ(iface::parse("[interface]\nname = 7\n[enum.E]\n[struct.S]\n", "x").mistakes.size(), 3u) << "not all told";
    const Outcome missing = vosgen("c /nonesuch.toml");
    EXPECT_EQ(missing.err, "/nonesuch.toml:1: cannot be read; give the name of a description\n");
    EXPECT_EQ(missing.status, 1);
}

std::string wire(const iface::Bytes &bytes) {
    std::string text;
    for (const std::byte byte : bytes) {
        char pair[3];
        snprintf(pair, sizeof pair, "%02x", std::to_integer<unsigned>(byte));
        text += pair;
    }
    return text;
}

class Payloads : public testing::Test {
  protected:
    /** Encodes, and decodes what came of it. */
    std::string back(const std::string &message, bool reply, const char *json) {
        const iface::Known known = find(message);
        const iface::Encoded encoded = iface::encode(*known.message, reply, Json::parse(json));
        const iface::Decoded decoded = iface::decode(*known.message, reply, encoded.word, encoded.payload);
        wire_ = wire(encoded.payload);
        return decoded.value.dump() + decoded.misfit;
    }
    iface::Known find(const std::string &name) const {
        const size_t dot = name.find('.');
        const iface::Known known = (name[0] == 'm' ? mesh_ : own_).find(name.substr(0, dot), name.substr(dot + 1));
        EXPECT_TRUE(known) << name;
        return known;
    }
    iface::Store own_{VOS_TEST_SOURCE_DIR "/interfaces"}, mesh_{kExamples};
    std::string wire_;
};

constexpr const char *kNode =
    R"({"id":7,"mac":"00:11:22:33:44:55","features":["roaming",2],"band":"ghz5","online":true,"name":"hall",)"
    R"("address":"2001:db8::1","rates":[1,4294967295],"seen":-2})";

TEST_F(Payloads, GoToJsonAndBack) {
    const std::string node = kNode;
    struct Row {
        const char *message;
        bool reply;
        std::string json;
        const char *wire;  // nullptr: not looked at
    };
    for (const auto &[message, reply, json, bytes] : {
             Row{"meshd.addNode", false, node,
                 "0700000000112233445503000101"
                 "68616c6c000000000000000000000000000000000000"
                 "20010db800000000000000000000000101000000ffffffff00000000feffffffffffffff"},
             Row{"meshd.count", false, "{}", "0000000000000000"},
             Row{"meshd.changed", false, R"({"count":1,)" + node.substr(1), nullptr},
             Row{"meshd.listNodes", false, R"({"band":9})", "09"},
             Row{"meshd.listNodes", true,
                 R"({"result":"VOS_RET_OK","nodes":[)" + node + "," + node + R"(],"comment":"two","raw":"00ff"})",
                 nullptr},
             Row{"meshd.nodeByName", true, R"({"id":-1})", ""},
             Row{"vos.getEid", false, R"({"name":"hubd"})", "6875626400"},
             Row{"vos.getPluginDirectory", false, R"({"directory":"temporary"})", ""},
             Row{"vos.pluginParameter", false,
                 R"({"cmdCode":1,"ID":2,"source":3,"sourceEid":4,"pluginName":"p","commonCtx":null})",
                 "01000000020000000300000004000000200000000000000000000000000000007000"},
             Row{"vos.taskFinish", false, R"({"completion":1,"argument":18446744073709551615})", "ffffffffffffffff"},
             Row{"hub.remoteCli", false, R"({"count":2,"function":0,"words":["a",""]})", "0000000000000000610000"},
         }) {
        SCOPED_TRACE(message);
        std::string input = json;
        if (const size_t result = input.find(R"("result":"VOS_RET_OK",)"); result != std::string::npos) {
            input.erase(result, 22);
        }
        EXPECT_EQ(back(message, reply, input.c_str()), json);
        if (bytes != nullptr) {
            EXPECT_EQ(wire_, bytes);
        }
    }
    EXPECT_EQ(own_.mistakes().size() + mesh_.mistakes().size(), 0u);
}

TEST_F(Payloads, NameTheWrongFieldOfAValue) {
    struct Row {
        const char *message;
        const char *json;
        const char *path;
        const char *text;
    };
    for (const auto &[message, json, path, text] : {
             Row{"meshd.listNodes", "7", "", "7 is no object"},
             Row{"meshd.listNodes", "{}", "band", "is missing"},
             Row{"meshd.listNodes", R"({"band":"ghz6"})", "band", "\"ghz6\" is none of: ghz24, ghz5"},
             Row{"meshd.listNodes", R"({"band":256})", "band", "256 is no whole number between 0 and 255"},
             Row{"meshd.listNodes", R"({"band":1,"bend":2})", "bend", "is no field; write one of: band"},
             Row{"meshd.removeNode", R"({"id":1.5})", "id", "1.5 is no whole number between 0 and 4294967295"},
             Row{"meshd.count", R"({"id":1})", "id", "is no field; leave it out"},
             Row{"meshd.addNode", R"({"id":1,"mac":"0:1"})", "mac", "\"0:1\" is no MAC address; write \"00:11"},
             Row{"vos.getEid", R"({"name":"a\u0000b"})", "name", "a text with a NUL inside"},
             Row{"hub.remoteCli", R"({"count":1,"function":0,"words":["a",7]})", "words[1]", "7 is no text"},
             Row{"vos.addEntity",
                 R"({"name":"0123456789012345678901234567890123456789012345678901234567890123","eid":1})", "name",
                 "longer than the 63 bytes of char[64]"},
         }) {
        SCOPED_TRACE(json);
        try {
            back(message, false, json);
            ADD_FAILURE() << "taken";
        } catch (const iface::WrongField &wrong) {
            EXPECT_EQ(wrong.path, path);
            EXPECT_THAT(wrong.text, HasSubstr(text));
        }
    }
}

TEST_F(Payloads, ThatDoNotFitAreRefusedByDecoderAndReaderAlike) {
    const auto ret = [](auto read, const iface::Bytes &bytes, auto value) {
        return read(bytes.data(), static_cast<uint32_t>(bytes.size()), &value);
    };
    const auto with = [](iface::Bytes bytes, size_t place, unsigned byte) {
        bytes[place] = static_cast<std::byte>(byte);
        return bytes;
    };
    const iface::Known add = find("meshd.addNode"), list = find("meshd.listNodes"),
                       plugin = find("vos.pluginParameter");
    const iface::Bytes node = iface::encode(*add.message, false, Json::parse(kNode)).payload;
    const iface::Bytes nodes =
        iface::encode(*list.message, true, {{"nodes", {Json::parse(kNode)}}, {"comment", ""}, {"raw", ""}}).payload;
    const iface::Bytes texts =
        iface::encode(*plugin.message, false,
                      {{"cmdCode", 1}, {"ID", 2}, {"source", 3}, {"sourceEid", 4}, {"pluginName", "p"}})
            .payload;
    struct Row {
        iface::Known known;
        iface::Bytes bytes;
        const char *misfit;
    };
    for (const auto &[known, bytes, misfit] : {
             Row{add, {node.begin(), node.end() - 1}, "71 bytes, where Node has 72"},
             Row{add, with(node, 13, 2), "'online' is 2, neither 0 nor 1"},
             Row{add, with(node, 35, 'x'), "'name' does not end with a NUL"},
             Row{list, {}, "0 bytes, where ListNodesReply has at least 8"},
             Row{list, with(nodes, 0, 2), "'count' says 2, there is room for 1"},
             Row{list, with(nodes, 8 + 13, 9), "'online' is 9, neither 0 nor 1"},
             Row{list, {nodes.begin(), nodes.end() - 1}, "'comment' does not end with a NUL"},
             Row{plugin, with(texts, 16, 31), "'pluginName' stands at 31, outside of what follows the record"},
             Row{plugin, with(texts, 23, 255), "'pluginName' stands at 18374686479671623712, outside"},
             Row{plugin, with(texts, 33, 'x'), "'pluginName' does not end with a NUL"},
         }) {
        SCOPED_TRACE(misfit);
        const bool reply = known.message == list.message;
        EXPECT_THAT(iface::decode(*known.message, reply, 0, bytes).misfit, StartsWith(misfit));
        EXPECT_EQ(reply                          ? ret(meshd_readListNodesReply, bytes, MeshdListNodesReply{})
                  : known.message == add.message ? ret(meshd_readNode, bytes, MeshdNode{})
                                                 : ret(vos_readPluginRequest, bytes, VosPluginRequest{}),
                  VosRet{VOS_RET_BAD_ARG});
    }
    EXPECT_EQ(ret(meshd_readNode, node, MeshdNode{}), VosRet{VOS_RET_OK});
}

TEST(Vosgen, TellsWhetherOldAndNewPeersUnderstandEachOther) {
    struct Row {
        const char *from;
        const char *to;
        int status;
        const char *says;
    };
    const std::string old = vostest::readText(kExamples + "/meshd.toml");
    const vostest::TempDir dir;
    std::filesystem::create_directory(dir / "new");
    for (const auto &[from, to, status, says] : {
             Row{"", "", 0, "old and new peers understand each other: nothing changed\n"},
             Row{"{ pad = 4 }", "{ name = \"hops\", type = \"u32\", doc = \"d\" }", 0,
                 "fits:   procedure addNode: the payload: 'hops' takes the place of padding, 0 from old peers\n"},
             Row{"name = \"seen\", type = \"i64\"", "name = \"seen\", type = \"u64\"", 1,
                 "breaks: procedure addNode: the payload: 'seen' is u64, was i64\n"},
             Row{"{ pad = 4 }", "{ pad = 12 }", 1, "the payload has 80 bytes, had 72 bytes\n"},
             Row{"name = \"ghz5\", value = 1", "name = \"ghz5\", value = 2", 1,
                 "breaks: enum Band: ghz5 is 2, was 1\n"},
             Row{"    { name = \"ghz5\"", "    { name = \"ghz6\", value = 2, doc = \"d\" },\n    { name = \"ghz5\"", 0,
                 "fits:   enum Band: ghz6 is new; old peers see a number\n"},
             Row{"type = \"u8\"\nvalues", "type = \"i8\"\nvalues", 1, "breaks: enum Band is enum i8, was enum u8\n"},
             Row{"    { pad = 6 },\n    { name = \"nodes\", type = \"Node[]\", count = \"count\"",
                 "    { name = \"n\", type = \"u16\", doc = \"d\" },\n    { pad = 4 },\n"
                 "    { name = \"nodes\", type = \"Node[]\", count = \"n\"",
                 1, "breaks: request listNodes: the reply: 'nodes' is a list of structures counted at 2"},
             Row{"[notice.poke]", "[notice.prod]", 1, "breaks: notice poke is gone\nfits:   notice prod is new\n"},
             Row{"type = 0x1000f105", "type = 0x1000f1ff", 1, "has type 0x1000f1ff"},
             Row{"result = { name = \"id\", type = \"i32\"", "result = { name = \"id\", type = \"u32\"", 1,
                 "the reply's word is u32, was i32\n"},
             Row{"name = \"online\"", "name = \"alive\"", 0, "'alive' was called 'online'\n"},
         }) {
        SCOPED_TRACE(to);
        std::string changed = old;
        changed.replace(old.find(from), std::string{from}.size(), to);
        std::ofstream{dir / "new" / "meshd.toml"} << changed;
        const Outcome outcome = vosgen("check " + kExamples + "/meshd.toml " + (dir / "new" / "meshd.toml").string());
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_THAT(outcome.out, HasSubstr(says));
    }
}

/** A server as vosgen made its base. */
class Mesh : public meshd::Server {
  public:
    using Server::Server;
    uint32_t pokes = 0;

  protected:
    void addNode(const meshd::Node &payload, vos::iface::ReplyTo<meshd::AddNodeReply, false> reply) override {
        nodes_.push_back(payload);
        publishChanged(payload, static_cast<uint32_t>(nodes_.size()));
        reply.send({static_cast<uint32_t>(nodes_.size())});
    }
    void count(vos::iface::ReplyTo<meshd::CountReply, false> reply) override { kept_.push_back(std::move(reply)); }
    void listNodes(const meshd::ListNodes &payload, vos::iface::ReplyTo<meshd::ListNodesReply, false> reply) override {
        meshd::ListNodesReply all{};
        all.nodes = nodes_.data();
        all.nodesCount = payload.band == MESHD_BAND_GHZ5 ? static_cast<uint32_t>(nodes_.size()) : 0;
        all.comment = "here they are";
        reply.send(all);
    }
    void removeNode(uint32_t id, vos::iface::ReplyTo<void, false> reply) override {
        id == 7 ? reply.send() : reply.fail(VOS_RET_NOT_IN_LIST);
    }
    void nodeByName(const meshd::NodeByName &payload, vos::iface::ReplyTo<void, true> reply) override {
        reply.send(std::string_view{payload.name, payload.nameLength} == "hall" ? 7 : 0);
    }
    void poke() override {
        pokes++;
        for (auto &reply : kept_) {
            reply.send({static_cast<uint32_t>(nodes_.size())});
        }
    }

  private:
    std::vector<meshd::Node> nodes_;
    std::vector<vos::iface::ReplyTo<meshd::CountReply, false>> kept_;
};

TEST(Vosgen, MakesClientsAndServersThatUnderstandEachOther) {
    const vostest::HubProcess process;
    vos::Connection serverHub = vos::Connection::open("meshd").value(), hub = vos::Connection::open("client").value();
    vos::Loop serverLoop{serverHub}, loop{hub};
    Mesh mesh{serverLoop};
    const meshd::Client client = meshd::Client::find(hub).value();
    std::vector<std::string> seen;
    const auto turnUntil = [&](size_t count) {
        for (const auto end = vos::Clock::now() + 20s; seen.size() < count && vos::Clock::now() < end;) {
            serverLoop.turn(1ms);
            loop.turn(1ms);
        }
        EXPECT_EQ(seen.size(), count);
    };
    client
        .onChanged(loop,
                   [&](const meshd::Node &node, uint32_t count) {
                       seen.push_back(std::string{"changed "} + node.name + std::to_string(count));
                   })
        .value();
    meshd::Node node{};
    node.id = 7;
    node.band = MESHD_BAND_GHZ5;
    std::strcpy(node.name, "hall");
    auto added = client.addNode(loop, node, [&](const vos::iface::Answer<meshd::AddNodeReply, false> &reply) {
        seen.push_back("added " + std::to_string(reply->count));
    });
    turnUntil(2);
    auto counted =
        client.count(loop, [&](const auto &reply) { seen.push_back("counted " + std::to_string(reply->count)); });
    client.poke().value();  // answers what was kept
    turnUntil(3);
    [](vos::Loop &own, const meshd::Client &asks, std::vector<std::string> &out) -> vos::Flow {
        const auto nodes = co_await asks.listNodes(own, {MESHD_BAND_GHZ5});
        out.push_back((*nodes)->nodes[0].name + std::string{" "} + (*nodes)->comment);
        out.push_back("no " + std::to_string((co_await asks.removeNode(own, 8)).ret()));
        meshd::Node unterminated{};
        std::memset(unterminated.name, 'x', sizeof unterminated.name);
        out.push_back("no " + std::to_string((co_await asks.addNode(own, unterminated)).ret()));
        out.push_back("id " + std::to_string(*co_await asks.nodeByName(own, {"hall", 4})));
        out.push_back("id " + std::to_string(*co_await asks.nodeByName(own, {"", 0})));  // not a byte of payload
    }(loop, client, seen)
                                                                                        .detach();
    turnUntil(8);
    auto misfit =
        loop.ask({.to = serverHub.eid(), .type = MESHD_LIST_NODES_TYPE, .payload = std::string_view{"xx"}},
                 [&](const vos::Result<vos::Message> &reply) { seen.push_back("no " + std::to_string(reply.ret())); });
    turnUntil(9);
    EXPECT_THAT(seen, ElementsAre("changed hall1", "added 1", "counted 1", "hall here they are", "no 9840", "no 9003",
                                  "id 7", "id 0", "no 9003"));
    EXPECT_EQ(mesh.pokes, 1u);
}

TEST(Vosgen, HasItsDescriptionsUsedByVosctl) {
    const vostest::HubProcess process;
    setenv("VOS_INTERFACES", kExamples.c_str(), 1);
    vos::Connection hub = vos::Connection::open("meshd").value();
    vos::Loop loop{hub};
    Mesh mesh{loop};
    // vosctl runs while the daemon takes its turns.
    const auto run = [&](const std::string &arguments) {
        auto ended = std::async(std::launch::async, [&] { return vostest::vosctl(arguments); });
        while (ended.wait_for(0s) != std::future_status::ready) {
            loop.turn(1ms);
        }
        return ended.get();
    };
    const std::string node = kNode;
    EXPECT_EQ(run("call meshd.addNode '" + node + "'").out, "{\"count\":1}\n");
    EXPECT_EQ(run("call meshd.listNodes '{\"band\":\"ghz5\"}'").out,
              "{\"result\":\"VOS_RET_OK\",\"nodes\":[" + node + "],\"comment\":\"here they are\",\"raw\":\"\"}\n");
    EXPECT_THAT(run("request meshd meshd.nodeByName --fields '{\"name\":\"hall\"}'").out,
                HasSubstr("meshd.nodeByName {\"id\":7}\n"));
    auto events = std::async(std::launch::async, [] { return vostest::vosctl("register meshd.changed -c 2"); });
    const auto isRegistered = [&] { return run("list").out.find("vosctl") != std::string::npos; };
    while (!isRegistered()) {
    }
    for (unsigned i = 0; events.wait_for(0s) != std::future_status::ready; i++) {
        run(i % 2 == 0 ? "call meshd.addNode '" + node + "'" : "event hubd meshd.changed --hex '00 01'");
    }
    const std::string seen = events.get().out;
    EXPECT_THAT(seen, HasSubstr("meshd.changed {\"count\":"));
    EXPECT_THAT(seen, HasSubstr("|..| meshd.changed does not fit: 2 bytes, where Node has 72\n"));
    EXPECT_THAT(run("interfaces meshd").out, HasSubstr("request meshd.nodeByName {name: text} -> {id: i32}\n"));
    EXPECT_THAT(run("complete -- call meshd.a").out, HasSubstr("meshd.addNode\n"));
    vostest::expectComplaints({
        {"call meshd.listNodes '{\"band\":7.5}'", 2, "meshd.listNodes: band: 7.5 is no whole number"},
        {"call meshd.none", 2, "there is no message 'meshd.none'; see 'vosctl interfaces meshd'"},
        {"call meshd.count '{'", 2, "is no JSON"},
        {"call meshd.count --to 4711", 1, "nobody"},
        {"interfaces none", 1, "there is no description of 'none'"},
    });
    unsetenv("VOS_INTERFACES");
}

}  // namespace
