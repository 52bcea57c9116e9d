// SPDX-License-Identifier: MIT
// The NAL units of a file by the access units that the library makes of them.
//
// The library hands out access units of its own making: with parameter sets put in, without the NAL units
// that it drops. Whoever edits a file needs the file's own bytes. They are kept here until the library has
// completed an access unit, which tells where the next one begins: at the first NAL unit behind the last
// slice that may open an access unit, or else at the slice that completed it.
#pragma once

#include "Bytes.h"
#include "Handles.h"
#include "NalHeader.h"

#include <nalsmith/nalsmith.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct RawNal {
    ByteView bytes;
    NalHeader header;
    bool stored = false; // part of the library's access unit, too; otherwise dropped by it
};

class RawAccessUnits {
public:
    // `name` is the input as messages call it.
    RawAccessUnits(VideoCodecType codec, std::string name);

    // Takes in the next NAL unit of the file, start code included, before the library reads it.
    void Add(ByteView nal);

    // The NAL units of the access unit that the library has just completed, which are all that are left
    // when it is the last. In the order of the file and without a gap. Valid until the next call.
    std::vector<RawNal> Take(const VideoInfo& unit, bool last);

private:
    struct Held {
        std::size_t offset = 0; // in bytes_
        std::size_t size = 0;
        NalHeader header;
        bool stored = false;
    };

    bool IsStored(ByteView nal, const std::optional<NalHeader>& header);
    bool Test(ByteView nal);
    [[noreturn]] void Fail(const std::string& message) const;
    void Place(std::size_t index, NalRole role);
    void ForgetTaken();

    VideoCodecType codec_;
    std::string name_;
    ParsingHandle sampleTest_; // knows the parameter sets met so far
    std::vector<std::uint8_t> bytes_;
    std::vector<Held> held_;
    std::size_t taken_ = 0;    // of held_, to be forgotten
    std::size_t boundary_ = 0; // where the next access unit begins if the last slice begins a picture
    std::optional<std::size_t> opener_; // the first behind the last slice
    bool anyStored_ = false;
};

} // namespace host
