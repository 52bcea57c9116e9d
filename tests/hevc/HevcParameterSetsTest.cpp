// SPDX-License-Identifier: MIT
// H.265 video, sequence and picture parameter sets: what is described, what is kept.
#include "Handles.h"
#include "HevcStream.h"

#include <bit>
#include <gtest/gtest.h>

namespace {

using namespace hevctest;

constexpr auto kVps = &CParseHEVCParams::ReadVideoParameterSetData;
constexpr auto kSps = &CParseHEVCParams::ReadSequenceParameterSetData;
constexpr u32 kKeep = kUnwritten;

// A description of the picture size alone.
SequenceFields OfSize(u32 width, u32 height)
{
    return {width, height, kKeep, kKeep, kKeep, kKeep, kKeep, kKeep, kKeep, kKeep, kKeep};
}

// Reads the content of a parameter set, without its NAL unit header, into `info`.
VideoInfo Read(CParseHEVCParams& parser, Status (CParseHEVCParams::*read)(VideoInfo*), const Bytes& content,
               VideoInfo info = UnwrittenInfo())
{
    const auto exact = content.Exact();
    parser.InitReadData(exact.get(), content.Size());
    EXPECT_EQ((parser.*read)(&info), 0);
    EXPECT_TRUE(info.frameAvailable == kKeep && info.keyFrame == kKeep && info.frameSize == kKeep);
    return info;
}

SequenceFields Describe(const Sps& sps)
{
    const ParsingHandle handle(VideoCodecHEVC);
    const VideoInfo info = Read(handle.Hevc(), kSps, sps.Payload());
    EXPECT_EQ(info.sequenceInfoValid, 1u);
    return SequenceFieldsOf(info);
}

// Everything in front of the timing was passed as it should when the timing is found.
void ExpectTiming(const Vps& vps, Timing timing)
{
    const ParsingHandle handle(VideoCodecHEVC);
    const VideoInfo info = Read(handle.Hevc(), kVps, vps.Payload());
    EXPECT_EQ(info.sequenceInfoValid, kKeep);
    SequenceFields expected = OfSize(kKeep, kKeep);
    expected[2] = timing.time_scale, expected[3] = timing.num_units_in_tick;
    EXPECT_EQ(SequenceFieldsOf(info), expected);
    const HevcVpsRecord* const kept = handle.Hevc().vpsTable[vps.vps_video_parameter_set_id];
    EXPECT_TRUE(kept != nullptr && kept->vps_video_parameter_set_id == vps.vps_video_parameter_set_id);
    EXPECT_EQ(std::count(handle.Hevc().vpsTable, handle.Hevc().vpsTable + 16, nullptr), 15);
}

void ExpectKept(const CParseHEVCParams& parser, const Sps& sps)
{
    const HevcSpsRecord* kept = parser.spsTable[sps.sps_seq_parameter_set_id];
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(
        (std::bit_cast<std::array<u32, 8>>(*kept)),
        (std::array{sps.sps_video_parameter_set_id, sps.sps_seq_parameter_set_id,
                    sps.separate_colour_plane_flag, sps.log2_max_pic_order_cnt_lsb_minus4,
                    sps.log2_min_luma_coding_block_size_minus3, sps.log2_diff_max_min_luma_coding_block_size,
                    sps.pic_width_in_luma_samples, sps.pic_height_in_luma_samples}));
}

// The same for an SPS, which is given its timing here, and takes the place of another one.
void ExpectRead(Sps sps)
{
    sps.vui = Vui{.timing = Timing{1001, 60000}};
    const ParsingHandle handle(VideoCodecHEVC);
    Read(handle.Hevc(), kSps, Sps{1, {}, sps.sps_seq_parameter_set_id, 3, 1, 8, 8}.Payload());
    const HevcSpsRecord* const first = handle.Hevc().spsTable[sps.sps_seq_parameter_set_id];
    EXPECT_EQ(SequenceFieldsOf(Read(handle.Hevc(), kSps, sps.Payload())),
              (SequenceFields{sps.pic_width_in_luma_samples, sps.pic_height_in_luma_samples, 60000, 1001, 0,
                              5, 0, 0, 2, 2, 2}));
    EXPECT_EQ(handle.Hevc().spsTable[sps.sps_seq_parameter_set_id], first);
    ExpectKept(handle.Hevc(), sps);
}

TEST(HevcVps, IsReadAsFarAsItsTiming)
{
    ExpectTiming({}, {kKeep, kKeep});
    ExpectTiming({.timing = Timing{0, 0}}, {0, 0});
    ExpectTiming({.vps_reserved_0xffff_16bits = 0, .timing = Timing{0xFFFFFFFF, 0x80000001}},
                 {0xFFFFFFFF, 0x80000001});
    for (u32 id = 0; id < 16; ++id) // up to 16 * 64 flags of layer sets
        ExpectTiming({.vps_video_parameter_set_id = id,
                      .vps_max_layer_id = 4 * id + 3,
                      .vps_num_layer_sets_minus1 = id,
                      .timing = Timing{id, 50}},
                     {id, 50});
    ExpectTiming({.vps_max_layer_id = 5, .vps_num_layer_sets_minus1 = 2}, {kKeep, kKeep});
}

TEST(HevcProfile, AnySubLayersAreSteppedOver)
{
    for (u32 count = 0; count < 8; ++count)
        for (u32 pattern = 0; pattern < 8; ++pattern) {
            std::vector<SubLayer> layers;
            for (u32 i = 0; i < count; ++i)
                layers.push_back({(pattern + i) >> 1 & 1, (pattern + i) & 1});
            const u32 ordering = pattern >> 2;
            ExpectTiming({.subLayers = layers,
                          .vps_sub_layer_ordering_info_present_flag = ordering,
                          .timing = Timing{1, 50}},
                         {1, 50});
            ExpectRead({.subLayers = layers, .sps_sub_layer_ordering_info_present_flag = ordering});
        }
}

TEST(HevcSps, PictureSizeIsCroppedByTheUnitsOfTheChromaFormat)
{
    const struct {
        u32 chroma_format_idc, width, height;
    } rows[] = {{0, 125, 121}, {1, 122, 114}, {2, 122, 121},
                {3, 125, 121}, {4, 128, 128}, {~u32{1}, 128, 128}};
    for (const auto& row : rows)
        EXPECT_EQ(Describe({.chroma_format_idc = row.chroma_format_idc,
                            .pic_width_in_luma_samples = 128,
                            .pic_height_in_luma_samples = 128,
                            .conf_win = Cropping{1, 2, 3, 4}}),
                  OfSize(row.width, row.height))
            << row.chroma_format_idc;
    EXPECT_EQ(Describe({.conf_win = Cropping{.right = 33, .bottom = 0x80000010}}), OfSize(0xFFFFFFFE, 32));
}

TEST(HevcSps, WhatIsNotNeededIsSteppedOver)
{
    const std::vector<u32> twenty(20, 0);
    const Sps rows[] = {
        {.sps_video_parameter_set_id = 15, .sps_seq_parameter_set_id = 31},
        {.chroma_format_idc = 3, .separate_colour_plane_flag = 1, .pcm_enabled_flag = 1},
        {.pic_width_in_luma_samples = 8192, .log2_min_luma_coding_block_size_minus3 = 3},
        {.log2_diff_max_min_luma_coding_block_size = 0, .scaling_list_enabled_flag = 1},
        {.scaling_list_enabled_flag = 1, .scaling_list_pred_mode_flags = 0},
        {.scaling_list_enabled_flag = 1, .scaling_list_pred_mode_flags = 0xFFFFF},
        {.scaling_list_enabled_flag = 1, .scaling_list_pred_mode_flags = 0x5AA55, .pcm_enabled_flag = 1},
        {.st_ref_pic_sets = {{2, 1}, {.flags = "1 01 00 1"}, {.flags = "1 1 01 01"}}},
        {.st_ref_pic_sets =
             {{0, 0}, {.flags = "1"}, {.flags = "00 01"}, {.flags = "00 00"}, {.flags = "01"}}},
        {.st_ref_pic_sets = {{16, 0}, {0, 16}, {1, 1}, {.flags = "00 1 00"}, {.flags = "1 01"}, {3, 4}}},
        {.st_ref_pic_sets = std::vector<ShortTermSet>(64, {1, 1}), .lt_ref_pic_poc_lsb_sps = {{}}},
        {.lt_ref_pic_poc_lsb_sps = {{1, 14, 3}}},
        {.log2_max_pic_order_cnt_lsb_minus4 = 4, .lt_ref_pic_poc_lsb_sps = {{250, 3}}},
        {.log2_max_pic_order_cnt_lsb_minus4 = 12, .lt_ref_pic_poc_lsb_sps = twenty},
        {.log2_max_pic_order_cnt_lsb_minus4 = 29, .lt_ref_pic_poc_lsb_sps = twenty},         // 33 bits
        {.log2_max_pic_order_cnt_lsb_minus4 = 0xFFFFFFFC, .lt_ref_pic_poc_lsb_sps = twenty}, // none
    };
    for (const Sps& sps : rows)
        ExpectRead(sps);
}

TEST(HevcSps, VideoUsabilityIsReadAsFarAsTheTiming)
{
    const Timing film{1001, 24000};
    const std::pair<Vui, SequenceFields> rows[] = {
        {{}, {64, 64, kKeep, kKeep, 0, 5, 0, 0, 2, 2, 2}},
        {{.aspect_ratio_idc = 1, .timing = film}, {64, 64, 24000, 1001, 0, 5, 0, 0, 2, 2, 2}},
        {{255, 4321, 65535, {}, {}, {}, film}, {64, 64, 24000, 1001, 0, 5, 0, 0, 2, 2, 2}},
        {{.signal = VideoSignal{3, 1}, .timing = film}, {64, 64, 24000, 1001, 1, 3, 1, 0, 2, 2, 2}},
        {{.signal = VideoSignal{0, 0, 1, 9, 16, 14}}, {64, 64, kKeep, kKeep, 1, 0, 0, 1, 9, 16, 14}},
        {{.timing = film, .def_disp_win = Cropping{9, 8, 7, 6}}, {64, 64, 24000, 1001, 0, 5, 0, 0, 2, 2, 2}},
        {{.timing = Timing{0xFFFFFFFF, 0x80000000}}, {64, 64, 0x80000000, 0xFFFFFFFF, 0, 5, 0, 0, 2, 2, 2}},
        {{255, 1, 1, 1, VideoSignal{1, 1, 1, 1, 2, 3}, 5, Timing{0, 0}, Cropping{0, 1, 0, 300}},
         {64, 64, 0, 0, 1, 1, 1, 1, 1, 2, 3}},
    };
    for (const auto& [vui, expected] : rows)
        EXPECT_EQ(Describe({.vui = vui}), expected);
}

TEST(HevcSps, AnIdBeyondTheTableIsDescribedButNotKept)
{
    for (const u32 id : {32u, 255u, 0xFFFFFFFEu}) {
        const ParsingHandle handle(VideoCodecHEVC);
        const Sps sps{.sps_seq_parameter_set_id = id};
        const Pps pps{.pps_seq_parameter_set_id = id};
        handle.Feed(Vps{} + sps);
        EXPECT_EQ(handle.Hevc().ppsTable[0], nullptr); // it stands right behind the table
        handle.Feed(pps + Slice{});
        const Reported unit = handle.Flush();
        EXPECT_TRUE(unit.info.sequenceInfoValid == 1 && unit.info.width == 64);
        EXPECT_EQ(unit.frame, Vps{} + sps + pps); // the slice is refused
        EXPECT_EQ(std::count(handle.Hevc().spsTable, handle.Hevc().spsTable + 32, nullptr), 32);
    }
}

TEST(HevcSps, MoreThan64ShortTermSetsEndItAndItIsNotKept)
{
    for (const u32 count : {65u, 0xFFFFFFFEu}) {
        const ParsingHandle handle(VideoCodecHEVC);
        const Sps earlier{.pic_width_in_luma_samples = 32};
        Read(handle.Hevc(), kSps, earlier.Payload());
        const VideoInfo info = Read(handle.Hevc(), kSps, Sps{}.Head().ue(count).u(64, ~u64{0}).Take());
        EXPECT_EQ(info.sequenceInfoValid, 1u);
        EXPECT_EQ(SequenceFieldsOf(info), OfSize(64, 64));
        ExpectKept(handle.Hevc(), earlier);
    }
}

// Thousands of millions of elements are announced, and few or none are there: the rest reads as 0.
TEST(HevcParameterSets, CountsBeyondTheDataEndWithIt)
{
    const u32 huge = ~u32{1};
    for (const Sps& sps : {Sps{}, Sps{.log2_max_pic_order_cnt_lsb_minus4 = 0xFFFFFFFA}}) {
        const BitWriter rows[] = {
            sps.Head().ue(1).ue(huge).ue(huge),
            sps.Head().ue(64).ue(0).ue(huge).ue(5).u(1, 1),
            sps.Head().ue(2).ue(huge).ue(2), // their sum is 0 and more than 32 bits
            sps.Head().ue(64),
            sps.Head().ue(0).u(1, 1).ue(huge).u(64, 0),
            sps.Head().ue(0).u(1, 1).ue(858993460).u(64, ~u64{0}), // 5 bits each: 4 bits and 2^32
        };
        for (const BitWriter& row : rows) {
            const ParsingHandle handle(VideoCodecHEVC);
            EXPECT_EQ(SequenceFieldsOf(Read(handle.Hevc(), kSps, row.Take())), OfSize(64, 64));
            ExpectKept(handle.Hevc(), sps);
        }
    }
    for (const u32 count : {huge, u32{1} << 26}) // the latter are 2^32 flags
        ExpectTiming({.vps_max_layer_id = 63, .vps_num_layer_sets_minus1 = count, .timing = Timing{}},
                     {kKeep, kKeep});
}

TEST(HevcPps, ItsHeadIsKeptById)
{
    const ParsingHandle handle(VideoCodecHEVC);
    const Bytes vps = Vps{};
    handle.Feed(vps);
    for (const u32 id : {0u, 255u, 63u, 0u}) {
        const Pps pps{id, id + 30, id % 2, 1 - id % 2, id % 8};
        handle.Feed(Bytes(pps));
        const HevcPpsRecord* const kept = handle.Hevc().ppsTable[id];
        ASSERT_NE(kept, nullptr);
        EXPECT_EQ((std::bit_cast<std::array<u32, 5>>(*kept)),
                  (std::array{id, id + 30, id % 2, 1 - id % 2, id % 8}));
    }
    for (const u32 id : {256u, 0xFFFFFFFEu})
        EXPECT_EQ(handle.Feed(Pps{.pps_pic_parameter_set_id = id}).status, 0);
    EXPECT_EQ(std::count(handle.Hevc().ppsTable, handle.Hevc().ppsTable + 256, nullptr), 253);
    EXPECT_EQ(Bytes(handle.Hevc().vpsNal, handle.Hevc().vpsNal + vps.size()), vps); // right behind the table
}

} // namespace
