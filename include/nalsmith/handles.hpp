// SPDX-License-Identifier: MIT
/// \file
/// Handles of the library that release themselves. Moved, never copied.
#ifndef NALSMITH_HANDLES_HPP
#define NALSMITH_HANDLES_HPP

#include "nalsmith/bytes.hpp"

#include <utility>

namespace nalsmith {
inline namespace v1 {

/// Owns a handle that `release` takes back.
template <std::int64_t (*release)(void*)>
class Handle {
public:
    Handle() noexcept = default;
    /// Takes `handle` over; null is none.
    explicit Handle(void* handle) noexcept : handle_(handle) {}
    /// Takes the handle of `other` over, which has none then.
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    /// Releases its own and takes over that of `other`.
    Handle& operator=(Handle&& other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.handle_, nullptr));
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { reset(); }

    /// For the fifteen functions. Null when there was no memory for a handle.
    void* get() const noexcept { return handle_; }
    /// It owns a handle.
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    /// Releases the handle and owns another one, or none.
    void reset(void* handle = nullptr) noexcept
    {
        if (handle_ != nullptr)
            release(handle_);
        handle_ = handle;
    }

private:
    void* handle_ = nullptr;
};

/// For reading streams, samples, NAL units and parameter sets.
using ParsingHandle = Handle<ParseRelease>;
/// For AddUserData(), GetUserData() and RemoveUserData().
using UserDataHandle = Handle<UserDataRelease>;

/// A parsing handle, or an empty one for lack of memory. 0 selects what the library takes by itself.
inline ParsingHandle make_parsing_handle(Codec codec, std::uint32_t queue_count = 0,
                                         std::uint32_t queue_buffer_size = 0) noexcept
{
    void* handle = nullptr;
    ParseCreate(&handle, static_cast<VideoCodecType>(codec), queue_count, queue_buffer_size);
    return ParsingHandle(handle);
}

/// A user-data handle, or an empty one for lack of memory.
inline UserDataHandle make_user_data_handle(Codec codec) noexcept
{
    void* handle = nullptr;
    UserDataCreate(&handle, static_cast<VideoCodecType>(codec));
    return UserDataHandle(handle);
}

} // namespace v1
} // namespace nalsmith

#endif
