// SPDX-License-Identifier: MIT
// The ring of slots in which access units are assembled. Knows bytes and marks, no codec.
#pragma once

#include "support/Types.h"

#include <vector>

namespace nalsmith_internal {

// One slot. Copied as plain bytes; a value-initialised one is empty.
struct VideoQueueInfo {
    u8* buffer;    // owned by the queue
    u32 length;    // bytes stored
    u32 capacity;  // bytes that `buffer` is said to hold
    u32 audStart;  // where the access unit delimiter begins
    u32 audLength; // its size with start code; 0 when the slot has none
    u32 keyFrame;  // 1 when a slice of a key picture is stored
};

// A fixed number of slots handed out in rotation, and one spare. There is no busy slot: with n slots, the
// n-th hand-out after this one takes this one back. Buffers grow on demand, stay for reuse and never shrink.
// A status other than 0 means lack of memory, with everything held before intact.
class CVideoQueue {
public:
    Status Create(u32 count, u32 size);
    void Close();

    // The next slot of the ring, emptied.
    Status GetVideoInfo(VideoQueueInfo** slot);
    // The spare, emptied.
    void GetNextInfo(VideoQueueInfo** slot);

    Status StoreVideoData(VideoQueueInfo* slot, const u8* data, u32 size);
    // H.264: behind the slot's access unit delimiter, or in front when it has none.
    Status InsertParameterData(VideoQueueInfo* slot, const u8* sps, u32 spsSize, const u8* pps, u32 ppsSize);
    // H.265: in front of everything, delimiter included.
    Status InsertHEVCParameterData(VideoQueueInfo* slot, const u8* vps, u32 vpsSize, const u8* sps,
                                   u32 spsSize, const u8* pps, u32 ppsSize);
    // Leaves slot and capacity alone when there is no memory.
    void ResizeBuffer(VideoQueueInfo* slot, u64 newCapacity);

    std::vector<VideoQueueInfo> slots;
    VideoQueueInfo spare = {};
    u32 writeIndex = 0;
    u8* tailScratch =
        nullptr; // what stands behind the insertion point, while InsertParameterData() writes there
    u32 tailScratchCapacity = 0;
};

} // namespace nalsmith_internal
