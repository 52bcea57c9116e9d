// SPDX-License-Identifier: MIT
// Parameter sets from outside the stream and out of a frame, and frames split into NAL units.
#include "AvcStream.h"
#include "FailingAllocation.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

const Bytes kCode = "00 00 00 01"_bytes;
const Sps kWide{.pic_width_in_mbs = 8, .vui = Vui{.timing = Timing{}}}, kNarrow{.pic_width_in_mbs = 2};
const Bytes kIdrSlice = Slice{.nal_unit_type = kIdr},
            kNextIdr = Slice{.nal_unit_type = kIdr, .idr_pic_id = 1};

Bytes Raw(const Bytes& nal)
{
    return nal.From(4, nal.size() - 4);
}

Bytes ThreeByte(const Bytes& nal)
{
    return nal.From(1, nal.size() - 1);
}

Status Import(const ParsingHandle& handle, const Bytes& sps, const Bytes& pps)
{
    return SetParameterSetData(handle.Get(), sps.Exact().get(), sps.Size(), pps.Exact().get(), pps.Size());
}

Bytes HeldSps(const ParsingHandle& handle)
{
    return Bytes(handle.Avc().spsNal, handle.Avc().spsNal + handle.Avc().spsNalSize);
}

Bytes HeldPps(const ParsingHandle& handle)
{
    return Bytes(handle.Avc().ppsNal, handle.Avc().ppsNal + handle.Avc().ppsNalSize);
}

TEST(AvcImport, StoresWithAStartCodeAndReadsTheFirstUnit)
{
    const Bytes sps = kWide, pps = Pps{}, trailing = Sei{}, late = "00 01 67"_bytes;
    Bytes otherType = sps;
    otherType[4] = 0x69;
    const struct {
        Bytes sps, pps, storedSps, storedPps;
        Status status = 0;
        u32 width = 128; // as read; 0 when nothing was
    } rows[] = {
        {sps, pps, sps, pps},
        {Raw(sps), pps, sps, pps},
        {ThreeByte(sps), ThreeByte(pps), ThreeByte(sps), ThreeByte(pps)},
        {Raw(sps), Raw(pps), sps, pps},
        {sps + trailing, pps + kIdrSlice, sps + trailing, pps + kIdrSlice},
        {otherType, pps, otherType, pps},                  // taken at the caller's word
        {late + sps, pps, kCode + late + sps, pps, 0, 16}, // the first three bytes are the unit read
        // Without a NAL unit, or with a bad one. All is stored, but the PPS is not read when the SPS fails.
        {kCode, pps, kCode, pps, -1, 0},
        {"00 00 01"_bytes, pps, "00 00 01"_bytes, pps, -1, 0},
        {"00 00 01 67"_bytes, pps, "00 00 01 67"_bytes, pps, -1, 0},
        {"00 00 01"_bytes + sps, pps, "00 00 01"_bytes + sps, pps, -1, 0},
        {"e7"_bytes + Raw(sps), pps, kCode + "e7"_bytes + Raw(sps), pps, -1, 0},
        {sps, kCode, sps, kCode, -1},
        {sps, "00 00 01"_bytes + pps, sps, "00 00 01"_bytes + pps, -1},
        {sps, "e8 ce"_bytes, sps, kCode + "e8 ce"_bytes, -1},
    };
    for (const auto& row : rows) {
        const ParsingHandle handle;
        const CParseAVCParams& parser = handle.Avc();
        EXPECT_EQ(Import(handle, row.sps, row.pps), row.status) << testing::PrintToString(row.sps);
        EXPECT_EQ(HeldSps(handle), row.storedSps);
        EXPECT_EQ(HeldPps(handle), row.storedPps);
        EXPECT_EQ(parser.spsCapacity, std::max<std::size_t>(10, row.storedSps.size()));
        EXPECT_EQ(parser.ppsCapacity, std::max<std::size_t>(10, row.storedPps.size()));
        EXPECT_EQ(parser.streamInfo.width, row.width) << testing::PrintToString(row.sps);
        EXPECT_EQ(parser.spsTable[0] != nullptr, row.width != 0);
        EXPECT_EQ(parser.ppsTable[0] != nullptr, row.status == 0);
    }
    // Of short buffers only what exists is looked at; one byte makes a unit.
    const ParsingHandle handle;
    for (const Bytes& brief : {"67"_bytes, "00"_bytes, "00 00"_bytes, "00 00 00"_bytes, "00 01"_bytes}) {
        Import(handle, brief, brief);
        EXPECT_EQ(HeldSps(handle), kCode + brief);
        EXPECT_EQ(HeldPps(handle), kCode + brief);
    }
}

TEST(AvcImport, TakesTheRetainedSetsPlaceInTheStream)
{
    const ParsingHandle handle;
    const Bytes pps = Pps{.entropy_coding_mode_flag = 1};
    EXPECT_EQ(Import(handle, Raw(kWide), pps), 0);
    handle.Feed(kIdrSlice); // needs no sets in the stream
    Reported unit = handle.Feed(Delimiter{} + kNextIdr);
    EXPECT_EQ(unit.frame, kWide + pps + kIdrSlice);
    EXPECT_TRUE(unit.info.sequenceInfoValid == 1 && unit.info.width == 128 && unit.info.frameRateNum == 50);

    // Sets of the stream describe the units they come with, and are not retained.
    unit = handle.Feed(Delimiter{} + Sps{} + Pps{} + kIdrSlice);
    EXPECT_EQ(unit.frame, Delimiter{} + kWide + pps + kNextIdr);
    unit = handle.Feed(kNextIdr);
    EXPECT_EQ(unit.frame, Delimiter{} + Sps{} + Pps{} + kIdrSlice);
    EXPECT_EQ(unit.info.width, 64u);

    // Others replace them, for the unit at hand already. The buffers do not shrink.
    const u32 capacity = handle.Avc().spsCapacity;
    EXPECT_EQ(Import(handle, ThreeByte(kNarrow), ThreeByte(Pps{})), 0);
    EXPECT_EQ(handle.Avc().spsCapacity, capacity);
    unit = handle.Feed(kIdrSlice);
    EXPECT_EQ(unit.frame, ThreeByte(kNarrow) + ThreeByte(Pps{}) + kNextIdr);
    EXPECT_EQ(unit.info.width, 32u);
    EXPECT_EQ(unit.info.frameRateNum, 50u); // no VUI: what is known of the stream stays

    // The other way about: first retained, then imported.
    const ParsingHandle later;
    later.Feed(Delimiter{} + Sps{} + Pps{} + kIdrSlice);
    EXPECT_EQ(Import(later, kNarrow, Pps{}), 0);
    EXPECT_EQ(later.Feed(kNextIdr).info.width, 64u);
    EXPECT_EQ(later.Feed(kIdrSlice).frame, kNarrow + Pps{} + kNextIdr);
}

TEST(AvcImport, WithoutMemoryChangesNothing)
{
    for (const u64 n : {1, 2}) {
        const ParsingHandle handle;
        Import(handle, kNarrow, Pps{});
        Bytes sps = kWide + Bytes(5000, 1), pps = Pps{} + Bytes(5000, 1);
        AllocationWatch watch(Failing::Once, n);
        const auto import = [&] {
            return SetParameterSetData(handle.Get(), sps.data(), sps.Size(), pps.data(), pps.Size());
        };
        EXPECT_EQ(watch.During(import), -1);
        EXPECT_EQ(HeldSps(handle), Bytes(kNarrow));
        EXPECT_EQ(HeldPps(handle), Bytes(Pps{}));
        EXPECT_EQ(handle.Avc().streamInfo.width, 32u);
        EXPECT_EQ(import(), 0);
        EXPECT_EQ(HeldSps(handle), sps);
        EXPECT_EQ(HeldPps(handle), pps);
    }
}

TEST(AvcExport, FindsTheLastSetOfEachKind)
{
    const Bytes aud = Delimiter{}, wide = kWide, narrow = kNarrow, pps = Pps{}, none;
    const Bytes pps1 = Pps{.pic_parameter_set_id = 1}, bare = "00 00 01"_bytes;
    const auto sized = [](u32 type, std::size_t size) { return Nal(type, Bytes(size - 5, 0x55)); };
    const struct {
        Bytes frame, sps, pps;
        Status status = 0;
    } rows[] = {
        {aud + wide + pps + Sei{} + kIdrSlice, wide, pps},
        {wide + narrow + pps + pps1, narrow, pps1},
        {pps + kIdrSlice + wide, wide, pps},
        {"12 34"_bytes + ThreeByte(wide) + pps, ThreeByte(wide), pps},
        {ThreeByte(wide) + ThreeByte(pps), ThreeByte(wide), ThreeByte(pps)},
        {wide + Bytes(4, 0) + pps + Bytes(4, 0), wide + Bytes(4, 0), pps + Bytes(4, 0)},
        {aud + wide + kIdrSlice, wide, none},
        {pps, none, pps},
        {aud + kIdrSlice, none, none},
        {kCode + "e7 11"_bytes + "00 00 01 88"_bytes + aud, kCode + "e7 11"_bytes, "00 00 01 88"_bytes},
        {aud + bare + wide + kCode + pps, wide, pps},
        // 1024 bytes fit. A longer unit is passed over and an earlier one stays.
        {sized(7, 1024) + sized(8, 1024), sized(7, 1024), sized(8, 1024)},
        {sized(7, 1025) + sized(8, 1025), none, none},
        {wide + pps + sized(7, 1025) + sized(8, 5000), wide, pps},
        {sized(7, 3000) + wide + sized(8, 3000) + pps + sized(7, 1025), wide, pps},
        {"00 00 01 67"_bytes, none, none},
        {"67 42 00 1e 80 80 80"_bytes, none, none, -1},
    };
    const ParsingHandle handle;
    for (const auto& row : rows) {
        ParameterSetData sets;
        std::memset(&sets, 0xEE, sizeof sets);
        EXPECT_EQ(GetParameterSetData(handle.Get(), row.frame.Exact().get(), row.frame.Size(), &sets),
                  row.status);
        EXPECT_TRUE(sets.vpsData == nullptr && sets.vpsSize == 0);
        EXPECT_EQ(sets.spsData, row.sps.empty() ? nullptr : handle.Avc().spsCopy);
        EXPECT_EQ(sets.ppsData, row.pps.empty() ? nullptr : handle.Avc().ppsCopy);
        EXPECT_EQ(Bytes(sets.spsData, sets.spsData + sets.spsSize), row.sps);
        EXPECT_EQ(Bytes(sets.ppsData, sets.ppsData + sets.ppsSize), row.pps);
    }
    EXPECT_TRUE(handle.Avc().spsTable[0] == nullptr && handle.Avc().spsNalSize == 0); // none was read

    ParameterSetData sets; // what was found may be imported
    Bytes frame = kIdrSlice + wide + pps;
    GetParameterSetData(handle.Get(), frame.data(), frame.Size(), &sets);
    EXPECT_EQ(SetParameterSetData(handle.Get(), const_cast<u8*>(sets.spsData), sets.spsSize,
                                  const_cast<u8*>(sets.ppsData), sets.ppsSize),
              0);
    EXPECT_EQ(HeldSps(handle) + HeldPps(handle), wide + pps);
}

TEST(AvcFrameSplitting, ListsUnitsAndGrowsWithTheirNumber)
{
    const ParsingHandle handle;
    const std::vector<Bytes> kinds = {Delimiter{},
                                      kWide,
                                      ThreeByte(Pps{}) + Bytes(2, 0),
                                      Sei{},
                                      kIdrSlice,
                                      "00 00 01"_bytes,
                                      Nal(20, "80"_bytes),
                                      Slice{.startCodeSize = 3}};
    u32 capacity = 0;
    for (const u32 units : {3u, 8u, 2u, 0u, 1u, 300u, 5u}) {
        Bytes frame = "12 34"_bytes; // in front of the first unit
        std::vector<Bytes> expected;
        for (u32 i = 0; i < units; ++i)
            frame = frame + expected.emplace_back(kinds[i % kinds.size()]);
        const auto copy = frame.Exact();
        u32 count = 77, *sizes = &count;
        u8 *nal = nullptr, **nals = &nal;
        EXPECT_EQ(GetNalFromFrame(handle.Get(), copy.get(), frame.Size(), &count, &nals, &sizes), 0);
        capacity = std::max(capacity, units);
        EXPECT_EQ(handle.Avc().nalListCapacity, capacity);
        ASSERT_EQ(count, units);
        EXPECT_EQ(nals, units == 0 ? nullptr : handle.Avc().nalList);
        EXPECT_EQ(sizes, units == 0 ? nullptr : handle.Avc().nalSizeList);
        const u8* at = copy.get() + 2;
        for (u32 i = 0; i < units; ++i) {
            EXPECT_EQ(nals[i], at);
            EXPECT_EQ(Bytes(nals[i], nals[i] + sizes[i]), expected[i]);
            at += sizes[i];
        }
    }
}

TEST(AvcFrameSplitting, FramesWithoutUnitsAndBadArguments)
{
    const ParsingHandle handle;
    Bytes frame = "12 34 56 78 9a"_bytes;
    u32 count = 77, *sizes = &count;
    u8 *nal = nullptr, **nals = &nal;
    EXPECT_EQ(GetNalFromFrame(handle.Get(), frame.data(), 5, nullptr, &nals, &sizes), -1);
    EXPECT_EQ(GetNalFromFrame(handle.Get(), frame.data(), 5, &count, nullptr, &sizes), -1);
    EXPECT_EQ(GetNalFromFrame(handle.Get(), frame.data(), 5, &count, &nals, nullptr), -1);
    EXPECT_TRUE(count == 77 && nals == &nal && sizes == &count);
    for (const auto& [data, size] :
         {std::pair<u8*, u32>{nullptr, 100}, {frame.data(), 4}, {frame.data(), 5}}) {
        count = 77, sizes = &count, nals = &nal;
        EXPECT_EQ(GetNalFromFrame(handle.Get(), data, size, &count, &nals, &sizes), size == 5 ? -1 : 0);
        EXPECT_TRUE(count == 0 && nals == nullptr && sizes == nullptr);
    }
}

} // namespace
