// SPDX-License-Identifier: MIT
// nalsmith nals: one line for each NAL unit of the file.
#include "CommandLine.h"
#include "Commands.h"
#include "Files.h"
#include "NalNames.h"
#include "Output.h"
#include "StreamOptions.h"
#include "UnitReader.h"

#include <nalsmith/handles.hpp>

#include <new>

namespace host {
namespace {

struct ListedNal {
    std::uint64_t index = 0;
    std::uint64_t offset = 0; // of its start code, in the file
    const nalsmith::NalUnit& nal;
    bool isSlice = false;
    std::optional<std::uint32_t> sliceHeaderSize; // H.264
    VideoPicType picType = VideoPicTypeUnknown;

    std::size_t Size() const { return nal.bytes.size(); } // start code included
    bool HasHeader() const { return !nal.bare(); }
    bool IsAvc() const { return nal.codec == nalsmith::Codec::h264; }
    bool IsCutShort() const { return Size() < nal.start_code_size + 2; } // within an H.265 header
};

// Looks into NAL units, in the order of the stream: slice headers are read with the parameter sets before
// them.
class SliceReader {
public:
    explicit SliceReader(nalsmith::Codec codec)
        : walk_(nalsmith::make_parsing_handle(codec, 1, 1)),
          types_(nalsmith::make_parsing_handle(codec, 1, 1))
    {
        if (!walk_ || !types_)
            throw std::bad_alloc();
    }

    void Describe(ListedNal& listed)
    {
        const nalsmith::BytesView bytes = listed.nal.bytes;
        if (listed.nal.bare() || listed.nal.forbidden())
            return;
        if (!listed.IsAvc()) { // the library walks over H.264 only
            listed.isSlice = listed.nal.is_slice();
            return;
        }
        std::uint8_t* found = nullptr;
        std::uint32_t size = 0;
        std::uint32_t sliceHeaderSize = 0;
        const auto whole = static_cast<std::uint32_t>(bytes.size());
        SetVideoData(walk_.get(), const_cast<std::uint8_t*>(bytes.data()), whole); // not written to
        if (GetNalUnit(walk_.get(), &found, &size, &listed.isSlice, &sliceHeaderSize) != 0 || !listed.isSlice)
            return;
        listed.sliceHeaderSize = sliceHeaderSize;
        QueryType(types_.get(), bytes.data(), whole, listed.picType);
    }

private:
    nalsmith::ParsingHandle walk_;
    nalsmith::ParsingHandle types_; // QueryType() would end the walk
};

Json Known(bool known, std::uint64_t value)
{
    return known ? Json(value) : Json();
}

std::string KnownText(bool known, std::uint64_t value)
{
    return known ? std::to_string(value) : std::string();
}

unsigned TemporalIdPlus1(const nalsmith::NalUnit& nal)
{
    return nal.header_byte(1) & 7U;
}

std::string PictureTypeText(VideoPicType type)
{
    return type > VideoPicTypeAllSI ? std::to_string(static_cast<int>(type)) : PictureTypeName(type);
}

void PrintNalText(const ListedNal& listed)
{
    const nalsmith::NalUnit& nal = listed.nal;
    std::string name =
        listed.HasHeader() ? nalsmith::nal_type_name(nal.codec, nal.type()) : "(bare start code)";
    if (nal.forbidden())
        name += " (forbidden_zero_bit set)";
    const std::string start = fmt::format("{:>8}  {:>12}  {:>10}  {:>4}", listed.index, listed.offset,
                                          listed.Size(), KnownText(listed.HasHeader(), nal.type()));
    if (listed.IsAvc())
        output::Line(
            fmt::format("{}  {:>3}  {:>6}  {:<7}  {}", start, KnownText(listed.HasHeader(), nal.ref_idc()),
                        KnownText(listed.sliceHeaderSize.has_value(), listed.sliceHeaderSize.value_or(0)),
                        PictureTypeText(listed.picType), name));
    else
        output::Line(fmt::format("{}  {:>5}  {:>13}  {}", start,
                                 KnownText(!listed.IsCutShort(), nal.layer_id()),
                                 KnownText(!listed.IsCutShort(), TemporalIdPlus1(nal)), name));
}

void PrintHeading(nalsmith::Codec codec)
{
    const std::string start = fmt::format("{:>8}  {:>12}  {:>10}  {:>4}", "index", "offset", "bytes", "type");
    if (codec == nalsmith::Codec::h264)
        output::Heading(
            fmt::format("{}  {:>3}  {:>6}  {:<7}  {}", start, "ref", "header", "picture", "name"));
    else
        output::Heading(fmt::format("{}  {:>5}  {:>13}  {}", start, "layer", "temporal_id+1", "name"));
}

void PrintNalJson(const ListedNal& listed)
{
    const nalsmith::NalUnit& nal = listed.nal;
    const bool header = listed.HasHeader();
    Json json = {{"index", listed.index}, {"offset", listed.offset}, {"size", listed.Size()}};
    json["nal_unit_type"] = Known(header, nal.type());
    json["name"] = header ? Json(nalsmith::nal_type_name(nal.codec, nal.type())) : Json();
    json["forbidden_zero_bit"] = Known(header, nal.forbidden() ? 1 : 0);
    if (listed.IsAvc()) {
        json["nal_ref_idc"] = Known(header, nal.ref_idc());
    } else {
        json["nuh_layer_id"] = Known(!listed.IsCutShort(), nal.layer_id());
        json["nuh_temporal_id_plus1"] = Known(!listed.IsCutShort(), TemporalIdPlus1(nal));
    }
    json["isSlice"] = listed.isSlice;
    json["sliceHeaderSize"] = Known(listed.sliceHeaderSize.has_value(), listed.sliceHeaderSize.value_or(0));
    json["picType"] =
        Known(listed.picType != VideoPicTypeUnknown, static_cast<std::uint32_t>(listed.picType));
    output::JsonLine(json);
}

ExitStatus ListNals(const StreamOptions& options)
{
    Input input(options);
    UnitReader reader(input, options, {false, true, {}});
    SliceReader slices(reader.Codec());
    const auto print = options.json ? PrintNalJson : PrintNalText;
    if (!options.json)
        PrintHeading(reader.Codec());
    std::uint64_t index = 0;
    while (const nalsmith::AccessUnit* unit = reader.Next()) {
        for (const nalsmith::NalUnit& nal : reader.Nals()) {
            const auto place = static_cast<std::uint64_t>(nal.bytes.data() - unit->bytes.data());
            ListedNal listed = {index++,      reader.Offset() + place, nal, false,
                                std::nullopt, VideoPicTypeUnknown};
            slices.Describe(listed);
            print(listed);
        }
    }
    reader.Warn();
    return ExitStatus::Done;
}

} // namespace

Command MakeNalsCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        program, "nals", "List the NAL units",
        "NAL units are listed as they stand in FILE, also those that no access unit takes in. The offset is\n"
        "that of the start code, which the bytes count too. For slices of H.264: the bytes of the slice\n"
        "header that tell one picture from the next, and the picture type.\n\n"
        "Example:\n  nalsmith nals --json movie.h265");
    const auto options = AddStreamOptions(*parser);
    return {parser, [options] { return ListNals(*options); }};
}

} // namespace host
