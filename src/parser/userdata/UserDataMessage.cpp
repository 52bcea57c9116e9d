// SPDX-License-Identifier: MIT
// The buffers of a user-data handle, and the message that carries the user data (H.264 D.1.7, H.265 D.2.7).
#include "parser/VideoParams.h"

#include "parser/userdata/SeiMessages.h"
#include "support/Memory.h"

#include <cstring>

namespace nalsmith_internal {

Status CParserBase::UserDataCreate()
{
    const auto make = [](u8*& buffer, u32 capacity) {
        buffer = memory::Allocate<u8>(capacity);
        return buffer != nullptr;
    };
    const bool made = make(rbspBuffer, rbspBufferSize) && make(userDataBuffer, userDataBufferSize) &&
                      make(userFrameBuffer, userFrameBufferSize) && make(seiKeepBuffer, seiKeepBufferSize) &&
                      make(seiEscapeBuffer, seiEscapeBufferSize) &&
                      make(removeFrameBuffer, removeFrameBufferSize);
    return made ? kOk : kFailed;
}

Status CParserBase::UserDataRelease()
{
    memory::Free(rbspBuffer);
    memory::Free(userDataBuffer);
    memory::Free(userFrameBuffer);
    memory::Free(seiKeepBuffer);
    memory::Free(seiEscapeBuffer);
    memory::Free(removeFrameBuffer);
    return kOk;
}

Status CParserBase::ArrangeUserData(const u8* data, u32 length)
{
    const u64 payloadSize = u64{length} + sizeof userdata::kUuid;
    const u64 ffBytes = payloadSize / 255;
    const u64 head = 1 + ffBytes + 1 + sizeof userdata::kUuid; // type, size, UUID

    // Double for the head, then a reserve for emulation prevention: three bytes for every two at worst.
    u64 wish = userDataBufferSize;
    while (wish < head)
        wish *= 2;
    if (wish - head < 2 * u64{length})
        wish += 2 * u64{length};
    const u64 need = head + length + length / 2;
    if (wish > userDataBufferSize && !memory::GrowTo(userDataBuffer, userDataBufferSize, wish, need))
        return kFailed;

    u8* to = userDataBuffer;
    *to++ = static_cast<u8>(userdata::kUserDataUnregistered);
    std::memset(to, 0xFF, ffBytes);
    to += ffBytes;
    *to++ = static_cast<u8>(payloadSize % 255);
    std::memcpy(to, userdata::kUuid, sizeof userdata::kUuid);

    // The head needs no emulation prevention, and the UUID ends in no zero.
    u32 written = static_cast<u32>(head);
    const Status status = AddEscape(data, length, userDataBuffer + head, &written);
    userDataLength = written;
    return status;
}

} // namespace nalsmith_internal
