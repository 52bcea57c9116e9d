// SPDX-License-Identifier: MIT
// nalsmith userdata remove: a stream without user data, whoever put it in.
#include "Commands.h"
#include "Handles.h"
#include "Output.h"
#include "StreamCopy.h"

#include <algorithm>

namespace host {
namespace {

// Only SEI NAL units are handed to the library, so that nothing else changes.
class Stripper {
public:
    explicit Stripper(VideoCodecType codec) : codec_(codec), handle_(MakeUserDataHandle(codec)) {}

    // Writes the access unit. True when it has changed.
    bool Write(StreamCopy& copy, const CopiedUnit& unit)
    {
        bool changed = false;
        for (const RawNal& nal : unit.nals) {
            const bool isSei = nal.stored && IsSei(codec_, nal.header.nal_unit_type);
            const ByteView left = isSei ? Strip(nal.bytes) : nal.bytes;
            changed = changed || !std::equal(left.data, left.data + left.size, nal.bytes.data,
                                             nal.bytes.data + nal.bytes.size);
            copy.Write(left);
        }
        return changed;
    }

private:
    ByteView Strip(ByteView sei)
    {
        const std::uint8_t* left = nullptr;
        std::uint32_t size = 0;
        if (RemoveUserData(handle_.get(), sei.data, static_cast<std::uint32_t>(sei.size), &left, &size) != 0)
            throw std::bad_alloc();
        return {left, size};
    }

    VideoCodecType codec_;
    UserDataHandle handle_;
};

ExitStatus RemoveFromStream(const CopyOptions& options)
{
    StreamCopy copy(options);
    Stripper stripper(copy.Codec());
    std::uint64_t edited = 0;
    while (const CopiedUnit* unit = copy.Next())
        edited += stripper.Write(copy, *unit) ? 1 : 0;
    copy.Finish(fmt::format("{}, {} edited", Count(copy.AccessUnits(), "access unit"), edited));
    return ExitStatus::Done;
}

} // namespace

Command MakeUserdataRemoveCommand(CLI::App& program)
{
    CLI::App* parser = UserdataGroup(program).add_subcommand("remove", "Remove all user data");
    parser->footer(
        "Removes every SEI message of type user_data_unregistered, also those of other programs (an\n"
        "encoder's settings, say). SEI NAL units are written anew with what is left of them, or left\n"
        "out. All other bytes stay as they are.\n\n"
        "Example:\n  nalsmith userdata remove marked.h264 -o clean.h264");
    const auto options = std::make_shared<CopyOptions>();
    AddCopyOptions(*parser, *options);
    return {parser, [options] { return RemoveFromStream(*options); }};
}

} // namespace host
