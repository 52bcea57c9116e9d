// SPDX-License-Identifier: MIT
// Runs of H.264 access units: cut into calls in any way, and how long their bytes stay.
#include "AvcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>
#include <random>

namespace {

using namespace avctest;

// Access units of one to three slices, of all sizes, some with delimiter or SEI, some key frames.
std::vector<Bytes> Units(u32 count)
{
    std::mt19937 random(3);
    const Sps sps{.vui = Vui{.timing = Timing{}}};
    std::vector<Bytes> units;
    for (u32 i = 0; i < count; ++i) {
        Bytes unit = i == 0 || random() % 2 != 0 ? Bytes(Delimiter{}) : Bytes{};
        const bool key = i % 7 == 0;
        if (key)
            unit = unit + sps + Pps{};
        if (random() % 3 == 0)
            unit = unit + Sei{};
        const u32 slices = 1 + static_cast<u32>(random() % 3);
        for (u32 slice = 0; slice < slices; ++slice)
            unit = unit + Slice{.sps = sps,
                                .nal_unit_type = key ? kIdr : 1,
                                .first_mb_in_slice = slice,
                                .frame_num = i % 7,
                                .data = Bytes(random() % 300, static_cast<u8>(i | 0x80)),
                                .startCodeSize = slice == 0 ? 4u : 3u};
        units.push_back(unit);
    }
    return units;
}

TEST(AvcAccessUnits, AreTheSameHoweverTheyAreCutIntoCalls)
{
    const std::vector<Bytes> units = Units(30);
    EXPECT_EQ(FramesOf(ParsingHandle().FeedAll(units)), units);
    EXPECT_EQ(FramesOf(ParsingHandle().FeedAll(SplitNalUnits(Join(units)))), units);

    const ParsingHandle whole(VideoCodecAVC, 31, 10); // a slot for each, so that all can be seen
    EXPECT_EQ(whole.Feed(Join(units)).frame, units[28]);
    EXPECT_EQ(whole.Flush().frame, units[29]);
    for (std::size_t i = 0; i < units.size(); ++i) {
        const VideoQueueInfo& slot = whole.Avc().queue->slots[i];
        EXPECT_EQ(Bytes(slot.buffer, slot.buffer + slot.length), units[i]);
    }
}

TEST(AvcAccessUnits, BytesStayWhileTheNextOnesAreAssembled)
{
    const std::vector<Bytes> units = Units(40);
    for (const u32 queueCount : {1u, 2u, 3u, 6u}) {
        const ParsingHandle handle(VideoCodecAVC, queueCount, 50);
        std::vector<Reported> reported;
        for (const Bytes& nal : SplitNalUnits(Join(units))) {
            if (Reported unit = handle.Feed(nal); unit.info.frameAvailable != 0)
                reported.push_back(std::move(unit));
            const std::size_t held = std::min<std::size_t>(queueCount - 1, reported.size());
            for (std::size_t i = reported.size() - held; i < reported.size(); ++i) {
                const VideoInfo& info = reported[i].info;
                ASSERT_EQ(Bytes(info.frameData, info.frameData + info.frameSize), units[i])
                    << queueCount << " slots, unit " << i << " of " << reported.size();
            }
        }
        ASSERT_EQ(reported.size(), units.size() - 1);
        for (std::size_t i = 0; i < reported.size(); ++i) // with one slot just the size is there to see
            EXPECT_EQ(reported[i].info.frameSize, units[i].size());
        EXPECT_EQ(handle.Flush().frame, units.back());
    }
}

} // namespace
