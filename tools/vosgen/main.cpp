// vosgen: code, documents and checks from descriptions of interfaces.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "generate.h"

namespace {

enum { kOk = 0, kFailed = 1, kUsage = 2 };

/** Thrown when the reason has been told. */
struct Failed {};

iface::Interface read(const std::string &path) {
    iface::Parsed parsed = iface::parseFile(path);
    for (const iface::Mistake &mistake : parsed.mistakes) {
        fprintf(stderr, "%s\n", mistake.say().c_str());
    }
    if (!parsed.interface) {
        throw Failed{};
    }
    return std::move(*parsed.interface);
}

void write(const std::string &text, const std::string &path) {
    if (path.empty() || path == "-") {
        std::cout << text << std::flush;
    } else {
        std::ofstream{path, std::ios::binary} << text << std::flush;
    }
    if (std::cout.fail() || (!path.empty() && path != "-" &&
                             std::ifstream{path, std::ios::ate}.tellg() != static_cast<std::streamoff>(text.size()))) {
        fprintf(stderr, "vosgen: cannot write '%s'; give -o a file that can be written\n", path.c_str());
        throw Failed{};
    }
}

struct Options {
    std::vector<std::string> files;
    std::string out;
};

void addMaker(CLI::App &app, Options &options, const char *name, const char *summary,
              std::string (*make)(const iface::Interface &)) {
    CLI::App *command = app.add_subcommand(name, summary);
    command->add_option("file", options.files, "the description")->required()->expected(1);
    command->add_option("-o,--output", options.out, "where to, instead of standard output");
    command->callback([&options, make] { write(make(read(options.files.front())), options.out); });
}

/** Whether old and new peers understand each other. */
void check(const Options &options) {
    const iface::Interface before = read(options.files.front());
    if (options.files.size() == 1) {
        return;
    }
    const iface::Interface after = read(options.files.back());
    size_t breaks = 0;
    const std::vector<vosgen::Change> changes = vosgen::compare(before, after);
    for (const vosgen::Change &change : changes) {
        breaks += change.breaks ? 1 : 0;
        printf("%s %s\n", change.breaks ? "breaks:" : "fits:  ", change.text.c_str());
    }
    if (breaks > 0) {
        printf("old and new peers do not understand each other: %zu of %zu changes break\n", breaks, changes.size());
        throw Failed{};
    }
    printf("old and new peers understand each other: %s\n",
           changes.empty() ? "nothing changed" : (std::to_string(changes.size()) + " changes").c_str());
}

void names(const Options &options) {
    std::vector<iface::Interface> all;
    for (const std::string &file : options.files) {
        all.push_back(read(file));
    }
    write(vosgen::typeNames(all), options.out);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its command line the program may end
int main(int argc, char **argv) {
    CLI::App app{"Makes code, documents and checks from descriptions of interfaces.", "vosgen"};
    app.set_version_flag("--version", VOSGEN_VERSION);
    app.require_subcommand(1);
    Options options;
    addMaker(app, options, "c", "a C header: structures, readers and writers", vosgen::makeC);
    addMaker(app, options, "cpp", "a C++ header: client and server base; needs that of C beside it", vosgen::makeCpp);
    addMaker(app, options, "python", "a typed Python module", vosgen::makePython);
    addMaker(app, options, "lua", "a table for the Wireshark dissector", vosgen::makeLua);
    addMaker(app, options, "markdown", "a page for a manual", vosgen::makeMarkdown);
    addMaker(app, options, "layout", "sizes, offsets and padding", vosgen::layoutOf);
    CLI::App *checks = app.add_subcommand("check", "mistakes in one description, or what changed between two");
    checks->add_option("file", options.files, "the description, or the old and the new one")
        ->required()
        ->expected(1, 2);
    checks->callback([&options] { check(options); });
    CLI::App *table = app.add_subcommand("names", "rows of type names for the tools' table");
    table->add_option("file", options.files, "the descriptions")->required();
    table->add_option("-o,--output", options.out, "where to, instead of standard output");
    table->callback([&options] { names(options); });
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &help) {
        return app.exit(help);
    } catch (const CLI::ParseError &error) {
        fprintf(stderr, "vosgen: %s; see 'vosgen --help'\n", error.what());
        return kUsage;
    } catch (const Failed &) {
        return kFailed;
    }
    return kOk;
}
