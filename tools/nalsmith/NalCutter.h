// SPDX-License-Identifier: MIT
// Cuts a byte stream into NAL units at its start codes (H.264 Annex B, H.265 Annex B), in one pass and
// whatever the blocks are in which the input arrives.
//
// Holds one NAL unit and the block that came with its end.
#pragma once

#include "Bytes.h"
#include "Files.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

namespace host {

// NAL units above this are refused: no real one comes near, and the library counts in 32 bits.
constexpr std::size_t kLargestNalUnit = std::size_t{1} << 30;

class NalCutter {
public:
    explicit NalCutter(Input& input);

    // The next NAL unit, from its start code up to the next one or the end of the input; none at the end.
    // Bytes before the first start code are skipped. The bytes are valid until the next call.
    std::optional<ByteView> Next();

private:
    struct Free {
        void operator()(std::uint8_t* bytes) const { std::free(bytes); }
    };

    bool SkipToFirstStartCode();
    std::optional<std::size_t> FindStartCode();
    bool ReadBlock();
    void MakeRoomForBlock();
    void MoveUnitToFront();
    void Grow();
    void CheckSize(std::size_t size) const;

    Input& input_;
    std::unique_ptr<std::uint8_t, Free> buffer_;
    std::size_t capacity_ = 0;
    std::uint64_t bufferOffset_ = 0; // where buffer_[0] is in the input
    std::size_t unit_ = 0;           // where the NAL unit at hand begins
    std::size_t next_ = 0;           // where it ends
    std::size_t searched_ = 0;       // no need to look for a start code that ends before this
    std::size_t end_ = 0;            // end of what has been read
    bool started_ = false;
};

// The NAL unit behind its start code.
ByteView WithoutStartCode(ByteView nal);

} // namespace host
