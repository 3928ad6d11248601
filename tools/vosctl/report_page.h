// A capture as one page for a browser.
#pragma once

#include <cstdio>
#include <string>

#include "report_model.h"

namespace vosctl {

/** What the page says about the file itself. */
struct ReportSource {
    std::string name;
    std::string problem;  // why it could not be read to its end; empty when it could
    uint64_t foreign = 0;
};

/** Writes the page: tables that need no script, and the kept messages for the diagram, which does. */
void writeReport(FILE *out, const ReportModel &model, const ReportSource &source);

}  // namespace vosctl
