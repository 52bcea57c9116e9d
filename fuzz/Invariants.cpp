// SPDX-License-Identifier: MIT
// NALSMITH_PLANTED_RESULT falsifies one answer, to see that the fuzzer notices.
#include "Invariants.h"

namespace fuzz {
namespace {

using userdatatest::Edited;
using userdatatest::Format;
using userdatatest::UserDataHandle;

Reported Fed(const ParsingHandle& handle, const Bytes* piece)
{
    const Reported report = piece != nullptr ? handle.Feed(*piece) : handle.Flush();
    CheckReport(handle.Base(), report);
    return report;
}

Edited Found(const UserDataHandle& handle, const Bytes& frame)
{
    Edited found = handle.Find(frame);
#if defined(NALSMITH_PLANTED_RESULT)
    if (found.size == 0)
        found.at = nullptr; // as if there were none
#endif
    return found;
}

// Whether the frame can be taken apart and put together: SEI NAL units are whole, no start code goes unseen
// or comes into being where others meet.
bool IsRegular(const Format& format, const std::vector<Bytes>& units)
{
    return StandsAlone(units) && std::all_of(units.begin(), units.end(), [&](const Bytes& unit) {
               if (TypeOf(format, unit) == format.sei ? !MessageTypes(format, unit) : unit.back() == 0)
                   return false;
               const Bytes inside = unit.From(3, unit.size() - 3) + "ff ff ff ff"_bytes;
               return StartCode(inside) == inside.size();
           });
}

std::vector<Bytes> WithoutSei(const Format& format, std::vector<Bytes> units)
{
    std::erase_if(units, [&](const Bytes& unit) { return TypeOf(format, unit) == format.sei; });
    return units;
}

void CheckRemoved(const Format& format, const std::vector<Bytes>& before, const Bytes& frame)
{
    const std::vector<Bytes> units = SplitNalUnits(frame);
    REQUIRE(Join(units) == frame);
    for (const Bytes& unit : units) {
        if (TypeOf(format, unit) != format.sei)
            continue;
        const auto types = MessageTypes(format, unit);
        REQUIRE(types.has_value() && !types->empty());
        REQUIRE(std::count(types->begin(), types->end(), 5) == 0);
    }
    REQUIRE(WithoutSei(format, units) == WithoutSei(format, before));
}

} // namespace

void CheckStream(VideoCodecType codec, u32 queueCount, u32 bufferSize, const Bytes& piece)
{
    const std::vector<Bytes> units = SplitNalUnits(piece);
    const ParsingHandle whole(codec, queueCount, bufferSize), single(codec, queueCount, bufferSize);
    Last atOnce, oneByOne;
    const Reported report = Fed(whole, &piece);
    atOnce.Take(report);
    for (const Bytes& unit : units)
        oneByOne.Take(Fed(single, &unit));
    if (!StandsAlone(units))
        return;
    REQUIRE(report.status == (piece.size() > 4 && units.empty() ? -1 : 0));
    REQUIRE(atOnce == oneByOne);
    Last flushed, flushedSingle;
    flushed.Take(Fed(whole, nullptr));
    flushedSingle.Take(Fed(single, nullptr));
    REQUIRE(flushed == flushedSingle);
}

void CheckPieces(VideoCodecType codec, u32 queueCount, u32 bufferSize, const Bytes& stream,
                 const std::vector<std::size_t>& cuts)
{
    const ParsingHandle handle(codec, queueCount, bufferSize);
    std::size_t at = 0;
    for (const std::size_t cut : cuts) {
        const Bytes piece = stream.From(at, cut - at);
        Fed(handle, &piece);
        at = cut;
    }
    const Bytes rest = stream.From(at, stream.size() - at);
    Fed(handle, &rest);
    Fed(handle, nullptr);
    Fed(handle, nullptr);
}

void CheckUserData(const Format& format, const Bytes& frame, const Bytes& data)
{
    const UserDataHandle handle(format.codec);
    const std::vector<Bytes> units = SplitNalUnits(frame);
    const bool regular = IsRegular(format, units);
    const Edited before = Found(handle, frame);
    REQUIRE(before.status == (frame.size() > 4 && units.empty() ? -1 : 0));
    const bool none = before.Nothing();
    REQUIRE(none || before.at == handle.Base().userFrameBuffer);

    const Edited removal = handle.Remove(frame);
    REQUIRE(removal.status == before.status && removal.at == handle.Base().removeFrameBuffer);
    const Bytes removed = removal.Content();
    if (regular)
        CheckRemoved(format, units, removed);

    const Edited added = handle.Add(frame, data);
    if (added.Untouched()) {
        REQUIRE(added.status == -1 && !regular);
        return;
    }
    REQUIRE(added.at == handle.Base().userFrameBuffer);
    const Bytes with = added.Content();
    const bool place = std::any_of(units.begin(), units.end(), [&](const Bytes& unit) {
        const u32 type = unit.size() > CodeSize(unit) ? TypeOf(format, unit) : format.delimiter;
        return type == format.sei || format.IsSlice(type);
    });
    REQUIRE(added.status == (place ? 0 : -1));
    REQUIRE(place || with == Join(units));
    if (!regular || !place)
        return;
    const Edited found = Found(handle, with);
    REQUIRE(!none || found.Content() == data);
    REQUIRE(!none || (found.at != nullptr && found.size == data.size()));
    const Edited again = handle.Remove(with);
    REQUIRE(again.status == 0 && again.Content() == removed);
    REQUIRE(WithoutSei(format, SplitNalUnits(with)) == WithoutSei(format, units));
}

} // namespace fuzz
