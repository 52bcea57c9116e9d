// SPDX-License-Identifier: MIT
// H.264 slice headers, and where one picture ends and the next begins.
#include "AvcStream.h"
#include "Handles.h"
#include "nalsmith/detail/rules.hpp"

#include <bit>
#include <gtest/gtest.h>

namespace {

using namespace avctest;

void ExpectRead(const AvcSliceInfo& read, const Slice& slice)
{
    EXPECT_EQ((std::bit_cast<std::array<u32, 13>>(read)),
              (std::array{slice.first_mb_in_slice, slice.slice_type, slice.pps.pic_parameter_set_id,
                          slice.frame_num, slice.field_pic_flag, slice.bottom_field_flag, slice.nal_ref_idc,
                          slice.nal_unit_type == kIdr ? 1u : 0u, slice.idr_pic_id, slice.pic_order_cnt_lsb,
                          static_cast<u32>(slice.delta_pic_order_cnt_bottom),
                          static_cast<u32>(slice.delta_pic_order_cnt[0]),
                          static_cast<u32>(slice.delta_pic_order_cnt[1])}));
}

// Each row names the elements that its parameter sets call for; all others must read as 0.
TEST(AvcSlice, TheHeaderIsReadAsItsParameterSetsSay)
{
    const Sps fields{.frame_mbs_only_flag = 0};
    const Sps planes{.profile_idc = 244,
                     .chroma_format = true,
                     .chroma_format_idc = 3,
                     .separate_colour_plane_flag = 1,
                     .log2_max_frame_num_minus4 = 12};
    const Sps type1{.pic_order_cnt_type = 1, .frame_mbs_only_flag = 0};
    const Sps type1Zero{.pic_order_cnt_type = 1, .delta_pic_order_always_zero_flag = 1};
    const Sps wide{.log2_max_frame_num_minus4 = 28, .log2_max_pic_order_cnt_lsb_minus4 = 28};
    const Pps bottom{.pic_parameter_set_id = 255, .bottom_field_pic_order_in_frame_present_flag = 1};
    const Slice rows[] = {
        {.first_mb_in_slice = 8159, .slice_type = 0, .frame_num = 15, .pic_order_cnt_lsb = 14},
        {.nal_unit_type = kIdr, .nal_ref_idc = 3, .idr_pic_id = 65535, .pic_order_cnt_lsb = 1},
        {.nal_unit_type = 2, .nal_ref_idc = 0, .slice_type = 9, .frame_num = 3},
        {.pps = bottom, .frame_num = 2, .pic_order_cnt_lsb = 9, .delta_pic_order_cnt_bottom = -70000},
        {.sps = planes, .slice_type = 2, .colour_plane_id = 2, .frame_num = 0xABCD, .pic_order_cnt_lsb = 6},
        {.sps = fields, .pps = bottom, .frame_num = 1, .delta_pic_order_cnt_bottom = 1},
        {.sps = fields, .pps = bottom, .frame_num = 1, .field_pic_flag = 1, .pic_order_cnt_lsb = 3},
        {.sps = fields, .frame_num = 1, .field_pic_flag = 1, .bottom_field_flag = 1, .pic_order_cnt_lsb = 15},
        {.sps = type1, .frame_num = 4, .delta_pic_order_cnt = {0x7FFFFFFF}},
        {.sps = type1, .pps = bottom, .frame_num = 4, .delta_pic_order_cnt = {-2, 3}},
        {.sps = type1,
         .pps = bottom,
         .field_pic_flag = 1,
         .bottom_field_flag = 1,
         .delta_pic_order_cnt = {-2}},
        {.sps = type1Zero, .pps = bottom, .frame_num = 9},
        {.sps = {.pic_order_cnt_type = 2}, .pps = bottom, .frame_num = 9},
        {.sps = wide, .frame_num = 0x89ABCDEF, .pic_order_cnt_lsb = 0xFEDCBA98},
    };
    for (Slice slice : rows) {
        const ParsingHandle handle;
        slice.data = Bytes(16, 0xFF); // a bit read too many shows
        handle.Feed(slice.sps + slice.pps + slice);
        ExpectRead(handle.Avc().prevSlice, slice);
        ExpectRead(handle.Avc().curSlice, slice);
        EXPECT_EQ(handle.Avc().firstSlice, 0u);
    }
}

TEST(AvcSlice, TheRangeOfFrameNumFollowsTheSps)
{
    const std::pair<u32, u32> rows[] = {{0, 16}, {12, 65536}, {13, 131072},   {27, 0x80000000},
                                        {28, 0}, {200, 0},    {0xFFFFFFFC, 1}};
    u32 gaps = 0;
    for (const auto& [log2_max_frame_num_minus4, maxFrameNum] : rows) {
        const ParsingHandle handle;
        gaps = 1 - gaps;
        const Sps sps{.log2_max_frame_num_minus4 = log2_max_frame_num_minus4,
                      .gaps_in_frame_num_value_allowed_flag = gaps};
        handle.Feed(sps + Pps{} + Slice{.sps = sps});
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
        ExpectRead(parser.curSlice, Slice{.pps = slice.pps,
                                          .nal_ref_idc = 0,
                                          .first_mb_in_slice = slice.first_mb_in_slice,
                                          .slice_type = slice.slice_type});
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

// Both headers begin as a slice at macroblock 5 of the same reference picture.
TEST(AvcBeginsPicture, AsTheHeadersDiffer)
{
    using Edit = void (*)(AvcSliceInfo&);
    const Edit same = [](AvcSliceInfo&) {};
    const Edit idr = [](AvcSliceInfo& s) { s.IdrPicFlag = 1; };
    const Edit idr7 = [](AvcSliceInfo& s) { s.IdrPicFlag = 1, s.idr_pic_id = 7; };
    const Edit top = [](AvcSliceInfo& s) { s.field_pic_flag = 1; };
    const Edit bottom = [](AvcSliceInfo& s) { s.field_pic_flag = s.bottom_field_flag = 1; };
    const Edit strayBottom = [](AvcSliceInfo& s) { s.bottom_field_flag = 1; };
    const Edit lsb = [](AvcSliceInfo& s) { s.pic_order_cnt_lsb = 2; };
    const Edit deltaBottom = [](AvcSliceInfo& s) { s.delta_pic_order_cnt_bottom = -1; };
    const Edit delta0 = [](AvcSliceInfo& s) { s.delta_pic_order_cnt[0] = 1; };
    const Edit delta1 = [](AvcSliceInfo& s) { s.delta_pic_order_cnt[1] = 1; };
    const Edit unreferenced = [](AvcSliceInfo& s) { s.nal_ref_idc = 0; };
    constexpr bool kNever[3] = {false, false, false}, kAlways[3] = {true, true, true};
    constexpr bool kType0[3] = {true, false, false}, kType1[3] = {false, true, false};
    const struct {
        const char* what;
        Edit prev, cur;
        const bool (&begins)[3]; // for pic_order_cnt_type 0, 1 and 2
    } rows[] = {
        {"equal", same, same, kNever},
        {"macroblock 0 again", same, [](AvcSliceInfo& s) { s.first_mb_in_slice = 0; }, kAlways},
        {"an earlier macroblock", same, [](AvcSliceInfo& s) { s.first_mb_in_slice = 1; }, kNever},
        {"behind macroblock 0", [](AvcSliceInfo& s) { s.first_mb_in_slice = 0; }, same, kNever},
        {"slice_type", same, [](AvcSliceInfo& s) { s.slice_type = 9; }, kNever},
        {"frame_num", same, [](AvcSliceInfo& s) { s.frame_num = 4; }, kAlways},
        {"pic_parameter_set_id", same, [](AvcSliceInfo& s) { s.pic_parameter_set_id = 1; }, kAlways},
        {"frame to field", same, top, kAlways},
        {"field to frame", bottom, same, kAlways},
        {"top to bottom", top, bottom, kAlways},
        {"bottom to top", bottom, top, kAlways},
        {"top and top", top, top, kNever},
        {"bottom_field_flag of a frame", same, strayBottom, kNever},
        {"non-IDR to IDR", same, idr, kAlways},
        {"IDR to non-IDR", idr, same, kAlways},
        {"IDR of another idr_pic_id", idr, idr7, kAlways},
        {"IDR and IDR", idr7, idr7, kNever},
        {"idr_pic_id of no IDR", same, [](AvcSliceInfo& s) { s.idr_pic_id = 7; }, kNever},
        {"reference to none", same, unreferenced, kAlways},
        {"none to reference", unreferenced, same, kAlways},
        {"nal_ref_idc 3 to 1", same, [](AvcSliceInfo& s) { s.nal_ref_idc = 1; }, kNever},
        {"pic_order_cnt_lsb", same, lsb, kType0},
        {"delta_pic_order_cnt_bottom", same, deltaBottom, kType0},
        {"delta_pic_order_cnt[0]", same, delta0, kType1},
        {"delta_pic_order_cnt[1]", delta1, same, kType1},
    };
    for (const auto& row : rows)
        for (const u32 type : {0u, 1u, 2u}) {
            AvcSliceInfo prev = {5, 7, 0, 3, 0, 0, 3, 0, 0, 0, 0, {0, 0}}, cur = prev;
            row.prev(prev);
            row.cur(cur);
            EXPECT_EQ(nalsmith::detail::begins_picture(prev, cur, type), row.begins[type])
                << row.what << ", type " << type;
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
