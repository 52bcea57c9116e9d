// SPDX-License-Identifier: MIT
/// \file
/// SEI messages of an access unit, of any type (H.264 7.3.2.3, H.265 7.3.2.4).
#ifndef NALSMITH_SEI_HPP
#define NALSMITH_SEI_HPP

#include "nalsmith/detail/sei/walk.hpp"

#include <array>
#include <optional>

namespace nalsmith {
inline namespace v1 {

/// The 16 bytes that say whose a message of type 5 is, as they stand in the stream.
using Uuid = std::array<std::uint8_t, 16>;

/// Type of messages whose payload begins with a UUID and is otherwise free.
constexpr std::uint32_t kUserDataUnregistered = 5;

namespace detail {

inline std::optional<Uuid> uuid_of(std::uint64_t type, BytesView payload) noexcept
{
    Uuid uuid = {};
    if (type != kUserDataUnregistered || payload.size() < uuid.size())
        return std::nullopt;
    std::memcpy(uuid.data(), payload.data(), uuid.size());
    return uuid;
}

} // namespace detail

/// One SEI message.
struct SeiMessage {
    std::uint32_t type = 0; ///< `payloadType`; the largest number where it does not fit
    bool suffix = false;    ///< from an H.265 suffix SEI NAL unit
    Bytes payload;          ///< without emulation prevention bytes

    /// Of a message of type 5; none when it is another or too short.
    std::optional<Uuid> uuid() const noexcept { return detail::uuid_of(type, payload); }

    /// The payload after the UUID, where there is one; else all of it.
    BytesView content() const noexcept { return BytesView(payload).subview(uuid() ? sizeof(Uuid) : 0); }
};

namespace detail {

inline void assign(SeiMessage& message, const SeiPart& part)
{
    message.type = part.type < UINT32_MAX ? static_cast<std::uint32_t>(part.type) : UINT32_MAX;
    message.suffix = part.suffix;
    message.payload.assign(part.payload.begin(), part.payload.end());
}

template <typename Use>
void for_each_sei(Codec codec, BytesView unit, Bytes& rbsp, const Use& use)
{
    for (const NalUnit& nal : NalUnits(codec, unit))
        if (nal.is_sei() && !nal.bare() && !nal.forbidden() && nal.layer_id() == 0) {
            SeiPart part;
            for (SeiWalk walk(nal, rbsp); walk.next(part);)
                use(part);
        }
}

} // namespace detail

/// The SEI messages of an access unit, in its order. A message that does not end within its NAL unit is left
/// out, with what follows it there.
inline std::vector<SeiMessage> sei_messages(Codec codec, BytesView unit)
{
    std::vector<SeiMessage> messages;
    Bytes rbsp;
    detail::for_each_sei(codec, unit, rbsp,
                         [&](const detail::SeiPart& part) { detail::assign(messages.emplace_back(), part); });
    return messages;
}

} // namespace v1
} // namespace nalsmith

#endif
