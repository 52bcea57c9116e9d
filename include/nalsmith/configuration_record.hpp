// SPDX-License-Identifier: MIT
/// \file
/// The configuration records that go with length-prefixed samples: AVCDecoderConfigurationRecord ("avcC") and
/// HEVCDecoderConfigurationRecord ("hvcC") (ISO/IEC 14496-15).
#ifndef NALSMITH_CONFIGURATION_RECORD_HPP
#define NALSMITH_CONFIGURATION_RECORD_HPP

#include "nalsmith/detail/configuration.hpp"
#include "nalsmith/detail/fields.hpp"

#include <utility>

namespace nalsmith {
inline namespace v1 {

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

/// Writes an AVCDecoderConfigurationRecord of all `sets`, in the order in which each came first. With several
/// SPS: the highest profile, level and bit depths, and the compatibility flags that all have. SPS extensions
/// are not written.
///
/// \param sets        at least one SPS and one PPS; at most 31 SPS and 255 PPS
/// \param length_size bytes of each length in the samples: 1, 2 or 4
/// \return none for sets that no record can hold, the ones above, those of more than 65535 bytes and SPS with
///         sample formats that the standard does not have; and for another length size
inline std::optional<Bytes> write_avc_configuration(const ParameterSets& sets, unsigned length_size = 4)
{
    const detail::RecordSets counted(sets);
    if (!detail::is_length_size(length_size) || !counted.fit_avc())
        return std::nullopt;
    return detail::write_avc_record(sets, counted, length_size);
}

/// Writes an HEVCDecoderConfigurationRecord of all `sets`, each array complete and in the order in which each
/// set came first. Spatial segmentation, parallelism and frame rate are not told. With several SPS: the
/// highest profile, tier, level and bit depths, and the flags that all have.
///
/// \param sets        at least one VPS, one SPS and one PPS; at most 31 SPS and 255 PPS
/// \param length_size bytes of each length in the samples: 1, 2 or 4
/// \return none as with write_avc_configuration()
inline std::optional<Bytes> write_hevc_configuration(const ParameterSets& sets, unsigned length_size = 4)
{
    const detail::RecordSets counted(sets);
    if (!detail::is_length_size(length_size) || !counted.fit_hevc())
        return std::nullopt;
    return detail::write_hevc_record(sets, counted, length_size);
}

} // namespace v1
} // namespace nalsmith

#endif
