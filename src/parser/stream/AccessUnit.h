// SPDX-License-Identifier: MIT
// The access unit being assembled. Knows where NAL units wait and what is reported, not what they mean.
#pragma once

#include "nalsmith/nalsmith.h"
#include "parser/records/NalUnit.h"
#include "queue/VideoQueue.h"

namespace nalsmith_internal::stream {

// One of the parser's retained parameter sets: the first of its kind, start code included.
struct RetainedSet {
    u8*& nal;
    u32& capacity;
    u32& size;

    bool Held() const { return size != 0; }
    // Room for `nal` when it would be the first. False for lack of memory.
    bool Reserve(const NalUnit& unit);
    // Keeps `nal`, for which room was reserved, when it is the first. True when it is.
    bool KeepFirst(const NalUnit& unit);
};

// The sequence fields of `from` and its sequenceInfoValid.
void CopySequenceFields(VideoInfo& to, const VideoInfo& from);

// A view, for one call, of the parser's two slots and their records. NAL units that open an access unit wait
// in the queue's spare slot until the next slice tells which access unit that is; only before anything is
// stored they go straight into a ring slot.
//
// Lack of memory drops the NAL unit at hand and is remembered: the call fails at its end, what is held stays.
class AccessUnit {
public:
    AccessUnit(CVideoQueue& queue, VideoQueueInfo*& currentSlot, VideoInfo& currentInfo,
               VideoQueueInfo*& pendingSlot, VideoInfo& pendingInfo)
        : queue_(queue), currentSlot_(currentSlot), currentInfo_(currentInfo), pendingSlot_(pendingSlot),
          pendingInfo_(pendingInfo)
    {
    }

    // Stores a NAL unit that begins the next access unit once a slice has been stored.
    // Returns the record of the access unit that it belongs to, or null when it was dropped.
    VideoInfo* AppendOpener(const NalUnit& nal);
    VideoInfo* AppendDelimiter(const NalUnit& nal);
    VideoInfo* AppendParameterSet(const NalUnit& nal, RetainedSet& first);
    // Stores a NAL unit with whatever came last; drops it when there is nothing.
    void AppendTrailing(const NalUnit& nal);
    void AppendSlice(const NalUnit& nal, bool keyPicture);

    // Make the current slot ready for the first, or for another slice of a picture, with the openers that
    // wait. False when the openers could not be moved, for lack of memory.
    bool BeginPicture();
    bool ContinuePicture();

    // Nothing stored, nothing to report.
    bool Empty() const { return currentSlot_ == nullptr || currentSlot_->length == 0; }
    bool HasPending() const { return pendingSlot_ != nullptr; }
    bool KeyWithoutSequence() const
    {
        return currentSlot_->keyFrame != 0 && currentInfo_.sequenceInfoValid == 0;
    }
    VideoQueueInfo* Slot() const { return currentSlot_; }

    // Describes the current slot. True when the access unit brought its own sequence fields.
    bool Report(VideoInfo& info);

    bool Note(Status status);
    bool Failed() const { return failed_; }

private:
    void TakeSlot();
    bool Append(VideoQueueInfo* slot, const NalUnit& nal);
    bool MergePending();

    CVideoQueue& queue_;
    VideoQueueInfo*& currentSlot_;
    VideoInfo& currentInfo_;
    VideoQueueInfo*& pendingSlot_;
    VideoInfo& pendingInfo_;
    bool failed_ = false;
};

} // namespace nalsmith_internal::stream
