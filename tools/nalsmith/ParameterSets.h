// SPDX-License-Identifier: MIT
// The distinct parameter sets that a stream carries.
#pragma once

#include <nalsmith/parameter_sets.hpp>

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

namespace host {

struct SentSet {
    const char* kind;   // "VPS", "SPS", "PPS"
    std::uint32_t id;   // the one under which others refer to it
    std::size_t size;   // bytes, without start code and without zero bytes behind the NAL unit
    std::uint64_t sent; // how often the stream carries it, byte for byte
};

// "VPS", "SPS", "PPS".
const char* NameOf(nalsmith::ParameterSetKind kind);

// Collects them in order of appearance. Keeps a hash of each, not its bytes.
class SentSets {
public:
    // Takes in a NAL unit of whatever type. True for a parameter set that was not there before: the last of
    // All(). Those of H.265 layers above the base, and those without an id, are left out.
    bool Add(const nalsmith::NalUnit& nal);

    const std::vector<SentSet>& All() const { return sets_; }

private:
    // kind, id, size, hash
    using Identity = std::tuple<nalsmith::ParameterSetKind, std::uint32_t, std::size_t, std::uint64_t>;

    std::vector<SentSet> sets_;
    std::map<Identity, std::size_t> places_;
};

} // namespace host
