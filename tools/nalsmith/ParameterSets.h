// SPDX-License-Identifier: MIT
// The parameter sets that a stream carries.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

namespace host {

struct ParameterSet {
    const char* kind;   // "SPS", "PPS"
    std::uint32_t id;   // seq_parameter_set_id, pic_parameter_set_id
    std::size_t size;   // bytes, without start code and without zero bytes behind the NAL unit
    std::uint64_t sent; // how often the stream carries it, byte for byte
};

// Collects the distinct ones, in order of appearance. Keeps a hash of each, not its bytes.
class ParameterSets {
public:
    // Takes in a NAL unit of an H.264 stream, start code included, of whatever type.
    void AddAvc(ByteView nal);

    const std::vector<ParameterSet>& All() const { return sets_; }

private:
    using Identity = std::tuple<unsigned, std::uint32_t, std::size_t, std::uint64_t>; // type, id, size, hash

    std::vector<ParameterSet> sets_;
    std::map<Identity, std::size_t> places_;
};

} // namespace host
