// SPDX-License-Identifier: MIT
/// \file
/// Whether access units follow one another without a loss.
#ifndef NALSMITH_CONTINUITY_HPP
#define NALSMITH_CONTINUITY_HPP

#include "nalsmith/detail/avc_continuity.hpp"
#include "nalsmith/detail/hevc_continuity.hpp"
#include "nalsmith/handles.hpp"

namespace nalsmith {

/// The name of a finding, for messages.
constexpr const char* to_string(Finding finding) noexcept
{
    switch (finding) {
    case Finding::none: return "no picture";
    case Finding::continuous: return "continuous";
    case Finding::skipped: return "skipped at a random access point";
    case Finding::allowed_gap: return "allowed gap in frame_num";
    case Finding::missing_reference: return "a picture that it refers to is missing";
    case Finding::missing_field: return "a reference field is missing";
    case Finding::no_start: return "not a picture to start at";
    case Finding::unknown_parameters: return "parameter sets not known";
    case Finding::unreadable: return "unreadable slice header";
    }
    return "unknown";
}

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
        detail::BitReader reader(nal);
        detail::AvcPicture picture;
        picture.idr = nal.type() == 5;
        picture.reference = nal.ref_idc() != 0;
        reader.ue(); // first_mb_in_slice
        picture.slice_type = reader.ue() % 5;
        picture.pps_id = reader.ue();
        const auto* const pps = find(avc_pps_, picture.pps_id);
        const auto* const sps = pps == nullptr ? nullptr : find(avc_sps_, pps->sps_id);
        if (sps == nullptr)
            return Finding::unknown_parameters;
        detail::read_avc_slice(reader, *sps, *pps, picture);
        return avc_.judge(picture);
    }

    Finding judge_hevc(const NalUnit& nal)
    {
        detail::BitReader reader(nal);
        if (reader.flag() == 0)
            return Finding::none; // not the first slice segment of its picture
        detail::HevcPicture picture;
        picture.type = nal.type();
        picture.temporal_id = nal.temporal_id();
        if (picture.irap())
            reader.flag(); // no_output_of_prior_pics_flag
        const auto* const pps = find(hevc_pps_, reader.ue());
        const auto* const sps = pps == nullptr ? nullptr : find(hevc_sps_, pps->sps_id);
        if (sps == nullptr)
            return Finding::unknown_parameters;
        return detail::read_hevc_slice(reader, *sps, *pps, picture) ? hevc_.judge(picture)
                                                                    : Finding::unreadable;
    }

    void read_other(const NalUnit& nal)
    {
        const unsigned type = nal.type();
        if (codec_ == Codec::h264) {
            if (type == 7)
                keep(avc_sps_, kSpsIds, detail::read_avc_sps(nal));
            else if (type == 8)
                keep(avc_pps_, kPpsIds, detail::read_avc_pps(nal));
        } else if (type == 33) {
            if (const auto sps = detail::read_hevc_sps(nal))
                keep(hevc_sps_, kSpsIds, *sps);
        } else if (type == 34) {
            keep(hevc_pps_, kPpsIds, detail::read_hevc_pps(nal));
        } else if (nal.ends_sequence()) {
            hevc_.end_sequence();
        }
    }

    template <typename Set>
    static void keep(std::vector<Set>& sets, unsigned ids, const Set& set)
    {
        for (Set& kept : sets)
            if (kept.id == set.id) {
                kept = set;
                return;
            }
        if (set.id < ids)
            sets.push_back(set);
    }

    template <typename Set>
    static const Set* find(const std::vector<Set>& sets, unsigned id) noexcept
    {
        for (const Set& set : sets)
            if (set.id == id)
                return &set;
        return nullptr;
    }

    static constexpr unsigned kSpsIds = 32;
    static constexpr unsigned kPpsIds = 256;

    Codec codec_;
    ParsingHandle library_;
    std::vector<detail::AvcSps> avc_sps_;
    std::vector<detail::AvcPps> avc_pps_;
    std::vector<detail::HevcSps> hevc_sps_;
    std::vector<detail::HevcPps> hevc_pps_;
    detail::AvcContinuity avc_;
    detail::HevcContinuity hevc_;
};

} // namespace nalsmith

#endif
