// SPDX-License-Identifier: MIT
// H.265 samples: whether they continue the stream.
#include "Handles.h"
#include "HevcStream.h"

#include <gtest/gtest.h>

namespace {

using namespace hevctest;

const Bytes kSets = Vps{} + Sps{} + Pps{};
const Bytes kKeySample = kSets + Slice{.nal_unit_type = kIdr};
constexpr Verdict kContinues = {}, kBroken = {0, 1, 0, 0}, kIntra = {0, 0, 0, 1}, kRefused = {-1, 1, 0, 0};

Bytes Picture(u32 poc, u32 type = kTrailR, u32 temporal = 1)
{
    return Slice{
        .nal_unit_type = type, .nuh_temporal_id_plus1 = temporal, .slice_pic_order_cnt_lsb = poc & 15};
}

TEST(HevcSample, PicturesMustFollowTheLastOneOfTheLowestLayerInOrder)
{
    const struct {
        Bytes sample;
        Verdict verdict;
        i32 prevTid0Poc; // afterwards
    } rows[] = {
        {kKeySample, kIntra, 0},
        {Picture(1), kContinues, 1},
        {Picture(3), kBroken, 3},
        {Picture(4, kTrailN), kContinues, 3},
        {Picture(4, kTrailN), kContinues, 3}, // nothing was counted from the one before
        {Picture(4, kTrailR, 2), kContinues, 3},
        {Picture(2), kBroken, 2}, // reordered
        {Picture(2), kBroken, 2}, // twice
        {Picture(9, kCra), kIntra, 9},
        {Picture(7, kRaslN), kBroken, 9},
        {Picture(10, kRadlR), kContinues, 9},
        {Picture(15), kBroken, 15},
        {Picture(16), kContinues, 16}, // the coded bits are 0 again
        {Picture(12, kBla), kIntra, 12},
        {Picture(13, 22), kContinues, 13}, // reserved IRAP types are no key pictures
        {Picture(15, 23), kBroken, 15},
        {Picture(3, 20, 2), kIntra, 15},
        {Slice{.first_slice_segment_in_pic_flag = 0}, kContinues, 15},
        {Slice{.nal_unit_type = kCra, .first_slice_segment_in_pic_flag = 0}, kIntra, 15},
        {Delimiter{} + Sei{} + Nal(36, {}) + Nal(31, "ff ff"_bytes) + Picture(16), kContinues, 16},
        {Picture(17) + Picture(30, kCra) + "00 00 01 82 01 80"_bytes, kContinues, 17}, // just the first
        {Delimiter{} + Sei{} + Sei{40}, kContinues, 17},
        {kKeySample, kIntra, 0},
    };
    const ParsingHandle handle(VideoCodecHEVC);
    for (const auto& row : rows) {
        EXPECT_EQ(Judge(handle, row.sample), row.verdict) << "row " << &row - rows;
        EXPECT_EQ(handle.Hevc().prevTid0Poc, row.prevTid0Poc) << "row " << &row - rows;
    }
}

TEST(HevcSample, CountsModulo2To32AreComparedByTheirTrueDifference)
{
    const Sps sps{.log2_max_pic_order_cnt_lsb_minus4 = 27};
    const auto picture = [&](u32 lsb, u32 type) {
        return Bytes(Slice{.sps = sps, .nal_unit_type = type, .slice_pic_order_cnt_lsb = lsb});
    };
    const ParsingHandle handle(VideoCodecHEVC);
    EXPECT_EQ(Judge(handle, Vps{} + sps + Pps{} + picture(0x7FFFFFFE, kBla)), kIntra);
    EXPECT_EQ(Judge(handle, picture(0x7FFFFFFF, kTrailR)), kContinues);
    EXPECT_EQ(Judge(handle, picture(0, kTrailR)), kBroken); // -2^31
    EXPECT_EQ(handle.Hevc().prevTid0Poc, -0x7FFFFFFF - 1);
    EXPECT_EQ(Judge(handle, picture(0x7FFFFFFF, kTrailR)), kBroken); // back again
    EXPECT_EQ(handle.Hevc().prevTid0Poc, 0x7FFFFFFF);
}

TEST(HevcSample, WithoutItsParameterSetsItIsRefused)
{
    const ParsingHandle handle(VideoCodecHEVC);
    EXPECT_EQ(Judge(handle, Picture(1)), kRefused);
    EXPECT_EQ(Judge(handle, Picture(1, kCra)), (Verdict{-1, 1, 0, 1}));
    EXPECT_EQ(Judge(handle, Sps{} + Pps{} + Picture(1)), kRefused);
    EXPECT_EQ(Judge(handle, Vps{}), kContinues); // all three are there now
    EXPECT_EQ(Judge(handle, Picture(1)), kContinues);
    EXPECT_EQ(Judge(handle, Slice{.pps = {.pps_pic_parameter_set_id = 9}, .slice_pic_order_cnt_lsb = 2}),
              kRefused);
    EXPECT_EQ(Judge(handle, Picture(2)), kContinues);
}

TEST(HevcSample, UnreadableOnesLeaveAnEmptyVerdict)
{
    const ParsingHandle handle(VideoCodecHEVC);
    const Bytes forbidden = "00 00 01 82 01 80"_bytes;
    EXPECT_EQ(Judge(handle, kSets + forbidden + Picture(5)), (Verdict{-1}));
    EXPECT_EQ(Judge(handle, Picture(1)), kContinues); // the sets were read
    EXPECT_EQ(Judge(handle, "01 02 03 04 05 06"_bytes), (Verdict{-1}));
    EXPECT_EQ(Judge(handle, "00 00 01 02"_bytes), kContinues); // too short to hold anything
    EXPECT_EQ(Judge(handle, Delimiter{} + "00 00 01"_bytes + Picture(9)), kContinues); // ends there
    EXPECT_EQ(Judge(handle, "00 00 01 02 01 00 00 01 02 01 d0"_bytes), kContinues);    // a header and no more
    VideoInfoEx info = {7, 7, 7};
    EXPECT_EQ(VideoSampleTest(handle.Get(), nullptr, 9, &info), 0);
    EXPECT_TRUE(info.discontinuity == 0 && info.isFramePicture == 0 && info.intraPicture == 0);
    EXPECT_EQ(VideoSampleTest(handle.Get(), forbidden.data(), forbidden.Size(), nullptr), -1);
    EXPECT_EQ(Judge(handle, Picture(2)), kContinues);
}

TEST(HevcSample, WhatIsMissingOfAHeaderIsNotReadFromTheNextNalUnit)
{
    const Bytes sets = Vps{} + Sps{.log2_max_pic_order_cnt_lsb_minus4 = 27} + Pps{};
    const Bytes slice = "00 00 01 02 01 e0"_bytes; // ends in the picture order count, of 31 bits
    const ParsingHandle tested(VideoCodecHEVC), read(VideoCodecHEVC);
    for (const Bytes& behind : {Bytes{}, kSets, Nal(63, Bytes(80, 0xFF), 0, 3)}) {
        Judge(tested, sets + slice + behind);
        EXPECT_EQ(tested.Hevc().picOrderCnt, 0);
        read.Feed(sets + slice + behind);
        EXPECT_EQ(read.Hevc().picOrderCnt, 0);
    }
}

TEST(HevcSample, TestsAndReadingShareTheHandlesState)
{
    const ParsingHandle handle(VideoCodecHEVC);
    handle.Feed(kKeySample + Picture(1));
    EXPECT_EQ(Judge(handle, Picture(2)), kContinues);
    EXPECT_EQ(handle.Feed(Picture(3)).frame, Picture(1));
    EXPECT_EQ(Judge(handle, Picture(4)), kContinues);

    const ParsingHandle tested(VideoCodecHEVC); // which has stored nothing when a picture begins
    EXPECT_EQ(Judge(tested, kKeySample), kIntra);
    EXPECT_EQ(FramesOf(tested.FeedAll({Picture(1), Delimiter{}, Picture(2)})),
              (std::vector<Bytes>{Picture(1), Delimiter{} + Picture(2)}));
}

TEST(HevcSample, ThePictureTypeIsNeverTold)
{
    const ParsingHandle handle(VideoCodecHEVC);
    for (const Bytes& sample : {kKeySample, Picture(1), Bytes{}, "00 00 01 05 05 05"_bytes}) {
        VideoPicType type = VideoPicTypeAllSI;
        EXPECT_EQ(QueryType(handle.Get(), sample.data(), sample.Size(), type), -1);
        EXPECT_EQ(type, VideoPicTypeUnknown);
    }
    EXPECT_EQ(handle.Hevc().firstSlice, 1u);
    EXPECT_EQ(handle.Hevc().vpsTable[0], nullptr);
}

} // namespace
