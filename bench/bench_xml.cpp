// The XML tokenizer against expat on a configuration of the subset that both read, whole and in chunks of 4 KiB.
#include <benchmark/benchmark.h>
#include <expat.h>

#include <algorithm>
#include <string>

#include "vos/xml.h"

namespace {

std::string document() {
    std::string text = "<?xml version=\"1.0\"?>\n<config>\n";
    for (int i = 0; i < 2000; i++) {
        const std::string number = std::to_string(i);
        text += "  <wan name=\"ppp" + number + "\" mtu=\"1492\" enabled=\"1\">\n    <user>subscriber" + number +
                "@example.net</user>\n    <dns>192.0.2.1,192.0.2.2</dns>\n    <vlan id=\"" + number +
                "\"/>\n  </wan>\n";
    }
    return text + "</config>\n";
}

size_t g_events = 0;

constexpr XmlCallbacks kCounting{
    [](XmlContext *, const char *, uint32_t) { g_events++; },
    [](XmlContext *, const char *, uint32_t) { g_events++; },
    [](XmlContext *, const char *, uint32_t, int) { g_events++; },
    [](XmlContext *, const char *, uint32_t, int) { g_events++; },
    [](XmlContext *, const char *, uint32_t) { g_events++; },
};

void vosRound(benchmark::State &state) {
    const std::string text = document();
    const auto chunk = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        XmlContext *ctx = nullptr;
        xmlOpen(&ctx, &kCounting);
        for (size_t at = 0; at < text.size(); at += chunk) {
            xmlWrite(ctx, text.data() + at, static_cast<uint32_t>(std::min(chunk, text.size() - at)), nullptr);
        }
        xmlClose(ctx);
    }
    benchmark::DoNotOptimize(g_events);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void expatRound(benchmark::State &state) {
    const std::string text = document();
    const auto chunk = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        XML_Parser parser = XML_ParserCreate(nullptr);
        XML_SetElementHandler(
            parser,
            [](void *, const char *, const char **attributes) {
                for (g_events++; *attributes != nullptr; attributes++) {
                    g_events++;
                }
            },
            [](void *, const char *) { g_events++; });
        XML_SetCharacterDataHandler(parser, [](void *, const char *, int) { g_events++; });
        for (size_t at = 0; at < text.size(); at += chunk) {
            const size_t length = std::min(chunk, text.size() - at);
            XML_Parse(parser, text.data() + at, static_cast<int>(length), at + length == text.size());
        }
        XML_ParserFree(parser);
    }
    benchmark::DoNotOptimize(g_events);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

void registerRows() {
    for (const auto &[label, chunk] : {std::pair<const char *, int64_t>{"whole", 1 << 30}, {"4 KiB chunks", 4096}}) {
        const std::string row = std::string{"XML configuration, "} + label + "|";
        benchmark::RegisterBenchmark((row + "vos").c_str(), vosRound)->Arg(chunk);
        benchmark::RegisterBenchmark((row + "expat").c_str(), expatRound)->Arg(chunk);
    }
}

}  // namespace

int main(int argc, char **argv) {
    registerRows();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
