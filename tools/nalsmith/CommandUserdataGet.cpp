// SPDX-License-Identifier: MIT
// nalsmith userdata get: the user data that the access units of a stream carry.
#include "Commands.h"
#include "DataText.h"
#include "Files.h"
#include "Handles.h"
#include "Output.h"
#include "StreamOptions.h"
#include "StreamReader.h"

namespace host {
namespace {

struct GetOptions : StreamOptions {
    bool raw = false;
};

void PrintText(std::uint64_t index, ByteView data)
{
    const bool isText = IsPrintableText(data);
    const std::string_view text(reinterpret_cast<const char*>(data.data), data.size);
    output::Write(fmt::format("{:>8}  {:>10}  {:<6}  {}\n", index, data.size, isText ? "text" : "base64",
                              isText ? std::string(text) : EncodeBase64(data)));
}

void PrintJson(std::uint64_t index, ByteView data)
{
    Json json = {{"index", index}, {"length", data.size}};
    if (IsPrintableText(data))
        json["text"] = std::string_view(reinterpret_cast<const char*>(data.data), data.size);
    else
        json["base64"] = EncodeBase64(data);
    output::JsonLine(json);
}

void PrintRaw(std::uint64_t /*index*/, ByteView data)
{
    output::Write({reinterpret_cast<const char*>(data.data), data.size});
}

// None when the access unit carries none.
std::optional<ByteView> DataOf(const UserDataHandle& handle, const VideoInfo& unit)
{
    const std::uint8_t* data = nullptr;
    std::uint32_t size = 0;
    if (GetUserData(handle.get(), unit.frameData, unit.frameSize, &data, &size) != 0)
        throw std::bad_alloc();
    return data != nullptr ? std::optional(ByteView{data, size}) : std::nullopt;
}

ExitStatus GetFromStream(const GetOptions& options)
{
    Input input(options.file);
    StreamReader reader(input, options.Codec());
    const UserDataHandle handle = MakeUserDataHandle(reader.Codec());
    const auto print = options.json ? PrintJson : options.raw ? PrintRaw : PrintText;
    std::uint64_t index = 0;
    std::uint64_t found = 0;
    std::uint64_t bytes = 0;
    for (; const VideoInfo* unit = reader.Next(); ++index) {
        const auto data = DataOf(handle, *unit);
        if (!data)
            continue;
        if (found == 0 && print == PrintText)
            output::Heading(fmt::format("{:>8}  {:>10}  {:<6}  {}", "index", "bytes", "as", "user data"));
        print(index, *data);
        ++found;
        bytes += data->size;
    }
    ComplainOfRefused(input, reader);
    output::Remark(fmt::format("{}, {} with user data; {} bytes in, {} bytes of user data",
                               Count(index, "access unit"), found, input.BytesRead(), bytes));
    return ExitStatus::Done;
}

} // namespace

Command MakeUserdataGetCommand(CLI::App& program)
{
    CLI::App* parser = UserdataGroup(program).add_subcommand("get", "Show the user data of access units");
    parser->footer(
        "Shows what `userdata add` has put in, as text where it is printable UTF-8, else in Base64.\n"
        "An access unit with several shows the last. What --json prints can be given to\n"
        "`userdata add --per-frame`.\n\n"
        "Example:\n  nalsmith userdata get --raw marked.h264 > data");
    const auto options = std::make_shared<GetOptions>();
    AddStreamOptions(*parser, *options);
    CLI::Option* json = AddJsonOption(*parser, *options);
    parser->add_flag("--raw", options->raw, "Write the bytes alone, one after the other")->excludes(json);
    return {parser, [options] { return GetFromStream(*options); }};
}

} // namespace host
