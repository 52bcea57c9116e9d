// SPDX-License-Identifier: MIT
// The messages of an SEI NAL unit (H.264 7.3.2.3, H.265 7.3.2.4), and which of them are ours.
#pragma once

#include "support/Types.h"

namespace nalsmith_internal::userdata {

constexpr u64 kUserDataUnregistered = 5; // payloadType (H.264 D.1.1, H.265 D.2.1)

// uuid_iso_iec_11578 of the messages written by this library.
inline constexpr u8 kUuid[16] = {0x99, 0xAE, 0xD3, 0x1B, 0xB8, 0x94, 0x4B, 0x97,
                                 0xAD, 0x39, 0xFB, 0x4E, 0xD5, 0x90, 0x2B, 0xA1};

struct SeiMessage {
    const u8* begin = nullptr; // first payload type byte
    const u8* payload = nullptr;
    const u8* end = nullptr;
    u64 payloadType = 0;

    u32 Size() const { return static_cast<u32>(end - begin); }
    u32 PayloadSize() const { return static_cast<u32>(end - payload); }
    bool IsOurs() const;
};

// Walks over the messages behind the NAL unit header, emulation prevention removed. A malformed message ends
// it.
class SeiWalk {
public:
    SeiWalk(const u8* messages, u32 size);
    bool Next(SeiMessage& message);

private:
    bool ReadSum(u64& sum);

    const u8* position_;
    const u8* end_; // behind the stop byte
};

} // namespace nalsmith_internal::userdata
