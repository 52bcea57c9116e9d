// SPDX-License-Identifier: MIT
// Handles of the library that release themselves. For want of memory there is none, and the run ends.
#pragma once

#include <nalsmith/nalsmith.h>

#include <cstdint>
#include <memory>
#include <new>

namespace host {

struct ReleaseParsing {
    void operator()(void* handle) const { ParseRelease(handle); }
};
using ParsingHandle = std::unique_ptr<void, ReleaseParsing>;

struct ReleaseUserData {
    void operator()(void* handle) const { UserDataRelease(handle); }
};
using UserDataHandle = std::unique_ptr<void, ReleaseUserData>;

// The buffers of the queue grow on demand. A handle that reads no stream does without them.
inline ParsingHandle MakeParsingHandle(VideoCodecType codec, std::uint32_t queueCount = 1,
                                       std::uint32_t queueBufferSize = 1)
{
    void* handle = nullptr;
    if (ParseCreate(&handle, codec, queueCount, queueBufferSize) != 0)
        throw std::bad_alloc();
    return ParsingHandle(handle);
}

inline UserDataHandle MakeUserDataHandle(VideoCodecType codec)
{
    void* handle = nullptr;
    if (UserDataCreate(&handle, codec) != 0)
        throw std::bad_alloc();
    return UserDataHandle(handle);
}

} // namespace host
