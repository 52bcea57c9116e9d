// SPDX-License-Identifier: MIT
// Puts an SEI message into an access unit, in a NAL unit of its own. Every other byte stays.
#ifndef NALSMITH_DETAIL_SEI_ADDER_HPP
#define NALSMITH_DETAIL_SEI_ADDER_HPP

#include "nalsmith/detail/sei/walk.hpp"

#include <optional>

namespace nalsmith {
inline namespace v1 {
namespace detail {

constexpr unsigned kAfterOtherSei = 4;

// SEI messages of a lower order come first (H.264 7.4.1.2.3, H.265 7.4.2.4.4, D.3.1).
constexpr unsigned sei_order(Codec codec, std::uint64_t type) noexcept
{
    if (codec == Codec::h264)
        return type == 0 ? 0 : kAfterOtherSei;
    switch (type) {
    case 129: return 0; // active parameter sets
    case 0: return 1;   // buffering period
    case 1: return 2;   // picture timing
    case 130: return 3; // decoding unit information
    default: return kAfterOtherSei;
    }
}

class SeiAdder {
public:
    // Whether the answer fits 32 bits, with three bytes for every two of the NAL unit, as emulation
    // prevention may need.
    static bool fits(std::uint64_t unit_size, std::uint32_t type, std::uint64_t payload_size) noexcept
    {
        constexpr std::uint64_t kFraming = 64; // start code, header, last bytes of type and size, stop byte
        if (unit_size > UINT32_MAX || payload_size > UINT32_MAX)
            return false;
        const std::uint64_t added = payload_size + payload_size / 255 + type / 255 + kFraming;
        return unit_size + added + added / 2 <= UINT32_MAX;
    }

    // Writes `unit` with the message to `out`, which holds neither of the two.
    Status add(Codec codec, BytesView unit, std::uint32_t type, BytesView payload, bool suffix, Bytes& out)
    {
        if (suffix && codec == Codec::h264)
            return Status::not_supported;
        if (!fits(unit.size(), type, payload.size()))
            return Status::too_large;
        bool any = false;
        std::optional<NalUnit> slice; // the first
        for (const NalUnit& nal : NalUnits(codec, unit)) {
            any = any || !nal.bare();
            if (!slice && !nal.bare() && nal.is_slice())
                slice = nal;
        }
        if (!slice)
            return any ? Status::no_slice : Status::no_start_code;
        const std::uint8_t* const place =
            suffix ? after_picture(codec, unit) : before_picture(codec, unit, sei_order(codec, type));
        arrange(*slice, type, payload, suffix);
        write(unit, static_cast<std::size_t>(place - unit.data()), out);
        return Status::ok;
    }

private:
    // Of any picture: also data partitions without a slice header, reserved types, other layers.
    static bool is_picture_data(const NalUnit& nal) noexcept
    {
        if (nal.bare())
            return false;
        return nal.codec == Codec::h264 ? nal.type() >= 1 && nal.type() <= 5 : nal.type() <= 31;
    }

    // Prefix NAL units stay with the slice after them (H.264 7.4.1.2.3, G.7.4.1.2.3).
    static bool is_prefix(const NalUnit& nal) noexcept
    {
        constexpr unsigned kPrefixNalUnit = 14;
        return nal.codec == Codec::h264 && nal.type() == kPrefixNalUnit;
    }

    // The access unit has picture data.
    const std::uint8_t* before_picture(Codec codec, BytesView unit, unsigned order)
    {
        const std::uint8_t* place = nullptr;
        for (const NalUnit& nal : NalUnits(codec, unit)) {
            if (nal.bare())
                continue;
            if (is_picture_data(nal))
                return place != nullptr ? place : nal.bytes.data();
            if (order != kAfterOtherSei && comes_before(order, nal))
                return nal.bytes.data();
            if (!is_prefix(nal))
                place = nullptr;
            else if (place == nullptr)
                place = nal.bytes.data();
        }
        return unit.end();
    }

    bool comes_before(unsigned order, const NalUnit& nal)
    {
        if (!nal.is_sei() || nal.is_suffix_sei() || nal.forbidden())
            return false;
        SeiPart first;
        const bool read = SeiWalk(nal, rbsp_).next(first);
        return order <= (read ? sei_order(nal.codec, first.type) : kAfterOtherSei);
    }

    // After suffix SEI that is there, too, but before what ends a sequence or stream.
    static const std::uint8_t* after_picture(Codec codec, BytesView unit) noexcept
    {
        const std::uint8_t* place = unit.end();
        bool open = false; // picture data has come, and no end since
        for (const NalUnit& nal : NalUnits(codec, unit)) {
            open = is_picture_data(nal) || (open && !nal.ends_sequence());
            if (is_picture_data(nal) || (open && nal.is_suffix_sei()))
                place = nal.bytes.end();
        }
        return place;
    }

    // TemporalId is that of the picture (H.265 7.4.2.2).
    void arrange(const NalUnit& slice, std::uint32_t type, BytesView payload, bool suffix)
    {
        rbsp_.clear();
        rbsp_.reserve(header_size(slice.codec) + type / 255 + payload.size() / 255 + payload.size() + 3);
        if (slice.codec == Codec::h264) {
            rbsp_.push_back(6);
        } else {
            rbsp_.push_back(suffix ? 40 << 1 : 39 << 1);
            rbsp_.push_back(static_cast<std::uint8_t>(slice.temporal_id() + 1));
        }
        append_number(type);
        append_number(payload.size());
        append(rbsp_, payload);
        rbsp_.push_back(kStopByte);
    }

    // ff_byte any number of times and a last byte (H.264 7.3.2.3.1, H.265 7.3.5).
    void append_number(std::size_t number)
    {
        rbsp_.insert(rbsp_.end(), number / 255, 0xFF);
        rbsp_.push_back(static_cast<std::uint8_t>(number % 255));
    }

    void write(BytesView unit, std::size_t at, Bytes& out) const
    {
        constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
        const std::size_t most = rbsp_.size() + rbsp_.size() / 2;
        out.clear();
        out.reserve(unit.size() + sizeof kStartCode + most);
        append(out, unit.subview(0, at));
        append(out, {kStartCode, sizeof kStartCode});
        const std::size_t begin = out.size();
        out.resize(begin + most);
        out.resize(begin + escape(rbsp_.data(), rbsp_.size(), out.data() + begin, find_zero_pair));
        append(out, unit.subview(at));
    }

    Bytes rbsp_; // of the SEI NAL unit at hand
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
