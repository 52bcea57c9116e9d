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

/// One SEI message.
struct SeiMessage {
    std::uint32_t type = 0; ///< `payloadType`
    bool suffix = false;    ///< from an H.265 suffix SEI NAL unit
    Bytes payload;          ///< without emulation prevention bytes

    /// Of a message of type 5; none when it is another or too short.
    std::optional<Uuid> uuid() const noexcept
    {
        Uuid uuid = {};
        if (type != kUserDataUnregistered || payload.size() < uuid.size())
            return std::nullopt;
        std::memcpy(uuid.data(), payload.data(), uuid.size());
        return uuid;
    }

    /// The payload after the UUID, where there is one; else all of it.
    BytesView content() const noexcept { return BytesView(payload).subview(uuid() ? sizeof(Uuid) : 0); }
};

/// The SEI messages of an access unit, in its order. A message that does not end within its NAL unit is left
/// out, with what follows it there.
inline std::vector<SeiMessage> sei_messages(Codec codec, BytesView unit)
{
    std::vector<SeiMessage> messages;
    Bytes rbsp;
    for (const NalUnit& nal : NalUnits(codec, unit))
        if (nal.is_sei() && !nal.bare() && !nal.forbidden() && nal.layer_id() == 0) {
            detail::SeiPart part;
            for (detail::SeiWalk walk(nal, rbsp); walk.next(part);)
                messages.push_back(
                    {static_cast<std::uint32_t>(part.type), nal.is_suffix_sei(), part.payload.to_bytes()});
        }
    return messages;
}

} // namespace v1
} // namespace nalsmith

#endif
