// SPDX-License-Identifier: MIT
// Reads the access units of a stream through the library, one after the other.
//
// Besides what NalCutter holds, memory is the library's: about three times the largest access unit.
#pragma once

#include "Bytes.h"
#include "Codec.h"
#include "Files.h"
#include "NalCutter.h"

#include <nalsmith/nalsmith.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace host {

class StreamReader {
public:
    using NalObserver = std::function<void(ByteView nal)>;

    // Without `codec` the first NAL units decide what the stream is read as. `observer`, when given, sees
    // every NAL unit before the library does, start code included.
    StreamReader(Input& input, std::optional<VideoCodecType> codec, NalObserver observer = {});

    // The next access unit, or null at the end. It is valid until the next call.
    const VideoInfo* Next();

    VideoCodecType Codec() const { return codec_; }
    std::uint64_t NalUnits() const { return nalUnits_; }

    // NAL units that the library answered with failure. Reading goes on behind them.
    std::uint64_t RefusedNalUnits() const { return refused_; }

private:
    struct ReleaseHandle {
        void operator()(void* handle) const { ParseRelease(handle); }
    };

    VideoCodecType GuessCodec();
    void Open();
    std::optional<ByteView> NextNal();
    bool HandIn(ByteView nal);
    bool Flush();
    const VideoInfo* Report();

    Input& input_;
    NalCutter cutter_;
    NalObserver observer_;
    std::deque<std::vector<std::uint8_t>> held_; // read for the guess, not yet handed in
    std::vector<std::uint8_t> current_;          // the one of them that is being handed in
    VideoCodecType codec_;
    std::unique_ptr<void, ReleaseHandle> handle_;
    VideoInfo info_ = {};
    std::uint64_t nalUnits_ = 0;
    std::uint64_t accessUnits_ = 0;
    std::uint64_t refused_ = 0;
    bool flushed_ = false;
};

// Tells of NAL units that the library refused, if any.
void ComplainOfRefused(const Input& input, const StreamReader& reader);

} // namespace host
