// SPDX-License-Identifier: MIT
#include "parser/stream/AccessUnit.h"

#include "support/Memory.h"

namespace nalsmith_internal::stream {

bool RetainedSet::Reserve(const NalUnit& unit)
{
    return Held() || unit.size <= capacity || memory::GrowTo(nal, capacity, unit.size);
}

bool RetainedSet::KeepFirst(const NalUnit& unit)
{
    if (Held())
        return false;
    memory::Copy(nal, unit.data, unit.size);
    size = unit.size;
    return true;
}

void CopySequenceFields(VideoInfo& to, const VideoInfo& from)
{
    const VideoInfo frame = to;
    to = from;
    to.frameAvailable = frame.frameAvailable;
    to.keyFrame = frame.keyFrame;
    to.frameData = frame.frameData;
    to.frameSize = frame.frameSize;
}

VideoInfo* AccessUnit::AppendOpener(const NalUnit& nal)
{
    const bool first = currentSlot_ == nullptr;
    const bool opens = !first && pendingSlot_ == nullptr;
    if (first)
        TakeSlot();
    else if (opens)
        queue_.GetNextInfo(&pendingSlot_);

    if (Append(first ? currentSlot_ : pendingSlot_, nal))
        return first ? &currentInfo_ : &pendingInfo_;
    if (first)
        currentSlot_ = nullptr;
    else if (opens)
        pendingSlot_ = nullptr;
    return nullptr;
}

VideoInfo* AccessUnit::AppendDelimiter(const NalUnit& nal)
{
    VideoInfo* record = AppendOpener(nal);
    if (record != nullptr) {
        VideoQueueInfo& slot = record == &currentInfo_ ? *currentSlot_ : *pendingSlot_;
        slot.audStart = slot.length - nal.size;
        slot.audLength = nal.size;
    }
    return record;
}

VideoInfo* AccessUnit::AppendParameterSet(const NalUnit& nal, RetainedSet& first)
{
    if (!first.Reserve(nal)) {
        failed_ = true;
        return nullptr;
    }
    return AppendOpener(nal);
}

void AccessUnit::AppendTrailing(const NalUnit& nal)
{
    if (pendingSlot_ != nullptr)
        Append(pendingSlot_, nal);
    else if (currentSlot_ != nullptr)
        Append(currentSlot_, nal);
}

void AccessUnit::AppendSlice(const NalUnit& nal, bool keyPicture)
{
    if (Append(currentSlot_, nal) && keyPicture)
        currentSlot_->keyFrame = 1;
}

bool AccessUnit::BeginPicture()
{
    TakeSlot();
    return MergePending();
}

bool AccessUnit::ContinuePicture()
{
    if (currentSlot_ == nullptr)
        TakeSlot();
    return MergePending();
}

bool AccessUnit::Report(VideoInfo& info)
{
    info.frameAvailable = 1;
    info.frameData = currentSlot_->buffer;
    info.frameSize = currentSlot_->length;
    info.keyFrame = currentSlot_->keyFrame;
    if (currentInfo_.sequenceInfoValid == 0)
        return false;
    CopySequenceFields(info, currentInfo_);
    currentInfo_ = {};
    return true;
}

bool AccessUnit::Note(Status status)
{
    if (status != kOk)
        failed_ = true;
    return status == kOk;
}

void AccessUnit::TakeSlot()
{
    queue_.GetVideoInfo(&currentSlot_);
}

bool AccessUnit::Append(VideoQueueInfo* slot, const NalUnit& nal)
{
    return Note(queue_.StoreVideoData(slot, nal.data, nal.size));
}

// The first delimiter of an access unit is the one that counts. Its position moves with the bytes.
bool AccessUnit::MergePending()
{
    if (pendingSlot_ == nullptr)
        return true;
    const u32 position = currentSlot_->length;
    if (!Note(queue_.StoreVideoData(currentSlot_, pendingSlot_->buffer, pendingSlot_->length)))
        return false;
    if (currentSlot_->audLength == 0 && pendingSlot_->audLength != 0) {
        currentSlot_->audStart = position + pendingSlot_->audStart;
        currentSlot_->audLength = pendingSlot_->audLength;
    }
    pendingSlot_ = nullptr;
    if (pendingInfo_.sequenceInfoValid != 0) {
        currentInfo_ = pendingInfo_;
        pendingInfo_ = {};
    }
    return true;
}

} // namespace nalsmith_internal::stream
