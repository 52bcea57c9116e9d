// SPDX-License-Identifier: MIT
/// \file
/// SEI messages of an access unit, of any type (H.264 7.3.2.3, H.265 7.3.2.4).
#ifndef NALSMITH_SEI_HPP
#define NALSMITH_SEI_HPP

#include "nalsmith/nal_units.hpp"

#include <array>
#include <optional>

namespace nalsmith {

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

    /// The payload behind the UUID, where there is one; else all of it.
    BytesView content() const noexcept { return BytesView(payload).subview(uuid() ? sizeof(Uuid) : 0); }
};

namespace detail {

// What a NAL unit holds behind its header, without the bytes that keep start codes out of it.
inline Bytes unescape(BytesView escaped)
{
    Bytes bytes;
    bytes.reserve(escaped.size());
    unsigned zeros = 0;
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        if (zeros >= 2 && escaped[i] == 3 && i + 1 < escaped.size()) {
            zeros = 0;
            continue;
        }
        zeros = escaped[i] == 0 ? zeros + 1 : 0;
        bytes.push_back(escaped[i]);
    }
    return bytes;
}

// payloadType or payloadSize: any number of 0xFF, then a last byte. False at the end of the data.
inline bool read_sei_number(BytesView bytes, std::size_t& at, std::uint64_t& number) noexcept
{
    number = 0;
    while (at < bytes.size() && bytes[at] == 0xFF) {
        number += 0xFF;
        ++at;
    }
    if (at == bytes.size())
        return false;
    number += bytes[at++];
    return true;
}

// False when a message does not end within the NAL unit.
inline bool read_sei_nal(const NalUnit& nal, std::vector<SeiMessage>& messages)
{
    const Bytes rbsp = unescape(nal.payload().subview(nal.codec == Codec::h264 ? 1 : 2));
    BytesView bytes = rbsp;
    if (bytes.empty() || bytes[bytes.size() - 1] != 0x80)
        return false;
    bytes = bytes.subview(0, bytes.size() - 1);
    for (std::size_t at = 0; at < bytes.size();) {
        std::uint64_t type = 0;
        std::uint64_t size = 0;
        if (!read_sei_number(bytes, at, type) || !read_sei_number(bytes, at, size) ||
            size > bytes.size() - at)
            return false;
        const BytesView payload = bytes.subview(at, static_cast<std::size_t>(size));
        SeiMessage message;
        message.type = static_cast<std::uint32_t>(type);
        message.suffix = nal.codec == Codec::h265 && nal.type() == 40;
        append(message.payload, payload);
        messages.push_back(std::move(message));
        at += payload.size();
    }
    return true;
}

} // namespace detail

/// The SEI messages of an access unit, in its order. A message that does not end within its NAL unit is left
/// out, with what follows it there.
inline std::vector<SeiMessage> sei_messages(Codec codec, BytesView unit)
{
    std::vector<SeiMessage> messages;
    for (const NalUnit& nal : NalUnits(codec, unit))
        if (nal.is_sei() && !nal.bare() && !nal.forbidden() && nal.layer_id() == 0)
            detail::read_sei_nal(nal, messages);
    return messages;
}

} // namespace nalsmith

#endif
