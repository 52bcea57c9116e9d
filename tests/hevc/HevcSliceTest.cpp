// SPDX-License-Identifier: MIT
// H.265 slice segment headers: how far they are read, which of them begin pictures, and the pictures' order.
#include "parser/hevc/HevcSlice.h"
#include "Handles.h"
#include "HevcStream.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace hevctest;

struct Header {
    Status status = 0;
    int newPicture = 7;
    VideoInfoEx verdict = {};
};

// Reads one by itself, as the sample test does.
Header Read(CParseHEVCParams& parser, const Slice& slice)
{
    Header read;
    const Bytes content = slice.Content();
    parser.InitReadData(content.data() + 2, content.Size() - 2);
    read.status = parser.ReadSliceHeaderData(nullptr, slice.nal_unit_type, content.data(), &read.newPicture,
                                             &read.verdict);
    return read;
}

// H.265 8.3.1: of all counts with these bits at their end the one nearest to the previous picture's.
i64 NearestCount(i64 lsb, i64 maxLsb, i64 prev)
{
    i64 count = prev - maxLsb / 2 + 1;
    while ((count - lsb) % maxLsb != 0)
        ++count;
    return count;
}

TEST(HevcPictureOrder, IsTheNearestThatEndsInTheBitsCoded)
{
    for (const u32 maxLsb : {16u, 32u, 256u})
        for (i32 prev = -600; prev <= 600; ++prev)
            for (u32 lsb = 0; lsb < maxLsb; ++lsb)
                ASSERT_EQ(hevc::PictureOrderCount(lsb, maxLsb, prev), NearestCount(lsb, maxLsb, prev))
                    << "after " << prev << ": " << lsb << " of " << maxLsb;
    const u32 max31 = 0x80000000;
    const i32 most = 0x7FFFFFFF, least = -most - 1;
    EXPECT_EQ(hevc::PictureOrderCount(8, 16, 0), 8); // just half the range stays
    EXPECT_EQ(hevc::PictureOrderCount(0, 16, 8), 16);
    EXPECT_EQ(hevc::PictureOrderCount(250, 256, 0), -6);
    EXPECT_EQ(hevc::PictureOrderCount(0, max31, most), least); // modulo 2^32
    EXPECT_EQ(hevc::PictureOrderCount(0x7FFFFFFF, max31, least), most);
    EXPECT_EQ(hevc::PictureOrderCount(3, 16, most), least + 3);
}

TEST(HevcSlice, PicturesBeginWithTheirFirstSegmentButNotTheFirstOfAHandle)
{
    for (const u32 firstFlag : {0u, 1u}) {
        const ParsingHandle handle(VideoCodecHEVC);
        CParseHEVCParams& parser = handle.Hevc();
        handle.Feed(Vps{} + Sps{} + Pps{});
        EXPECT_EQ(Read(parser, {.first_slice_segment_in_pic_flag = firstFlag}).newPicture, 0);
        EXPECT_EQ(parser.firstSlice, 0u);
        EXPECT_EQ(Read(parser, {.nuh_layer_id = 3}).newPicture, 1);
        parser.picOrderCnt = 5, parser.prevTid0Poc = 4;
        for (const u32 type : {kTrailR, kIdr, kBla, 23u}) { // other segments are read for one bit
            const Slice other{.pps = {99}, .nal_unit_type = type, .first_slice_segment_in_pic_flag = 0};
            const Header read = Read(parser, other);
            EXPECT_TRUE(read.status == 0 && read.newPicture == 0 && read.verdict.discontinuity == 0);
            EXPECT_EQ(read.verdict.intraPicture, type == kIdr || type == kBla ? 1u : 0u);
            EXPECT_TRUE(parser.bitPosition == 1 && parser.picOrderCnt == 5 && parser.prevTid0Poc == 4);
        }
    }
}

TEST(HevcSlice, OneOfUnknownParameterSetsIsRefused)
{
    const Sps rows[] = {{.sps_video_parameter_set_id = 9, .sps_seq_parameter_set_id = 1},
                        {.sps_seq_parameter_set_id = 2, .log2_max_pic_order_cnt_lsb_minus4 = 28},
                        {.sps_seq_parameter_set_id = 3, .log2_max_pic_order_cnt_lsb_minus4 = 0xFFFFFFFC}};
    const Sps largest{.sps_seq_parameter_set_id = 7, .log2_max_pic_order_cnt_lsb_minus4 = 27};
    std::vector<Pps> refused = {{.pps_pic_parameter_set_id = 5, .pps_seq_parameter_set_id = 5},
                                {.pps_pic_parameter_set_id = 6, .pps_seq_parameter_set_id = 32},
                                {.pps_pic_parameter_set_id = 7, .pps_seq_parameter_set_id = 0xFFFFFFFE}};
    for (const Sps& sps : rows)
        refused.push_back({sps.sps_seq_parameter_set_id, sps.sps_seq_parameter_set_id});
    const Pps accepted{.pps_pic_parameter_set_id = 8, .pps_seq_parameter_set_id = 7};
    Bytes sets = Vps{} + largest + accepted;
    for (const Sps& sps : rows)
        sets = sets + sps;
    for (const Pps& pps : refused)
        sets = sets + pps;
    for (const u32 id : {9u, 255u, 256u, 0xFFFFFFFEu}) // never sent
        refused.push_back({.pps_pic_parameter_set_id = id});
    for (const Pps& pps : refused) {
        const ParsingHandle handle(VideoCodecHEVC);
        CParseHEVCParams& parser = handle.Hevc();
        handle.Feed(sets);
        parser.picOrderCnt = 5, parser.prevTid0Poc = 4;
        for (const int newPicture : {0, 1}) {
            const Header read = Read(parser, {.pps = pps, .nal_unit_type = kCra});
            EXPECT_TRUE(read.status == -1 && read.newPicture == newPicture) << pps.pps_pic_parameter_set_id;
            EXPECT_TRUE(read.verdict.intraPicture == 1 && read.verdict.discontinuity == 0);
            EXPECT_TRUE(parser.firstSlice == 0 && parser.picOrderCnt == 5 && parser.prevTid0Poc == 4);
        }
        EXPECT_EQ(Read(parser, {.sps = largest, .pps = accepted}).status, 0);
    }
}

// Pictures of all types are given counts first, and coded by them in headers of all forms; the reader has to
// find the counts again.
TEST(HevcPictureOrder, OfAWholeSequenceIsFoundFromItsLowBits)
{
    const u32 types[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 18, 19, 20, 21, 22, 23, 1, 1, 1, 1};
    std::mt19937 random(5);
    const auto below = [&](u64 n) { return static_cast<u32>((u64{random()} << 32 | random()) % n); };
    for (u32 form = 0; form < 32; ++form) {
        const Sps sps{.sps_seq_parameter_set_id = form,
                      .chroma_format_idc = 3,
                      .separate_colour_plane_flag = form & 1,
                      .log2_max_pic_order_cnt_lsb_minus4 = (std::array{0u, 1u, 4u, 12u, 27u})[form % 5]};
        const Pps pps{.pps_pic_parameter_set_id = 8 * form,
                      .pps_seq_parameter_set_id = form,
                      .output_flag_present_flag = form >> 1 & 1,
                      .num_extra_slice_header_bits = form >> 2};
        const i64 maxLsb = i64{16} << sps.log2_max_pic_order_cnt_lsb_minus4;
        const ParsingHandle handle(VideoCodecHEVC);
        handle.Feed(Vps{} + sps + pps);
        i64 previous = 0; // of TemporalId 0, no leading picture and no sub-layer non-reference picture
        for (int picture = 0; picture < 500; ++picture) {
            Slice slice{.sps = sps, .pps = pps, .nal_unit_type = types[below(std::size(types))]};
            const u32 type = slice.nal_unit_type, lsb = below(static_cast<u64>(maxLsb));
            const bool bla = type >= 16 && type <= 18, idr = type == 19 || type == 20;
            const bool leading = type >= 6 && type <= 9, nonReference = type < 6 && type % 2 == 0;
            const i64 count = idr ? 0 : bla ? lsb : previous + 1 - maxLsb / 2 + lsb;
            slice.slice_pic_order_cnt_lsb = static_cast<u32>(count & (maxLsb - 1));
            slice.nuh_layer_id = below(64), slice.slice_type = below(3);
            slice.nuh_temporal_id_plus1 = below(10) == 9 ? 2 + below(6) : 1;
            if (slice.nuh_temporal_id_plus1 == 1 && !leading && !nonReference)
                previous = count;
            handle.Feed(slice);
            ASSERT_EQ(handle.Hevc().picOrderCnt, static_cast<i32>(count)) << picture << ", type " << type;
            ASSERT_EQ(handle.Hevc().prevTid0Poc, static_cast<i32>(previous)) << picture << ", type " << type;
        }
    }
}

} // namespace
