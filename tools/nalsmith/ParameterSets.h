// SPDX-License-Identifier: MIT
// The parameter sets that a stream carries.
#pragma once

#include "Bytes.h"

#include <nalsmith/nalsmith.h>

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

namespace host {

struct ParameterSet {
    const char* kind;   // "VPS", "SPS", "PPS"
    std::uint32_t id;   // the one under which others refer to it
    std::size_t size;   // bytes, without start code and without zero bytes behind the NAL unit
    std::uint64_t sent; // how often the stream carries it, byte for byte
};

// Collects the distinct ones, in order of appearance. Keeps a hash of each, not its bytes.
class ParameterSets {
public:
    // Takes in a NAL unit, start code included, of whatever type. True for a parameter set that was not there
    // before: the last of All().
    bool Add(VideoCodecType codec, ByteView nal);

    const std::vector<ParameterSet>& All() const { return sets_; }

private:
    using Identity = std::tuple<unsigned, std::uint32_t, std::size_t, std::uint64_t>; // type, id, size, hash

    std::vector<ParameterSet> sets_;
    std::map<Identity, std::size_t> places_;
};

} // namespace host
