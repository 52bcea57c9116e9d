// SPDX-License-Identifier: MIT
/// \file
/// NAL units after their length instead of a start code, as files and transports in the manner of MP4 hold
/// them (ISO/IEC 14496-15), and the configuration records that go with them.
#ifndef NALSMITH_LENGTH_PREFIXED_HPP
#define NALSMITH_LENGTH_PREFIXED_HPP

#include "nalsmith/nal_units.hpp"

#include <utility>

namespace nalsmith {
inline namespace v1 {

namespace detail {

// Big-endian fields, one after the other. A field that is not all there leaves `good` false and reads 0.
class FieldReader {
public:
    explicit FieldReader(BytesView bytes) noexcept : bytes_(bytes) {}

    std::size_t left() const noexcept { return bytes_.size(); }
    bool good() const noexcept { return good_; }

    BytesView take(std::size_t count) noexcept
    {
        if (count > bytes_.size()) {
            good_ = false;
            count = bytes_.size();
        }
        const BytesView taken = bytes_.subview(0, count);
        bytes_ = bytes_.subview(count);
        return taken;
    }

    std::uint32_t number(std::size_t size) noexcept
    {
        std::uint32_t value = 0;
        for (const std::uint8_t byte : take(size))
            value = value << 8 | byte;
        return good_ ? value : 0;
    }

private:
    BytesView bytes_;
    bool good_ = true;
};

inline void append_nal(Bytes& to, BytesView payload)
{
    if (payload.empty())
        return;
    constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
    append(to, {kStartCode, sizeof kStartCode});
    append(to, payload);
}

constexpr bool is_length_size(unsigned size) noexcept
{
    return size == 1 || size == 2 || size == 4;
}

} // namespace detail

/// Puts the NAL units of a sample after start codes, into `out` after what it holds. `malformed` when a
/// length leads beyond the sample: then what came before is in `out`. `sample` may lie in `out`.
inline Status to_annex_b(BytesView sample, unsigned length_size, Bytes& out)
{
    if (!detail::is_length_size(length_size))
        return Status::not_supported;
    if (detail::overlap(sample, out))
        return to_annex_b(sample.to_bytes(), length_size, out);
    for (detail::FieldReader reader(sample); reader.left() != 0;) {
        const BytesView payload = reader.take(reader.number(length_size));
        if (!reader.good())
            return Status::malformed;
        detail::append_nal(out, payload);
    }
    return Status::ok;
}

/// Puts the NAL units of a byte stream after their lengths, into `out` after what it holds. Zero bytes after
/// a NAL unit, which are no part of it, are left out. `too_large` when a length does not fit: then what came
/// before is in `out`. `stream` may lie in `out`.
inline Status to_length_prefixed(BytesView stream, unsigned length_size, Bytes& out)
{
    if (!detail::is_length_size(length_size))
        return Status::not_supported;
    if (detail::overlap(stream, out))
        return to_length_prefixed(stream.to_bytes(), length_size, out);
    const NalUnits nals(Codec::h264, stream); // the same for both codecs
    if (nals.empty())
        return Status::no_start_code;
    for (const NalUnit& nal : nals) {
        const BytesView payload = nal.payload();
        if (payload.empty())
            continue;
        if (static_cast<std::uint64_t>(payload.size()) >> (8 * length_size) != 0)
            return Status::too_large;
        for (unsigned i = length_size; i-- > 0;)
            out.push_back(static_cast<std::uint8_t>(payload.size() >> (8 * i)));
        append(out, payload);
    }
    return Status::ok;
}

/// What a configuration record says.
struct CodecConfiguration {
    Codec codec = Codec::h264; ///< by which of the two records it is
    unsigned length_size = 4;  ///< bytes of each length in the samples
    unsigned profile = 0;      ///< `AVCProfileIndication` or `general_profile_idc`
    unsigned level = 0;        ///< `AVCLevelIndication` or `general_level_idc`
    Bytes parameter_sets;      ///< a byte stream: for AccessUnitReader::add_parameter_sets()
};

/// Reads an AVCDecoderConfigurationRecord ("avcC"). `malformed` when it is cut short or of another version.
/// `record` may lie in `out`.
inline Status read_avc_configuration(BytesView record, CodecConfiguration& out)
{
    detail::FieldReader reader(record);
    CodecConfiguration read; // the record may lie in `out`
    const std::uint32_t version = reader.number(1);
    read.profile = reader.number(1);
    reader.number(1); // profile_compatibility
    read.level = reader.number(1);
    read.length_size = (reader.number(1) & 3) + 1;
    for (const std::uint32_t mask : {0x1FU, 0xFFU}) // SPS, then PPS
        for (std::uint32_t count = reader.number(1) & mask; count > 0 && reader.good(); --count)
            detail::append_nal(read.parameter_sets, reader.take(reader.number(2)));
    out = std::move(read);
    return reader.good() && version == 1 ? Status::ok : Status::malformed;
}

/// Reads an HEVCDecoderConfigurationRecord ("hvcC"). Of its arrays those of parameter sets and SEI are kept.
/// Version 0, which older writers left, is read like 1.
inline Status read_hevc_configuration(BytesView record, CodecConfiguration& out)
{
    detail::FieldReader reader(record);
    CodecConfiguration read; // the record may lie in `out`
    read.codec = Codec::h265;
    const std::uint32_t version = reader.number(1);
    read.profile = reader.number(1) & 31;
    reader.take(10); // compatibility and constraint flags
    read.level = reader.number(1);
    reader.take(8); // segmentation, parallelism, chroma format, bit depths, frame rate
    read.length_size = (reader.number(1) & 3) + 1;
    for (std::uint32_t arrays = reader.number(1); arrays > 0 && reader.good(); --arrays) {
        reader.number(1); // NAL_unit_type, which the NAL units say themselves
        for (std::uint32_t count = reader.number(2); count > 0 && reader.good(); --count)
            detail::append_nal(read.parameter_sets, reader.take(reader.number(2)));
    }
    out = std::move(read);
    return reader.good() && version <= 1 ? Status::ok : Status::malformed;
}

} // namespace v1
} // namespace nalsmith

#endif
