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
    // `leading`, when given, sees the bytes before the first start code, piece by piece.
    explicit NalCutter(Input& input, ByteObserver leading = {});

    // The next NAL unit, from its start code up to the next one or the end of the input; none at the end.
    // The bytes are valid until the next call.
    std::optional<ByteView> Next();

private:
    struct Free {
        void operator()(std::uint8_t* bytes) const { std::free(bytes); }
    };

    bool SkipToFirstStartCode();
    void SkipTo(std::size_t position);
    std::optional<std::size_t> FindStartCode();
    bool ReadBlock();
    void MakeRoomForBlock();
    void MoveUnitToFront();
    void Grow();
    void CheckSize(std::size_t size) const;

    Input& input_;
    ByteObserver leading_;
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

// Without the zero bytes behind it, which belong to the byte stream (H.264 B.1.1, H.265 B.2.1).
ByteView WithoutTrailingZeros(ByteView unit);

} // namespace host
