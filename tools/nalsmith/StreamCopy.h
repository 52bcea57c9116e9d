// SPDX-License-Identifier: MIT
// Copies a stream, access unit by access unit, so that each can be changed on the way. Everything that is not
// changed comes out byte for byte: bytes before the first start code too, and what the library drops.
#pragma once

#include "Files.h"
#include "Output.h"
#include "OutputFile.h"
#include "StreamOptions.h"
#include "UnitReader.h"

#include <cstdint>
#include <string>

namespace host {

class StreamCopy {
public:
    explicit StreamCopy(const CopyOptions& options, bool selfContained = false);

    nalsmith::Codec Codec() const { return reader_.Codec(); }

    // The next access unit, all of whose bytes are to be written; null at the end. Valid until the next call.
    const nalsmith::AccessUnit* Next();
    nalsmith::NalUnits Nals() const { return reader_.Nals(); }
    void Write(nalsmith::BytesView bytes) { output_.Write(bytes); }

    std::uint64_t AccessUnits() const { return reader_.Units(); }
    std::optional<std::uint64_t> Index() const { return reader_.Index(); }

    // Completes the output. Tells `counts`, in words or in JSON, and the bytes that went in and out.
    void Finish(const std::string& counts, Json json);

private:
    const CopyOptions& options_;
    Input input_;
    OutputFile output_;
    UnitReader reader_;
    std::uint64_t zerosLeftOut_ = 0; // of the access unit at hand
};

} // namespace host
