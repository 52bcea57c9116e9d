// SPDX-License-Identifier: MIT
// Order and widths of the members of everything inside that may be known by its layout. What is public is
// pinned by nalsmith.h itself, the records of parameter sets and slices by the tests that read them.
#include "parser/VideoParams.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <type_traits>
#include <vector>

using namespace nalsmith_internal;

namespace {

struct Member {
    const char* name;
    std::size_t offset, size, alignment, statedSize;
};

// Each member stands at the first suitable place behind the one before.
void ExpectLayout(std::size_t start, std::size_t wholeSize, const std::vector<Member>& members)
{
    std::size_t place = start, widest = 1;
    const auto align = [&](std::size_t alignment) {
        place = (place + alignment - 1) / alignment * alignment;
    };
    for (const Member& member : members) {
        align(member.alignment);
        EXPECT_EQ(member.offset, place) << member.name;
        EXPECT_EQ(member.size, member.statedSize) << member.name;
        place += member.statedSize;
        widest = std::max(widest, member.alignment);
    }
    align(widest);
    EXPECT_EQ(wholeSize, place);
}

#define M(member, width)                                                                                     \
    Member                                                                                                   \
    {                                                                                                        \
#member, offsetof(T, member), sizeof(T::member), alignof(decltype(T::member)), width                 \
    }
#define EXPECT_LAYOUT(type, start, ...)                                                                      \
    do {                                                                                                     \
        using T = type;                                                                                      \
        SCOPED_TRACE(#type);                                                                                 \
        ExpectLayout(start, sizeof(T), {__VA_ARGS__});                                                       \
    } while (false)

TEST(Layout, QueueAndItsSlots)
{
    EXPECT_LAYOUT(VideoQueueInfo, 0, M(buffer, 8), M(length, 4), M(capacity, 4), M(audStart, 4),
                  M(audLength, 4), M(keyFrame, 4));
    EXPECT_LAYOUT(CVideoQueue, 0, M(slots, 24), M(spare, 32), M(writeIndex, 4), M(tailScratch, 8),
                  M(tailScratchCapacity, 4));
}

// Objects begin with the address of the virtual operations.
TEST(Layout, Parsers)
{
    EXPECT_LAYOUT(
        CParserBase, 8, M(queue, 8), M(userDataBuffer, 8), M(userDataBufferSize, 4), M(userDataLength, 4),
        M(userFrameBuffer, 8), M(userFrameBufferSize, 4), M(userPayloadLength, 4), M(vpsCopy, 8),
        M(vpsCopyLength, 4), M(spsCopy, 8), M(spsCopyLength, 4), M(ppsCopy, 8), M(ppsCopyLength, 4),
        M(nalListCapacity, 4), M(nalList, 8), M(nalSizeList, 8), M(seiKeepBuffer, 8), M(seiKeepBufferSize, 4),
        M(seiKeepLength, 4), M(seiEscapeBuffer, 8), M(seiEscapeBufferSize, 4), M(seiEscapeLength, 4),
        M(removeFrameBuffer, 8), M(removeFrameBufferSize, 4), M(removeFrameLength, 4), M(streamData, 8),
        M(streamRemaining, 4), M(queueCount, 4), M(queueBufferSize, 4), M(nalCursor, 8), M(nextStartCode, 8),
        M(rbspBuffer, 8), M(rbspBufferSize, 4), M(readPtr, 8), M(readRemaining, 4), M(bitPosition, 4));
    EXPECT_LAYOUT(CParseAVCParams, sizeof(CParserBase), M(spsTable, 32 * 8), M(ppsTable, 256 * 8),
                  M(prevSlice, 13 * 4), M(curSlice, 13 * 4), M(firstSlice, 4), M(currentSlot, 8),
                  M(currentInfo, 72), M(pendingSlot, 8), M(pendingInfo, 72), M(streamInfo, 72), M(spsNal, 8),
                  M(ppsNal, 8), M(spsCapacity, 4), M(ppsCapacity, 4), M(spsNalSize, 4), M(ppsNalSize, 4),
                  M(prevRefFrameNum, 4), M(curFrameNum, 4), M(maxFrameNum, 4), M(gapsAllowed, 4),
                  M(firstFieldIsTop, 4), M(firstFieldGap, 4));
    EXPECT_LAYOUT(CParseHEVCParams, sizeof(CParserBase), M(vpsTable, 16 * 8), M(spsTable, 32 * 8),
                  M(ppsTable, 256 * 8), M(vpsNal, 8), M(spsNal, 8), M(ppsNal, 8), M(vpsCapacity, 4),
                  M(spsCapacity, 4), M(ppsCapacity, 4), M(vpsNalSize, 4), M(spsNalSize, 4), M(ppsNalSize, 4),
                  M(firstSlice, 4), M(currentSlot, 8), M(currentInfo, 72), M(pendingSlot, 8),
                  M(pendingInfo, 72), M(prevTid0Poc, 4), M(picOrderCnt, 4));
    static_assert(std::is_signed_v<decltype(CParseHEVCParams::prevTid0Poc)>);
    static_assert(std::is_signed_v<decltype(CParseHEVCParams::picOrderCnt)>);
    static_assert(std::is_signed_v<decltype(AvcSliceInfo::delta_pic_order_cnt_bottom)>);
    static_assert(std::is_signed_v<std::remove_extent_t<decltype(AvcSliceInfo::delta_pic_order_cnt)>>);
}

} // namespace
