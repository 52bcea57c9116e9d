// SPDX-License-Identifier: MIT
// Builders of H.264 NAL units. Members carry the names of the syntax elements and stand in their order, so
// that a test names just what it is about: Sps{.profile_idc = 100, .frame_mbs_only_flag = 0}. A builder turns
// into bytes where bytes are asked for.
#pragma once

#include "BitWriter.h"

#include <array>
#include <optional>

namespace avctest {

inline Bytes Nal(u32 nal_unit_type, const Bytes& payload, u32 nal_ref_idc = 0, u32 startCodeSize = 4)
{
    return NalUnitOf(Bytes{static_cast<u8>(nal_ref_idc << 5 | nal_unit_type)} + payload, startCodeSize);
}

struct Delimiter {
    u32 primary_pic_type = 7;

    operator Bytes() const { return Nal(9, BitWriter().u(3, primary_pic_type).TrailingBits().Take()); }
};

struct Sei {
    Bytes message = "06 01 c4"_bytes; // recovery point

    operator Bytes() const { return Nal(6, message + "80"_bytes); }
};

struct VideoSignal {
    u32 video_format = 5, video_full_range_flag = 0, colour_description_present_flag = 0;
    u32 colour_primaries = 2, transfer_characteristics = 2, matrix_coefficients = 2;
};

struct Timing {
    u32 num_units_in_tick = 1, time_scale = 50;
};

struct Cropping {
    u32 left = 0, right = 0, top = 0, bottom = 0;

    void Write(BitWriter& out) const { out.ues({left, right, top, bottom}); }
};

// Of both codecs; def_disp_win is H.265's.
struct Vui {
    std::optional<u32> aspect_ratio_idc = {};
    u32 sar_width = 1, sar_height = 1;
    std::optional<u32> overscan_appropriate_flag = {};
    std::optional<VideoSignal> signal = {};
    std::optional<u32> chroma_sample_loc_type = {}; // of both fields
    std::optional<Timing> timing = {};
    std::optional<Cropping> def_disp_win = {};

    void Write(BitWriter& out, bool hevc = false) const
    {
        out.Optional(aspect_ratio_idc, [&](u32 idc) { out.u(8, idc); });
        if (aspect_ratio_idc == 255)
            out.u(16, sar_width).u(16, sar_height);
        out.Optional(overscan_appropriate_flag, [&](u32 flag) { out.u(1, flag); });
        out.Optional(signal, [&](const VideoSignal& s) {
            out.u(3, s.video_format).u(1, s.video_full_range_flag).u(1, s.colour_description_present_flag);
            if (s.colour_description_present_flag != 0)
                out.u(8, s.colour_primaries).u(8, s.transfer_characteristics).u(8, s.matrix_coefficients);
        });
        out.Optional(chroma_sample_loc_type, [&](u32 type) { out.ues({type, type}); });
        if (hevc) {
            out.u(3, 1); // neutral_chroma_indication_flag, field_seq_flag, frame_field_info_present_flag
            out.Optional(def_disp_win, [&](const Cropping& c) { c.Write(out); });
        }
        out.Optional(timing, [&](Timing t) {
            out.u(32, t.num_units_in_tick).u(32, t.time_scale);
            out.u(hevc ? 2 : 1, hevc ? 0 : 1); // no counts or HRD parameters; fixed_frame_rate_flag
        });
        out.u(hevc ? 1 : 4, 0); // no HRD parameters, pic_struct_present_flag, bitstream_restriction_flag
    }
};

// delta_scale values of one list; nothing for seq_scaling_list_present_flag 0.
using ScalingList = std::optional<std::vector<i32>>;

struct Sps {
    u32 profile_idc = 66, constraint_flags = 0, level_idc = 30, seq_parameter_set_id = 0;
    bool chroma_format = false; // whether the profile has the next three
    u32 chroma_format_idc = 1, separate_colour_plane_flag = 0;
    std::vector<ScalingList> scaling_lists = {};
    u32 log2_max_frame_num_minus4 = 0;
    u32 pic_order_cnt_type = 0, log2_max_pic_order_cnt_lsb_minus4 = 0, delta_pic_order_always_zero_flag = 0;
    std::vector<i32> offset_for_ref_frame = {};
    u32 gaps_in_frame_num_value_allowed_flag = 0;
    u32 pic_width_in_mbs = 4, pic_height_in_map_units = 4, frame_mbs_only_flag = 1;
    std::optional<Cropping> crop = {};
    std::optional<Vui> vui = {};

    operator Bytes() const { return Nal(7, Payload(), 3); }

    // seq_parameter_set_rbsp()
    Bytes Payload() const
    {
        BitWriter out;
        out.u(8, profile_idc).u(8, constraint_flags).u(8, level_idc).ue(seq_parameter_set_id);
        if (chroma_format)
            WriteChromaFormat(out);
        out.ue(log2_max_frame_num_minus4).ue(pic_order_cnt_type);
        if (pic_order_cnt_type == 0) {
            out.ue(log2_max_pic_order_cnt_lsb_minus4);
        } else if (pic_order_cnt_type == 1) {
            out.u(1, delta_pic_order_always_zero_flag).se(-3).se(2).ue(offset_for_ref_frame.size());
            for (const i32 offset : offset_for_ref_frame)
                out.se(offset);
        }
        out.ue(1).u(1, gaps_in_frame_num_value_allowed_flag); // max_num_ref_frames
        out.ue(pic_width_in_mbs - 1).ue(pic_height_in_map_units - 1).u(1, frame_mbs_only_flag);
        out.u(frame_mbs_only_flag == 0 ? 1 : 0, 1)
            .u(1, 1); // mb_adaptive_frame_field_, direct_8x8_inference_flag
        out.Optional(crop, [&](const Cropping& c) { c.Write(out); });
        out.Optional(vui, [&](const Vui& v) { v.Write(out); });
        return out.TrailingBits().Take();
    }

    // What the library keeps of it. It knows no element that is not written.
    std::array<u32, 8> Kept() const
    {
        return (std::array{seq_parameter_set_id, separate_colour_plane_flag, log2_max_frame_num_minus4,
                           pic_order_cnt_type, log2_max_pic_order_cnt_lsb_minus4,
                           delta_pic_order_always_zero_flag, frame_mbs_only_flag,
                           gaps_in_frame_num_value_allowed_flag});
    }

private:
    void WriteChromaFormat(BitWriter& out) const
    {
        out.ue(chroma_format_idc).u(chroma_format_idc == 3 ? 1 : 0, separate_colour_plane_flag);
        out.ue(2).ue(1).u(1, 0); // bit depths, qpprime_y_zero_transform_bypass_flag
        out.u(1, !scaling_lists.empty());
        for (const ScalingList& list : scaling_lists)
            out.Optional(list, [&](const std::vector<i32>& deltas) {
                for (const i32 delta_scale : deltas)
                    out.se(delta_scale);
            });
    }
};

struct Pps {
    u32 pic_parameter_set_id = 0, seq_parameter_set_id = 0, entropy_coding_mode_flag = 0;
    u32 bottom_field_pic_order_in_frame_present_flag = 0;
    BitWriter slice_groups = BitWriter().ue(0); // num_slice_groups_minus1 and what follows of them
    u32 num_ref_idx_default_active_minus1[2] = {0, 0}, weighted_pred_flag = 0, weighted_bipred_idc = 0;
    u32 redundant_pic_cnt_present_flag = 0;

    operator Bytes() const
    {
        BitWriter out;
        out.ue(pic_parameter_set_id).ue(seq_parameter_set_id).u(1, entropy_coding_mode_flag);
        out.u(1, bottom_field_pic_order_in_frame_present_flag);
        out.Append(slice_groups);
        out.ues({num_ref_idx_default_active_minus1[0], num_ref_idx_default_active_minus1[1]});
        out.u(1, weighted_pred_flag).u(2, weighted_bipred_idc).ues({0, 0, 0}).u(2, 0);
        out.u(1, redundant_pic_cnt_present_flag);
        return Nal(8, out.TrailingBits().Take(), 3);
    }
};

constexpr u32 kIdr = 5;

// A slice of nal_unit_type 1, 2 or 5, in a stream of the parameter sets `sps` and `pps`.
struct Slice {
    Sps sps = {};
    Pps pps = {};
    u32 nal_unit_type = 1, nal_ref_idc = 2;
    u32 first_mb_in_slice = 0, slice_type = 7, colour_plane_id = 0, frame_num = 0;
    u32 field_pic_flag = 0, bottom_field_flag = 0;
    u32 idr_pic_id = 0, pic_order_cnt_lsb = 0;
    i32 delta_pic_order_cnt_bottom = 0, delta_pic_order_cnt[2] = {0, 0};
    BitWriter references = {};     // from redundant_pic_cnt to dec_ref_pic_marking()
    Bytes data = "aa bb cc"_bytes; // stands for the rest
    u32 startCodeSize = 4;

    operator Bytes() const
    {
        BitWriter out;
        out.ue(first_mb_in_slice).ue(slice_type).ue(pps.pic_parameter_set_id);
        out.u(sps.separate_colour_plane_flag != 0 ? 2 : 0, colour_plane_id);
        out.u(sps.log2_max_frame_num_minus4 + 4, frame_num);
        out.u(sps.frame_mbs_only_flag == 0 ? 1 : 0, field_pic_flag).u(field_pic_flag, bottom_field_flag);
        if (nal_unit_type == kIdr)
            out.ue(idr_pic_id);
        const bool bottom = pps.bottom_field_pic_order_in_frame_present_flag != 0 && field_pic_flag == 0;
        if (sps.pic_order_cnt_type == 0) {
            out.u(sps.log2_max_pic_order_cnt_lsb_minus4 + 4, pic_order_cnt_lsb);
            if (bottom)
                out.se(delta_pic_order_cnt_bottom);
        } else if (sps.pic_order_cnt_type == 1 && sps.delta_pic_order_always_zero_flag == 0) {
            out.se(delta_pic_order_cnt[0]);
            if (bottom)
                out.se(delta_pic_order_cnt[1]);
        }
        out.Append(references);
        out.ue(1); // what follows in the header does not read as 0
        return Nal(nal_unit_type, out.TrailingBits().Take() + data, nal_ref_idc, startCodeSize);
    }

    std::array<u32, 13> Kept() const
    {
        return (std::array{first_mb_in_slice, slice_type, pps.pic_parameter_set_id, frame_num, field_pic_flag,
                           bottom_field_flag, nal_ref_idc, nal_unit_type == kIdr ? 1u : 0u, idr_pic_id,
                           pic_order_cnt_lsb, static_cast<u32>(delta_pic_order_cnt_bottom),
                           static_cast<u32>(delta_pic_order_cnt[0]),
                           static_cast<u32>(delta_pic_order_cnt[1])});
    }
};

} // namespace avctest
