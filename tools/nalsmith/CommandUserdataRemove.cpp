// SPDX-License-Identifier: MIT
// nalsmith userdata remove: a stream without user data, whoever put it in.
#include "Commands.h"
#include "Output.h"
#include "StreamCopy.h"

#include <nalsmith/handles.hpp>

#include <algorithm>
#include <new>

namespace host {
namespace {

// Only SEI NAL units are handed to the library, so that nothing else changes.
class Stripper {
public:
    explicit Stripper(nalsmith::Codec codec) : handle_(nalsmith::make_user_data_handle(codec))
    {
        if (!handle_)
            throw std::bad_alloc();
    }

    // Writes the access unit. True when it has changed.
    bool Write(StreamCopy& copy)
    {
        bool changed = false;
        for (const nalsmith::NalUnit& nal : copy.Nals()) {
            const bool isPrefix = nal.type() == (nal.codec == nalsmith::Codec::h264 ? 6U : 39U);
            const bool isMessage = isPrefix && !nal.bare() && !nal.forbidden();
            const nalsmith::BytesView left = isMessage ? Strip(nal.bytes) : nal.bytes;
            changed = changed || !std::equal(left.begin(), left.end(), nal.bytes.begin(), nal.bytes.end());
            copy.Write(left);
        }
        return changed;
    }

private:
    nalsmith::BytesView Strip(nalsmith::BytesView sei)
    {
        const std::uint8_t* left = nullptr;
        std::uint32_t size = 0;
        if (RemoveUserData(handle_.get(), sei.data(), static_cast<std::uint32_t>(sei.size()), &left, &size) !=
            0)
            throw std::bad_alloc();
        return {left, size};
    }

    nalsmith::UserDataHandle handle_;
};

ExitStatus RemoveFromStream(const CopyOptions& options)
{
    StreamCopy copy(options);
    Stripper stripper(copy.Codec());
    std::uint64_t edited = 0;
    while (copy.Next() != nullptr)
        edited += stripper.Write(copy) ? 1 : 0;
    copy.Finish(fmt::format("{}, {} edited", Count(copy.AccessUnits(), "access unit"), edited),
                {{"accessUnits", copy.AccessUnits()}, {"edited", edited}});
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
