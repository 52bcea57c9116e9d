// SPDX-License-Identifier: MIT
// nalsmith userdata add: puts user data into the access units of a stream.
#include "CommandLine.h"
#include "Commands.h"
#include "Failure.h"
#include "Output.h"
#include "PerFrameData.h"
#include "StreamCopy.h"

#include <nalsmith/handles.hpp>

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>

#include <new>

namespace host {
namespace {

using Data = std::vector<std::uint8_t>;

struct AddOptions : CopyOptions {
    std::optional<std::string> text;
    std::string dataFile;
    std::string perFrame;
    bool keyFramesOnly = false;
    std::uint64_t every = 1;
};

// Which access unit gets what.
class Choice {
public:
    explicit Choice(const AddOptions& options) : options_(options)
    {
        if (options.text)
            same_.assign(options.text->begin(), options.text->end());
        else if (!options.dataFile.empty())
            same_ = ReadAll(options.dataFile);
        else
            perFrame_ = ReadPerFrameData(options.perFrame);
    }

    // Null for none.
    const Data* For(std::uint64_t index, bool key) const
    {
        if (!options_.perFrame.empty()) {
            const auto found = perFrame_.find(index);
            return found != perFrame_.end() ? &found->second : nullptr;
        }
        const bool chosen = options_.keyFramesOnly ? key : index % options_.every == 0;
        return chosen ? &same_ : nullptr;
    }

    // An index that the stream does not have ends the run.
    void RequireAllThere(std::uint64_t accessUnits) const
    {
        const auto beyond = perFrame_.lower_bound(accessUnits);
        if (beyond != perFrame_.end())
            throw Failure(ExitStatus::BadInput,
                          fmt::format("{}: the stream has no access unit {}; it has {}, counted from 0",
                                      options_.perFrame, beyond->first, accessUnits));
    }

private:
    const AddOptions& options_;
    Data same_;
    PerFrameData perFrame_;
};

// Puts the message where the library puts it when it is given the whole access unit: into the first SEI NAL
// unit in front of the slices, or before the first slice. Only that NAL unit is handed to it, so that nothing
// else changes.
class Inserter {
public:
    explicit Inserter(nalsmith::Codec codec) : handle_(nalsmith::make_user_data_handle(codec))
    {
        if (!handle_)
            throw std::bad_alloc();
    }

    // Writes the access unit. False when it has no place for the message.
    bool Write(StreamCopy& copy, const nalsmith::AccessUnit& unit, const Data& data)
    {
        bool placed = false;
        for (const nalsmith::NalUnit& nal : copy.Nals()) {
            const auto edited = placed || !IsPlace(unit, nal) ? std::nullopt : Insert(nal, data);
            placed = placed || edited;
            copy.Write(edited.value_or(nal.bytes));
        }
        return placed;
    }

private:
    static bool IsMessage(const nalsmith::NalUnit& nal) { return nal.is_sei() && !nal.is_suffix_sei(); }

    // A slice whose parameter sets have not come is none, but the SEI NAL unit before it is.
    static bool IsPlace(const nalsmith::AccessUnit& unit, const nalsmith::NalUnit& nal)
    {
        if (nal.bare() || nal.forbidden())
            return false;
        return IsMessage(nal) || (unit.has_picture && nal.is_slice());
    }

    // None when the NAL unit is no place.
    std::optional<nalsmith::BytesView> Insert(const nalsmith::NalUnit& nal, const Data& data)
    {
        const std::uint8_t* edited = nullptr;
        std::uint32_t size = 0;
        if (AddUserData(handle_.get(), nal.bytes.data(), static_cast<std::uint32_t>(nal.bytes.size()),
                        data.data(), static_cast<std::uint32_t>(data.size()), &edited, &size) == 0)
            return nalsmith::BytesView(edited, size);
        // What is neither SEI nor slice is answered with a copy. A damaged SEI NAL unit is left as it is.
        if (edited == nullptr && !IsMessage(nal))
            throw std::bad_alloc();
        return std::nullopt;
    }

    nalsmith::UserDataHandle handle_;
};

ExitStatus AddToStream(const AddOptions& options)
{
    if (options.file == "-" && (options.dataFile == "-" || options.perFrame == "-"))
        throw Failure(ExitStatus::WrongUsage, "the standard input can be read only once");
    const Choice choice(options);
    StreamCopy copy(options);
    Inserter inserter(copy.Codec());
    std::uint64_t edited = 0;
    std::uint64_t withoutPlace = 0;
    while (const nalsmith::AccessUnit* unit = copy.Next()) {
        const auto index = copy.Index();
        if (const Data* data = index ? choice.For(*index, unit->key) : nullptr)
            ++(inserter.Write(copy, *unit, *data) ? edited : withoutPlace);
        else
            copy.Write(unit->bytes);
    }
    choice.RequireAllThere(copy.AccessUnits());
    copy.Finish(fmt::format("{}, {} edited, {} without a place", Count(copy.AccessUnits(), "access unit"),
                            edited, withoutPlace),
                {{"accessUnits", copy.AccessUnits()}, {"edited", edited}, {"withoutPlace", withoutPlace}});
    return ExitStatus::Done;
}

} // namespace

CLI::App& UserdataGroup(CLI::App& program)
{
    constexpr const char* kName = "userdata";
    const auto made = program.get_subcommands([](CLI::App* command) { return command->get_name() == kName; });
    if (!made.empty())
        return *made.front();
    CLI::App* group = program.add_subcommand(kName, "Put user data into a stream, get it out, remove it");
    group->require_subcommand(1);
    group->footer("Example:\n  nalsmith userdata get movie.h264");
    return *group;
}

Command MakeUserdataAddCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        UserdataGroup(program), "add", "Put user data into access units",
        "Each access unit chosen gets one SEI message of type user_data_unregistered: in its first SEI NAL\n"
        "unit, or in a new one before its first slice. All other bytes stay as they are. An access unit "
        "with\n"
        "neither is counted as without a place. Lines for --per-frame:\n"
        "  {\"index\":12,\"text\":\"...\"}  or  {\"index\":12,\"base64\":\"...\"}\n\n"
        "Example:\n  nalsmith userdata add movie.h264 -o marked.h264 --text 'take 7' --key-frames-only");
    const auto options = std::make_shared<AddOptions>();
    AddCopyOptions(*parser, *options);
    CLI::Option_group* data = parser->add_option_group("data", "What to add");
    data->add_option("--text", options->text, "This text")->type_name("TEXT");
    data->add_option("--data-file", options->dataFile, "The bytes of this file")->type_name("FILE");
    CLI::Option* perFrame = data->add_option("--per-frame", options->perFrame,
                                             "To each access unit its own, from the lines of this file")
                                ->type_name("NDJSON");
    data->require_option(1);
    CLI::Option* key = parser->add_flag("--key-frames-only", options->keyFramesOnly, "Only to key frames");
    parser->add_option("--every", options->every, "Only to access units 0, N, 2N ...")
        ->check(CLI::PositiveNumber)
        ->type_name("N")
        ->excludes(key)
        ->excludes(perFrame);
    key->excludes(perFrame);
    return {parser, [options] { return AddToStream(*options); }};
}

} // namespace host
