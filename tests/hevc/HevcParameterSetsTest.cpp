// SPDX-License-Identifier: MIT
// H.265 parameter sets that the standard does not have. HevcLayerHeadersTest.cpp reads those that it has.
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
    EXPECT_EQ((std::bit_cast<std::array<u32, 8>>(*kept)), sps.Kept());
}

TEST(HevcSps, LowBitsOfAnyWidthAreSteppedOver)
{
    for (const u32 log2_minus4 : {29u, 0xFFFFFFFCu}) { // 33 bits, none
        const ParsingHandle handle(VideoCodecHEVC);
        const Sps sps{.log2_max_pic_order_cnt_lsb_minus4 = log2_minus4,
                      .lt_ref_pic_poc_lsb_sps = std::vector<u32>(20, 0),
                      .vui = Vui{.timing = Timing{1001, 60000}}};
        EXPECT_EQ(SequenceFieldsOf(Read(handle.Hevc(), kSps, sps.Payload())),
                  (SequenceFields{64, 64, 60000, 1001, 0, 5, 0, 0, 2, 2, 2}));
        ExpectKept(handle.Hevc(), sps);
    }
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

TEST(HevcPps, OneOfAnIdBeyondTheTableIsNotKept)
{
    const ParsingHandle handle(VideoCodecHEVC);
    const Bytes vps = Vps{};
    handle.Feed(vps);
    for (const u32 id : {256u, 0xFFFFFFFEu})
        EXPECT_EQ(handle.Feed(Pps{.pps_pic_parameter_set_id = id}).status, 0);
    EXPECT_EQ(std::count(handle.Hevc().ppsTable, handle.Hevc().ppsTable + 256, nullptr), 256);
    EXPECT_EQ(Bytes(handle.Hevc().vpsNal, handle.Hevc().vpsNal + vps.size()), vps); // right behind the table
}

} // namespace
