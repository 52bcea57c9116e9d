// SPDX-License-Identifier: MIT
// What the program prints: one look for the text of all commands, and JSON.
#pragma once

#include "StreamOptions.h"

#include <nlohmann/json.hpp>

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace host {

using Json = nlohmann::ordered_json;

// The standard output. Every function fails the run when it cannot be written.
namespace output {

void Write(std::string_view text);

// One line, without blanks at its end.
void Line(std::string line);

// A heading, and under it rows of a name and a value.
void Heading(std::string_view text);
void Row(std::string_view name, std::string_view value);

// One object on one line.
void JsonLine(const Json& json);

// Lines on the standard error output, as they are: what a command sums up beside its output.
void Remark(std::string_view text);

// The same for a command that writes a file: with --json also on the standard output, not at all with
// --quiet.
void Counts(const StreamOptions& options, std::string_view text, const Json& json);

// To be called once all is written.
void Finish();

} // namespace output

// One line on the standard error output, behind the name of the program.
void Complain(std::string_view message);
void Warn(std::string_view message);

// Text in red on a terminal, where it stands alone; `width` is that of the text with blanks behind it.
std::string Alarming(std::string_view text, std::size_t width);

// "1 key frame", "2 key frames".
std::string Count(std::uint64_t number, std::string_view noun);

} // namespace host
