// SPDX-License-Identifier: MIT
// H.264 picture types, and samples tested for continuity.
#include "AvcStream.h"
#include "Handles.h"
#include "nalsmith/detail/rules.hpp"

#include <gtest/gtest.h>
#include <sstream>

namespace {

using namespace avctest;

const Bytes kSets = Sps{} + Pps{}, kBare = "00 00 01"_bytes;
const Bytes kIdrSample = Delimiter{} + kSets + Slice{.nal_unit_type = kIdr, .nal_ref_idc = 3};

// {frame_num of the last reference picture, of the picture, range, whether it follows}
TEST(AvcNextFrameNum, ByOneWithinItsRange)
{
    constexpr struct {
        u32 prevRef, cur, maxFrameNum;
        bool follows;
    } rows[] = {
        {0, 1, 16, true},          {0, 0, 16, false},
        {3, 5, 16, false},         {5, 4, 16, false},
        {14, 15, 16, true},        {15, 0, 16, true},
        {15, 16, 16, false},       {15, 16, 65536, true},
        {65535, 0, 65536, true},   {20, 5, 16, true}, // the range has become smaller
        {7, 0, 1, true},           {7, 1, 1, false},
        {0xFFFFFFFF, 0, 16, true}, {0x7FFFFFFF, 0x80000000, 0, true},
        {0xFFFFFFFF, 0, 0, true},  {5, 0, 0, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.cur == nalsmith::detail::next_frame_num(row.prevRef, row.maxFrameNum), row.follows)
            << row.prevRef << " to " << row.cur << " of " << row.maxFrameNum;
}

TEST(AvcQueryType, IsTheFirstSlicesAsCoded)
{
    const Bytes i = Slice{.slice_type = 2}, forbidden = "00 00 01 e1 80 80"_bytes;
    const Bytes partition = Slice{.nal_unit_type = 2, .slice_type = 0};
    std::vector<std::pair<Bytes, i32>> rows = {
        {kIdrSample, 7},
        {partition + i, 2},
        {i + Bytes(Slice{.slice_type = 0}), 2},
        {"12 34"_bytes + i, 2},
        {Slice{.first_mb_in_slice = 0xFFFFFFFE, .slice_type = 1}, 1},
        {Slice{.slice_type = 0x7FFFFFFE}, 0x7FFFFFFE},
        {forbidden + i, -1},
        {kBare + i, -1},
        {Delimiter{} + kSets, -1},
        {Bytes{}, -1},
        {"41 9a 22 33 44 55"_bytes, -1},
        {"00 00 01 65 88"_bytes, 7}, // reads 0 0 0 1 000 and no more
    };
    for (u32 type = 0; type <= 9; ++type)
        for (const u32 unit : {1u, kIdr})
            rows.emplace_back(Slice{.nal_unit_type = unit, .slice_type = type}, type);
    for (u32 type = 0; type < 32; ++type)
        if (type != 1 && type != kIdr)
            rows.emplace_back(Nal(type, "80 80"_bytes) + i, 2);
    const ParsingHandle handle, hevc(VideoCodecHEVC);
    for (const auto& [sample, expected] : rows)
        for (const ParsingHandle* one : {&handle, &hevc}) {
            auto type = static_cast<VideoPicType>(77);
            const i32 answer = one == &hevc ? -1 : expected;
            EXPECT_EQ(QueryType(one->Get(), sample.Exact().get(), sample.Size(), type),
                      answer == -1 ? -1 : 0);
            EXPECT_EQ(static_cast<i32>(type), answer) << testing::PrintToString(sample);
        }
    auto type = static_cast<VideoPicType>(77);
    EXPECT_EQ(QueryType(handle.Get(), nullptr, 10, type), -1);
    EXPECT_EQ(type, VideoPicTypeUnknown);
    // Nothing was kept of all that.
    EXPECT_TRUE(handle.Avc().spsTable[0] == nullptr && handle.Avc().ppsTable[0] == nullptr);
    EXPECT_EQ(handle.Avc().firstSlice, 1u);
}

// Tests samples one after another on one handle. A sample is written as P, n (a P picture that is no
// reference), I, D (IDR) or d (IDR that is no reference), frame_num, t or b for a top or bottom field, ! for
// a discontinuity.
void ExpectVerdicts(const char* what, const Sps& sps, const std::string& samples)
{
    SCOPED_TRACE(what);
    const ParsingHandle handle;
    handle.Feed(sps + Pps{});
    std::istringstream in(samples);
    for (std::string text; in >> text;) {
        const char kind = text[0];
        const bool idr = kind == 'D' || kind == 'd', intra = idr || kind == 'I';
        const bool top = text.find('t') != text.npos, bottom = text.find('b') != text.npos,
                   field = top || bottom;
        const Slice slice{.sps = sps,
                          .nal_unit_type = idr ? kIdr : 1,
                          .nal_ref_idc = kind == 'n' || kind == 'd' ? 0u : 1u,
                          .slice_type = intra ? 7u : 0u,
                          .frame_num = static_cast<u32>(std::stoul(text.substr(1))),
                          .field_pic_flag = field ? 1u : 0u,
                          .bottom_field_flag = bottom ? 1u : 0u};
        EXPECT_EQ(Judge(handle, slice),
                  (Verdict{0, text.back() == '!' ? 1u : 0u, field ? 0u : 1u, intra ? 1u : 0u}))
            << text;
        EXPECT_EQ(handle.Avc().curFrameNum, slice.frame_num);
    }
}

TEST(AvcSampleTest, FramesFollowTheLastReferencePicture)
{
    const Sps sps, gaps{.gaps_in_frame_num_value_allowed_flag = 1};
    ExpectVerdicts("B between P", sps, "D0 P1 n2 n2 P2 n3 P3");
    ExpectVerdicts("gaps", sps, "D0 P1 P3! P5! P6 n9! P7 P7! P6!");
    ExpectVerdicts("wrap", sps, "D0 P15! P0 P15! n0 P0 P1");
    ExpectVerdicts("wider", {.log2_max_frame_num_minus4 = 1}, "D0 P15! P16 P31! P0");
    ExpectVerdicts("widest", {.log2_max_frame_num_minus4 = 28}, "D0 P1 P4294967295! P0 P1");
    ExpectVerdicts("gaps allowed", gaps, "D0 P7 P3 n3 I9");
    ExpectVerdicts("intra pictures", sps, "D0 I1 P2 I9! P10");
    ExpectVerdicts("IDR pictures", sps, "D9 P10 D0 P1 n2 D0");
    ExpectVerdicts("IDR that is no reference", sps, "D0 P1 d5 P2");
    ExpectVerdicts("none before", sps, "P1 P2 P5!");
}

TEST(AvcSampleTest, OfFieldsTheOpeningOnesAreCompared)
{
    const Sps sps{.frame_mbs_only_flag = 0};
    const Sps gaps{.gaps_in_frame_num_value_allowed_flag = 1, .frame_mbs_only_flag = 0};
    ExpectVerdicts("top first", sps, "D0t P0b P1t P1b n2t n2b P2t P2b");
    ExpectVerdicts("a gap is that of both fields", sps, "D0t P0b P3t! P3b! P4t P9b");
    ExpectVerdicts("a second field is not compared", sps, "D0t P7b P8t n2b P9t");
    ExpectVerdicts("an intra field learns anew", sps, "D0t P3t! I9b! P9t! P10b P2t");
    ExpectVerdicts("of two intra fields the second compares", sps, "D0t P0b I1t I1b! P2b P2t");
    ExpectVerdicts("intra top with a gap", sps, "D0t I4t! P4b! P5t P5b");
    ExpectVerdicts("bottom first", sps, "D0b P0t P1b P7t P8b P8t P3b! P3t!");
    ExpectVerdicts("behind a frame bottom comes first", sps, "D0 P1b P7t P7b! P7t!");
    ExpectVerdicts("frames between", sps, "D0t P0b P1 P3! P4t P9b I10 P2t");
    ExpectVerdicts("a frame leaves the gap of the field before", sps, "D0t P3t! P4 P4b!");
    ExpectVerdicts("an IDR field clears it, an intra frame does not", sps, "D0t P3t! D0t P0b P3t! I4 P5t!");
    ExpectVerdicts("gaps allowed", gaps, "D0t P9t P3b I1t");
}

TEST(AvcSampleTest, IntraIsByTypeOfSliceOrNalUnit)
{
    for (const u32 unit : {1u, 2u, kIdr})
        for (u32 type = 0; type <= 12; ++type) {
            const u32 intra = unit == kIdr || type == 2 || type == 7 ? 1 : 0;
            const Slice slice{.nal_unit_type = unit, .slice_type = type, .frame_num = 1};
            EXPECT_EQ(Judge(ParsingHandle(), kSets + slice), (Verdict{0, 0, 1, intra}))
                << unit << ", " << type;
        }
}

TEST(AvcSampleTest, SamplesThatCannotBeJudged)
{
    const Bytes known = Slice{.slice_type = 0, .frame_num = 1},
                forbidden = "00 00 00 01 c1"_bytes + known.From(5, known.size() - 5),
                unknown = Slice{.pps = {.pic_parameter_set_id = 4}};
    const Verdict nothing{0, 0, 0, 0}, refused{-1, 1, 0, 0}, fits{0, 0, 1, 0};
    const std::pair<Bytes, Verdict> rows[] = {
        {unknown, refused},
        {Pps{.pic_parameter_set_id = 3, .seq_parameter_set_id = 9} +
             Slice{.pps = {.pic_parameter_set_id = 3}},
         refused},
        {Slice{.pps = {.pic_parameter_set_id = 256}}, refused},
        {unknown + known, refused}, // the first slice counts
        {known + unknown, fits},
        {Delimiter{} + kSets + Sei{} + Nal(12, "ff 80"_bytes) + Nal(3, "80"_bytes) + Nal(20, "80"_bytes) +
             known,
         fits},
        {"00 00 01 e9 f0"_bytes + known, fits}, // forbidden_zero_bit is nothing to the test
        {forbidden, fits},
        {"12 34"_bytes + known, fits},
        {kBare + known, nothing},
        {Delimiter{} + kBare + known, nothing},
        {Delimiter{} + kSets + Sei{}, nothing},
        {"12"_bytes + Bytes(Sei{}), nothing},
        {Bytes{}, nothing},
        {"00 00 01 41"_bytes, nothing},
        {"41 9a 22 33 44 55"_bytes, {-1, 0, 0, 0}},
    };
    for (const auto& [sample, expected] : rows) {
        const ParsingHandle handle;
        const CParseAVCParams& parser = handle.Avc();
        Judge(handle, kIdrSample);
        EXPECT_EQ(Judge(handle, sample), expected) << testing::PrintToString(sample);
        const u32 frameNum = expected == fits ? 1 : 0;
        EXPECT_EQ(parser.prevRefFrameNum, frameNum);
        EXPECT_EQ(parser.curFrameNum, frameNum);
        EXPECT_EQ(parser.prevSlice.frame_num, frameNum);
    }
    const ParsingHandle handle;
    VideoInfoEx info = {7, 7, 7};
    EXPECT_EQ(VideoSampleTest(handle.Get(), known.data(), known.Size(), nullptr), -1);
    EXPECT_EQ(VideoSampleTest(handle.Get(), nullptr, 9, &info), 0);
    EXPECT_TRUE(info.discontinuity == 0 && info.isFramePicture == 0 && info.intraPicture == 0);
}

TEST(AvcSampleTest, SharesParameterSetsAndHistoryWithTheDriver)
{
    const ParsingHandle handle;
    const CParseAVCParams& parser = handle.Avc();
    const Bytes second = Slice{.first_mb_in_slice = 3, .frame_num = 2};
    handle.Feed(kSets + Slice{.frame_num = 1});
    EXPECT_EQ(Judge(handle, Slice{.slice_type = 0, .frame_num = 2}),
              (Verdict{0, 1, 1, 0})); // the driver tested nothing
    // For the driver the tested slice is the one before, so this one goes on with its picture.
    EXPECT_EQ(handle.Feed(second).info.frameAvailable, 0u);
    EXPECT_EQ(handle.Flush().frame, kSets + Slice{.frame_num = 1} + second);
    EXPECT_EQ(parser.prevRefFrameNum, 2u);
    EXPECT_EQ(Judge(handle, Slice{.slice_type = 0, .frame_num = 3}), (Verdict{0, 0, 1, 0}));
    handle.Feed(Sps{.log2_max_frame_num_minus4 = 1}); // for the samples as well
    EXPECT_EQ(Judge(handle, Slice{.sps = {.log2_max_frame_num_minus4 = 1}, .frame_num = 20}),
              (Verdict{0, 1, 1, 1}));
    EXPECT_EQ(parser.maxFrameNum, 32u);

    // Parameter sets of samples are read, and neither stored nor retained.
    const ParsingHandle tested;
    Judge(tested, kIdrSample);
    EXPECT_TRUE(tested.Avc().spsNalSize == 0 && tested.Avc().currentSlot == nullptr);
    const Bytes idr = Slice{.nal_unit_type = kIdr, .idr_pic_id = 1};
    tested.Feed(idr);
    const Reported unit = tested.Flush();
    EXPECT_EQ(unit.frame, idr);
    EXPECT_EQ(unit.info.sequenceInfoValid, 0u);
}

} // namespace
