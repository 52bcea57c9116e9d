// SPDX-License-Identifier: MIT
// NAL units handed out one by one, and how long slice headers are as stored.
#include "parser/avc/AvcNalWalk.h"
#include "AvcStream.h"
#include "Handles.h"

#include <functional>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace avctest;

const Bytes kSets = Sps{} + Pps{}, kIdrSlice = Slice{.nal_unit_type = kIdr};

struct Met {
    Status status = 7;
    u8* nal = nullptr;
    u32 size = 77, sliceHeaderSize = 77;
    bool isSlice = true;

    bool Nothing() const
    {
        return status == -1 && nal == nullptr && size == 0 && !isSlice && sliceHeaderSize == 0;
    }
};

Met Next(const ParsingHandle& handle)
{
    u8 unset = 0;
    Met met{.nal = &unset};
    met.status = GetNalUnit(handle.Get(), &met.nal, &met.size, &met.isSlice, &met.sliceHeaderSize);
    return met;
}

// A buffer of just its size, on a walk.
class Walk {
public:
    explicit Walk(const Bytes& bytes, const ParsingHandle& handle) : buffer_(bytes.Exact())
    {
        EXPECT_EQ(SetVideoData(handle.Get(), buffer_.get(), bytes.Size()), 0);
    }
    u8* At(std::size_t offset) const { return buffer_.get() + offset; }

private:
    std::unique_ptr<u8[]> buffer_;
};

TEST(AvcNalWalk, HandsOutEachUnitWhereItLies)
{
    const std::vector<Bytes> units = {Delimiter{},
                                      Sps{} + Bytes(3, 0), // zeros stay with the unit before
                                      Pps{},
                                      Sei{},
                                      kIdrSlice,
                                      Slice{.nal_unit_type = 2, .startCodeSize = 3},
                                      Nal(3, "80"_bytes, 0, 3),
                                      Slice{.frame_num = 1}};
    const Bytes garbage = "12 34"_bytes;
    const ParsingHandle handle;
    for (int round = 0; round < 2; ++round) { // a walk may begin anew before its end and behind it
        const Walk walk(garbage + Join(units), handle);
        EXPECT_EQ(Next(handle).nal, walk.At(2));
        EXPECT_EQ(SetVideoData(handle.Get(), walk.At(0), 2 + Join(units).Size()), 0);
        std::size_t offset = 2;
        for (std::size_t i = 0; i < units.size(); ++i) {
            const Met met = Next(handle);
            const bool isSlice = i == 4 || i == 5 || i == 7;
            EXPECT_EQ(met.status, 0);
            EXPECT_EQ(met.nal, walk.At(offset)) << i;
            EXPECT_EQ(met.size, units[i].size());
            EXPECT_EQ(met.isSlice, isSlice);
            EXPECT_EQ(met.sliceHeaderSize != 0, isSlice);
            offset += units[i].size();
        }
        EXPECT_TRUE(Next(handle).Nothing() && Next(handle).Nothing());
    }
    // What was read stays with the handle; nothing was stored.
    EXPECT_TRUE(handle.Avc().spsTable[0] != nullptr && handle.Avc().ppsTable[0] != nullptr);
    EXPECT_EQ(handle.Avc().prevSlice.frame_num, 1u);
    EXPECT_EQ(handle.Avc().spsNalSize, 0u);
    EXPECT_TRUE(AllFieldsAre(0, handle.Flush().info));
}

TEST(AvcNalWalk, GoesOnBehindUnitsItDoesNotHandOut)
{
    const Bytes bare = "00 00 01"_bytes, forbidden = "00 00 01 e1 80 80"_bytes;
    const ParsingHandle handle;
    for (const Bytes& refused : {bare, "00 00 00 01"_bytes, forbidden}) {
        const Walk walk(kSets + refused + kIdrSlice, handle);
        EXPECT_TRUE(Next(handle).status == 0 && Next(handle).status == 0);
        EXPECT_TRUE(Next(handle).Nothing());
        EXPECT_EQ(Next(handle).nal, walk.At(kSets.size() + refused.size()));
        EXPECT_TRUE(Next(handle).Nothing());
    }
}

TEST(AvcNalWalk, OfNothingEndsAtOnce)
{
    const ParsingHandle handle;
    EXPECT_TRUE(Next(handle).Nothing());
    for (const Bytes& empty : {Bytes{}, "00 00 01 65"_bytes, "41 9a 22 33 44 55 66"_bytes}) {
        const Walk walk(empty, handle);
        EXPECT_TRUE(Next(handle).Nothing() && Next(handle).Nothing());
    }
    Bytes sets = kSets;
    for (const u32 size : {0u, 100u, 0xFFFFFFFFu}) {
        EXPECT_EQ(SetVideoData(handle.Get(), size == 0 ? sets.data() : nullptr, size), 0);
        EXPECT_TRUE(Next(handle).Nothing());
    }
}

TEST(AvcNalWalk, NullOutputsAreRefusedAndCostNoUnit)
{
    const ParsingHandle handle;
    const Walk walk(kSets, handle);
    for (int missing = 0; missing < 4; ++missing) {
        Met met;
        EXPECT_EQ(GetNalUnit(handle.Get(), missing == 0 ? nullptr : &met.nal,
                             missing == 1 ? nullptr : &met.size, missing == 2 ? nullptr : &met.isSlice,
                             missing == 3 ? nullptr : &met.sliceHeaderSize),
                  -1);
        EXPECT_TRUE(met.nal == nullptr && met.size == 77 && met.isSlice && met.sliceHeaderSize == 77);
    }
    EXPECT_EQ(Next(handle).nal, walk.At(0));
}

TEST(AvcNalWalk, IsEndedByWhateverReadsABuffer)
{
    const Bytes piece =
        kSets + kIdrSlice + "00 00 01 e1 80 80"_bytes + kIdrSlice; // no operation reads all of it
    VideoInfo info = {};
    VideoInfoEx verdict = {};
    VideoPicType type = {};
    ParameterSetData sets = {};
    u32 count = 0, *sizes = nullptr;
    u8** nals = nullptr;
    const u8* out = nullptr;
    Bytes pps = Pps{};
    const std::function<void(void*, u8*, u32)> ending[] = {
        [&](void* h, u8* p, u32 n) { ParseVideoParams(h, p, n, &info); },
        [&](void* h, u8* p, u32 n) { VideoSampleTest(h, p, n, &verdict); },
        [&](void* h, u8* p, u32 n) { QueryType(h, p, n, type); },
        [&](void* h, u8* p, u32 n) { GetParameterSetData(h, p, n, &sets); },
        [&](void* h, u8* p, u32 n) { GetNalFromFrame(h, p, n, &count, &nals, &sizes); },
        [&](void* h, u8* p, u32 n) { SetParameterSetData(h, p, n, pps.data(), pps.Size()); },
        [&](void* h, u8* p, u32) { SetParameterSetData(h, p + 1, 2, pps.data(), pps.Size()); },
    };
    for (const auto& call : ending) {
        const ParsingHandle handle;
        const Walk walk(kSets + kIdrSlice, handle);
        EXPECT_EQ(Next(handle).nal, walk.At(0));
        call(handle.Get(), piece.Exact().get(), piece.Size()); // gone before the walk is asked again
        EXPECT_TRUE(Next(handle).Nothing() && Next(handle).Nothing()) << &call - ending;
    }
    // A call that is refused reads nothing.
    const ParsingHandle handle;
    const Walk walk(kSets + kIdrSlice, handle);
    EXPECT_EQ(Next(handle).nal, walk.At(0));
    EXPECT_EQ(AddUserData(handle.Get(), pps.data(), pps.Size(), nullptr, 0, &out, &count), -1);
    EXPECT_EQ(GetUserData(handle.Get(), pps.data(), pps.Size(), &out, &count), -1);
    EXPECT_EQ(ParseVideoParams(handle.Get(), pps.data(), pps.Size(), nullptr), -1);
    EXPECT_EQ(GetNalFromFrame(handle.Get(), pps.data(), pps.Size(), nullptr, &nals, &sizes), -1);
    EXPECT_EQ(Next(handle).nal, walk.At(Bytes(Sps{}).size()));
}

// The bytes behind the NAL unit header up to the one with the first unread bit, 03 bytes among them included.
TEST(AvcNalWalk, MeasuresSliceHeaders)
{
    const Sps type2{.log2_max_frame_num_minus4 = 3, .pic_order_cnt_type = 2};
    const Sps fields{.log2_max_frame_num_minus4 = 1, .pic_order_cnt_type = 2, .frame_mbs_only_flag = 0};
    const Sps type1{.pic_order_cnt_type = 1};
    const Sps wide{.log2_max_frame_num_minus4 = 12, .log2_max_pic_order_cnt_lsb_minus4 = 12};
    const Pps bottom{.bottom_field_pic_order_in_frame_present_flag = 1};
    const Pps stray{.pic_parameter_set_id = 4, .seq_parameter_set_id = 9};
    const struct {
        Slice slice;
        u32 size;
    } rows[] = {
        {{.nal_unit_type = kIdr}, 3}, // 18 bits
        {{.sps = type2}, 3},          // 16 bits, so the next byte as well
        {{.sps = {.log2_max_frame_num_minus4 = 2, .pic_order_cnt_type = 2}}, 2},
        {{.sps = fields, .field_pic_flag = 1, .bottom_field_flag = 1}, 3},
        {{.sps = type1, .delta_pic_order_cnt = {0x7FFFFFFF}}, 11}, // with zeros in it
        {{.sps = type1, .pps = bottom, .delta_pic_order_cnt = {0x7FFFFFFF, -2}}, 12},
        {{.pps = bottom, .delta_pic_order_cnt_bottom = -70000}, 7},
        {{.pps = stray}, 2},
        {{.sps = wide, .slice_type = 0}, 6},                            // e0 00 00 03 00 0a
        {{.sps = wide, .slice_type = 0, .pic_order_cnt_lsb = 0x18}, 6}, // e0 00 00 03 03 0a
        {{.sps = wide, .slice_type = 0, .pic_order_cnt_lsb = 0x20}, 5}, // e0 00 00 04 0a
    };
    const std::pair<Bytes, u32> cut[] = {
        {"00 00 00 01 61 88"_bytes, 2}, {"00 00 00 01 61"_bytes, 1}, {"00 00 00 01 61 e0 00 00"_bytes, 4}};
    const auto measure = [](const Bytes& sets, const Bytes& slice) {
        const ParsingHandle handle;
        const Walk walk(sets + slice, handle);
        Next(handle);
        Next(handle);
        const Met met = Next(handle);
        EXPECT_TRUE(met.status == 0 && met.isSlice);
        return met.sliceHeaderSize;
    };
    for (const auto& [slice, size] : rows)
        EXPECT_EQ(measure(slice.sps + slice.pps, slice), size) << testing::PrintToString(Bytes(slice));
    for (const auto& [slice, size] : cut)
        EXPECT_EQ(measure(wide + Pps{}, slice), size) << testing::PrintToString(slice);
}

TEST(AvcStoredHeaderSize, CountsThe03BytesThatTheHeaderHolds)
{
    const struct {
        Bytes payload;
        u32 position, size;
    } rows[] = {
        {"88 84"_bytes, 0, 1},          {"88 84"_bytes, 1, 2},       {"88 84"_bytes, 2, 3}, // at the end
        {"88 00 00 01"_bytes, 2, 3},    {"88 00 00 01"_bytes, 3, 5}, {"88 00 00 04 00"_bytes, 4, 5},
        {"00 00 00 00 00"_bytes, 4, 7}, {"88 00 00"_bytes, 3, 4},    {Bytes{}, 0, 1},
    };
    for (const auto& row : rows) {
        const auto bytes = row.payload.Exact();
        EXPECT_EQ(
            avc::StoredHeaderSize(bytes.get(), bytes.get() + row.position, bytes.get() + row.payload.size()),
            row.size)
            << testing::PrintToString(row.payload) << ", " << row.position;
    }
    std::mt19937 random(45);
    for (int i = 0; i < 20000; ++i) {
        Bytes payload(random() % 24, 0);
        for (u8& byte : payload)
            byte = static_cast<u8>(random() % 8 < 5 ? 0 : random() % 6);
        const std::size_t position = random() % (payload.size() + 1),
                          read = std::min(position + 1, payload.size());
        const auto bytes = payload.Exact();
        ASSERT_EQ(avc::StoredHeaderSize(bytes.get(), bytes.get() + position, bytes.get() + payload.size()),
                  WithEmulationPrevention(payload.From(0, read)).size() + (position + 1 - read))
            << testing::PrintToString(payload) << ", " << position;
    }
}

} // namespace
