// SPDX-License-Identifier: MIT
// A stream's report as one page of HTML that needs nothing else.
#pragma once

#include "StreamReport.h"

#include <string>

namespace host {

// `title` is what the stream is called.
std::string ReportPage(const StreamReport& report, const std::string& title);

} // namespace host
