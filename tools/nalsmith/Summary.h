// SPDX-License-Identifier: MIT
// Everything that `nalsmith info` tells of a stream, collected access unit by access unit.
#pragma once

#include "ParameterSets.h"
#include "Sequence.h"

#include <nalsmith/nalsmith.h>

#include <cstdint>
#include <map>
#include <vector>

namespace host {

// One set of sequence parameters and the access units from which it holds.
struct SequencePeriods {
    VideoInfo parameters;
    std::vector<std::uint64_t> from;
};

// Memory grows by four bytes for each access unit.
class Summary {
public:
    void AddNalUnit(const nalsmith::NalUnit& nal) { parameterSets_.Add(nal); }
    void AddAccessUnit(const VideoInfo& unit);

    std::uint64_t KeyFrames() const { return keyFrames_; }

    // Bytes of each access unit.
    const std::vector<std::uint32_t>& Sizes() const { return sizes_; }

    // Access units from each key frame to the next.
    const std::vector<std::uint32_t>& KeyDistances() const { return keyDistances_; }

    // The distinct ones, in order of appearance.
    const std::vector<SequencePeriods>& Sequences() const { return sequences_; }
    const std::vector<SentSet>& ParameterSetsSeen() const { return parameterSets_.All(); }

private:
    void AddKeyFrame(std::uint64_t index);
    void AddSequence(std::uint64_t index, const VideoInfo& unit);

    std::uint64_t keyFrames_ = 0;
    std::uint64_t lastKey_ = 0;
    std::vector<std::uint32_t> sizes_;
    std::vector<std::uint32_t> keyDistances_;
    std::vector<SequencePeriods> sequences_;
    std::map<SequenceKey, std::size_t> places_; // in sequences_
    std::size_t inForce_ = 0;                   // in sequences_
    SentSets parameterSets_;
};

} // namespace host
