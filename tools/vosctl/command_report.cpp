// vosctl report: a capture as one page for a browser.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "arguments.h"
#include "capture.h"
#include "command.h"
#include "interfaces.h"
#include "internal/guards.h"
#include "output.h"
#include "report_page.h"

namespace {

constexpr const char *kDefaultPage = "report.html";

struct Options {
    std::string capture;
    std::string output;
    uint32_t messages = 100'000;
    uint32_t lateMs = 1000;
    bool json = false;
};

void writePage(const std::string &output, const vosctl::ReportModel &model, const vosctl::ReportSource &source) {
    const vos::UniqueFile file{output == "-" ? nullptr : fopen(output.c_str(), "wbe")};
    FILE *out = output == "-" ? stdout : file.get();
    if (out != nullptr) {
        vosctl::writeReport(out, model, source);
    }
    if (out == nullptr || fflush(out) != 0 || ferror(out) != 0) {
        throw vosctl::Failure{"cannot write '" + output + "': " + strerror(errno)};
    }
}

void printJson(const vosctl::ReportModel &model, const vosctl::ReportSource &source) {
    nlohmann::ordered_json tables = vosctl::reportJson(model);
    tables["foreign"] = source.foreign;
    tables["problem"] = source.problem;
    vosctl::printJson(tables);
    vosctl::flushOutput();
}

void run(const Options &options) {
    if (options.json && options.output == "-") {
        throw vosctl::Failure{"the page and --json cannot both go to standard output", vosctl::Exit::kUsage};
    }
    vosctl::CaptureFile capture{options.capture};
    vosctl::ReportModel model{options.messages, uint64_t{options.lateMs} * 1'000'000};
    while (const auto message = capture.next()) {
        model.take(*message);
    }
    model.finish();
    if (model.messages() == 0) {
        throw vosctl::Failure{"'" + options.capture + "' holds no message" +
                              (capture.problem().empty() ? "" : ": " + capture.problem())};
    }
    const vosctl::ReportSource source{options.capture, capture.problem(), capture.foreign()};
    const std::string output = options.output.empty() && !options.json ? kDefaultPage : options.output;
    if (!output.empty()) {
        writePage(output, model, source);
    }
    if (options.json) {
        printJson(model, source);
    }
    if (!capture.problem().empty()) {
        throw vosctl::Failure{options.capture + ": " + capture.problem() + "; the report holds the " +
                              std::to_string(model.messages()) + " messages before that"};
    }
    if (options.json) {
        return;
    }
    fprintf(stderr, "vosctl: %s: messages: %ju, requests without an answer: %ju, late replies: %ju\n", output.c_str(),
            static_cast<uintmax_t>(model.messages()), static_cast<uintmax_t>(model.unanswered().count),
            static_cast<uintmax_t>(model.late().count));
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("file", options->capture, "a capture of 'vosctl record'; - for standard input")
        .called("FILE")
        .required();
    app.option("-o,--output", options->output,
               std::string{"the page, by default "} + kDefaultPage + "; - for standard output")
        .called("FILE");
    app.option("--messages", options->messages, "the diagram holds so many, the newest")
        .called("N")
        .within(1U, 1'000'000U)
        .showsDefault();
    app.option("--late", options->lateMs, "a reply is late after so many milliseconds").called("MS").showsDefault();
    vosctl::addJson(app, options->json, "the tables as one JSON object, and no page unless -o names it");
    vosctl::addInterfaces(app);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"report", "make a page for a browser out of a capture", setUp};

}  // namespace
