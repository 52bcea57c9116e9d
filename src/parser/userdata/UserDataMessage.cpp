// SPDX-License-Identifier: MIT
// The buffers of a user-data handle.
#include "parser/VideoParams.h"

#include "support/Memory.h"

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
