// The XML reader: events under every cut of a document and beside expat's, node tables, limits and oddities.
#include "vos/xml.h"

#ifdef VOS_TEST_HAS_EXPAT
#include <expat.h>
#endif
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/files.h"
#include "support/syslog_catcher.h"
#include "util/xml/context.h"

namespace {

using Events = std::vector<std::string>;

Events *g_events = nullptr;

bool g_open = false;  // the last event is part of a text

void add(const char *kind, const char *text, uint32_t len, int partial = 0) {
    if (g_open) {
        g_events->back().append(text, len);
    } else {
        g_events->push_back(std::string{kind} + std::string{text, len});
    }
    g_open = partial != 0;
}

constexpr XmlCallbacks kRecording{
    [](XmlContext *, const char *name, uint32_t len) { add("<", name, len); },
    [](XmlContext *, const char *name, uint32_t len) { add("@", name, len); },
    [](XmlContext *, const char *text, uint32_t len, int partial) { add("=", text, len, partial); },
    [](XmlContext *, const char *text, uint32_t len, int partial) { add("'", text, len, partial); },
    [](XmlContext *, const char *name, uint32_t len) { add(">", name, len); },
};

// The events of a document in chunks that end at `cuts`.
Events tokens(const std::string &document, std::vector<size_t> cuts = {}, int *done = nullptr) {
    Events events;
    g_events = &events;
    g_open = false;
    XmlContext *ctx = nullptr;
    EXPECT_EQ(xmlOpen(&ctx, &kRecording), 1);
    size_t start = 0;
    int result = 0;
    cuts.push_back(document.size());
    for (const size_t end : cuts) {
        const std::vector<char> chunk(&document[start], &document[end]);  // exact, for the sanitizers
        result = xmlWrite(ctx, chunk.empty() ? "" : chunk.data(), static_cast<uint32_t>(chunk.size()), nullptr);
        start = end;
    }
    xmlClose(ctx);
    if (done != nullptr) {
        *done = result;
    }
    return events;
}

#ifdef VOS_TEST_HAS_EXPAT
void addText(std::string &text) {
    const size_t start = text.find_first_not_of(" \t\r\n");
    if (start != std::string::npos) {
        g_events->push_back("'" + text.substr(start));
    }
    text.clear();
}

// What expat says about the same document, with white space around texts as this reader leaves it.
Events expatTokens(const std::string &document) {
    Events events;
    g_events = &events;
    static std::string collected;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetElementHandler(
        parser,
        [](void *, const char *name, const char **attributes) {
            addText(collected);
            g_events->push_back(std::string{"<"} + name);
            for (; *attributes != nullptr; attributes += 2) {
                g_events->insert(g_events->end(), {std::string{"@"} + attributes[0], std::string{"="} + attributes[1]});
            }
        },
        [](void *, const char *name) {
            addText(collected);
            g_events->push_back(std::string{">"} + name);
        });
    XML_SetCharacterDataHandler(
        parser, [](void *, const char *text, int len) { collected.append(text, static_cast<size_t>(len)); });
    EXPECT_EQ(XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1), XML_STATUS_OK) << document;
    XML_ParserFree(parser);
    return events;
}
#endif

const std::string kDocuments[] = {
    "<?xml version=\"1.0\"?><r><a x=\"1\" y=\"\">text</a>tail</r>",
    "  \n<r>\n  <wan name=\"ppp0\"  mtu = \"1492\" >\n  one  two \n</wan>\t<lan></lan></r>",
    "<?xml a=\"?\" ?\?><n:r xmlns:n=\"u\"><n:a n:b=\"c d\">x y</n:a></n:r>",
    "<r a=\"/ > = ' x\">a > b = c / d</r>",
};

TEST(XmlTokenizer, GivesTheSameEventsUnderEveryCutAndAsExpat) {
    for (const std::string &document : kDocuments) {
        SCOPED_TRACE(document);
        int done = 0;
        const Events whole = tokens(document, {}, &done);
        EXPECT_EQ(done, 1);
#ifdef VOS_TEST_HAS_EXPAT
        if (document.find("?\?>") == std::string::npos) {
            EXPECT_EQ(whole, expatTokens(document));
        }
#endif
        std::vector<size_t> everywhere;
        for (size_t first = 0; first < document.size(); first++) {
            everywhere.push_back(first);
            for (size_t second = first; second < document.size(); second++) {
                ASSERT_EQ(tokens(document, {first, second}), whole) << first << " " << second;
            }
        }
        EXPECT_EQ(tokens(document, everywhere), whole);
    }
}

TEST(XmlTokenizer, TakesWhatIsNotWellFormedAsItComes) {
    const std::tuple<const char *, Events, int> kRows[] = {
        {"<r/>", {"<r", ">"}, 1},
        {"<r a/>", {"<r", "@a", ">"}, 1},
        {"<r a=1 b=\"2\"/>", {"<r", "@a", "=1 b=", "@2\"", ">"}, 1},
        {"<r a=\"  x\"></r  >", {"<r", "@a", "=x", ">r"}, 1},
        {"text<r></r>", {"'text", "<r", ">r"}, 1},
        {"<></>", {">"}, 1},
        {"<r", {}, 0},
        {"<r a=\"x", {"<r", "@a", "=x"}, 0},
        {"<?a?><?b?><r/>", {"<?b?", "<r", ">"}, 0},
        {"", {}, 0},
    };
    for (const auto &[document, events, ended] : kRows) {
        SCOPED_TRACE(document);
        int done = 0;
        EXPECT_EQ(tokens(document, {}, &done), events);
        EXPECT_EQ(done, ended);
    }
    // A cut name loses what it has beyond its room.
    const std::string name(200, 'n');
    EXPECT_EQ(tokens("<" + name + ">", {100})[0], "<" + name.substr(0, 128));
    EXPECT_EQ(tokens("<" + name + ">")[0], "<" + name);
    const char *stop = nullptr;
    XmlContext *ctx = nullptr;
    const XmlCallbacks none{};
    ASSERT_EQ(xmlOpen(&ctx, &none), 1);
    const std::string two = "<a></a><b/>";
    EXPECT_EQ(xmlWrite(ctx, two.data(), static_cast<uint32_t>(two.size()), &stop), 1);
    EXPECT_STREQ(stop, "<b/>");
    EXPECT_EQ(xmlWrite(ctx, nullptr, 1, &stop), 0);
    EXPECT_EQ(xmlWrite(nullptr, "x", 1, &stop), 0);
    xmlClose(ctx);
}

int record(const char *name, int event, const char *value) {
    g_events->push_back(std::to_string(event) + " " + name + (value == nullptr ? "" : std::string{"="} + value));
    return 1;  // an error, which nobody sees
}

XmlNamespace g_namespaces[] = {{nullptr, nullptr, "urn:lan"}, {}};
const XmlNode kPort[] = {{nullptr, "mac", record, nullptr}, {nullptr, "speed", nullptr, nullptr}, {}};
const XmlNode kLan[] = {{nullptr, "port", record, kPort},
                        {&g_namespaces[0], "vlan", record, nullptr},
                        {XML_ANY_NAMESPACE, "name", record, nullptr},
                        {}};
const XmlNode kRoot[] = {{nullptr, "lan", record, kLan}, {}};
const XmlTables kTables{kRoot, g_namespaces};

int parseText(const std::string &document, const XmlTables *tables = &kTables) {
    return parseGeneric(nullptr, document.data(), static_cast<uint32_t>(document.size()), tables);
}

Events parse(const std::string &document, int expected = 0) {
    Events events;
    g_events = &events;
    EXPECT_EQ(parseText(document), expected) << document;
    EXPECT_EQ(g_namespaces[0].prefix, nullptr);
    return events;
}

TEST(XmlParser, WalksTheNodeTables) {
    const std::pair<const char *, Events> kRows[] = {
        {"<lan name=\"br0\"> text &amp; more\n<port mac=\"02:00\"/><none><port>x</port></none></lan>",
         {"1 lan", "5 name=br0", "3 lan=text &amp; more", "1 port", "5 mac=02:00", "2 ", "2 lan"}},
        {"<wan><lan></lan></wan>", {}},
        {"<lan><port></x></lan>", {"1 lan", "1 port", "2 lan"}},
        {"<lan></lan></lan>", {"1 lan", "2 lan"}},
        // The value of an unknown attribute goes to the one before.
        {"<lan name=\"a\" other=\"b\"></lan>", {"1 lan", "5 name=a", "5 name=b", "2 lan"}},
        // Any prefix matches once a namespace is bound.
        {"<lan><l:vlan/></lan>", {"1 lan", "2 lan"}},
        {"<lan xmlns:l=\"urn:lan\"><l:vlan/><m:vlan/><vlan/></lan>",
         {"1 lan", "1 l:vlan", "2 ", "1 m:vlan", "2 ", "1 vlan", "2 ", "2 lan"}},
        {"<x:lan y:name=\"b\" xmlns:l=\"urn:lan\" xmlns:k=\"urn:lan\"></x:lan>", {"1 x:lan", "5 y:name=b", "2 x:lan"}},
    };
    for (const auto &[document, events] : kRows) {
        EXPECT_EQ(parse(document), events) << document;
    }
    EXPECT_EQ(parse("<lan name=\"open></lan>", 1), Events{"1 lan"});
}

std::atomic<int> g_calls;
int parseInside(const char *, int, const char *);
const XmlNode kNested[] = {{nullptr, "lan", nullptr, kNested}, {&g_namespaces[0], "vlan", parseInside, nullptr}, {}};
const XmlTables kShared{kNested, g_namespaces};

int parseInside(const char *, int, const char *) {
    EXPECT_EQ(parseText("<lan/>", &kShared), 0);
    g_calls++;
    return 0;
}

TEST(XmlParser, SharesItsTablesWithHandlersAndThreadsThatParse) {
    constexpr int kRounds = 200;
    const auto parseOften = [] {
        for (int i = 0; i < kRounds; i++) {
            EXPECT_EQ(parseText("<lan xmlns:l=\"urn:lan\"><l:vlan>x</l:vlan><l:vlan>y</l:vlan></lan>", &kShared), 0);
        }
    };
    std::thread other{parseOften};
    parseOften();
    other.join();
    EXPECT_EQ(g_calls, 2 * kRounds * 6);
    EXPECT_EQ(g_namespaces[0].prefix, nullptr);
}

TEST(XmlParser, ReadsFilesWhoseRootClosesInTheFirstChunk) {
    vostest::TempDir directory;
    const std::string path = directory / "config.xml";
    const auto result = [&path](const std::string &document) {
        Events events;
        g_events = &events;
        vostest::writeText(path, document);
        return parseGeneric(path.c_str(), nullptr, 0, &kTables);
    };
    const auto padded = [](size_t size) { return "<lan>" + std::string(size - 11, 'x') + "</lan>"; };
    EXPECT_EQ(result(padded(4096)), 0);
    for (const std::string &refused : {padded(4097), padded(100) + std::string(5000, ' '), std::string{}}) {
        EXPECT_EQ(result(refused), 1) << refused.size();
    }
    EXPECT_EQ(parseGeneric((directory / "absent").c_str(), nullptr, 0, &kTables), 1);
}

TEST(XmlParser, ReadsAFileOrMemoryNotBoth) {
    vostest::Diagnostics log;
    EXPECT_EQ(parseGeneric("x", "y", 1, &kTables), 1);
    EXPECT_EQ(log.takeBodies().at(0),
              vostest::asCaught("parser: internal error: parse_generic() can not parse both from file and memory\n"));
    EXPECT_EQ(parseGeneric(nullptr, "<lan/>", 6, nullptr), 1);
    EXPECT_EQ(parseGeneric(nullptr, nullptr, 0, &kTables), 1);
}

TEST(XmlParser, StopsAtDepthAndNameLimits) {
    const auto nested = [](size_t levels) {
        std::string document;
        for (size_t i = 0; i < levels; i++) {
            document = "<lan>" + document + "</lan>";
        }
        return document;
    };
    parse(nested(19));
    parse("<" + std::string(128, 'n') + "/>");
    for (const char *format : {"<%s/>", "<a %s=\"1\"/>", "<a></%s>"}) {
        std::string document{format};
        document.replace(document.find("%s"), 2, std::string(129, 'n'));
        EXPECT_DEATH(parse(document), "") << document;
    }
    vostest::Diagnostics log;
    parse(nested(20), 1);
    parse(nested(500), 1);
    const std::vector<std::string> bodies = log.takeBodies();
    EXPECT_EQ(std::count(bodies.begin(), bodies.end(), "xml nested deeper than 19 levels"), 2);
}

TEST(XmlParser, TracesWhatItReads) {
    static Events traced;
    traced.clear();
    const XmlCallbacks callbacks{xmlTagBegin, xmlAttr, xmlValue, xmlData, xmlTagEnd};
    XmlContext *ctx = nullptr;
    ASSERT_EQ(xmlOpen(&ctx, &callbacks), 1);
    ctx->traceFlags = vos::kXmlTraceOn;
    ctx->trace = [](int event, const char *text) { traced.push_back(std::to_string(event) + " " + text); };
    const std::string document = "<a b=\"c\">t</a>";
    EXPECT_EQ(xmlWrite(ctx, document.data(), static_cast<uint32_t>(document.size()), nullptr), 1);
    xmlClose(ctx);
    EXPECT_EQ(traced, (Events{"1 a", "4 b", "5 c", "2 a"}));
}

}  // namespace
