// SPDX-License-Identifier: MIT
/// \file
/// The NAL units of a buffer, for both codecs: where they are and what their type means.
#ifndef NALSMITH_NAL_UNITS_HPP
#define NALSMITH_NAL_UNITS_HPP

#include "nalsmith/bytes.hpp"
#include "nalsmith/detail/nal_types.hpp"
#include "nalsmith/detail/start_codes.hpp"

#include <cstring>
#include <iterator>

namespace nalsmith {
inline namespace v1 {

/// Where a NAL unit belongs when a stream is cut into access units (H.264 7.4.1.2.3, H.265 7.4.2.4.4).
enum class NalRole {
    slice,    ///< carries a slice header that tells one picture from the next
    opener,   ///< begins the next access unit when it follows the last slice of a picture
    trailing, ///< stays with what came before
};

/// What the standard calls a `nal_unit_type` (H.264 Table 7-1, H.265 Table 7-1).
constexpr const char* nal_type_name(Codec codec, unsigned nal_unit_type) noexcept
{
    return codec == Codec::h264 ? detail::kAvcNalNames[nal_unit_type & 31U]
                                : detail::kHevcNalNames[nal_unit_type & 63U];
}

/// One NAL unit of a byte stream.
struct NalUnit {
    Codec codec = Codec::h264;       ///< by whose rules the header is read
    BytesView bytes;                 ///< from its start code up to the next one
    std::size_t start_code_size = 0; ///< 3 or 4

    /// After the start code and without the zero bytes after the NAL unit (H.264 B.1.1, H.265 B.2.1).
    BytesView payload() const noexcept
    {
        BytesView view = bytes.subview(start_code_size);
        while (!view.empty() && view[view.size() - 1] == 0)
            view = view.subview(0, view.size() - 1);
        return view;
    }

    /// Nothing after the start code.
    bool bare() const noexcept { return bytes.size() <= start_code_size; }
    /// A byte after the start code; 0 where there is none.
    unsigned header_byte(std::size_t at) const noexcept
    {
        return start_code_size + at < bytes.size() ? bytes[start_code_size + at] : 0U;
    }
    /// `forbidden_zero_bit` is set: not a NAL unit of the standard.
    bool forbidden() const noexcept { return (header_byte(0) & 0x80U) != 0; }

    /// `nal_unit_type`.
    unsigned type() const noexcept
    {
        return codec == Codec::h264 ? header_byte(0) & 31U : header_byte(0) >> 1 & 63U;
    }
    /// `nal_ref_idc`, H.264 only.
    unsigned ref_idc() const noexcept { return header_byte(0) >> 5 & 3U; }
    /// `nuh_layer_id`, H.265 only.
    unsigned layer_id() const noexcept
    {
        return codec == Codec::h264 ? 0U : (header_byte(0) & 1U) << 5 | header_byte(1) >> 3;
    }
    /// `TemporalId`, H.265 only.
    unsigned temporal_id() const noexcept { return (header_byte(1) & 7U) - ((header_byte(1) & 7U) != 0); }

    /// Carries a slice header that tells one picture from the next.
    bool is_slice() const noexcept { return kind() == detail::NalKind::slice; }
    /// A slice of a key picture: H.264 IDR, H.265 BLA, IDR or CRA.
    bool is_key_slice() const noexcept
    {
        return codec == Codec::h264 ? detail::is_avc_idr(type()) : detail::is_hevc_key(type());
    }
    /// Other pictures may refer to its picture: `nal_ref_idc` is not 0, or the type is not that of a
    /// sub-layer non-reference picture (H.264 7.4.1, H.265 7.4.2.2).
    bool is_reference() const noexcept
    {
        return codec == Codec::h264 ? ref_idc() != 0 : !detail::is_hevc_sub_layer_non_reference(type());
    }
    /// Access unit delimiter.
    bool is_delimiter() const noexcept { return kind() == detail::NalKind::delimiter; }
    /// SPS or PPS; H.265 also VPS.
    bool is_parameter_set() const noexcept { return detail::is_parameter_set(kind()); }
    /// H.264 SEI; H.265 prefix and suffix SEI.
    bool is_sei() const noexcept
    {
        return kind() == detail::NalKind::sei || kind() == detail::NalKind::suffix_sei;
    }
    /// H.265 suffix SEI.
    bool is_suffix_sei() const noexcept { return kind() == detail::NalKind::suffix_sei; }
    /// End of sequence or of stream: the next picture starts anew.
    bool ends_sequence() const noexcept
    {
        return kind() == detail::NalKind::end_of_sequence || kind() == detail::NalKind::end_of_stream;
    }

    /// What it means for where access units begin (H.264 7.4.1.2.3, H.265 7.4.2.4.4).
    NalRole role() const noexcept
    {
        if (is_slice())
            return NalRole::slice;
        return detail::opens_access_unit(kind()) ? NalRole::opener : NalRole::trailing;
    }

private:
    detail::NalKind kind() const noexcept
    {
        return codec == Codec::h264 ? detail::avc_kind(type()) : detail::hevc_kind(type());
    }
};

/// The NAL units of a buffer, in order, for a range-based `for`. Bytes before the first start code are not
/// part of any. Unlike the library's own walks, this one sees a NAL unit of four bytes at the end of the
/// buffer, goes on after a bare start code and works for both codecs.
class NalUnits {
public:
    /// Of `bytes`, which have to outlive the walk.
    NalUnits(Codec codec, BytesView bytes) noexcept : codec_(codec), bytes_(bytes) {}

    /// An input iterator; what it points to is valid until it moves.
    class iterator {
    public:
        /// \cond the usual
        using iterator_category = std::input_iterator_tag;
        using value_type = NalUnit;
        using difference_type = std::ptrdiff_t;
        using pointer = const NalUnit*;
        using reference = const NalUnit&;

        iterator() noexcept = default;
        iterator(Codec codec, BytesView bytes, std::size_t at) noexcept : bytes_(bytes), next_(at)
        {
            unit_.codec = codec;
            advance();
        }
        reference operator*() const noexcept { return unit_; }
        pointer operator->() const noexcept { return &unit_; }
        iterator& operator++() noexcept
        {
            advance();
            return *this;
        }
        void operator++(int) noexcept { advance(); }
        /// \endcond
        /// Only meant to be compared with the end.
        friend bool operator==(const iterator& a, const iterator& b) noexcept
        {
            return a.unit_.bytes.data() == b.unit_.bytes.data();
        }
        /// The same for the opposite.
        friend bool operator!=(const iterator& a, const iterator& b) noexcept { return !(a == b); }

    private:
        void advance() noexcept
        {
            if (next_ >= bytes_.size()) {
                unit_.bytes = {};
                return;
            }
            const std::size_t at = next_;
            unit_.start_code_size = detail::start_code_size_at(bytes_.data() + at);
            const std::size_t after = at + unit_.start_code_size;
            next_ = detail::find_start_code(bytes_.data(), after, bytes_.size());
            unit_.bytes = bytes_.subview(at, next_ - at);
        }

        BytesView bytes_;
        std::size_t next_ = 0;
        NalUnit unit_;
    };

    /// The first NAL unit.
    iterator begin() const noexcept
    {
        return {codec_, bytes_, detail::find_start_code(bytes_.data(), 0, bytes_.size())};
    }
    /// Past the last.
    iterator end() const noexcept { return {}; }
    /// Without a single start code.
    bool empty() const noexcept { return begin() == end(); }

private:
    Codec codec_;
    BytesView bytes_;
};

} // namespace v1
} // namespace nalsmith

#endif
