// SPDX-License-Identifier: MIT
#include "queue/VideoQueue.h"

#include "support/Memory.h"

#include <cstring>
#include <exception>

namespace nalsmith_internal {

namespace {

// Empty again, with the buffer kept for reuse.
void Clear(VideoQueueInfo& slot)
{
    slot.length = 0;
    slot.audStart = 0;
    slot.audLength = 0;
    slot.keyFrame = 0;
}

bool MakeSlot(VideoQueueInfo& slot, u32 size)
{
    slot = {};
    slot.buffer = memory::Allocate<u8>(size);
    slot.capacity = slot.buffer != nullptr ? size : 0;
    return slot.buffer != nullptr;
}

bool HasRoomFor(CVideoQueue& queue, VideoQueueInfo* slot, u64 needed)
{
    if (slot->capacity < needed)
        queue.ResizeBuffer(slot, needed);
    return slot->capacity >= needed;
}

} // namespace

Status CVideoQueue::Create(u32 count, u32 size)
{
    try {
        slots.resize(count);
    } catch (const std::exception&) {
        return kFailed;
    }
    bool made = true;
    for (VideoQueueInfo& slot : slots)
        made = made && MakeSlot(slot, size);
    made = made && MakeSlot(spare, size);
    return made ? kOk : kFailed;
}

void CVideoQueue::Close()
{
    for (VideoQueueInfo& slot : slots)
        memory::Free(slot.buffer);
    slots.clear();
    memory::Free(spare.buffer);
    memory::Free(tailScratch);
}

Status CVideoQueue::GetVideoInfo(VideoQueueInfo** slot)
{
    *slot = &slots[writeIndex];
    Clear(**slot);
    writeIndex = (writeIndex + 1) % static_cast<u32>(slots.size());
    return kOk;
}

void CVideoQueue::GetNextInfo(VideoQueueInfo** slot)
{
    *slot = &spare;
    Clear(spare);
}

Status CVideoQueue::StoreVideoData(VideoQueueInfo* slot, const u8* data, u32 size)
{
    if (!HasRoomFor(*this, slot, u64{slot->length} + size))
        return kFailed;
    memory::Copy(slot->buffer + slot->length, data, size);
    slot->length += size;
    return kOk;
}

Status CVideoQueue::InsertParameterData(VideoQueueInfo* slot, const u8* sps, u32 spsSize, const u8* pps,
                                        u32 ppsSize)
{
    const u32 position = slot->audStart + slot->audLength;
    const u32 tail = slot->length - position;
    const u64 total = u64{spsSize} + ppsSize;
    if (tail > tailScratchCapacity && !memory::ReplaceBy(tailScratch, tailScratchCapacity, tail))
        return kFailed;
    if (!HasRoomFor(*this, slot, slot->length + total))
        return kFailed;

    u8* const at = slot->buffer + position;
    memory::Copy(tailScratch, at, tail);
    memory::Copy(at, sps, spsSize);
    memory::Copy(at + spsSize, pps, ppsSize);
    memory::Copy(at + total, tailScratch, tail);
    slot->length += static_cast<u32>(total);
    return kOk;
}

Status CVideoQueue::InsertHEVCParameterData(VideoQueueInfo* slot, const u8* vps, u32 vpsSize, const u8* sps,
                                            u32 spsSize, const u8* pps, u32 ppsSize)
{
    const u64 total = u64{vpsSize} + spsSize + ppsSize;
    if (!HasRoomFor(*this, slot, slot->length + total))
        return kFailed;

    u8* const at = slot->buffer;
    std::memmove(at + total, at, slot->length);
    memory::Copy(at, vps, vpsSize);
    memory::Copy(at + vpsSize, sps, spsSize);
    memory::Copy(at + vpsSize + spsSize, pps, ppsSize);
    slot->length += static_cast<u32>(total);
    return kOk;
}

void CVideoQueue::ResizeBuffer(VideoQueueInfo* slot, u64 newCapacity)
{
    memory::GrowTo(slot->buffer, slot->capacity, newCapacity);
}

} // namespace nalsmith_internal
