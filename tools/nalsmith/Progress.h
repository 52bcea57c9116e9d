// SPDX-License-Identifier: MIT
// A line on a terminal that tells how far a run has come, once it takes longer than half a second.
#pragma once

#include <cstdint>

namespace host::progress {

// Of an input of that many bytes; 0 when that is not known.
void Begin(std::uint64_t size);

void Show(std::uint64_t bytesRead);

// Takes the line away. Show() may bring it back.
void Erase();

// The standard output is written to. Where that is a terminal its lines tell how far the run has come.
void GiveWay();

} // namespace host::progress
