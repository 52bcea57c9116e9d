// SPDX-License-Identifier: MIT
// Growth costs in proportion to the input: counted in bytes allocated and copied, not timed.
#include "AvcStream.h"
#include "FailingAllocation.h"
#include "Handles.h"
#include "support/Memory.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

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

void ExpectLinear(const Bytes& unit, std::size_t half)
{
#if defined(NALSMITH_EXACT_ALLOCATION)
    GTEST_SKIP() << "this build allocates exact sizes, so that overruns are seen";
#endif
    const u64 small = WorkFor(AccessUnitOf(unit, half));
    const u64 large = WorkFor(AccessUnitOf(unit, 2 * half));
    EXPECT_GE(small, half); // the watch sees the growth
    EXPECT_LE(large, small * 5 / 2);
}

TEST(GrowthCost, TwiceTheNalUnitsOfFiveBytesCostAboutTwice)
{
    ExpectLinear("00 00 01 0c ff"_bytes, 500000);
}

TEST(GrowthCost, TwiceTheSlicesOf1400BytesCostAboutTwice)
{
    const Slice slice{
        .nal_unit_type = kIdr, .first_mb_in_slice = 1, .data = Bytes(1400, 0x5A), .startCodeSize = 3};
    ExpectLinear(slice, 4000000);
}

} // namespace
