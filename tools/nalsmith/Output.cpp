// SPDX-License-Identifier: MIT
#include "Output.h"

#include "DataText.h"
#include "Failure.h"
#include "Progress.h"

#include <fmt/color.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <unistd.h>

namespace host {
namespace {

constexpr int kNameWidth = 18;

[[noreturn]] void FailWithErrno()
{
    throw Failure(ExitStatus::OutputFailed, "standard output: " + std::generic_category().message(errno));
}

// File names need not be UTF-8, JSON must be.
std::string Dump(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

// Colour is for people who look on, and have not asked for none.
bool Coloured(int descriptor)
{
    const char* const none = std::getenv("NO_COLOR");
    return (none == nullptr || *none == '\0') && ::isatty(descriptor) != 0;
}

bool OutputColoured()
{
    static const bool coloured = Coloured(STDOUT_FILENO);
    return coloured;
}

void Say(std::string_view message, std::string_view prefix, fmt::terminal_color colour)
{
    progress::Erase();
    const std::string start =
        Coloured(STDERR_FILENO) ? fmt::format(fmt::fg(colour), "{}", prefix) : std::string(prefix);
    const std::string line = start + " " + Printable(message) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

namespace output {

void Write(std::string_view text)
{
    progress::GiveWay();
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
    if (!text.empty() && text.front() == '\n')
        Line({});
    text.remove_prefix(!text.empty() && text.front() == '\n' ? 1 : 0);
    Line(OutputColoured() ? fmt::format(fmt::emphasis::bold, "{}", text) : std::string(text));
}

void Row(std::string_view name, std::string_view value)
{
    Line(fmt::format("  {:<{}}{}", name, kNameWidth, value));
}

void JsonLine(const Json& json)
{
    Write(Dump(json));
}

void Remark(std::string_view text)
{
    const std::string lines = std::string(text) + '\n';
    Finish(); // what has been printed comes first
    progress::Erase();
    std::fwrite(lines.data(), 1, lines.size(), stderr);
}

void Counts(const StreamOptions& options, std::string_view text, const Json& json)
{
    if (options.json)
        JsonLine(json);
    if (!options.quiet)
        Remark(text);
}

void Finish()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        FailWithErrno();
}

} // namespace output

void Complain(std::string_view message)
{
    Say(message, "nalsmith:", fmt::terminal_color::red);
}

void Warn(std::string_view message)
{
    Say(message, "nalsmith: warning:", fmt::terminal_color::yellow);
}

std::string Alarming(std::string_view text, std::size_t width)
{
    std::string padded = fmt::format("{:<{}}", text, width);
    return OutputColoured() ? fmt::format(fmt::fg(fmt::terminal_color::red), "{}", padded) : padded;
}

std::string Count(std::uint64_t number, std::string_view noun)
{
    return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

} // namespace host
