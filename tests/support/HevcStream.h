// SPDX-License-Identifier: MIT
// Builders of H.265 NAL units, made like those of H.264 in AvcStream.h.
#pragma once

#include "AvcStream.h"

#include <bit>
#include <string>

namespace hevctest {

using avctest::Cropping;
using avctest::Timing;
using avctest::VideoSignal;
using avctest::Vui;

inline Bytes NalHeader(u32 nal_unit_type, u32 nuh_layer_id = 0, u32 nuh_temporal_id_plus1 = 1)
{
    return BitWriter().u(7, nal_unit_type).u(6, nuh_layer_id).u(3, nuh_temporal_id_plus1).Take();
}

inline Bytes Nal(u32 nal_unit_type, const Bytes& payload, u32 nuh_layer_id = 0, u32 startCodeSize = 4)
{
    return NalUnitOf(NalHeader(nal_unit_type, nuh_layer_id) + payload, startCodeSize);
}

struct Delimiter {
    operator Bytes() const { return Nal(35, "50"_bytes); }
};

struct Sei {
    u32 nal_unit_type = 39;           // 40 for the suffix
    Bytes message = "06 01 c4"_bytes; // recovery point

    operator Bytes() const { return Nal(nal_unit_type, message + "80"_bytes); }
};

// What of profile_tier_level() a sub-layer has. A parameter set of n of these has n + 1 sub-layers.
struct SubLayer {
    u32 profile_present_flag = 0, level_present_flag = 0;
};

inline void WriteProfileTierLevel(BitWriter& out, const std::vector<SubLayer>& subLayers)
{
    const auto profile = [&] { out.u(8, 0x21).u(32, 0x60000001).u(4, 9).u(43, 0x2AAAAAAAAAA).u(1, 1); };
    profile();
    out.u(8, 93); // general_level_idc
    for (const SubLayer& layer : subLayers)
        out.u(1, layer.profile_present_flag).u(1, layer.level_present_flag);
    if (!subLayers.empty())
        out.u(static_cast<u32>(16 - 2 * subLayers.size()), 0); // reserved_zero_2bits
    for (const SubLayer& layer : subLayers) {
        if (layer.profile_present_flag != 0)
            profile();
        out.u(8 * layer.level_present_flag, 90);
    }
}

inline void WriteOrderingInfo(BitWriter& out, u32 present_flag, const std::vector<SubLayer>& subLayers)
{
    out.u(1, present_flag);
    for (std::size_t i = present_flag != 0 ? 0 : subLayers.size(); i <= subLayers.size(); ++i)
        out.ue(4 + i).ue(2).ue(i);
}

constexpr u32 kWritten = 100; // of elements that are announced in larger numbers

struct Vps {
    u32 vps_video_parameter_set_id = 0;
    std::vector<SubLayer> subLayers = {};
    u32 vps_reserved_0xffff_16bits = 0xFFFF, vps_sub_layer_ordering_info_present_flag = 1;
    u32 vps_max_layer_id = 0, vps_num_layer_sets_minus1 = 0;
    std::optional<Timing> timing = {};

    operator Bytes() const { return Nal(32, Payload()); }

    Bytes Payload() const
    {
        BitWriter out;
        out.u(4, vps_video_parameter_set_id).u(2, 3).u(6, 0).u(3, subLayers.size()).u(1, 1);
        out.u(16, vps_reserved_0xffff_16bits);
        WriteProfileTierLevel(out, subLayers);
        WriteOrderingInfo(out, vps_sub_layer_ordering_info_present_flag, subLayers);
        out.u(6, vps_max_layer_id).ue(vps_num_layer_sets_minus1);
        for (u32 i = 0; i < std::min(vps_num_layer_sets_minus1, kWritten) * (vps_max_layer_id + 1); ++i)
            out.u(1, 1); // layer_id_included_flag
        out.Optional(timing, [&](Timing t) { out.u(32, t.num_units_in_tick).u(32, t.time_scale).u(1, 0); });
        return out.ue(0).u(1, 0).TrailingBits().Take(); // no HRD parameters, no extension
    }
};

struct ShortTermSet {
    u32 num_negative_pics = 0, num_positive_pics = 0;
    // When the set is predicted: "1", "01" or "00" for each picture of the set before, and one more.
    std::string flags = {};
};

struct Sps {
    u32 sps_video_parameter_set_id = 0;
    std::vector<SubLayer> subLayers = {};
    u32 sps_seq_parameter_set_id = 0, chroma_format_idc = 1, separate_colour_plane_flag = 0;
    u32 pic_width_in_luma_samples = 64, pic_height_in_luma_samples = 64;
    std::optional<Cropping> conf_win = {};
    u32 log2_max_pic_order_cnt_lsb_minus4 = 0, sps_sub_layer_ordering_info_present_flag = 1;
    u32 log2_min_luma_coding_block_size_minus3 = 0, log2_diff_max_min_luma_coding_block_size = 1;
    u32 scaling_list_enabled_flag = 0;
    std::optional<u32> scaling_list_pred_mode_flags = {}; // of the 20 lists, the first one's in bit 0
    u32 pcm_enabled_flag = 0;
    std::vector<ShortTermSet> st_ref_pic_sets = {};
    std::size_t written = 0; // others, in place of these
    BitWriter written_sets = {};
    std::optional<std::vector<u32>> lt_ref_pic_poc_lsb_sps = {};
    std::optional<Vui> vui = {};

    operator Bytes() const { return Nal(33, Payload(), 0, 3); }

    Bytes Payload() const
    {
        BitWriter out = Head();
        out.ue(written + st_ref_pic_sets.size()).Append(written_sets);
        for (const ShortTermSet& set : st_ref_pic_sets)
            WriteShortTermSet(out, set, &set == st_ref_pic_sets.data());
        out.Optional(lt_ref_pic_poc_lsb_sps, [&](const std::vector<u32>& lsbs) {
            out.ue(lsbs.size());
            for (const u32 lsb : lsbs)
                out.u(log2_max_pic_order_cnt_lsb_minus4 + 4, lsb).u(1, 1);
        });
        out.u(2, 2); // sps_temporal_mvp_enabled_flag, strong_intra_smoothing_enabled_flag
        out.Optional(vui, [&](const Vui& v) { v.Write(out, true); });
        return out.u(1, 0).TrailingBits().Take();
    }

    // What the library keeps of it.
    std::array<u32, 8> Kept() const
    {
        return (std::array{sps_video_parameter_set_id, sps_seq_parameter_set_id, separate_colour_plane_flag,
                           log2_max_pic_order_cnt_lsb_minus4, log2_min_luma_coding_block_size_minus3,
                           log2_diff_max_min_luma_coding_block_size, pic_width_in_luma_samples,
                           pic_height_in_luma_samples});
    }

    // Up to the conformance window.
    BitWriter Size() const
    {
        BitWriter out;
        out.u(4, sps_video_parameter_set_id).u(3, subLayers.size()).u(1, 1);
        WriteProfileTierLevel(out, subLayers);
        out.ue(sps_seq_parameter_set_id).ue(chroma_format_idc);
        out.u(chroma_format_idc == 3 ? 1 : 0, separate_colour_plane_flag);
        out.ue(pic_width_in_luma_samples).ue(pic_height_in_luma_samples);
        return out.Optional(conf_win, [&](const Cropping& c) { c.Write(out); });
    }

    // Up to the reference picture sets.
    BitWriter Head() const
    {
        BitWriter out = Size();
        out.ue(2).ue(1).ue(log2_max_pic_order_cnt_lsb_minus4); // the first two are bit depths
        WriteOrderingInfo(out, sps_sub_layer_ordering_info_present_flag, subLayers);
        out.ue(log2_min_luma_coding_block_size_minus3).ue(log2_diff_max_min_luma_coding_block_size);
        out.ue(0).ue(3).ue(2).ue(1).u(1, scaling_list_enabled_flag); // transform block sizes and depths
        if (scaling_list_enabled_flag != 0)
            out.Optional(scaling_list_pred_mode_flags, [&](u32 flags) { WriteScalingLists(out, flags); });
        out.u(2, 2).u(1, pcm_enabled_flag); // amp_enabled_flag, sample_adaptive_offset_enabled_flag
        if (pcm_enabled_flag != 0)
            out.u(8, 0x79).ue(1).ue(2).u(1, 1);
        return out;
    }

private:
    // 6 lists of 16 coefficients, 6 of 64, then 6 and 2 of 64 with a DC coefficient.
    static void WriteScalingLists(BitWriter& out, u32 flags)
    {
        for (u32 list = 0; list < 20; ++list)
            if ((flags >> list & 1) == 0) {
                out.u(1, 0).ue(list % 3); // scaling_list_pred_matrix_id_delta
            } else {
                out.u(1, 1);
                for (i32 i = list < 12 ? 0 : -1; i < (list < 6 ? 16 : 64); ++i)
                    out.se(i % 5 - 2);
            }
    }

    static void WriteShortTermSet(BitWriter& out, const ShortTermSet& set, bool first)
    {
        out.u(first ? 0 : 1, set.flags.empty() ? 0 : 1); // inter_ref_pic_set_prediction_flag
        if (set.flags.empty()) {
            out.ue(set.num_negative_pics).ue(set.num_positive_pics);
            for (u32 i = 0; i < set.num_negative_pics + set.num_positive_pics; ++i)
                out.ue(i % 3).u(1, i % 2);
            return;
        }
        out.u(1, 1).ue(4); // delta_rps_sign, abs_delta_rps_minus1
        for (const char flag : set.flags)
            out.u(flag == ' ' ? 0 : 1, flag == '1');
    }
};

struct Pps {
    u32 pps_pic_parameter_set_id = 0, pps_seq_parameter_set_id = 0;
    u32 dependent_slice_segments_enabled_flag = 0, output_flag_present_flag = 0;
    u32 num_extra_slice_header_bits = 0;
    BitWriter tiles = {}; // from num_tile_columns_minus1 on; none: no tiles

    operator Bytes() const
    {
        BitWriter out;
        out.ue(pps_pic_parameter_set_id).ue(pps_seq_parameter_set_id);
        out.u(1, dependent_slice_segments_enabled_flag).u(1, output_flag_present_flag);
        out.u(3, num_extra_slice_header_bits).u(2, 3).ues({2, 1}).se(-3).u(3, 5).ue(1).se(2).se(-1).u(4, 0);
        out.u(1, tiles.Count() != 0 ? 1 : 0).u(1, 0).Append(tiles);
        return Nal(34, out.TrailingBits().Take(), 0, 3);
    }
};

constexpr u32 kTrailN = 0, kTrailR = 1, kRadlR = 7, kRaslN = 8, kBla = 16, kIdr = 19, kCra = 21;

inline bool IsSlice(u32 nal_unit_type)
{
    return nal_unit_type <= 9 || (nal_unit_type >= 16 && nal_unit_type <= 23);
}

// A slice segment in a stream of the parameter sets `sps` and `pps`.
struct Slice {
    Sps sps = {};
    Pps pps = {};
    u32 nal_unit_type = kTrailR, nuh_layer_id = 0, nuh_temporal_id_plus1 = 1;
    u32 first_slice_segment_in_pic_flag = 1, dependent_slice_segment_flag = 0, slice_segment_address = 9;
    u32 slice_type = 1, slice_pic_order_cnt_lsb = 0;
    BitWriter references = {};     // the sets of reference pictures
    Bytes data = "aa bb cc"_bytes; // stands for the rest

    operator Bytes() const { return NalUnitOf(Content(), 4); }

    // From the NAL unit header on, without emulation prevention.
    Bytes Content() const
    {
        BitWriter out;
        out.u(1, first_slice_segment_in_pic_flag);
        out.u(nal_unit_type >= 16 ? 1 : 0, 1); // no_output_of_prior_pics_flag
        out.ue(pps.pps_pic_parameter_set_id);
        if (first_slice_segment_in_pic_flag == 0)
            WriteAddress(out);
        if (dependent_slice_segment_flag == 0)
            WriteIndependent(out);
        const Bytes header = NalHeader(nal_unit_type, nuh_layer_id, nuh_temporal_id_plus1);
        return header + out.TrailingBits().Take() + data;
    }

private:
    void WriteAddress(BitWriter& out) const
    {
        const u32 log2 =
            sps.log2_min_luma_coding_block_size_minus3 + 3 + sps.log2_diff_max_min_luma_coding_block_size;
        const auto ctbs = [&](u32 samples) { return (samples + (1U << log2) - 1) >> log2; };
        const u32 size = ctbs(sps.pic_width_in_luma_samples) * ctbs(sps.pic_height_in_luma_samples);
        out.u(pps.dependent_slice_segments_enabled_flag, dependent_slice_segment_flag);
        out.u(static_cast<u32>(std::bit_width(size - 1)), slice_segment_address);
    }

    void WriteIndependent(BitWriter& out) const
    {
        out.u(pps.num_extra_slice_header_bits, 0x55).ue(slice_type);
        out.u(pps.output_flag_present_flag, 1).u(2 * sps.separate_colour_plane_flag, 2);
        if (nal_unit_type != 19 && nal_unit_type != 20)
            out.u(sps.log2_max_pic_order_cnt_lsb_minus4 + 4, slice_pic_order_cnt_lsb);
        out.Append(references);
    }
};

} // namespace hevctest
