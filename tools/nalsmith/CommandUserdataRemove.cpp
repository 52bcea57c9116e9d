// SPDX-License-Identifier: MIT
// nalsmith userdata remove: a stream without user data, whoever put it in.
#include "CommandLine.h"
#include "Commands.h"
#include "Output.h"
#include "StreamCopy.h"

#include <nalsmith/user_data.hpp>

#include <algorithm>

namespace host {
namespace {

ExitStatus RemoveFromStream(const CopyOptions& options)
{
    StreamCopy copy(options);
    nalsmith::UserDataEditor editor(copy.Codec());
    std::uint64_t edited = 0;
    while (const nalsmith::AccessUnit* unit = copy.Next()) {
        const nalsmith::BytesView left = editor.remove(unit->bytes).value_or(unit->bytes);
        edited += std::equal(left.begin(), left.end(), unit->bytes.begin(), unit->bytes.end()) ? 0 : 1;
        copy.Write(left);
    }
    copy.Finish(fmt::format("{}, {} edited", Count(copy.AccessUnits(), "access unit"), edited),
                {{"accessUnits", copy.AccessUnits()}, {"edited", edited}});
    return ExitStatus::Done;
}

} // namespace

Command MakeUserdataRemoveCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        UserdataGroup(program), "remove", "Remove all user data",
        "Removes every SEI message of type user_data_unregistered, also those of other programs (an\n"
        "encoder's settings, say), from suffix SEI of H.265 as well. A NAL unit that holds nothing else is\n"
        "left out. All other bytes stay as they are.\n\n"
        "Example:\n  nalsmith userdata remove marked.h264 -o clean.h264");
    const auto options = std::make_shared<CopyOptions>();
    AddCopyOptions(*parser, *options);
    return {parser, [options] { return RemoveFromStream(*options); }};
}

} // namespace host
