// SPDX-License-Identifier: MIT
// H.264 picture types, and samples tested for continuity.
#include "parser/avc/AvcSample.h"
#include "AvcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

const Bytes kSets = Sps{} + Pps{}, kBare = "00 00 01"_bytes;
const Bytes kIdrSample = Delimiter{} + kSets + Slice{.nal_unit_type = kIdr, .nal_ref_idc = 3};

struct Verdict {
    Status status = 0;
    u32 discontinuity = 0, isFramePicture = 0, intraPicture = 0;

    bool operator==(const Verdict&) const = default;
};

void PrintTo(const Verdict& v, std::ostream* out)
{
    *out << v.status << ": " << v.discontinuity << v.isFramePicture << v.intraPicture;
}

Verdict Judge(const ParsingHandle& handle, const Bytes& sample)
{
    VideoInfoEx info = {7, 7, 7};
    const Status status = VideoSampleTest(handle.Get(), sample.Exact().get(), sample.Size(), &info);
    return {status, info.discontinuity, info.isFramePicture, info.intraPicture};
}

// {frame_num of the last reference picture, of the picture, range, whether it follows}
TEST(AvcFollowsInFrameNum, ByOneWithinItsRange)
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
        EXPECT_EQ(avc::FollowsInFrameNum(row.cur, row.prevRef, row.maxFrameNum), row.follows)
            << row.prevRef << " to " << row.cur << " of " << row.maxFrameNum;
}

TEST(AvcQueryType, IsTheFirstSlicesAsCoded)
{
    const Bytes i = Slice{.slice_type = 2}, forbidden = "00 00 01 e1 80 80"_bytes;
    const Bytes partition = Slice{.nal_unit_type = 2, .slice_type = 0};
    std::vector<std::pair<Bytes, i32>> rows = {
        {kIdrSample, 7},
        {partition, -1},
        {partition + i, 2},
        {i + Bytes(Slice{.slice_type = 0}), 2},
        {"12 34"_bytes + i, 2},
        {Slice{.first_mb_in_slice = 0xFFFFFFFE, .slice_type = 1}, 1},
        {Slice{.slice_type = 0x7FFFFFFE}, 0x7FFFFFFE},
        {forbidden + i, -1},
        {i + forbidden, 2},
        {kBare + i, -1},
        {Delimiter{} + kSets, -1},
        {Bytes{}, -1},
        {"00 00 01 41"_bytes, -1},
        {"41 9a 22 33 44 55"_bytes, -1},
        {"00 00 01 65 88"_bytes, 7}, // reads 0 0 0 1 000 and no more
        {"00 00 01 01 ff"_bytes, 0},
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

// Samples tested one after another, behind IDR pictures of frame_num 0.
struct Step {
    Slice slice;
    u32 discontinuity = 0, intraPicture = 0;
};

void ExpectSteps(const char* what, const Sps& sps, u32 firstIsField, std::vector<Step> steps)
{
    SCOPED_TRACE(what);
    const ParsingHandle handle;
    const Slice first{.sps = sps, .nal_unit_type = kIdr, .field_pic_flag = firstIsField};
    EXPECT_EQ(Judge(handle, sps + Pps{} + first), (Verdict{0, 0, 1 - firstIsField, 1}));
    for (std::size_t i = 0; i < steps.size(); ++i) {
        Slice& slice = steps[i].slice;
        slice.sps = sps;
        EXPECT_EQ(Judge(handle, slice),
                  (Verdict{0, steps[i].discontinuity, 1 - slice.field_pic_flag, steps[i].intraPicture}))
            << "sample " << i;
        EXPECT_EQ(handle.Avc().curFrameNum, slice.frame_num);
    }
}

Slice P(u32 frame_num, u32 nal_ref_idc = 2)
{
    return {.nal_ref_idc = nal_ref_idc, .slice_type = 0, .frame_num = frame_num};
}

Slice I(u32 frame_num, u32 slice_type = 7, u32 nal_unit_type = 1)
{
    return {.nal_unit_type = nal_unit_type, .slice_type = slice_type, .frame_num = frame_num};
}

Slice Field(Slice slice, u32 bottom_field_flag)
{
    slice.field_pic_flag = 1;
    slice.bottom_field_flag = bottom_field_flag;
    return slice;
}

Slice Top(const Slice& slice)
{
    return Field(slice, 0);
}

Slice Bottom(const Slice& slice)
{
    return Field(slice, 1);
}

TEST(AvcSampleTest, FramesFollowTheLastReferencePicture)
{
    const Sps sps, gaps{.gaps_in_frame_num_value_allowed_flag = 1};
    ExpectSteps("B between P", sps, 0, {{P(1)}, {P(2, 0)}, {P(2, 0)}, {P(2)}, {P(3, 0)}, {P(3)}});
    ExpectSteps("gaps", sps, 0,
                {{P(1)}, {P(3), 1}, {P(5), 1}, {P(6)}, {P(9, 0), 1}, {P(7)}, {P(7), 1}, {P(6), 1}});
    ExpectSteps("wrap", sps, 0, {{P(15), 1}, {P(0)}, {P(15), 1}, {P(0, 0)}, {P(0)}, {P(1)}});
    ExpectSteps("wider", {.log2_max_frame_num_minus4 = 1}, 0, {{P(15), 1}, {P(16)}, {P(31), 1}, {P(0)}});
    ExpectSteps("widest", {.log2_max_frame_num_minus4 = 28}, 0, {{P(1)}, {P(0xFFFFFFFF), 1}, {P(0)}, {P(1)}});
    ExpectSteps("gaps allowed", gaps, 0, {{P(7)}, {P(3)}, {P(3, 0)}, {I(9), 0, 1}});
    ExpectSteps("intra pictures", sps, 0,
                {{I(1), 0, 1}, {I(2, 2), 0, 1}, {I(9), 1, 1}, {I(10, 4)}, {I(11, 9)}, {I(12, 7, 2), 0, 1}});
    ExpectSteps(
        "IDR pictures", sps, 0,
        {{I(9, 7, kIdr), 0, 1}, {P(10)}, {I(0, 0, kIdr), 0, 1}, {P(1)}, {P(2, 0)}, {I(0, 7, kIdr), 0, 1}});
    Slice unreferenced = I(5, 7, kIdr);
    unreferenced.nal_ref_idc = 0;
    ExpectSteps("IDR that is no reference", sps, 0, {{P(1)}, {unreferenced, 0, 1}, {P(2)}});
}

TEST(AvcSampleTest, OfFieldsTheOpeningOnesAreCompared)
{
    const Sps sps{.frame_mbs_only_flag = 0},
        gaps{.gaps_in_frame_num_value_allowed_flag = 1, .frame_mbs_only_flag = 0};
    ExpectSteps("top first", sps, 1,
                {{Bottom(P(0))}, {Top(P(1))}, {Bottom(P(1))}, {Top(P(2, 0))}, {Bottom(P(2, 0))}});
    ExpectSteps("a gap is that of both fields", sps, 1,
                {{Bottom(P(0))}, {Top(P(3)), 1}, {Bottom(P(3)), 1}, {Top(P(4))}, {Bottom(P(9))}});
    ExpectSteps("a second field is not compared", sps, 1,
                {{Bottom(P(7))}, {Top(P(8))}, {Bottom(P(2, 0))}, {Top(P(9))}});
    ExpectSteps("an intra field clears the gap", sps, 1,
                {{Top(P(3)), 1}, {Bottom(I(9)), 1, 1}, {Top(P(9)), 1}, {Bottom(P(10))}, {Top(P(2))}});
    ExpectSteps("intra pair: the bottom field becomes the opening one", sps, 1,
                {{Bottom(P(0))}, {Top(I(1)), 0, 1}, {Bottom(I(1)), 1, 1}, {Bottom(P(2))}, {Top(P(2))}});
    ExpectSteps("intra top with a gap", sps, 1,
                {{Top(I(4)), 1, 1}, {Bottom(P(4)), 1}, {Top(P(5))}, {Bottom(P(5))}});
    ExpectSteps("behind an intra frame bottom comes first", sps, 0,
                {{Bottom(P(1))}, {Top(P(7))}, {Bottom(P(7)), 1}, {Top(P(7)), 1}});
    ExpectSteps("frames between", sps, 1,
                {{Bottom(P(0))}, {P(1)}, {P(3), 1}, {Top(P(4))}, {Bottom(P(9))}, {I(10), 0, 1}, {Top(P(2))}});
    ExpectSteps("a frame leaves the gap of the field before", sps, 1,
                {{Top(P(3)), 1}, {P(4)}, {Bottom(P(4)), 1}});
    ExpectSteps("an IDR field clears it, an intra frame does not", sps, 1,
                {{Top(P(3)), 1},
                 {Top(I(0, 7, kIdr)), 0, 1},
                 {Bottom(P(0))},
                 {Top(P(3)), 1},
                 {I(4), 0, 1},
                 {Top(P(5)), 1}});
    ExpectSteps("gaps allowed", gaps, 1, {{Top(P(9))}, {Bottom(P(3))}, {Top(I(1)), 0, 1}});
}

TEST(AvcSampleTest, SamplesThatCannotBeJudged)
{
    const Bytes known = P(1), forbidden = "00 00 00 01 c1"_bytes + known.From(5, known.size() - 5),
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
    EXPECT_EQ(Judge(handle, P(2)), (Verdict{0, 1, 1, 0})); // the driver tested nothing
    // For the driver the tested slice is the one before, so this one goes on with its picture.
    EXPECT_EQ(handle.Feed(second).info.frameAvailable, 0u);
    EXPECT_EQ(handle.Flush().frame, kSets + Slice{.frame_num = 1} + second);
    EXPECT_EQ(parser.prevRefFrameNum, 2u);
    EXPECT_EQ(Judge(handle, P(3)), (Verdict{0, 0, 1, 0}));
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
