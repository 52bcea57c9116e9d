// SPDX-License-Identifier: MIT
// H.264 sequence and picture parameter sets: what is described, what is kept.
#include "AvcStream.h"
#include "Handles.h"

#include <bit>
#include <gtest/gtest.h>

namespace {

using namespace avctest;
// What is reported of a key frame of this sequence.
VideoInfo Describe(const ParsingHandle& handle, const Sps& sps)
{
    handle.Feed(sps + Pps{.seq_parameter_set_id = sps.seq_parameter_set_id});
    handle.Feed(Slice{.sps = sps, .nal_unit_type = kIdr});
    return handle.Flush().info;
}

void ExpectKept(const ParsingHandle& handle, const Sps& sps)
{
    const AvcSpsInfo* kept = handle.Avc().spsTable[sps.seq_parameter_set_id];
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ((std::bit_cast<std::array<u32, 8>>(*kept)),
              (std::array{sps.seq_parameter_set_id, sps.separate_colour_plane_flag,
                          sps.log2_max_frame_num_minus4, sps.pic_order_cnt_type,
                          sps.log2_max_pic_order_cnt_lsb_minus4, sps.delta_pic_order_always_zero_flag,
                          sps.frame_mbs_only_flag, sps.gaps_in_frame_num_value_allowed_flag}));
}

TEST(AvcSps, PictureSizeIsCroppedByTheUnitsOfTheChromaFormat)
{
    const struct {
        u32 profile_idc, chroma_format_idc, frame_mbs_only_flag, width, height;
    } rows[] = {{66, 1, 1, 122, 114},  {77, 1, 0, 122, 228},  {100, 0, 1, 125, 121}, {100, 0, 0, 125, 242},
                {100, 1, 1, 122, 114}, {110, 1, 0, 122, 228}, {122, 2, 1, 122, 121}, {122, 2, 0, 122, 242},
                {244, 3, 1, 125, 121}, {244, 3, 0, 125, 242}, {244, 4, 1, 128, 128}, {44, 99, 0, 128, 256}};
    for (const auto& row : rows) {
        const Sps sps{.profile_idc = row.profile_idc,
                      .chroma_format = row.profile_idc != 66 && row.profile_idc != 77,
                      .chroma_format_idc = row.chroma_format_idc,
                      .pic_width_in_mbs = 8,
                      .pic_height_in_map_units = 8,
                      .frame_mbs_only_flag = row.frame_mbs_only_flag,
                      .crop = Cropping{1, 2, 3, 4}};
        const VideoInfo info = Describe(ParsingHandle(), sps);
        EXPECT_EQ(info.sequenceInfoValid, 1u);
        EXPECT_EQ(SequenceFieldsOf(info), (SequenceFields{row.width, row.height})) << row.chroma_format_idc;
    }
    const Sps over{.pic_width_in_mbs = 1, .crop = Cropping{.right = 9}}; // modulo 2^32
    EXPECT_EQ(SequenceFieldsOf(Describe(ParsingHandle(), over)), (SequenceFields{0xFFFFFFFE, 64}));
}

TEST(AvcSps, JustTwelveProfilesHaveAChromaFormat)
{
    const std::vector<u32> high = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134};
    for (u32 profile_idc = 0; profile_idc < 256; ++profile_idc) {
        const ParsingHandle handle;
        const Sps sps{.profile_idc = profile_idc,
                      .constraint_flags = 0xFC,
                      .seq_parameter_set_id = 3,
                      .chroma_format = std::count(high.begin(), high.end(), profile_idc) != 0,
                      .log2_max_frame_num_minus4 = 5,
                      .log2_max_pic_order_cnt_lsb_minus4 = 7,
                      .gaps_in_frame_num_value_allowed_flag = 1,
                      .pic_width_in_mbs = 11};
        EXPECT_EQ(SequenceFieldsOf(Describe(handle, sps)), (SequenceFields{176, 64})) << profile_idc;
        ExpectKept(handle, sps);
    }
}

TEST(AvcSps, ScalingListsAreSteppedOverToTheirEnds)
{
    const ScalingList none, ends = {{-8}}, endsLater = {{1, 1, -10}}, wraps = {{-9, -254, 263, 248}};
    const ScalingList full16 = std::vector<i32>(16, 1), full64 = std::vector<i32>(64, 1);
    const std::pair<u32, std::vector<ScalingList>> rows[] = {
        {1, std::vector<ScalingList>(8)},
        {3, std::vector<ScalingList>(12)},
        {1, {ends, none, endsLater, wraps, full16, none, ends, endsLater}},
        {2, {full16, full16, full16, full16, full16, full16, full64, full64}},
        {0, {none, none, none, none, none, full16, full64, ends}},
        {3, {full16, ends, full16, ends, full16, ends, full64, ends, full64, none, full64, endsLater}},
    };
    for (const auto& [chroma_format_idc, lists] : rows) {
        const ParsingHandle handle;
        const Sps sps{.profile_idc = 244,
                      .chroma_format = true,
                      .chroma_format_idc = chroma_format_idc,
                      .separate_colour_plane_flag = chroma_format_idc == 3 ? 1u : 0u,
                      .scaling_lists = lists,
                      .log2_max_frame_num_minus4 = 9,
                      .pic_order_cnt_type = 2,
                      .pic_width_in_mbs = 21};
        EXPECT_EQ(SequenceFieldsOf(Describe(handle, sps)), (SequenceFields{336, 64}));
        ExpectKept(handle, sps);
    }
}

TEST(AvcSps, WhatSliceHeadersNeedIsKept)
{
    const Sps rows[] = {
        {.log2_max_frame_num_minus4 = 12, .log2_max_pic_order_cnt_lsb_minus4 = 12},
        {.pic_order_cnt_type = 1, .delta_pic_order_always_zero_flag = 1, .offset_for_ref_frame = {5, -5, 0}},
        {.pic_order_cnt_type = 1, .gaps_in_frame_num_value_allowed_flag = 1},
        {.pic_order_cnt_type = 1, .offset_for_ref_frame = std::vector<i32>(255, -123456789)},
        {.pic_order_cnt_type = 2, .pic_height_in_map_units = 2, .frame_mbs_only_flag = 0},
        {.seq_parameter_set_id = 31, .pic_order_cnt_type = 6},
        {.log2_max_frame_num_minus4 = 0xFFFFFFFE, .log2_max_pic_order_cnt_lsb_minus4 = 0xFFFFFFFC},
    };
    for (const Sps& sps : rows) {
        const ParsingHandle handle;
        EXPECT_EQ(SequenceFieldsOf(Describe(handle, sps)), (SequenceFields{64, 64}));
        ExpectKept(handle, sps);
    }
}

TEST(AvcSps, VideoUsabilityIsReadAsFarAsTheTiming)
{
    const Timing pal{1, 50};
    const std::pair<Vui, SequenceFields> rows[] = {
        {{}, {64, 64, 0, 0, 0, 5, 0, 0, 2, 2, 2}},
        {{.signal = VideoSignal{3}, .timing = pal}, {64, 64, 50, 2, 1, 3, 0, 0, 2, 2, 2}},
        {{.timing = Timing{0x80000001, 0xFFFFFFFF}}, {64, 64, 0xFFFFFFFF, 2, 0, 5, 0, 0, 2, 2, 2}},
        {{255, 256, 255, 1, VideoSignal{5, 0, 1, 9, 16, 14}, 0, Timing{1001, 60000}},
         {64, 64, 60000, 2002, 1, 5, 0, 1, 9, 16, 14}},
    };
    for (const auto& [vui, expected] : rows)
        EXPECT_EQ(SequenceFieldsOf(Describe(ParsingHandle(), Sps{.vui = vui})), expected);
}

TEST(AvcSps, WithoutVideoUsabilityNoMoreThanTheSizeIsWritten)
{
    const u32 keep = kUnwritten;
    const ParsingHandle handle;
    const Bytes payload = Sps{}.Payload();
    VideoInfo info = UnwrittenInfo();
    handle.Avc().InitReadData(payload.data(), payload.Size());
    EXPECT_EQ(handle.Avc().ReadSequenceParameterSetData(&info), 0);
    EXPECT_EQ(SequenceFieldsOf(info),
              (SequenceFields{64, 64, keep, keep, keep, keep, keep, keep, keep, keep, keep}));
    EXPECT_TRUE(info.sequenceInfoValid == 1 && info.keyFrame == keep && info.frameSize == keep);
}

TEST(AvcSps, AnIdBeyondTheTableIsDescribedButNotKept)
{
    for (const u32 id : {32u, 255u, 0xFFFFFFFEu}) {
        const ParsingHandle handle;
        const Sps sps{.seq_parameter_set_id = id, .pic_width_in_mbs = 7};
        const Pps pps{.seq_parameter_set_id = id};
        handle.Feed(Bytes(sps));
        EXPECT_EQ(handle.Avc().ppsTable[0], nullptr); // it stands right behind the table
        handle.Feed(pps + Slice{.sps = sps});
        const Reported unit = handle.Flush();
        EXPECT_TRUE(unit.info.sequenceInfoValid == 1 && unit.info.width == 112);
        EXPECT_EQ(unit.frame, sps + pps); // the slice is refused
        for (const AvcSpsInfo* kept : handle.Avc().spsTable)
            EXPECT_EQ(kept, nullptr);
    }
}

// Counts of up to four thousand million in a few bytes: the test's time limit is the assertion.
TEST(AvcSps, CountsBeyondTheDataCostNothing)
{
    const ParsingHandle handle;
    const Bytes sps =
        Nal(7, BitWriter().u(24, 66 << 16).ue(0).ue(0).ue(1).u(1, 0).se(0).se(0).ue(~u32{1}).Take());
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(handle.Feed(sps).status, 0);
    EXPECT_EQ(handle.Flush().info.width, 16u); // all that is missing reads as 0
}

TEST(AvcPps, ItsHeadIsKeptById)
{
    const ParsingHandle handle;
    const auto& table = handle.Avc().ppsTable;
    for (const u32 id : {0u, 255u, 7u, 0u}) {
        const Pps pps{id, id + 30, 1, id % 2};
        EXPECT_EQ(handle.Feed(Bytes(pps)).status, 0);
        ASSERT_NE(table[id], nullptr);
        EXPECT_EQ((std::bit_cast<std::array<u32, 3>>(*table[id])), (std::array{id, id + 30, id % 2}));
    }
    for (const u32 id : {256u, 0xFFFFFFFEu})
        EXPECT_EQ(handle.Feed(Sps{} + Pps{id} + Slice{.pps = {id}}).status, 0);
    EXPECT_EQ(std::count(std::begin(table), std::end(table), nullptr), 253);
}

} // namespace
