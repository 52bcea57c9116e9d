// SPDX-License-Identifier: MIT
/// \file
/// One access unit, and what is known of it.
#ifndef NALSMITH_ACCESS_UNIT_HPP
#define NALSMITH_ACCESS_UNIT_HPP

#include "nalsmith/picture.hpp"
#include "nalsmith/sequence.hpp"

namespace nalsmith {
inline namespace v1 {

/// A NAL unit that carries a slice header: its place in AccessUnit::bytes.
struct SlicePlace {
    std::size_t begin = 0; ///< its start code
    std::size_t end = 0;   ///< the start code after it, or the end of the access unit
};

/// The places of an access unit's slices, in order, for a range-based `for`.
class SlicePlaces {
public:
    SlicePlaces() noexcept = default;
    /// Of `places`, which have to stay as they are.
    explicit SlicePlaces(const std::vector<SlicePlace>& places) noexcept
        : first_(places.data()), size_(places.size())
    {
    }

    const SlicePlace* begin() const noexcept { return first_; }                        ///< the first
    const SlicePlace* end() const noexcept { return first_ + size_; }                  ///< past the last
    std::size_t size() const noexcept { return size_; }                                ///< how many there are
    bool empty() const noexcept { return size_ == 0; }                                 ///< none
    const SlicePlace& operator[](std::size_t at) const noexcept { return first_[at]; } ///< not checked

private:
    const SlicePlace* first_ = nullptr;
    std::size_t size_ = 0;
};

/// One access unit of a stream, or slices that cannot be read.
///
/// Slices whose parameter sets have not come, with the NAL units that open their access unit, are access
/// units of their own: without a picture, key mark, reference mark and sequence. They come where a stream is
/// entered in the middle, and where it has lost parameter sets. So are NAL units at the front that stay with
/// what came before them, such as suffix SEI.
struct AccessUnit {
    /// Its bytes as they came in, from its first start code on; with ReaderOptions::self_contained also the
    /// parameter sets put in. Valid until the next call of a member of the reader that is not const; with
    /// ReaderOptions::whole_units, where nothing was put in, they are the caller's own and valid as long.
    BytesView bytes;
    /// Where its slices are, those that cannot be read too. Valid until the next call of a member of the
    /// reader that is not const.
    SlicePlaces slices;
    /// It holds a slice of a key picture: H.264 IDR, H.265 BLA, IDR or CRA.
    bool key = false;
    /// It holds a slice whose parameter sets are known.
    bool has_picture = false;
    /// Other pictures may refer to it: H.264 `nal_ref_idc` is not 0, H.265 `nal_unit_type` is not that of a
    /// sub-layer non-reference picture (0, 2, ... 14).
    bool reference = false;
    /// Of all its slices, in both codecs.
    PictureKind kind = PictureKind::unknown;
    /// Its place in output order: PicOrderCnt(CurrPic) (H.264 8.2.1) or PicOrderCntVal (H.265 8.3.1), which
    /// grows from one picture to the next that is output. Of two fields the lower count. With
    /// `memory_management_control_operation` 5 the count after the reset. None where the slice header cannot
    /// be read. After a loss it may be off until the count begins anew.
    std::optional<std::int64_t> picture_order;
    /// `picture_order` begins anew: all pictures before in decoding order are output before this one. At an
    /// H.264 IDR picture or operation 5, an H.265 IRAP picture with NoRaslOutputFlag 1, and the first picture
    /// of a stream.
    bool order_restarts = false;
    /// Its recovery point SEI message, where it has a picture and the message.
    std::optional<RecoveryPoint> recovery;
    /// Bytes put in that the input did not have.
    std::size_t inserted = 0;
    /// Zero bytes of the input that are not in `bytes`: of a run of more than 64 KiB, without those of the
    /// next start code, the ones beyond; and after AccessUnitReader::end_unit() those before the first start
    /// code.
    std::uint64_t zeros_left_out = 0;
    /// The parameters in force for its picture, whether or not they came with it.
    std::optional<SequenceParameters> sequence;
    /// Type of its first slice; H.264 only.
    VideoPicType picture_type = VideoPicTypeUnknown;
    /// Where in the input it begins. The next one begins at `position + bytes.size() - inserted +
    /// zeros_left_out`.
    std::uint64_t position = 0;
    /// The tag of the call that brought its first byte.
    std::uint64_t tag = 0;

    /// Decoding may begin here: with a key picture, or at a recovery point.
    bool entry() const noexcept { return key || recovery.has_value(); }
};

} // namespace v1
} // namespace nalsmith

#endif
