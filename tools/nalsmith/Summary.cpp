// SPDX-License-Identifier: MIT
#include "Summary.h"

namespace host {

void Summary::AddAccessUnit(const VideoInfo& unit)
{
    const std::uint64_t index = sizes_.size();
    sizes_.push_back(unit.frameSize);
    if (unit.keyFrame != 0)
        AddKeyFrame(index);
    if (unit.sequenceInfoValid != 0)
        AddSequence(index, unit);
}

void Summary::AddKeyFrame(std::uint64_t index)
{
    if (keyFrames_ != 0)
        keyDistances_.push_back(static_cast<std::uint32_t>(index - lastKey_));
    ++keyFrames_;
    lastKey_ = index;
}

// A set that is sent again while it holds changes nothing; one that comes back holds from there again.
void Summary::AddSequence(std::uint64_t index, const VideoInfo& unit)
{
    const auto [place, isNew] = places_.try_emplace(KeyOf(unit), sequences_.size());
    if (isNew)
        sequences_.push_back({unit, {}});
    else if (place->second == inForce_)
        return;
    inForce_ = place->second;
    sequences_[inForce_].from.push_back(index);
}

} // namespace host
