// SPDX-License-Identifier: MIT
// The least that any implementation must do for each job on the same bytes, written as plainly as possible.
// No answer is kept, no input is distrusted: what the library costs above these is what its promises cost.
#pragma once

#include "Streams.h"

namespace minimum {

// Slots that hold any access unit of the stream, written in turn.
class Ring {
public:
    explicit Ring(const Stream& stream) : slots_(6, Bytes(stream.largest + 4096)) {}
    u8* Next() { return slots_[next_++ % slots_.size()].data(); }

private:
    std::vector<Bytes> slots_;
    std::size_t next_ = 0;
};

// Where the next 00 00 01 begins, or the end.
const u8* FindStartCode(const u8* from, const u8* end);

u32 Copy(const Bytes& unit, u8* to);
u32 Scan(const Bytes& unit);
u32 ScanAndCopy(const Bytes& unit, u8* to);
// Start codes, ten header fields per slice, one copy.
u32 Read(const Bytes& unit, VideoCodecType codec, u8* to);
// The first slice, ten header fields.
u32 Sample(const Bytes& unit, VideoCodecType codec);
// Start codes, ten header fields per slice.
u32 Walk(const Bytes& unit, VideoCodecType codec);
// Start codes, one copy, the message built.
u32 Add(const Bytes& unit, VideoCodecType codec, const Bytes& data, u8* to);
// Start codes, the SEI unescaped.
u32 Get(const Bytes& unit, VideoCodecType codec, u8* scratch);
// Start codes, one copy, the SEI unescaped.
u32 Remove(const Bytes& unit, VideoCodecType codec, u8* to, u8* scratch);

} // namespace minimum
