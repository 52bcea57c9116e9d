// SPDX-License-Identifier: MIT
/// \file
/// NAL units after their length instead of a start code, as files and transports in the manner of MP4 hold
/// them (ISO/IEC 14496-15).
#ifndef NALSMITH_LENGTH_PREFIXED_HPP
#define NALSMITH_LENGTH_PREFIXED_HPP

#include "nalsmith/detail/fields.hpp"
#include "nalsmith/nal_units.hpp"

namespace nalsmith {
inline namespace v1 {

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

/// What to_length_prefixed() leaves out.
struct LengthOptions {
    bool leave_out_parameter_sets = false; ///< VPS, SPS, PPS: those that the configuration record has
    bool leave_out_delimiters = false;     ///< access unit delimiters
};

/// Puts the NAL units of a byte stream after their lengths, into `out` after what it holds. Zero bytes after
/// a NAL unit, which are no part of it, are left out. `too_large` when a length does not fit: then what came
/// before is in `out`. `stream` may lie in `out`.
inline Status to_length_prefixed(Codec codec, BytesView stream, unsigned length_size, Bytes& out,
                                 LengthOptions options = {})
{
    if (!detail::is_length_size(length_size))
        return Status::not_supported;
    if (detail::overlap(stream, out))
        return to_length_prefixed(codec, stream.to_bytes(), length_size, out, options);
    const NalUnits nals(codec, stream);
    if (nals.empty())
        return Status::no_start_code;
    for (const NalUnit& nal : nals) {
        const BytesView payload = nal.payload();
        if (payload.empty() || (options.leave_out_parameter_sets && nal.is_parameter_set()) ||
            (options.leave_out_delimiters && nal.is_delimiter()))
            continue;
        if (static_cast<std::uint64_t>(payload.size()) >> (8 * length_size) != 0)
            return Status::too_large;
        detail::append_number(out, payload.size(), length_size);
        append(out, payload);
    }
    return Status::ok;
}

} // namespace v1
} // namespace nalsmith

#endif
