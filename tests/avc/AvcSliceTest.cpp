// SPDX-License-Identifier: MIT
// H.264 slice headers, and where one picture ends and the next begins.
#include "AvcStream.h"
#include "Handles.h"
#include "nalsmith/detail/rules.hpp"

#include <bit>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace avctest;

TEST(AvcSlice, WidthsFollowTheSpsAlsoBeyondTheStandard)
{
    const std::pair<u32, u32> rows[] = {{0, 16}, {12, 65536}, {13, 131072},   {27, 0x80000000},
                                        {28, 0}, {200, 0},    {0xFFFFFFFC, 1}};
    u32 gaps = 0;
    for (const auto& [log2_max_frame_num_minus4, maxFrameNum] : rows) {
        const ParsingHandle handle;
        gaps = 1 - gaps;
        const Sps sps{.log2_max_frame_num_minus4 = log2_max_frame_num_minus4,
                      .log2_max_pic_order_cnt_lsb_minus4 = 28,
                      .gaps_in_frame_num_value_allowed_flag = gaps};
        handle.Feed(sps + Pps{} + Slice{.sps = sps, .pic_order_cnt_lsb = 0xFEDCBA98});
        EXPECT_EQ(handle.Avc().curSlice.pic_order_cnt_lsb, 0xFEDCBA98);
        EXPECT_EQ(handle.Avc().maxFrameNum, maxFrameNum) << log2_max_frame_num_minus4;
        EXPECT_EQ(handle.Avc().gapsAllowed, gaps);
    }
}

TEST(AvcSlice, OneOfUnknownParameterSetsIsRefusedAndForgotten)
{
    const ParsingHandle handle;
    CParseAVCParams& parser = handle.Avc();
    const auto refused = [&](const Slice& slice) {
        const AvcSliceInfo before = parser.prevSlice;
        const u32 firstBefore = parser.firstSlice, maxBefore = parser.maxFrameNum;
        EXPECT_EQ(handle.Feed(Bytes(slice)).status, 0);
        EXPECT_EQ(std::memcmp(&parser.prevSlice, &before, sizeof before), 0);
        EXPECT_TRUE(parser.firstSlice == firstBefore && parser.maxFrameNum == maxBefore);
        EXPECT_EQ(
            (std::bit_cast<std::array<u32, 13>>(parser.curSlice)),
            (std::array<u32, 13>{slice.first_mb_in_slice, slice.slice_type, slice.pps.pic_parameter_set_id}));
    };
    const Pps toNowhere{.pic_parameter_set_id = 1, .seq_parameter_set_id = 9};
    const Pps outside{.pic_parameter_set_id = 2, .seq_parameter_set_id = 32};
    refused(Slice{.first_mb_in_slice = 3, .frame_num = 1});
    handle.Feed(Sps{} + Pps{} + toNowhere + outside);
    refused(Slice{.pps = toNowhere, .frame_num = 1});
    handle.Feed(Slice{.frame_num = 5});
    EXPECT_EQ(parser.firstSlice, 0u);
    refused(Slice{.pps = toNowhere, .frame_num = 1});
    refused(Slice{.pps = outside, .slice_type = 0, .frame_num = 1});
    refused(Slice{.pps = {.pic_parameter_set_id = 256}, .frame_num = 1});
    refused(Slice{.pps = {.pic_parameter_set_id = 0xFFFFFFFE}, .frame_num = 1});
    // Compared with the last one that was read, this one goes on with its picture.
    EXPECT_EQ(handle.Feed(Slice{.first_mb_in_slice = 2, .frame_num = 5}).info.frameAvailable, 0u);
}

// Elements that no picture changes have to be the same (H.264 7.4.1.2.4), those that a header may have at
// all.
bool Differ(const AvcSliceInfo& prev, const AvcSliceInfo& cur, u32 type)
{
    const auto fixed = [type](const AvcSliceInfo& s) {
        const i64 order[3][2] = {{s.pic_order_cnt_lsb, s.delta_pic_order_cnt_bottom},
                                 {s.delta_pic_order_cnt[0], s.delta_pic_order_cnt[1]}};
        return std::vector<i64>{s.frame_num,
                                s.pic_parameter_set_id,
                                s.field_pic_flag,
                                s.field_pic_flag * s.bottom_field_flag,
                                s.nal_ref_idc != 0,
                                s.IdrPicFlag,
                                s.IdrPicFlag * i64{s.idr_pic_id},
                                order[type][0],
                                order[type][1]};
    };
    return fixed(prev) != fixed(cur);
}

TEST(AvcBeginsPicture, AsTheHeadersDiffer)
{
    std::mt19937 random(7);
    for (int round = 0; round < 100000; ++round) {
        std::array<u32, 13> prev = {}, cur;
        for (std::size_t i = 0; i < 13; ++i) {
            prev[i] = static_cast<u32>(random() % (i == 4 || i == 5 || i == 7 ? 2 : 4)); // those are flags
            cur[i] = random() % 8 != 0 ? prev[i] : static_cast<u32>(random() % (prev[i] < 2 ? 2 : 4));
        }
        const auto& prevSlice = std::bit_cast<AvcSliceInfo>(prev);
        const auto& curSlice = std::bit_cast<AvcSliceInfo>(cur);
        const u32 type = static_cast<u32>(round % 3);
        ASSERT_EQ(nalsmith::detail::begins_picture(prevSlice, curSlice, type),
                  cur[0] == 0 || Differ(prevSlice, curSlice, type))
            << testing::PrintToString(prev) << testing::PrintToString(cur) << type;
    }
}

TEST(AvcBeginsPicture, ByTheTypeOfTheCurrentSlicesSps)
{
    const Sps type2{.seq_parameter_set_id = 1, .pic_order_cnt_type = 2};
    for (const bool toType2 : {false, true}) {
        const ParsingHandle handle;
        handle.Feed(Sps{} + Pps{} + Slice{.first_mb_in_slice = 1, .pic_order_cnt_lsb = 4});
        // The same PPS id now stands for another SPS, so the headers differ in picture order count alone.
        const Sps& next = toType2 ? type2 : Sps{};
        handle.Feed(next + Pps{.seq_parameter_set_id = next.seq_parameter_set_id});
        const Reported unit = handle.Feed(Slice{.sps = next, .first_mb_in_slice = 2, .pic_order_cnt_lsb = 0});
        EXPECT_EQ(unit.info.frameAvailable, toType2 ? 0u : 1u);
    }
}

} // namespace
