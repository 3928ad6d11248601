// vosctl report: a capture as one page for a browser.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "capture.h"
#include "command.h"
#include "interfaces.h"
#include "internal/guards.h"
#include "report_page.h"

namespace {

struct Options {
    std::string capture;
    std::string output = "report.html";
    uint32_t messages = 100'000;
    uint32_t lateMs = 1000;
};

void run(const Options &options) {
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
    const vos::UniqueFile file{options.output == "-" ? nullptr : fopen(options.output.c_str(), "wbe")};
    FILE *out = options.output == "-" ? stdout : file.get();
    if (out != nullptr) {
        vosctl::writeReport(out, model, {options.capture, capture.problem(), capture.foreign()});
    }
    if (out == nullptr || fflush(out) != 0 || ferror(out) != 0) {
        throw vosctl::Failure{"cannot write '" + options.output + "': " + strerror(errno)};
    }
    if (!capture.problem().empty()) {
        throw vosctl::Failure{options.capture + ": " + capture.problem() + "; the report holds the " +
                              std::to_string(model.messages()) + " messages before that"};
    }
    fprintf(stderr, "vosctl: %s: messages: %ju, requests without an answer: %ju, late replies: %ju\n",
            options.output.c_str(), static_cast<uintmax_t>(model.messages()),
            static_cast<uintmax_t>(model.unanswered().count), static_cast<uintmax_t>(model.late().count));
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("file", options->capture, "a capture of 'vosctl record'; - for standard input")
        .called("FILE")
        .required();
    app.option("-o,--output", options->output, "the page; - for standard output").called("FILE").showsDefault();
    app.option("--messages", options->messages, "the diagram holds so many, the newest")
        .called("N")
        .within(1U, 1'000'000U)
        .showsDefault();
    app.option("--late", options->lateMs, "a reply is late after so many milliseconds").called("MS").showsDefault();
    vosctl::addInterfaces(app);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"report", "make a page for a browser out of a capture", setUp};

}  // namespace
