// SPDX-License-Identifier: MIT
// A stream's report as one page of HTML that needs nothing else.
#pragma once

#include "StreamReport.h"

#include <string>

namespace host {

// `title` is what the stream is called; `typeName` says what the standard calls a NAL unit type.
std::string ReportPage(const StreamReport& report, const std::string& title,
                       std::string (*typeName)(nalsmith::Codec codec, unsigned nal_unit_type));

} // namespace host
