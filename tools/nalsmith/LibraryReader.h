// SPDX-License-Identifier: MIT
// The access units that the library's own reading hands out, one after the other: with the parameter sets
// that it puts in, and without what it drops.
#pragma once

#include "UnitReader.h"

#include <nalsmith/handles.hpp>

#include <cstdint>
#include <functional>

namespace host {

class LibraryReader {
public:
    using NalObserver = std::function<void(const nalsmith::NalUnit& nal)>;

    // `observer`, when given, sees every NAL unit before the library reads it.
    LibraryReader(Input& input, const StreamOptions& stream, NalObserver observer = {});

    // The next access unit, or null at the end. It is valid until the next call.
    const VideoInfo* Next();

    nalsmith::Codec Codec() const { return reader_.Codec(); }
    std::uint64_t NalUnits() const { return reader_.NalUnits(); }

    // NAL units that the library answered with failure. Reading goes on behind them.
    std::uint64_t RefusedNalUnits() const { return refused_; }
    void Warn() const { reader_.Warn(); }

private:
    bool Begin();
    bool HandIn(const nalsmith::NalUnit& nal);
    bool Flush();

    UnitReader reader_;
    NalObserver observer_;
    nalsmith::ParsingHandle handle_;
    nalsmith::NalUnits::iterator at_; // in the access unit at hand
    VideoInfo info_ = {};
    std::uint64_t refused_ = 0;
    bool flushed_ = false;
};

} // namespace host
