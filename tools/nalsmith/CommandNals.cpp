// SPDX-License-Identifier: MIT
// nalsmith nals: one line for each NAL unit of the file.
#include "Commands.h"
#include "Files.h"
#include "NalHeader.h"
#include "NalSource.h"
#include "Output.h"
#include "PictureType.h"
#include "StreamOptions.h"

namespace host {
namespace {

struct NalUnit {
    std::uint64_t index = 0;
    std::uint64_t offset = 0; // of its start code, in the file
    std::size_t size = 0;     // start code included
    std::optional<NalHeader> header;
    bool isSlice = false;
    std::optional<std::uint32_t> sliceHeaderSize; // H.264
    PictureType picType;
};

// Looks into NAL units, in the order of the stream: slice headers are read with the parameter sets before
// them.
class SliceReader {
public:
    explicit SliceReader(VideoCodecType codec)
        : codec_(codec), walk_(MakeParsingHandle(codec)), pictureTypes_(codec)
    {
    }

    void Describe(ByteView bytes, NalUnit& nal)
    {
        nal.header = ReadNalHeader(codec_, bytes);
        if (!nal.header || nal.header->forbidden_zero_bit)
            return;
        if (codec_ == VideoCodecHEVC) { // the library walks over H.264 only
            nal.isSlice = RoleOf(codec_, nal.header->nal_unit_type) == NalRole::Slice;
            return;
        }
        std::uint8_t* found = nullptr;
        std::uint32_t size = 0;
        std::uint32_t sliceHeaderSize = 0;
        // Taken as writable, but not written.
        SetVideoData(walk_.get(), const_cast<std::uint8_t*>(bytes.data),
                     static_cast<std::uint32_t>(bytes.size));
        if (GetNalUnit(walk_.get(), &found, &size, &nal.isSlice, &sliceHeaderSize) != 0 || !nal.isSlice)
            return;
        nal.sliceHeaderSize = sliceHeaderSize;
        nal.picType = pictureTypes_.Of(bytes);
    }

private:
    VideoCodecType codec_;
    ParsingHandle walk_;
    PictureTypes pictureTypes_;
};

template <typename T>
Json OrNull(const std::optional<T>& value)
{
    return value ? Json(*value) : Json();
}

template <typename T>
std::string OrBlank(const std::optional<T>& value)
{
    return value ? std::to_string(*value) : std::string();
}

void PrintText(VideoCodecType codec, const NalUnit& nal)
{
    const bool isAvc = codec == VideoCodecAVC;
    const NalHeader header = nal.header.value_or(NalHeader());
    std::string name = nal.header ? NalTypeName(codec, header.nal_unit_type) : "(bare start code)";
    if (header.forbidden_zero_bit)
        name += " (forbidden_zero_bit set)";
    const std::string type = nal.header ? std::to_string(header.nal_unit_type) : "";
    const std::string start =
        fmt::format("{:>8}  {:>12}  {:>10}  {:>4}", nal.index, nal.offset, nal.size, type);
    if (isAvc)
        output::Line(fmt::format("{}  {:>3}  {:>6}  {:<7}  {}", start, OrBlank(header.nal_ref_idc),
                                 OrBlank(nal.sliceHeaderSize), PictureTypeText(nal.picType), name));
    else
        output::Line(fmt::format("{}  {:>5}  {:>13}  {}", start, OrBlank(header.nuh_layer_id),
                                 OrBlank(header.nuh_temporal_id_plus1), name));
}

void PrintHeading(VideoCodecType codec)
{
    const std::string start = fmt::format("{:>8}  {:>12}  {:>10}  {:>4}", "index", "offset", "bytes", "type");
    if (codec == VideoCodecAVC)
        output::Heading(
            fmt::format("{}  {:>3}  {:>6}  {:<7}  {}", start, "ref", "header", "picture", "name"));
    else
        output::Heading(fmt::format("{}  {:>5}  {:>13}  {}", start, "layer", "temporal_id+1", "name"));
}

void PrintJson(VideoCodecType codec, const NalUnit& nal)
{
    const NalHeader header = nal.header.value_or(NalHeader());
    Json json = {{"index", nal.index}, {"offset", nal.offset}, {"size", nal.size}};
    json["nal_unit_type"] = nal.header ? Json(header.nal_unit_type) : Json();
    json["name"] = nal.header ? Json(NalTypeName(codec, header.nal_unit_type)) : Json();
    json["forbidden_zero_bit"] = nal.header ? Json(header.forbidden_zero_bit ? 1 : 0) : Json();
    if (codec == VideoCodecAVC) {
        json["nal_ref_idc"] = OrNull(header.nal_ref_idc);
    } else {
        json["nuh_layer_id"] = OrNull(header.nuh_layer_id);
        json["nuh_temporal_id_plus1"] = OrNull(header.nuh_temporal_id_plus1);
    }
    json["isSlice"] = nal.isSlice;
    json["sliceHeaderSize"] = OrNull(nal.sliceHeaderSize);
    json["picType"] = PictureTypeJson(nal.picType);
    output::JsonLine(json);
}

ExitStatus ListNals(const StreamOptions& options)
{
    Input input(options.file);
    std::uint64_t offset = 0;
    NalSource nals(input, options.Codec(), [&offset](ByteView leading) { offset += leading.size; });
    SliceReader reader(nals.Codec());
    const auto print = options.json ? PrintJson : PrintText;
    for (std::uint64_t index = 0; const auto bytes = nals.Next(); ++index) {
        if (index == 0 && !options.json)
            PrintHeading(nals.Codec());
        NalUnit nal;
        nal.index = index;
        nal.offset = offset;
        nal.size = bytes->size;
        reader.Describe(*bytes, nal);
        print(nals.Codec(), nal);
        offset += bytes->size;
    }
    return ExitStatus::Done;
}

} // namespace

Command MakeNalsCommand(CLI::App& program)
{
    CLI::App* parser = program.add_subcommand("nals", "List the NAL units");
    parser->footer(
        "NAL units are listed as they stand in FILE, also those that no access unit takes in. The offset is\n"
        "that of the start code, which the bytes count too. For slices of H.264: the bytes of the slice\n"
        "header that tell one picture from the next, and the picture type.\n\n"
        "Example:\n  nalsmith nals --json movie.h265");
    const auto options = AddStreamOptions(*parser);
    return {parser, [options] { return ListNals(*options); }};
}

} // namespace host
