// SPDX-License-Identifier: MIT
// The ring of slots by itself.
#include "queue/VideoQueue.h"
#include "Handles.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

class Queue : public CVideoQueue {
public:
    Queue(u32 count, u32 size) { EXPECT_EQ(Create(count, size), 0); }
    ~Queue() { Close(); }

    VideoQueueInfo& Next()
    {
        VideoQueueInfo* slot = nullptr;
        EXPECT_EQ(GetVideoInfo(&slot), 0);
        return *slot;
    }
    void Store(VideoQueueInfo& slot, const Bytes& bytes)
    {
        EXPECT_EQ(StoreVideoData(&slot, bytes.data(), bytes.Size()), 0);
    }
};

const Bytes kDelimiter = "00 00 00 01 09 f0"_bytes;
const Bytes kSlice = "00 00 01 65 88 84 21"_bytes;
const Bytes kVps(17, 0x40), kSps(20, 0x67), kPps(6, 0x68);

bool IsEmpty(const VideoQueueInfo& slot, u32 capacity)
{
    return slot.length == 0 && slot.audStart == 0 && slot.audLength == 0 && slot.keyFrame == 0 &&
           slot.buffer != nullptr && slot.capacity == capacity;
}

TEST(VideoQueue, SlotsAndSpareBeginEmptyWithTheStatedCapacity)
{
    Queue queue(6, 100000);
    ASSERT_EQ(queue.slots.size(), 6u);
    for (const VideoQueueInfo& slot : queue.slots) {
        EXPECT_TRUE(IsEmpty(slot, 100000));
        slot.buffer[99999] = 1; // a sanitizer sees a shorter one
    }
    queue.ResizeBuffer(&queue.spare, 10);
    EXPECT_TRUE(IsEmpty(queue.spare, 100000)); // never shrinks
    queue.Close();
    EXPECT_TRUE(queue.slots.empty() && queue.spare.buffer == nullptr && queue.tailScratch == nullptr);
}

TEST(VideoQueue, SlotsComeBackEmptyWithTheirBuffers)
{
    Queue queue(3, 10);
    VideoQueueInfo *first = &queue.Next(), *spare = nullptr;
    queue.GetNextInfo(&spare);
    for (VideoQueueInfo* slot : {first, spare}) {
        queue.Store(*slot, Bytes(50, 7));
        slot->audStart = slot->audLength = slot->keyFrame = 1;
    }
    const u8* const grown = first->buffer;
    VideoQueueInfo &second = queue.Next(), &third = queue.Next();
    queue.Store(second, kSlice);
    EXPECT_TRUE(first != &second && &second != &third && first != &third);
    EXPECT_EQ(&queue.Next(), first);
    EXPECT_TRUE(IsEmpty(*first, 50) && first->buffer == grown);
    queue.GetNextInfo(&spare);
    EXPECT_TRUE(spare == &queue.spare && IsEmpty(*spare, 50));
    EXPECT_EQ(Held(second), kSlice);
    EXPECT_EQ(&queue.Next(), &second);
}

TEST(VideoQueue, AvcParameterSetsGoBehindTheDelimiterOrToTheFront)
{
    const Bytes sets = kSps + kPps;
    const struct {
        Bytes before, delimiter, behind;
    } rows[] = {{Bytes{}, kDelimiter, kSlice},
                {Bytes{}, Bytes{}, kSlice},
                {kSlice, kDelimiter, Bytes{}},
                {kSlice, kDelimiter, kSlice},
                {Bytes{}, Bytes{}, Bytes{}}};
    for (const auto& [before, delimiter, behind] : rows)
        for (const u32 capacity : {7u, 38u, 39u, 200u}) {
            Queue queue(1, capacity);
            VideoQueueInfo& slot = queue.Next();
            queue.Store(slot, before + delimiter + behind);
            slot.audStart = before.Size(), slot.audLength = delimiter.Size(), slot.keyFrame = 1;
            Bytes inserted;
            for (int times = 0; times < 2; ++times) {
                EXPECT_EQ(queue.InsertParameterData(&slot, kSps.data(), 20, kPps.data(), 6), 0);
                inserted = inserted + sets;
                EXPECT_EQ(Held(slot), before + delimiter + inserted + behind);
                EXPECT_EQ(slot.capacity, std::max(capacity, slot.length));
            }
            EXPECT_TRUE(slot.audStart == before.size() && slot.audLength == delimiter.size());
            EXPECT_EQ(slot.keyFrame, 1u);
            EXPECT_EQ(queue.tailScratchCapacity, (sets + behind).size());
        }
}

TEST(VideoQueue, HevcParameterSetsGoInFrontOfEverything)
{
    for (const u32 capacity : {13u, 55u, 56u, 200u}) {
        Queue queue(1, capacity);
        VideoQueueInfo& slot = queue.Next();
        const auto insert = [&](u32 vpsSize) {
            return queue.InsertHEVCParameterData(&slot, kVps.data(), vpsSize, kSps.data(), 20, kPps.data(),
                                                 6);
        };
        queue.Store(slot, kDelimiter + kSlice);
        slot.audLength = 6;
        EXPECT_EQ(insert(17), 0);
        EXPECT_EQ(Held(slot), kVps + kSps + kPps + kDelimiter + kSlice);
        EXPECT_EQ(slot.capacity, std::max(capacity, 56u));
        EXPECT_TRUE(slot.audStart == 0 && slot.audLength == 6 && slot.keyFrame == 0);
        EXPECT_EQ(insert(0), 0);
        EXPECT_EQ(Held(slot), kSps + kPps + kVps + kSps + kPps + kDelimiter + kSlice);
    }
}

} // namespace
