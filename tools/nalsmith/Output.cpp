// SPDX-License-Identifier: MIT
#include "Output.h"

#include "Failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace host {
namespace {

constexpr int kNameWidth = 18;

[[noreturn]] void FailWithErrno()
{
    throw Failure(ExitStatus::OutputFailed, "standard output: " + std::generic_category().message(errno));
}

// File names need not be UTF-8, JSON must be.
std::string Dump(const Json& json, int indent)
{
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}

} // namespace

namespace output {

void Write(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        FailWithErrno();
}

void Line(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    line += '\n';
    Write(line);
}

void Heading(std::string_view text)
{
    Line(std::string(text));
}

void Row(std::string_view name, std::string_view value)
{
    Line(fmt::format("  {:<{}}{}", name, kNameWidth, value));
}

void JsonLine(const Json& json)
{
    Write(Dump(json, -1));
}

void JsonDocument(const Json& json)
{
    Write(Dump(json, 2));
}

void Remark(std::string_view text)
{
    const std::string lines = std::string(text) + '\n';
    Finish(); // what has been printed comes first
    std::fwrite(lines.data(), 1, lines.size(), stderr);
}

void Finish()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        FailWithErrno();
}

} // namespace output

void Complain(std::string_view message)
{
    const std::string line = "nalsmith: " + Printable(message) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string Count(std::uint64_t number, std::string_view noun)
{
    return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

std::string Printable(std::string_view text)
{
    std::string printable(text);
    const auto isControl = [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; };
    std::replace_if(printable.begin(), printable.end(), isControl, '?');
    return printable;
}

} // namespace host
