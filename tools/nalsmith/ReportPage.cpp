// SPDX-License-Identifier: MIT
#include "ReportPage.h"

#include "ReportChart.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace host {
namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{}</title>
<style>
:root {{ --ink: #1d2327; --soft: #5c6670; --ground: #ffffff; --line: #d5dade; --intra: #c2410c; --predicted: #2563a8;
  --bipredicted: #7fa8d1; --other: #8a8f94; --break: #b00020; color-scheme: light dark; }}
@media (prefers-color-scheme: dark) {{ :root {{ --ink: #e6e9ec; --soft: #a3adb6; --ground: #14181b; --line: #353c42;
  --intra: #fb8b4b; --predicted: #5aa2e8; --bipredicted: #35608c; --other: #767d84; --break: #ff6b7d; }} }}
@media print {{ :root {{ --ink: #000; --soft: #444; --ground: #fff; --line: #ccc; --intra: #c2410c; --predicted: #2563a8;
  --bipredicted: #7fa8d1; --other: #8a8f94; --break: #b00020; }} section {{ break-inside: avoid; }} }}
* {{ box-sizing: border-box; }}
body {{ margin: 0 auto; padding: 1.2rem; max-width: 62rem; color: var(--ink); background: var(--ground);
  font: 16px/1.5 system-ui, sans-serif; }}
h1 {{ font-size: 1.4rem; overflow-wrap: anywhere; }}
h2 {{ font-size: 1.1rem; margin: 2rem 0 .5rem; }}
svg {{ width: 100%; height: auto; display: block; }}
.picture {{ overflow-x: auto; }} .picture svg {{ min-width: 34rem; }}
text {{ fill: var(--soft); font: 12px system-ui, sans-serif; }}
.intra {{ fill: var(--intra); background: var(--intra); }}
.predicted {{ fill: var(--predicted); background: var(--predicted); }}
.bipredicted {{ fill: var(--bipredicted); background: var(--bipredicted); }}
.other {{ fill: var(--other); background: var(--other); }}
.key {{ fill: var(--ink); }}
.grid {{ stroke: var(--line); fill: none; }}
.break {{ stroke: var(--break); stroke-width: 1.5; stroke-dasharray: 3 2; fill: none; }}
table {{ border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }}
td, th {{ padding: .25rem .6rem .25rem 0; border-bottom: 1px solid var(--line); text-align: left; vertical-align: top; }}
td.number, th.number {{ text-align: right; }}
ul.legend {{ list-style: none; padding: 0; display: flex; flex-wrap: wrap; gap: .3rem 1.2rem; color: var(--soft); }}
.legend i, .share i {{ display: inline-block; height: .8em; vertical-align: baseline; }}
.legend i {{ width: .8em; margin-right: .4em; }} .share {{ width: 30%; }}
.share i {{ background: var(--predicted); min-width: 1px; }}
code {{ overflow-wrap: anywhere; font-size: .85rem; }}
summary {{ cursor: pointer; }}
</style>
</head>
<body>
)";

std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char c : text)
        switch (c) {
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        case '"': escaped += "&quot;"; break;
        default: escaped += c;
        }
    return escaped;
}

std::string Row(const std::vector<std::string>& cells)
{
    return fmt::format("<tr><td>{}</td></tr>\n", fmt::join(cells, "</td><td>"));
}

std::string SequenceText(const nalsmith::SequenceParameters& sequence)
{
    std::string text = fmt::format("{}x{}", sequence.width, sequence.height);
    if (sequence.frame_rate_num != 0 && sequence.frame_rate_den != 0) {
        const auto divisor = std::gcd(sequence.frame_rate_num, sequence.frame_rate_den);
        text += fmt::format(", {}/{} = {:.3f} frames per second", sequence.frame_rate_num / divisor,
                            sequence.frame_rate_den / divisor,
                            static_cast<double>(sequence.frame_rate_num) / sequence.frame_rate_den);
    }
    if (sequence.colour_description_present_flag != 0)
        text += fmt::format(", colour {}/{}/{}", sequence.colour_primaries, sequence.transfer_characteristics,
                            sequence.matrix_coefficients);
    return text;
}

std::string Facts(const StreamReport& report)
{
    std::string html = "<section><table>\n";
    html += Row({"Codec", report.Codec() == nalsmith::Codec::h264 ? "H.264" : "H.265"});
    html +=
        Row({"Access units", fmt::format("{}, of them {} key", report.Units().size(), report.KeyFrames())});
    html += Row({"Bytes", std::to_string(report.Bytes())});
    for (const ReportedSequence& sequence : report.Sequences())
        html +=
            Row({sequence.from == 0 ? "Sequence" : fmt::format("Sequence from access unit {}", sequence.from),
                 SequenceText(sequence.parameters)});
    html += Row({"Breaks", std::to_string(report.Breaks().size())});
    return html + "</table></section>\n";
}

std::string Picture(const StreamReport& report)
{
    std::string html = "<section><h2>Sizes of the access units</h2>\n<div class=\"picture\">\n" +
                       SizeChart(report) + "</div>\n<ul class=\"legend\">\n";
    for (const KindLook& look : LooksOf(report))
        html += fmt::format("<li><i class=\"{}\"></i>{}</li>\n", look.style, look.text);
    html += "<li>&#9650; key</li>\n";
    if (!report.Breaks().empty())
        html += "<li>&#9478; break</li>\n";
    return html + "</ul></section>\n";
}

std::string Types(const StreamReport& report)
{
    const std::uint64_t all = std::max<std::uint64_t>(report.Bytes(), 1);
    std::string html =
        "<section><h2>NAL units</h2><table id=\"types\">\n<tr><th>Type</th><th class=\"number\">Number</th>"
        "<th class=\"number\">Bytes</th><th>Share of bytes</th></tr>\n";
    for (const auto& [type, share] : report.Types())
        html += fmt::format("<tr><td>{} {}</td><td class=\"number\">{}</td><td class=\"number\">{}</td>"
                            "<td class=\"share\"><i style=\"width:{:.1f}%\"></i></td></tr>\n",
                            type, Escaped(nalsmith::nal_type_name(report.Codec(), type)), share.count,
                            share.bytes, 100.0 * static_cast<double>(share.bytes) / static_cast<double>(all));
    return html + "</table></section>\n";
}

std::string ParameterSets(const StreamReport& report)
{
    constexpr const char* kNames[] = {"VPS", "SPS", "PPS"};
    constexpr std::size_t kStartCode = 4;
    std::string html = "<section><h2>Parameter sets</h2><table id=\"sets\">\n";
    for (const nalsmith::ParameterSet& set : report.ParameterSets().all()) {
        const nalsmith::BytesView payload = nalsmith::BytesView(set.bytes).subview(kStartCode);
        html += Row({fmt::format("{} {}", kNames[static_cast<int>(set.kind)], set.id),
                     fmt::format("<details><summary>{} bytes</summary><code>{:02x}</code></details>",
                                 payload.size(), fmt::join(payload.begin(), payload.end(), " "))});
    }
    return html + "</table></section>\n";
}

std::string Breaks(const StreamReport& report)
{
    constexpr std::size_t kShown = 200;
    if (report.Breaks().empty())
        return "<section><h2>Breaks</h2><p>None found.</p></section>\n";
    std::string html = "<section><h2>Breaks</h2><table id=\"breaks\">\n";
    const std::size_t shown = std::min(report.Breaks().size(), kShown);
    for (std::size_t i = 0; i < shown; ++i)
        html += Row(
            {fmt::format("access unit {}", report.Breaks()[i].index), to_string(report.Breaks()[i].finding)});
    html += "</table>\n";
    if (shown != report.Breaks().size())
        html += fmt::format("<p>The first {} of {}.</p>\n", shown, report.Breaks().size());
    return html + "</section>\n";
}

} // namespace

std::string ReportPage(const StreamReport& report, const std::string& title)
{
    const std::string name = Escaped(title);
    return fmt::format(kHead, name) + "<h1>" + name + "</h1>\n" + Facts(report) + Picture(report) +
           Types(report) + ParameterSets(report) + Breaks(report) + "</body>\n</html>\n";
}

} // namespace host
