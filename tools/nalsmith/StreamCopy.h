// SPDX-License-Identifier: MIT
// Copies a stream, access unit by access unit, so that each can be changed on the way. Everything that is not
// changed comes out byte for byte: bytes before the first start code too, and what the library drops.
#pragma once

#include "Files.h"
#include "OutputFile.h"
#include "RawAccessUnits.h"
#include "StreamOptions.h"
#include "StreamReader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host {

struct CopyOptions : StreamOptions {
    std::string output;
};

// FILE, --codec and -o.
void AddCopyOptions(CLI::App& parser, CopyOptions& options);

struct CopiedUnit {
    std::uint64_t index;
    bool key;
    std::vector<RawNal> nals; // as the file holds them
};

class StreamCopy {
public:
    explicit StreamCopy(const CopyOptions& options);

    VideoCodecType Codec() const { return reader_.Codec(); }
    const std::string& InputName() const { return input_.Name(); }

    // The next access unit, all of whose bytes are to be written; null at the end. Valid until the next call.
    const CopiedUnit* Next();
    void Write(ByteView bytes) { output_.Write(bytes); }
    void WriteUnchanged(const CopiedUnit& unit);

    std::uint64_t AccessUnits() const { return accessUnits_; }

    // Completes the output, and tells `counts` and the bytes that went in and out.
    void Finish(const std::string& counts);

private:
    Input input_;
    OutputFile output_;
    StreamReader reader_;
    RawAccessUnits nals_;
    CopiedUnit unit_ = {};
    std::uint64_t accessUnits_ = 0;
};

} // namespace host
