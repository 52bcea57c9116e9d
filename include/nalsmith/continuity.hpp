// SPDX-License-Identifier: MIT
/// \file
/// Whether access units follow one another without a loss.
#ifndef NALSMITH_CONTINUITY_HPP
#define NALSMITH_CONTINUITY_HPP

#include "nalsmith/detail/avc/continuity.hpp"
#include "nalsmith/detail/by_id.hpp"
#include "nalsmith/detail/hevc/continuity.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/finding.hpp"
#include "nalsmith/handles.hpp"

namespace nalsmith {
inline namespace v1 {

/// The verdict on one access unit.
struct Verdict {
    /// The worst of its pictures, when it holds two fields.
    Finding finding = Finding::none;
    /// The library's own verdict, by its rule: VideoSampleTest().
    VideoInfoEx library = {};

    /// Something is missing that the access unit needs, or cannot be read.
    bool broken() const noexcept { return finding >= Finding::missing_reference; }
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
class ContinuityChecker {
public:
    /// For one stream. Without memory for the library's handle, Verdict::library stays all zero.
    explicit ContinuityChecker(Codec codec) : codec_(codec), library_(make_parsing_handle(codec, 1, 1)) {}

    /// Judges the next access unit. It may hold both fields of a frame.
    Verdict check(BytesView unit)
    {
        Verdict verdict;
        if (library_ && detail::fits_library(unit.size()))
            VideoSampleTest(library_.get(), unit.data(), detail::library_size(unit.size()), &verdict.library);
        for (const NalUnit& nal : NalUnits(codec_, unit)) {
            if (nal.bare() || nal.forbidden() || nal.layer_id() != 0)
                continue;
            if (nal.is_slice())
                note(verdict, codec_ == Codec::h264 ? judge_avc(nal) : judge_hevc(nal));
            else
                read_other(nal);
        }
        return verdict;
    }

    /// Parameter sets from outside the stream, as a byte stream.
    void add_parameter_sets(BytesView sets) { check(sets); }

private:
    static void note(Verdict& verdict, Finding finding) noexcept
    {
        if (finding > verdict.finding)
            verdict.finding = finding;
    }

    Finding judge_avc(const NalUnit& nal)
    {
        detail::BitReader reader = detail::bits_of(nal);
        detail::AvcPicture picture;
        picture.IdrPicFlag = detail::is_avc_idr(nal.type());
        picture.nal_ref_idc = static_cast<std::uint8_t>(nal.ref_idc());
        detail::read_avc_slice_begin(reader, picture);
        const auto* const pps = avc_pps_.find(picture.pic_parameter_set_id);
        const auto* const sps = pps == nullptr ? nullptr : avc_sps_.find(pps->seq_parameter_set_id);
        if (sps == nullptr)
            return Finding::unknown_parameters;
        detail::read_avc_picture(reader, *sps, *pps, picture);
        return avc_.judge(picture);
    }

    Finding judge_hevc(const NalUnit& nal)
    {
        detail::BitReader reader = detail::bits_of(nal);
        if (!reader.flag())
            return Finding::none; // not the first slice segment of its picture
        detail::HevcPicture picture;
        picture.type = nal.type();
        picture.temporal_id = nal.temporal_id();
        if (picture.irap())
            reader.flag(); // no_output_of_prior_pics_flag
        const auto* const pps = hevc_pps_.find(reader.ue());
        const auto* const references =
            pps == nullptr ? nullptr : hevc_sps_.find(pps->pps_seq_parameter_set_id);
        if (references == nullptr)
            return Finding::unknown_parameters;
        return detail::read_hevc_slice(reader, *references, *pps, picture) ? hevc_.judge(picture)
                                                                           : Finding::unreadable;
    }

    void read_other(const NalUnit& nal)
    {
        const detail::BitReader reader = detail::bits_of(nal);
        const unsigned type = nal.type();
        if (codec_ == Codec::h264) {
            if (type == 7) {
                const detail::AvcSps sps = detail::read_avc_sps(reader);
                avc_sps_.keep(sps.seq_parameter_set_id, sps);
            } else if (type == 8) {
                const detail::AvcPps pps = detail::read_avc_pps(reader);
                avc_pps_.keep(pps.pic_parameter_set_id, pps);
            }
        } else if (type == 33) {
            if (auto references = detail::read_hevc_references(reader))
                hevc_sps_.keep(references->sps_seq_parameter_set_id, std::move(*references));
        } else if (type == 34) {
            const detail::HevcPps pps = detail::read_hevc_pps(reader);
            hevc_pps_.keep(pps.pps_pic_parameter_set_id, pps);
        } else if (nal.ends_sequence()) {
            hevc_.end_sequence();
        }
    }

    Codec codec_;
    ParsingHandle library_;
    detail::ById<detail::AvcSps, 32> avc_sps_;
    detail::ById<detail::AvcPps, 256> avc_pps_;
    detail::ById<detail::HevcReferences, 32> hevc_sps_;
    detail::ById<detail::HevcPps, 256> hevc_pps_;
    detail::AvcContinuity avc_;
    detail::HevcContinuity hevc_;
};

} // namespace v1
} // namespace nalsmith

#endif
