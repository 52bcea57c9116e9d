// SPDX-License-Identifier: MIT
#include "Progress.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace host::progress {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr double kMega = 1e6;

struct State {
    bool wanted = false;
    bool shown = false;
    std::uint64_t size = 0;
    Clock::time_point start;
    Clock::time_point next;
};

State state;

std::string Text(std::uint64_t bytesRead, double seconds)
{
    const double done = static_cast<double>(bytesRead);
    const double rate = done / seconds;
    if (state.size == 0)
        return fmt::format("{:.0f} MB, {:.0f} MB/s", done / kMega, rate / kMega);
    const double all = static_cast<double>(state.size);
    return fmt::format("{:3.0f}%  {:.0f} of {:.0f} MB, {:.0f} MB/s, {:.0f} s left", 100 * done / all,
                       done / kMega, all / kMega, rate / kMega, (all - done) / rate);
}

} // namespace

void Begin(std::uint64_t size)
{
    const auto now = Clock::now();
    state = {::isatty(STDERR_FILENO) != 0, false, size, now, now + kPatience};
}

void Show(std::uint64_t bytesRead)
{
    if (!state.wanted)
        return;
    const auto now = Clock::now();
    if (now < state.next || bytesRead == 0)
        return;
    state.next = now + kInterval;
    state.shown = true;
    const std::chrono::duration<double> passed = now - state.start;
    const std::string line = "\r\033[K" + Text(bytesRead, passed.count());
    std::fwrite(line.data(), 1, line.size(), stderr);
}

void Erase()
{
    if (state.shown)
        std::fputs("\r\033[K", stderr);
    state.shown = false;
}

void GiveWay()
{
    if (!state.wanted || ::isatty(STDOUT_FILENO) == 0)
        return;
    Erase();
    state.wanted = false;
}

} // namespace host::progress
