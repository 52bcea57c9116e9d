// SPDX-License-Identifier: MIT
/// \file
/// What the judgement of an access unit may be.
#ifndef NALSMITH_FINDING_HPP
#define NALSMITH_FINDING_HPP

namespace nalsmith {
inline namespace v1 {

/// What is found of an access unit. From `missing_reference` on the stream is broken there.
enum class Finding {
    none,           ///< no picture to judge: none at all, or more of the picture before
    continuous,     ///< follows
    skipped,        ///< an H.265 RASL picture after the random access point that was entered at: not decoded
    allowed_gap,    ///< H.264: frame_num skips some, as the stream says that it may
    unusual_slices, ///< its slices begin at some of the places alone where those of 16 pictures before did
    missing_reference,  ///< a picture that this one needs has not come
    missing_field,      ///< H.264: the other field of the reference field before has not come
    missing_slice,      ///< part of a picture has not come
    no_start,           ///< the first picture of all is none at which decoding may begin
    unknown_parameters, ///< its parameter sets have not come
    unreadable,         ///< its header ends too early or contradicts itself
};

/// Something is missing, or cannot be read.
constexpr bool is_broken(Finding finding) noexcept
{
    return finding >= Finding::missing_reference;
}

/// The name of a finding, for messages.
constexpr const char* to_string(Finding finding) noexcept
{
    switch (finding) {
    case Finding::none: return "no picture";
    case Finding::continuous: return "continuous";
    case Finding::skipped: return "skipped at a random access point";
    case Finding::allowed_gap: return "allowed gap in frame_num";
    case Finding::unusual_slices: return "fewer slices than the pictures before";
    case Finding::missing_reference: return "a picture that it refers to is missing";
    case Finding::missing_field: return "a reference field is missing";
    case Finding::missing_slice: return "a slice is missing";
    case Finding::no_start: return "not a picture to start at";
    case Finding::unknown_parameters: return "parameter sets not known";
    case Finding::unreadable: return "unreadable slice header";
    }
    return "unknown";
}

} // namespace v1
} // namespace nalsmith

#endif
