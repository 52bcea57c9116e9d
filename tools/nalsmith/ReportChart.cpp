// SPDX-License-Identifier: MIT
#include "ReportChart.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace host {
namespace {

constexpr KindLook kAvcLooks[] = {{UnitKind::Intra, "intra", "I"},
                                  {UnitKind::Predicted, "predicted", "P"},
                                  {UnitKind::Bipredicted, "bipredicted", "B"},
                                  {UnitKind::Other, "other", "other"}};

constexpr KindLook kHevcLooks[] = {{UnitKind::Intra, "intra", "random access (IDR, CRA, BLA)"},
                                   {UnitKind::Predicted, "predicted", "trailing"},
                                   {UnitKind::Leading, "bipredicted", "leading (RADL, RASL)"},
                                   {UnitKind::Other, "other", "other"}};

// In units of the picture.
constexpr double kWidth = 960;
constexpr double kHeight = 280;
constexpr double kLeft = 70;
constexpr double kRight = 10;
constexpr double kTop = 22;
constexpr double kBottom = 40;
constexpr std::size_t kMostBars = 440;

// Neighbouring access units drawn as one bar: as high as the largest of them, and coloured like it.
struct Bar {
    std::size_t first = 0;
    std::size_t count = 0;
    const ReportedUnit* largest = nullptr;
    bool key = false;
    bool broken = false;
};

std::vector<Bar> BarsOf(const std::vector<ReportedUnit>& units)
{
    const std::size_t perBar = (units.size() + kMostBars - 1) / kMostBars;
    std::vector<Bar> bars;
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (i % perBar == 0)
            bars.push_back({i, 0, &units[i], false, false});
        Bar& bar = bars.back();
        ++bar.count;
        bar.key = bar.key || units[i].key;
        bar.broken = bar.broken || units[i].broken;
        if (units[i].size > bar.largest->size)
            bar.largest = &units[i];
    }
    return bars;
}

const KindLook* begin(nalsmith::Codec codec)
{
    return codec == nalsmith::Codec::h264 ? std::begin(kAvcLooks) : std::begin(kHevcLooks);
}

const KindLook& LookOf(nalsmith::Codec codec, UnitKind kind)
{
    return *std::find_if(begin(codec), begin(codec) + std::size(kAvcLooks),
                         [&](const KindLook& look) { return look.kind == kind; });
}

std::string LabelOf(const Bar& bar, const KindLook& look)
{
    const std::string units =
        bar.count == 1 ? fmt::format("access unit {}", bar.first)
                       : fmt::format("access units {} to {}", bar.first, bar.first + bar.count - 1);
    return fmt::format("{}: {}{} bytes, {}{}{}", units, bar.count == 1 ? "" : "largest ", bar.largest->size,
                       look.text, bar.key ? ", key" : "", bar.broken ? ", break" : "");
}

std::string DrawBar(const Bar& bar, double x, double width, double height, const KindLook& look)
{
    const double floor = kHeight - kBottom;
    std::string svg =
        fmt::format("<g><title>{}</title><rect class=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.2f}\" "
                    "height=\"{:.1f}\"/>",
                    LabelOf(bar, look), look.style, x, floor - height, std::max(width * 0.86, 0.8), height);
    const double middle = x + width * 0.43;
    if (bar.key)
        svg += fmt::format("<path class=\"key\" d=\"M{0:.1f} {1} l4 8 h-8 z\"/>", middle, floor + 3);
    if (bar.broken)
        svg += fmt::format("<path class=\"break\" d=\"M{0:.1f} {1} v{2:.1f}\"/>", middle, kTop - 8,
                           floor - kTop + 8);
    return svg + "</g>\n";
}

std::string Axis(std::uint64_t largest, std::size_t units)
{
    const double floor = kHeight - kBottom;
    std::string svg;
    for (const double part : {0.0, 0.5, 1.0}) {
        const double y = floor - part * (floor - kTop);
        svg += fmt::format("<path class=\"grid\" d=\"M{} {:.1f} H{}\"/>"
                           "<text x=\"{}\" y=\"{:.1f}\" text-anchor=\"end\">{:.0f}</text>\n",
                           kLeft, y, kWidth - kRight, kLeft - 6, y + 4, part * static_cast<double>(largest));
    }
    svg += fmt::format("<text x=\"{}\" y=\"{}\">0</text><text x=\"{}\" y=\"{}\" text-anchor=\"end\">{}</text>"
                       "<text x=\"{}\" y=\"{}\" text-anchor=\"middle\">access unit</text>"
                       "<text x=\"{}\" y=\"12\" text-anchor=\"end\">bytes</text>\n",
                       kLeft, kHeight - 12, kWidth - kRight, kHeight - 12, units - 1, kWidth / 2,
                       kHeight - 12, kLeft - 6);
    return svg;
}

} // namespace

std::vector<KindLook> LooksOf(const StreamReport& report)
{
    std::vector<KindLook> looks;
    std::copy_if(begin(report.Codec()), begin(report.Codec()) + std::size(kAvcLooks),
                 std::back_inserter(looks), [&](const KindLook& look) {
                     return std::any_of(report.Units().begin(), report.Units().end(),
                                        [&](const ReportedUnit& unit) { return unit.kind == look.kind; });
                 });
    return looks;
}

std::string SizeChart(const StreamReport& report)
{
    const std::vector<Bar> bars = BarsOf(report.Units());
    std::uint64_t largest = 1;
    for (const Bar& bar : bars)
        largest = std::max(largest, bar.largest->size);
    std::string svg =
        fmt::format("<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"Sizes of {} access units, "
                    "the largest of {} bytes\">\n",
                    kWidth, kHeight, report.Units().size(), largest);
    svg += Axis(largest, report.Units().size());
    const double width = (kWidth - kLeft - kRight) / static_cast<double>(bars.size());
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const double part = static_cast<double>(bars[i].largest->size) / static_cast<double>(largest);
        svg += DrawBar(bars[i], kLeft + static_cast<double>(i) * width, width,
                       std::max(part * (kHeight - kBottom - kTop), 0.5),
                       LookOf(report.Codec(), bars[i].largest->kind));
    }
    return svg + "</svg>\n";
}

} // namespace host
