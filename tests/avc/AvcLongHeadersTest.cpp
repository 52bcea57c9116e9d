// SPDX-License-Identifier: MIT
// Slice headers are read from the first bytes of their NAL unit. Whatever stands at the cut, and however long
// the header is, the answers are those of the whole NAL unit.
#include "AvcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

// frame_num of `bits` bits, all of them zero or, with emulation prevention in between, a pattern; the last
// bits tell.
Bytes LongSlice(u32 bits, u32 lastBits, u32 fill, u32 nal_unit_type, const Bytes& data)
{
    BitWriter out;
    out.ue(7).ue(5).ue(0);
    for (u32 i = 0; i + 32 < bits; ++i)
        out.u(1, fill >> i % 32 & 1);
    out.u(32, lastBits).u(4, 0);
    return Nal(nal_unit_type, out.TrailingBits().Take() + data, 2);
}

TEST(AvcLongHeaders, AreReadToTheirEnd)
{
    for (const u32 bits : {400u, 460u, 464u, 470u, 480u, 496u, 504u, 512u, 520u, 1000u, 5000u})
        for (const u32 fill : {0u, 0xFFFFFFFFu, 0x00000301u, 0x00030000u}) {
            const Bytes sets = Sps{.log2_max_frame_num_minus4 = bits - 4} + Pps{};
            const Bytes data(300, 0x11);
            const ParsingHandle handle;
            handle.Feed(sets);
            handle.Feed(LongSlice(bits, 5, fill, 1, data));
            EXPECT_EQ(handle.Avc().curSlice.frame_num, 5u) << bits;
            // The same picture goes on; then the very last bit of frame_num begins another.
            EXPECT_EQ(handle.Feed(LongSlice(bits, 5, fill, 1, data)).info.frameAvailable, 0u) << bits;
            EXPECT_EQ(handle.Feed(LongSlice(bits, 4, fill, 1, data)).info.frameAvailable, 1u) << bits;
            EXPECT_EQ(handle.Avc().prevSlice.frame_num, 4u);

            EXPECT_EQ(Judge(handle, LongSlice(bits, 7, fill, 1, data)).status, 0);
            EXPECT_EQ(handle.Avc().curFrameNum, 7u) << bits;
        }
}

// The header's stored length, against the bytes that were written.
TEST(AvcLongHeaders, AreMeasuredToTheirEnd)
{
    for (u32 bits = 400; bits <= 600; ++bits) {
        const ParsingHandle handle;
        handle.Feed(Sps{.log2_max_frame_num_minus4 = bits - 4} + Pps{});
        Bytes slice = LongSlice(bits, 5, 0, 1, Bytes(300, 0x11));
        const u32 read = (7 + 5 + 1 + bits + 4) / 8 + 1; // the byte behind the last field counts
        const Bytes stored = WithEmulationPrevention(WithoutEmulationPrevention(slice).From(5, read));
        u8* nal = nullptr;
        u32 size = 0, headerSize = 0;
        bool isSlice = false;
        SetVideoData(handle.Get(), slice.data(), slice.Size());
        ASSERT_EQ(GetNalUnit(handle.Get(), &nal, &size, &isSlice, &headerSize), 0);
        EXPECT_EQ(headerSize, stored.size()) << bits;
    }
}

// A start code that follows at once, or stands where the head is cut, ends the sample's slice there.
TEST(AvcLongHeaders, ShortSlicesEndWhereTheyEnd)
{
    for (u32 padding = 0; padding < 80; ++padding) {
        const Bytes sets = Sps{.log2_max_frame_num_minus4 = 12 * 8} + Pps{};
        // A header cut short: what is missing reads as zero, not as the next NAL unit's bytes.
        const Bytes slice = Nal(1, "9a"_bytes + Bytes(padding % 14, 0xFF), 2);
        const ParsingHandle handle, alone;
        Judge(handle, sets + slice + Nal(12, Bytes(40 + padding, 0xFF)) + Nal(1, Bytes(9, 0xFF), 2));
        Judge(alone, sets + slice);
        const AvcSliceInfo &tested = handle.Avc().curSlice, &expected = alone.Avc().curSlice;
        EXPECT_EQ(tested.frame_num, expected.frame_num) << padding;
        EXPECT_EQ(tested.pic_order_cnt_lsb, expected.pic_order_cnt_lsb) << padding;
    }
}

} // namespace
