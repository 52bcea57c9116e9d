// SPDX-License-Identifier: MIT
// Input that is cut or damaged: nothing outside a slot is handed out, and the next stream is read as ever.
#include "AvcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

Bytes SmallStream()
{
    const Sps sps{
        .profile_idc = 244,
        .chroma_format = true,
        .chroma_format_idc = 3,
        .scaling_lists = std::vector<ScalingList>(12, std::vector<i32>{4, -12}),
        .pic_order_cnt_type = 1,
        .offset_for_ref_frame = {1, -1, 2},
        .frame_mbs_only_flag = 0,
        .crop = Cropping{.bottom = 1},
        .vui = Vui{.aspect_ratio_idc = 255, .signal = VideoSignal{5, 0, 1, 1, 0, 0}, .timing = Timing{}}};
    const Pps pps{.bottom_field_pic_order_in_frame_present_flag = 1};
    return Delimiter{} + sps + pps + Slice{.sps = sps, .pps = pps, .nal_unit_type = kIdr} + Sei{} +
           Slice{.sps = sps, .pps = pps, .frame_num = 1, .delta_pic_order_cnt = {-3, 4}} + Delimiter{} +
           Slice{.sps = sps, .pps = pps, .nal_unit_type = kIdr, .idr_pic_id = 1, .startCodeSize = 3};
}

// A frame lies in a slot and begins with a start code.
void ExpectSound(const ParsingHandle& handle, const Reported& unit)
{
    ASSERT_TRUE(unit.status == 0 || unit.status == -1);
    if (unit.info.frameAvailable == 0)
        return;
    bool inSlot = false;
    for (const VideoQueueInfo& slot : handle.Avc().queue->slots)
        inSlot = inSlot || (slot.buffer == unit.info.frameData && unit.info.frameSize <= slot.capacity);
    ASSERT_TRUE(inSlot);
    ASSERT_FALSE(SplitNalUnits(unit.frame).empty());
    ASSERT_EQ(Join(SplitNalUnits(unit.frame)), unit.frame);
}

TEST(DamagedInput, StreamsMayEndAnywhere)
{
    const Bytes stream = SmallStream();
    for (std::size_t size = 0; size <= stream.size(); ++size) {
        const ParsingHandle handle(VideoCodecAVC, 2, 20);
        ExpectSound(handle, handle.Feed(stream.From(0, size)));
        ExpectSound(handle, handle.Flush());
        handle.Feed(stream); // and the next one is read as ever
        EXPECT_EQ(handle.Flush().info.keyFrame, 1u);
    }
}

TEST(DamagedInput, AnyBitMayBeWrong)
{
    const Bytes stream = SmallStream();
    for (std::size_t bit = 0; bit < 8 * stream.size(); ++bit) {
        Bytes damaged = stream;
        damaged[bit / 8] = static_cast<u8>(damaged[bit / 8] ^ 0x80 >> bit % 8);
        const ParsingHandle handle(VideoCodecAVC, 2, 20);
        ExpectSound(handle, handle.Feed(damaged));
        for (const Bytes& nal : SplitNalUnits(damaged))
            ExpectSound(handle, handle.Feed(nal));
        ExpectSound(handle, handle.Flush());
    }
}

} // namespace
