// SPDX-License-Identifier: MIT
/// \file
/// Whether access units follow one another without a loss.
#ifndef NALSMITH_CONTINUITY_HPP
#define NALSMITH_CONTINUITY_HPP

#include "nalsmith/access_unit.hpp"
#include "nalsmith/detail/avc/checker.hpp"
#include "nalsmith/detail/hevc/checker.hpp"
#include "nalsmith/detail/sei/recovery_point.hpp"
#include "nalsmith/handles.hpp"

namespace nalsmith {
inline namespace v1 {

/// The verdict on one access unit.
struct Verdict {
    /// The worst of its pictures.
    Finding finding = Finding::none;
    /// All that its pictures refer to, and what that refers to, has come whole since a point at which
    /// decoding may start. Of an access unit without pictures: as of the picture before it.
    ///
    /// H.265: exactly, by the reference picture sets (8.3.2). H.264: not from a loss on, until an IDR picture
    /// or a recovery point is reached; see ContinuityChecker.
    bool decodable = false;
    /// The library's own verdict, by its rule: VideoSampleTest(). All zero where it has not been asked for.
    VideoInfoEx library = {};

    /// Something is missing that the access unit needs, or cannot be read.
    bool broken() const noexcept { return is_broken(finding); }
    /// Something may be missing: encoders with fixed slices leave none out.
    bool suspect() const noexcept { return finding == Finding::unusual_slices; }
};

/// Judges the access units of a stream, in decoding order.
///
/// A stream that is whole is never called broken; where a picture is missing that others need, the first of
/// them is. H.265: each picture says what it refers to, so this holds for any reordering and any number of
/// temporal layers, also with the upper ones taken out. H.264: a gap in frame_num tells of a lost reference
/// picture, a field without its partner of a lost field; a picture order count that comes twice of a lost
/// IDR picture. Pictures to which no other refers may be missing. Where an H.264 stream allows gaps in
/// frame_num, as streams with temporal layers do, nothing in the headers tells a layer taken out from a loss:
/// then there is Finding::allowed_gap and no break.
///
/// Slices are missing (Finding::missing_slice) where the first of a picture is, where places do not grow, and
/// where a picture must have begun between two. Where an H.264 stream may send slices in any order (Baseline
/// without `constraint_set1_flag`, Extended, slice groups), the first and the growth are not judged. A slice
/// that comes twice is no loss, as far as its size, its first and its last 32 bytes tell. A lost slice in the
/// middle or at the end shows in no header: Finding::unusual_slices goes by the 16 pictures before.
///
/// H.264 pictures are decodable again from an IDR picture on; or from the recovery point of an SEI message
/// with `exact_match_flag` 1 and `broken_link_flag` 0 (D.2.8) on, when their picture order count (8.2.1) is
/// not below that of the picture there.
///
/// Where a picture spreads over several access units, as colour planes and slices in any order do, what is
/// missing of it is found at the first access unit of the next one.
///
/// Parameter sets are those of the base layer. Where the standard library's containers find no memory, their
/// exception passes through; reset() then.
class ContinuityChecker {
public:
    /// For one stream. With `ask_library` every verdict has Verdict::library as well, for some 60 ns more;
    /// without memory for the library's handle it stays all zero.
    explicit ContinuityChecker(Codec codec, bool ask_library = false)
        : codec_(codec), library_(ask_library ? make_parsing_handle(codec, 1, 1) : ParsingHandle())
    {
    }

    /// Judges the next access unit. It may hold both fields of a frame.
    Verdict check(BytesView unit)
    {
        walk(unit);
        return end_unit(unit);
    }

    /// The same of one that AccessUnitReader has just given, without searching its slices again.
    Verdict check(const AccessUnit& unit)
    {
        std::size_t walked = 0;
        for (const SlicePlace& slice : unit.slices) {
            walk(unit.bytes.subview(walked, slice.begin - walked));
            const BytesView bytes = unit.bytes.subview(slice.begin, slice.end - slice.begin);
            take({codec_, bytes, detail::start_code_size_at(bytes.data())});
            walked = slice.end;
        }
        walk(unit.bytes.subview(walked));
        return end_unit(unit.bytes);
    }

    /// Parameter sets from outside the stream, as a byte stream.
    void add_parameter_sets(BytesView sets) { check(sets); }

    /// The next access unit comes from another place of the stream. Parameter sets stay.
    void reset()
    {
        avc_.reset();
        hevc_.reset();
    }

private:
    void walk(BytesView bytes)
    {
        for (const NalUnit& nal : NalUnits(codec_, bytes))
            take(nal);
    }

    void take(const NalUnit& nal)
    {
        if (nal.bare() || nal.forbidden() || nal.layer_id() != 0)
            return;
        const bool avc = codec_ == Codec::h264;
        if (nal.is_slice())
            avc ? avc_.take_slice(nal) : hevc_.take_slice(nal);
        else if (nal.is_parameter_set())
            avc ? avc_.take_parameter_set(nal) : hevc_.take_parameter_set(nal);
        else if (nal.is_delimiter())
            avc ? avc_.take_delimiter() : hevc_.take_delimiter();
        else if (avc && nal.is_sei())
            avc_.take_recovery_point(detail::find_recovery_point(nal));
        else if (!avc && nal.ends_sequence())
            hevc_.end_sequence();
    }

    Verdict end_unit(BytesView unit)
    {
        const auto answer = codec_ == Codec::h264 ? avc_.end_unit() : hevc_.end_unit();
        Verdict verdict;
        verdict.finding = answer.finding;
        verdict.decodable = answer.decodable;
        if (library_ && detail::fits_library(unit.size()))
            VideoSampleTest(library_.get(), unit.data(), detail::library_size(unit.size()), &verdict.library);
        return verdict;
    }

    Codec codec_;
    ParsingHandle library_;
    detail::AvcChecker avc_;
    detail::HevcChecker hevc_;
};

} // namespace v1
} // namespace nalsmith

#endif
