// SPDX-License-Identifier: MIT
// The picture of a stream: the sizes of its access units over time, as SVG.
#pragma once

#include "StreamReport.h"

#include <string>

namespace host {

struct KindLook {
    UnitKind kind;
    const char* style; // class in the page's style sheet
    const char* text;
};

// Those that the report has, in the order of the legend.
std::vector<KindLook> LooksOf(const StreamReport& report);

std::string SizeChart(const StreamReport& report);

} // namespace host
