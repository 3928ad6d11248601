// vosctl xml: what the XML reader makes of a document.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "common/message_line.h"
#include "output.h"
#include "vos/xml.h"

namespace {

// The reader's callbacks carry no context of the caller's; one document is printed at a time.
struct Printer {
    bool json = false;
    int level = 0;
    std::string pending;  // a value or text whose end has not come yet

    void line(const char *kind, const std::string &text) const {
        if (json) {
            return vosctl::printJson({{"level", level}, {"event", kind}, {"text", text}});
        }
        printf("%*s%-9s %s\n", 2 * level, "", kind, msgline::printable(text).c_str());
    }
    void part(const char *kind, const char *text, uint32_t len, int partial) {
        pending.append(text, len);
        if (partial == 0) {
            line(kind, pending);
            pending.clear();
        }
    }
} g_printer;

constexpr XmlCallbacks kPrinting{
    [](XmlContext *, const char *name, uint32_t len) {
        g_printer.line("element", {name, len});
        g_printer.level++;
    },
    [](XmlContext *, const char *name, uint32_t len) {
        g_printer.line("attribute", {name, len});
    },
    [](XmlContext *, const char *text, uint32_t len, int partial) { g_printer.part("value", text, len, partial); },
    [](XmlContext *, const char *text, uint32_t len, int partial) { g_printer.part("text", text, len, partial); },
    [](XmlContext *, const char *name, uint32_t len) {
        g_printer.level -= g_printer.level > 0 ? 1 : 0;
        g_printer.line("end", {name, len});
    },
};

void run(const std::string &file) {
    std::ifstream opened;
    if (file != "-") {
        opened.open(file, std::ios::binary);
        if (!opened) {
            throw vosctl::Failure{"cannot read " + file + "; give a readable file or - for standard input"};
        }
    }
    std::istream &in = file == "-" ? std::cin : opened;
    XmlContext *created = nullptr;
    if (xmlOpen(&created, &kPrinting) != 1) {
        throw vosctl::Failure{"out of memory"};
    }
    const std::unique_ptr<XmlContext, decltype(&xmlClose)> ctx{created, xmlClose};
    std::vector<char> chunk(65536);
    bool closed = false;
    while (!closed && in) {
        in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        closed = xmlWrite(ctx.get(), chunk.data(), static_cast<uint32_t>(in.gcount()), nullptr) != 0;
    }
    if (!closed) {
        throw vosctl::Failure{file + ": the root element is not closed"};
    }
}

void setUp(vosctl::Arguments app) {
    auto file = std::make_shared<std::string>();
    app.option("file", *file, "document, or - for standard input").required();
    vosctl::addJson(app, g_printer.json, "one JSON object a line");
    app.runs([file] { run(*file); });
}
const vosctl::Command kCommand{"xml", "print the events of an XML configuration document", setUp};

}  // namespace
