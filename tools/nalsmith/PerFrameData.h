// SPDX-License-Identifier: MIT
// User data for single access units, read from lines of JSON:
//   {"index":12,"text":"..."} or {"index":12,"base64":"..."}
// Other members are passed over, so that what `userdata get --json` prints can be read back.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace host {

using PerFrameData = std::map<std::uint64_t, std::vector<std::uint8_t>>; // by the access unit's index

// A line that is none of the two ends the run with a message that names it. Blank lines are passed over.
PerFrameData ReadPerFrameData(const std::string& path);

} // namespace host
