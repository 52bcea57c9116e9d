// SPDX-License-Identifier: MIT
// All H.264 operations on one handle in random order. They share parameter sets, slice history and scanner,
// so that for each of them the slice before may be one that another has read.
#include "AvcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>
#include <optional>
#include <random>

namespace {

using namespace avctest;

// What every operation must answer. The slices are those of Sps{} and Pps{}: frames, pic_order_cnt_type 0.
class AvcMixedOperations : public testing::Test {
protected:
    static bool IsIdr(const Slice& slice) { return slice.nal_unit_type == kIdr; }
    static bool IsKnown(const Slice& slice) { return slice.pps.pic_parameter_set_id == 0; }

    u32 Random(u32 n) { return static_cast<u32>(random_() % n); }

    // Mostly a further slice of the picture before, or one that differs from it in one element.
    Slice NextSlice()
    {
        Slice slice = prev_.value_or(Slice{});
        slice.first_mb_in_slice = Random(4) == 0 ? 0 : 1 + Random(9);
        slice.slice_type = Random(10);
        slice.data = Bytes{0x80, static_cast<u8>(1 + Random(255)), static_cast<u8>(1 + Random(255))};
        switch (Random(14)) {
        case 0: slice.frame_num = (slice.frame_num + 1) % 16; break;
        case 1: slice.frame_num = (prevRefFrameNum_ + 1) % 16; break;
        case 2: slice.nal_ref_idc = Random(4); break;
        case 3: slice.pic_order_cnt_lsb = Random(16); break;
        case 4: slice.nal_unit_type = IsIdr(slice) ? 1 : kIdr; break;
        case 5: slice.nal_unit_type = IsIdr(slice) ? kIdr : 3 - slice.nal_unit_type; break; // 1 and 2
        case 6: slice.idr_pic_id = IsIdr(slice) ? Random(3) : slice.idr_pic_id; break;
        case 7: slice.pps.pic_parameter_set_id = 1; break; // unknown
        default: break;
        }
        return slice;
    }

    // Reads a slice, for whatever operation: whether it begins a picture.
    bool Begins(const Slice& s)
    {
        const std::optional<Slice> p = prev_;
        prev_ = s;
        if (!p)
            return false;
        return s.first_mb_in_slice == 0 || s.frame_num != p->frame_num || IsIdr(s) != IsIdr(*p) ||
               (s.nal_ref_idc == 0) != (p->nal_ref_idc == 0) || s.pic_order_cnt_lsb != p->pic_order_cnt_lsb ||
               (IsIdr(s) && s.idr_pic_id != p->idr_pic_id);
    }

    void Feed()
    {
        const Slice slice = NextSlice();
        const Bytes sei = unit_ && Random(4) == 0 ? Bytes(Sei{}) : Bytes{};
        const Reported got = handle_.Feed(sei + slice);
        walk_.clear();
        pending_ = pending_ + sei;
        ASSERT_EQ(got.status, 0);
        const bool begins = IsKnown(slice) && Begins(slice), completes = begins && unit_;
        ASSERT_EQ(got.info.frameAvailable, completes ? 1u : 0u);
        if (completes) {
            ++completed_;
            ASSERT_EQ(got.frame, (key_ ? sets_ : Bytes{}) + *unit_);
            ASSERT_EQ(got.info.keyFrame, key_ ? 1u : 0u);
            ASSERT_EQ(got.info.width, key_ ? width_ : 0u);
        }
        if (!IsKnown(slice))
            return;
        if (begins)
            key_ = false;
        unit_ = (begins ? Bytes{} : unit_.value_or(Bytes{})) + pending_ + slice;
        key_ = key_ || IsIdr(slice);
        pending_.clear();
    }

    void TestSample()
    {
        const Slice slice = NextSlice();
        VideoInfoEx info = {7, 7, 7};
        const Bytes sample = Delimiter{} + slice;
        const Status status = VideoSampleTest(handle_.Get(), sample.Exact().get(), sample.Size(), &info);
        walk_.clear();
        ASSERT_EQ(status, IsKnown(slice) ? 0 : -1);
        const bool follows = IsIdr(slice) || slice.frame_num == (prevRefFrameNum_ + 1) % 16;
        const bool intra = IsIdr(slice) || slice.slice_type == 2 || slice.slice_type == 7;
        ASSERT_EQ(info.discontinuity, IsKnown(slice) && follows ? 0u : 1u);
        ASSERT_EQ(info.isFramePicture, IsKnown(slice) ? 1u : 0u);
        ASSERT_EQ(info.intraPicture, IsKnown(slice) && intra ? 1u : 0u);
        continuous_ += follows ? 1 : 0;
        if (!IsKnown(slice))
            return;
        Begins(slice);
        if (slice.nal_ref_idc != 0)
            prevRefFrameNum_ = slice.frame_num;
    }

    void StartWalk()
    {
        walk_.clear();
        for (u32 i = Random(5); i > 0; --i)
            walk_.push_back(NextSlice());
        Bytes all;
        for (const Slice& slice : walk_)
            all = all + slice;
        walked_ = all.Exact();
        at_ = walked_.get();
        ASSERT_EQ(SetVideoData(handle_.Get(), at_, all.Size()), 0);
    }

    void WalkOn()
    {
        u8* nal = nullptr;
        u32 size = 0, header = 0;
        bool isSlice = false;
        const Status status = GetNalUnit(handle_.Get(), &nal, &size, &isSlice, &header);
        ASSERT_EQ(status, walk_.empty() ? -1 : 0);
        ASSERT_EQ(nal, walk_.empty() ? nullptr : at_);
        if (walk_.empty())
            return;
        const Slice slice = walk_.front();
        ASSERT_EQ(size, Bytes(slice).size());
        at_ += size;
        walk_.erase(walk_.begin());
        if (IsKnown(slice))
            Begins(slice);
    }

    void ReadOnly()
    {
        const Slice slice = NextSlice();
        const Bytes frame = Sei{} + slice;
        const auto copy = frame.Exact();
        VideoPicType type = {};
        ASSERT_EQ(QueryType(handle_.Get(), copy.get(), frame.Size(), type),
                  slice.nal_unit_type == 2 ? -1 : 0);
        ASSERT_EQ(type, slice.nal_unit_type == 2 ? -1 : static_cast<i32>(slice.slice_type));
        u32 count = 0, *sizes = nullptr;
        u8** nals = nullptr;
        ASSERT_EQ(GetNalFromFrame(handle_.Get(), copy.get(), frame.Size(), &count, &nals, &sizes), 0);
        ASSERT_TRUE(count == 2 && sizes[1] == Bytes(slice).size());
        ParameterSetData sets = {};
        ASSERT_EQ(GetParameterSetData(handle_.Get(), copy.get(), frame.Size(), &sets), 0);
        ASSERT_EQ(sets.spsData, nullptr);
        walk_.clear();
    }

    void Import()
    {
        width_ = 16 * (1 + Random(64));
        Bytes sps = Sps{.pic_width_in_mbs = width_ / 16}, pps = Pps{};
        pps.resize(pps.size() + Random(9), 1);
        ASSERT_EQ(SetParameterSetData(handle_.Get(), sps.data(), sps.Size(), pps.data(), pps.Size()), 0);
        sets_ = sps + pps;
        walk_.clear();
    }

    std::mt19937 random_{46};
    const ParsingHandle handle_{VideoCodecAVC, 2, 16};
    std::optional<Slice> prev_; // the last one read
    u32 prevRefFrameNum_ = 0, width_ = 0;
    Bytes sets_, pending_;
    std::optional<Bytes> unit_; // the access unit being assembled
    bool key_ = false;
    std::vector<Slice> walk_; // still to come
    std::unique_ptr<u8[]> walked_;
    u8* at_ = nullptr;
    u32 completed_ = 0, continuous_ = 0;
};

TEST_F(AvcMixedOperations, AnswerAsTheirCommonHistorySays)
{
    Import();
    for (int step = 0; step < 30000 && !HasFatalFailure(); ++step) {
        SCOPED_TRACE(step);
        switch (const u32 n = Random(32)) {
        case 0: Import(); break;
        case 1: ReadOnly(); break;
        default: n < 15 ? Feed() : n < 21 ? TestSample() : n < 24 ? StartWalk() : WalkOn();
        }
    }
    EXPECT_GT(completed_, 1000u);
    EXPECT_GT(continuous_, 1000u);
}

} // namespace
