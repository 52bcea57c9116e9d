// SPDX-License-Identifier: MIT
/// \file
/// What every part of the C++ layer speaks in: bytes, codecs, outcomes.
#ifndef NALSMITH_BYTES_HPP
#define NALSMITH_BYTES_HPP

#include "nalsmith/nalsmith.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <vector>

namespace nalsmith {
inline namespace v1 {

/// The coded video format.
enum class Codec : std::int32_t {
    h264 = VideoCodecAVC,
    h265 = VideoCodecHEVC,
};

/// How a call ended. Only `ok` is success, and the compiler warns where nobody looks at it.
enum class [[nodiscard]] Status{
    ok,
    no_memory,          ///< there was no memory; what is held stays
    too_large,          ///< more than the stated limit, or than a size field can say
    no_start_code,      ///< the bytes hold no NAL unit
    no_slice,           ///< the access unit holds no picture to work on
    malformed,          ///< the bytes contradict themselves
    unknown_parameters, ///< a slice refers to parameter sets that have not come
    not_supported,      ///< not with this codec or these options
};

/// The name of a status, for messages.
constexpr const char* to_string(Status status) noexcept
{
    switch (status) {
    case Status::ok: return "ok";
    case Status::no_memory: return "not enough memory";
    case Status::too_large: return "larger than the limit";
    case Status::no_start_code: return "no start code";
    case Status::no_slice: return "no slice";
    case Status::malformed: return "malformed";
    case Status::unknown_parameters: return "parameter sets not known";
    case Status::not_supported: return "not supported";
    }
    return "unknown";
}

/// Bytes that someone owns.
using Bytes = std::vector<std::uint8_t>;

/// Bytes that someone else owns: a pointer and a size. Valid as long as they are.
class BytesView {
public:
    constexpr BytesView() noexcept = default;
    /// `size` bytes from `data` on, which stay the caller's.
    constexpr BytesView(const std::uint8_t* data, std::size_t size) noexcept : data_(data), size_(size) {}
    /// The same of `char` or `std::byte`.
    template <typename Byte, typename = std::enable_if_t<sizeof(Byte) == 1>>
    BytesView(const Byte* data, std::size_t size) noexcept
        : data_(reinterpret_cast<const std::uint8_t*>(data)), size_(size)
    {
    }

    /// Of a vector, array, string or the like whose elements are single bytes.
    template <typename Container,
              typename Element = std::remove_pointer_t<decltype(std::declval<const Container&>().data())>,
              typename = std::enable_if_t<sizeof(Element) == 1 && !std::is_same_v<Container, BytesView>>>
    BytesView(const Container& bytes) noexcept // NOLINT(google-explicit-constructor)
        : data_(reinterpret_cast<const std::uint8_t*>(bytes.data())), size_(bytes.size())
    {
    }

    constexpr const std::uint8_t* data() const noexcept { return data_; }        ///< first byte
    constexpr std::size_t size() const noexcept { return size_; }                ///< number of bytes
    constexpr bool empty() const noexcept { return size_ == 0; }                 ///< no bytes
    constexpr const std::uint8_t* begin() const noexcept { return data_; }       ///< first byte
    constexpr const std::uint8_t* end() const noexcept { return data_ + size_; } ///< past the last
    constexpr std::uint8_t operator[](std::size_t at) const noexcept { return data_[at]; } ///< not checked

    /// The bytes from `offset` on, at most `count` of them. What lies past the end is left out.
    constexpr BytesView subview(std::size_t offset, std::size_t count = SIZE_MAX) const noexcept
    {
        if (offset > size_)
            offset = size_;
        return {data_ + offset, count < size_ - offset ? count : size_ - offset};
    }

    /// A copy, to be kept for as long as it is wanted.
    std::vector<std::uint8_t> to_bytes() const { return {begin(), end()}; }

private:
    const std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

namespace detail {

/// Whether the two share a byte.
inline bool overlap(BytesView a, BytesView b) noexcept
{
    const std::less<const std::uint8_t*> before;
    return before(a.begin(), b.end()) && before(b.begin(), a.end());
}

/// The library counts in 32 bits.
constexpr bool fits_library(std::size_t size) noexcept
{
    return size <= UINT32_MAX;
}

constexpr std::uint32_t library_size(std::size_t size) noexcept
{
    return static_cast<std::uint32_t>(size);
}

} // namespace detail

/// Puts bytes after others. They may be some of those.
inline void append(Bytes& to, BytesView bytes)
{
    if (detail::overlap(bytes, to)) {
        const Bytes copy = bytes.to_bytes();
        to.insert(to.end(), copy.begin(), copy.end());
    } else {
        to.insert(to.end(), bytes.begin(), bytes.end());
    }
}

} // namespace v1
} // namespace nalsmith

#endif
