// SPDX-License-Identifier: MIT
// What `nalsmith report` draws, collected access unit by access unit. Memory grows by sixteen bytes for each.
#pragma once

#include <nalsmith/nalsmith.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host {

// What a bar of the picture is coloured by.
enum class UnitKind : std::uint8_t { Intra, Predicted, Bipredicted, Leading, Other };

struct ReportedUnit {
    std::uint64_t size;
    UnitKind kind;
    bool key;
    bool broken;
};

struct ReportedBreak {
    std::uint64_t index;
    nalsmith::Finding finding;
};

// NAL units of one type.
struct TypeShare {
    std::uint64_t count = 0;
    std::uint64_t bytes = 0; // start codes included
};

struct ReportedSequence {
    std::uint64_t from = 0; // index of the access unit
    nalsmith::SequenceParameters parameters;
};

class StreamReport {
public:
    explicit StreamReport(nalsmith::Codec codec) : codec_(codec), checker_(codec) {}

    // One that does not count is slices that cannot be read.
    void Add(const nalsmith::AccessUnit& unit, bool counts);

    nalsmith::Codec Codec() const { return codec_; }
    const std::vector<ReportedUnit>& Units() const { return units_; }
    std::uint64_t Bytes() const { return bytes_; }
    std::uint64_t KeyFrames() const { return keyFrames_; }
    const std::map<unsigned, TypeShare>& Types() const { return types_; }
    const std::vector<ReportedBreak>& Breaks() const { return breaks_; }
    // Each with the access unit from which it is in force.
    const std::vector<ReportedSequence>& Sequences() const { return sequences_; }
    // The latest of each id.
    const nalsmith::ParameterSets& ParameterSets() const { return sets_; }

private:
    void AddSequence(const std::optional<nalsmith::SequenceParameters>& sequence);

    nalsmith::Codec codec_;
    nalsmith::ContinuityChecker checker_;
    nalsmith::ParameterSets sets_;
    std::vector<ReportedUnit> units_;
    std::vector<ReportedBreak> breaks_;
    std::vector<ReportedSequence> sequences_;
    std::map<unsigned, TypeShare> types_;
    std::uint64_t bytes_ = 0;
    std::uint64_t keyFrames_ = 0;
};

} // namespace host
