// SPDX-License-Identifier: MIT
// Reads the access units of a stream through the library, one after the other.
//
// Besides what NalCutter holds, memory is the library's: about three times the largest access unit.
#pragma once

#include "Bytes.h"
#include "Files.h"
#include "Handles.h"
#include "NalSource.h"

#include <nalsmith/nalsmith.h>

#include <cstdint>
#include <optional>

namespace host {

class StreamReader {
public:
    // What sees the bytes of the stream go by, where given.
    struct Observers {
        ByteObserver nal;     // every NAL unit before the library reads it, start code included
        ByteObserver leading; // the bytes before the first start code
    };

    // Without `codec` the first NAL units decide what the stream is read as.
    StreamReader(Input& input, std::optional<VideoCodecType> codec, Observers observers = {});

    // The next access unit, or null at the end. It is valid until the next call.
    const VideoInfo* Next();

    // Whether all has been read: the access unit at hand is the last.
    bool AtEnd() const { return flushed_; }

    VideoCodecType Codec() const { return nals_.Codec(); }
    std::uint64_t NalUnits() const { return nals_.Count(); }

    // NAL units that the library answered with failure. Reading goes on behind them.
    std::uint64_t RefusedNalUnits() const { return refused_; }

private:
    bool HandIn(ByteView nal);
    bool Flush();
    const VideoInfo* Report();

    Input& input_;
    ByteObserver observer_;
    NalSource nals_;
    ParsingHandle handle_;
    VideoInfo info_ = {};
    std::uint64_t accessUnits_ = 0;
    std::uint64_t refused_ = 0;
    bool flushed_ = false;
};

// Tells of NAL units that the library refused, if any, and what became of them.
void ComplainOfRefused(const Input& input, const StreamReader& reader, const char* fate = "left out");

} // namespace host
