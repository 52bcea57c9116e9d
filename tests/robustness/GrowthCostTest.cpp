// SPDX-License-Identifier: MIT
// Growth costs in proportion to the input: counted in bytes allocated and copied, not timed.
#include "AvcStream.h"
#include "FailingAllocation.h"
#include "Handles.h"
#include "UserData.h"
#include "support/Memory.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;
using userdatatest::UserDataHandle;

// One access unit of `size` bytes or a little more: a slice, then copies of `unit`.
Bytes AccessUnitOf(const Bytes& unit, std::size_t size)
{
    Bytes stream = Delimiter{} + Sps{} + Pps{} + Slice{.nal_unit_type = kIdr};
    stream.reserve(size + unit.size());
    while (stream.size() < size)
        stream.insert(stream.end(), unit.begin(), unit.end());
    return stream;
}

u64 WorkFor(const Bytes& stream)
{
    const ParsingHandle handle(VideoCodecAVC, 2, 1000);
    VideoInfo info = UnwrittenInfo();
    AllocationWatch watch;
    watch.During([&] {
        ParseVideoParams(handle.Get(), stream.data(), stream.Size(), &info);
        ParseVideoParams(handle.Get(), nullptr, 0, &info);
    });
    EXPECT_EQ(info.frameSize, stream.Size());
    return watch.Work();
}

class GrowthCost : public testing::Test {
protected:
    void SetUp() override
    {
#if defined(NALSMITH_EXACT_ALLOCATION)
        GTEST_SKIP() << "this build allocates exact sizes, so that overruns are seen";
#endif
    }
};

const Bytes kSlice =
    Slice{.nal_unit_type = kIdr, .first_mb_in_slice = 1, .data = Bytes(1400, 0x5A), .startCodeSize = 3};

TEST_F(GrowthCost, TwiceTheNalUnitsCostAboutTwiceToRead)
{
    const std::pair<Bytes, std::size_t> rows[] = {{"00 00 01 0c ff"_bytes, 500000}, {kSlice, 4000000}};
    for (const auto& [unit, half] : rows) {
        const u64 small = WorkFor(AccessUnitOf(unit, half));
        EXPECT_GE(small, half); // the watch sees the growth
        EXPECT_LE(WorkFor(AccessUnitOf(unit, 2 * half)), small * 5 / 2);
    }
}

TEST_F(GrowthCost, TwiceTheNalUnitsCostAboutTwiceToSplitAndToStrip)
{
    const auto workFor = [](u32 units) {
        Bytes frame = Join(std::vector<Bytes>(units, "00 00 00 01 06 04 00 80 00 00 01 0c ff"_bytes));
        const ParsingHandle handle;
        const UserDataHandle editor(VideoCodecAVC);
        u32 count = 0, size = 0, *sizes = nullptr;
        u8** nals = nullptr;
        const u8* out = nullptr;
        AllocationWatch watch;
        watch.During([&] {
            GetNalFromFrame(handle.Get(), frame.data(), frame.Size(), &count, &nals, &sizes);
            RemoveUserData(editor.Get(), frame.data(), frame.Size(), &out, &size);
        });
        EXPECT_TRUE(count == 2 * units && size == frame.size());
        return watch.Work();
    };
    const u64 small = workFor(50000);
    EXPECT_GE(small, 600000u);
    EXPECT_LE(workFor(100000), small * 5 / 2);
}

// Once every buffer has held the largest of its kind, nothing is allocated, whatever the job.
TEST(SteadyState, AllocatesNothing)
{
    Bytes key = Delimiter{} + Sei{} + Slice{.nal_unit_type = kIdr, .data = Bytes(150000, 0x5A)};
    const Bytes data(3000, 0);
    const ParsingHandle handle(VideoCodecAVC, 3, 1000);
    handle.Feed(Sps{} + Pps{});
    const UserDataHandle editor(VideoCodecAVC);
    const auto round = [&] {
        VideoInfo info;
        VideoInfoEx verdict;
        u32 count = 0, size = 0, *sizes = nullptr;
        u8** nals = nullptr;
        const u8* out = nullptr;
        ParseVideoParams(handle.Get(), key.data(), key.Size(), &info);
        VideoSampleTest(handle.Get(), key.data(), key.Size(), &verdict);
        GetNalFromFrame(handle.Get(), key.data(), key.Size(), &count, &nals, &sizes);
        EXPECT_EQ(AddUserData(editor.Get(), key.data(), key.Size(), data.data(), data.Size(), &out, &size),
                  0);
        EXPECT_EQ(RemoveUserData(editor.Get(), out, size, &out, &size), 0);
        EXPECT_EQ(GetUserData(editor.Get(), out, size, &out, &size), 0);
        EXPECT_EQ(count, 3u);
    };
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i)
            round();
    };
    AllocationWatch first, later;
    first.During([&] { rounds(4); });
    later.During([&] { rounds(12); });
    EXPECT_GT(first.Calls(), 0u);
    EXPECT_EQ(later.Calls(), 0u);
}

} // namespace
