// SPDX-License-Identifier: MIT
#include "parser/userdata/SeiMessages.h"

#include <cstring>

namespace nalsmith_internal::userdata {

bool SeiMessage::IsOurs() const
{
    return payloadType == kUserDataUnregistered && PayloadSize() >= sizeof kUuid &&
           std::memcmp(payload, kUuid, sizeof kUuid) == 0;
}

// Zeros behind the stop byte are trailing_zero_8bits: to read them would find a message that is none.
SeiWalk::SeiWalk(const u8* messages, u32 size) : position_(messages), end_(messages + size)
{
    const u8* last = end_;
    while (last != messages && last[-1] == 0)
        --last;
    if (last != messages && last[-1] == 0x80)
        end_ = last;
}

bool SeiWalk::Next(SeiMessage& message)
{
    if (end_ - position_ <= 1)
        return false;
    message.begin = position_;
    u64 payloadSize = 0;
    if (!ReadSum(message.payloadType) || !ReadSum(payloadSize) ||
        payloadSize > static_cast<u64>(end_ - position_)) {
        position_ = end_;
        return false;
    }
    message.payload = position_;
    position_ += payloadSize;
    message.end = position_;
    return true;
}

// ff_byte any number of times and a last byte.
bool SeiWalk::ReadSum(u64& sum)
{
    sum = 0;
    while (position_ != end_) {
        const u8 byte = *position_++;
        sum += byte;
        if (byte != 0xFF)
            return true;
    }
    return false;
}

} // namespace nalsmith_internal::userdata
