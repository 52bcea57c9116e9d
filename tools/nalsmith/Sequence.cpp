// SPDX-License-Identifier: MIT
#include "Sequence.h"

#include <numeric>

namespace host {
namespace {

struct ValueName {
    std::uint32_t value;
    const char* name;
};

// H.264 Table E-2
constexpr ValueName kVideoFormats[] = {{0, "component"}, {1, "PAL"}, {2, "NTSC"},
                                       {3, "SECAM"},     {4, "MAC"}, {5, "unspecified"}};

constexpr ValueName kRanges[] = {{0, "limited"}, {1, "full"}};

// H.264 Table E-3
constexpr ValueName kColourPrimaries[] = {
    {1, "BT.709"},          {2, "unspecified"},     {4, "BT.470 System M"}, {5, "BT.470 System B, G"},
    {6, "SMPTE 170M"},      {7, "SMPTE 240M"},      {8, "generic film"},    {9, "BT.2020"},
    {10, "SMPTE ST 428-1"}, {11, "SMPTE RP 431-2"}, {12, "Display P3"},     {22, "EBU Tech 3213-E"},
};

// H.264 Table E-4
constexpr ValueName kTransferCharacteristics[] = {
    {1, "BT.709"},
    {2, "unspecified"},
    {4, "BT.470 System M"},
    {5, "BT.470 System B, G"},
    {6, "SMPTE 170M"},
    {7, "SMPTE 240M"},
    {8, "linear"},
    {9, "logarithmic 100:1"},
    {10, "logarithmic 316:1"},
    {11, "IEC 61966-2-4"},
    {12, "BT.1361"},
    {13, "sRGB"},
    {14, "BT.2020, 10 bits"},
    {15, "BT.2020, 12 bits"},
    {16, "PQ"},
    {17, "SMPTE ST 428-1"},
    {18, "HLG"},
};

// H.264 Table E-5
constexpr ValueName kMatrixCoefficients[] = {
    {0, "RGB"},
    {1, "BT.709"},
    {2, "unspecified"},
    {4, "FCC"},
    {5, "BT.470 System B, G"},
    {6, "SMPTE 170M"},
    {7, "SMPTE 240M"},
    {8, "YCgCo"},
    {9, "BT.2020, non-constant luminance"},
    {10, "BT.2020, constant luminance"},
    {11, "SMPTE ST 2085"},
    {12, "chromaticity-derived, non-constant luminance"},
    {13, "chromaticity-derived, constant luminance"},
    {14, "ICtCp"},
};

// The number always; its name where the stream gives the number a meaning.
template <std::size_t n>
std::string Named(const ValueName (&names)[n], std::uint32_t value, bool stated)
{
    if (!stated)
        return fmt::format("{} (not stated)", value);
    for (const ValueName& known : names)
        if (known.value == value)
            return fmt::format("{} ({})", value, known.name);
    return fmt::format("{} (reserved)", value);
}

// "30000/1001 = 29.970 frames per second"
std::string FrameRateText(const VideoInfo& info)
{
    const auto rate = FrameRateOf(info);
    if (!rate)
        return "not stated";
    return fmt::format("{}/{} = {:.3f} frames per second", rate->num, rate->den, rate->Decimal());
}

} // namespace

SequenceKey KeyOf(const VideoInfo& info)
{
    SequenceKey key;
    for (std::size_t i = 0; i < key.size(); ++i)
        key[i] = info.*kSequenceFields[i].value;
    return key;
}

std::optional<FrameRate> FrameRateOf(const VideoInfo& info)
{
    if (info.frameRateNum == 0 || info.frameRateDen == 0)
        return std::nullopt;
    const std::uint32_t divisor = std::gcd(info.frameRateNum, info.frameRateDen);
    return FrameRate{info.frameRateNum / divisor, info.frameRateDen / divisor};
}

Json SequenceJson(const VideoInfo& info)
{
    if (info.sequenceInfoValid == 0)
        return nullptr;
    Json json;
    for (const SequenceField& field : kSequenceFields)
        json[field.name] = info.*field.value;
    return json;
}

std::string SequenceSummary(const VideoInfo& info)
{
    if (info.sequenceInfoValid == 0)
        return {};
    std::string text = fmt::format("{}x{}", info.width, info.height);
    if (const auto rate = FrameRateOf(info))
        text += fmt::format(", {}/{} fps", rate->num, rate->den);
    if (info.video_signal_type_present_flag != 0)
        text += fmt::format(", video format {}, {} range", info.video_format,
                            info.video_full_range_flag != 0 ? "full" : "limited");
    if (info.colour_description_present_flag != 0)
        text += fmt::format(", colour {}/{}/{}", info.colour_primaries, info.transfer_characteristics,
                            info.matrix_coefficients);
    return text;
}

void PrintSequence(const VideoInfo& info)
{
    const bool signal = info.video_signal_type_present_flag != 0;
    const bool colour = info.colour_description_present_flag != 0;
    output::Row("picture size", fmt::format("{}x{}", info.width, info.height));
    output::Row("frame rate", FrameRateText(info));
    output::Row("video format", Named(kVideoFormats, info.video_format, signal));
    output::Row("range", Named(kRanges, info.video_full_range_flag, signal));
    output::Row("colour primaries", Named(kColourPrimaries, info.colour_primaries, colour));
    output::Row("transfer", Named(kTransferCharacteristics, info.transfer_characteristics, colour));
    output::Row("matrix", Named(kMatrixCoefficients, info.matrix_coefficients, colour));
}

} // namespace host
