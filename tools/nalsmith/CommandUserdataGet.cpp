// SPDX-License-Identifier: MIT
// nalsmith userdata get: the user data that the access units of a stream carry.
#include "CommandLine.h"
#include "Commands.h"
#include "DataText.h"
#include "Files.h"
#include "Output.h"
#include "StreamOptions.h"
#include "UnitReader.h"

#include <nalsmith/user_data.hpp>

#include <algorithm>
#include <new>

namespace host {
namespace {

struct GetOptions : StreamOptions {
    bool raw = false;
};

void PrintDataText(std::uint64_t index, nalsmith::BytesView data)
{
    const bool isText = IsPrintableText(data);
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    output::Write(fmt::format("{:>8}  {:>10}  {:<6}  {}\n", index, data.size(), isText ? "text" : "base64",
                              isText ? std::string(text) : EncodeBase64(data)));
}

void PrintDataJson(std::uint64_t index, nalsmith::BytesView data)
{
    Json json = {{"index", index}, {"length", data.size()}};
    if (IsPrintableText(data))
        json["text"] = std::string_view(reinterpret_cast<const char*>(data.data()), data.size());
    else
        json["base64"] = EncodeBase64(data);
    output::JsonLine(json);
}

void PrintDataRaw(std::uint64_t /*index*/, nalsmith::BytesView data)
{
    output::Write({reinterpret_cast<const char*>(data.data()), data.size()});
}

// Without the NAL units that the library passes over when it reads a stream.
class Finder {
public:
    explicit Finder(nalsmith::Codec codec) : editor_(codec) {}

    // None when the access unit carries none.
    std::optional<nalsmith::BytesView> Find(const UnitReader& reader, nalsmith::BytesView unit)
    {
        const auto& nals = reader.Nals();
        if (std::any_of(nals.begin(), nals.end(),
                        [](const nalsmith::NalUnit& nal) { return nal.forbidden(); })) {
            cleaned_.clear();
            for (const nalsmith::NalUnit& nal : nals)
                if (!nal.forbidden())
                    append(cleaned_, nal.bytes);
            unit = cleaned_;
        }
        const auto data = editor_.get(unit);
        if (editor_.status() == nalsmith::Status::malformed ||
            editor_.status() == nalsmith::Status::no_memory)
            throw std::bad_alloc(); // nothing else can fail
        return data;
    }

private:
    nalsmith::UserDataEditor editor_;
    nalsmith::Bytes cleaned_;
};

ExitStatus GetFromStream(const GetOptions& options)
{
    Input input(options);
    UnitReader reader(input, options);
    Finder finder(reader.Codec());
    const auto print = options.json ? PrintDataJson : options.raw ? PrintDataRaw : PrintDataText;
    std::uint64_t found = 0;
    std::uint64_t bytes = 0;
    while (const nalsmith::AccessUnit* unit = reader.Next()) {
        const auto index = reader.Index();
        const auto data = index ? finder.Find(reader, unit->bytes) : std::nullopt;
        if (!data)
            continue;
        if (found == 0 && print == PrintDataText)
            output::Heading(fmt::format("{:>8}  {:>10}  {:<6}  {}", "index", "bytes", "as", "user data"));
        print(*index, *data);
        ++found;
        bytes += data->size();
    }
    reader.Warn();
    if (!options.quiet)
        output::Remark(fmt::format("{}, {} with user data; {} bytes in, {} bytes of user data",
                                   Count(reader.Units(), "access unit"), found, input.BytesRead(), bytes));
    return ExitStatus::Done;
}

} // namespace

Command MakeUserdataGetCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        UserdataGroup(program), "get", "Show the user data of access units",
        "Shows what `userdata add` has put in, as text where it is printable UTF-8, else in Base64.\n"
        "An access unit with several shows the last. What --json prints can be given to\n"
        "`userdata add --per-frame`.\n\n"
        "Example:\n  nalsmith userdata get --raw marked.h264 > data");
    const auto options = std::make_shared<GetOptions>();
    AddStreamOptions(*parser, *options);
    AddFlag(*parser, "--raw", options->raw, "Write the bytes alone, one after the other");
    Exclude(*parser, "--raw", "--json");
    return {parser, [options] { return GetFromStream(*options); }};
}

} // namespace host
