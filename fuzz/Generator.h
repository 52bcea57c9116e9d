// SPDX-License-Identifier: MIT
// Parameter sets, slices, SEI and others, written from the bytes of an input. Nearly every value is in its
// range, one in ten is not.
#pragma once

#include "AvcStream.h"
#include "HevcStream.h"
#include "UserData.h"

#include <fuzzer/FuzzedDataProvider.h>

namespace fuzz {

class Generator {
public:
    Generator(FuzzedDataProvider& choices, VideoCodecType codec)
        : choices_(choices), format_(userdatatest::kFormats[codec])
    {
    }

    // The next NAL unit. Slices follow the parameter sets written last, most of the time.
    Bytes Unit()
    {
        const bool avc = format_.codec == VideoCodecAVC;
        switch (Any(9)) {
        case 0:
            if (avc)
                return Damaged(avcSps_ = AvcSps());
            return Damaged(hevcSps_ = HevcSps());
        case 1:
            if (avc)
                return Damaged(
                    avcPps_ = {OneIn(2) ? 0 : Value(255), avcSps_.seq_parameter_set_id, Any(1), Any(1)});
            return Damaged(hevcPps_ = {OneIn(2) ? 0 : Value(63), hevcSps_.sps_seq_parameter_set_id, Any(1),
                                       Any(1), OneIn(3) ? Any(7) : 0});
        case 2: return Damaged(avc ? Bytes(avctest::Delimiter{}) : Bytes(Vps()));
        case 3: return Damaged(Sei());
        case 4: return Damaged(format_.Unit(Any(format_.types - 1), Content(20), 3 + Any(1)));
        default: return Damaged(avc ? AvcSlice() : HevcSlice());
        }
    }

private:
    bool OneIn(u32 n) { return choices_.ConsumeIntegralInRange<u32>(1, n) == n; }
    u32 Any(u32 last) { return choices_.ConsumeIntegralInRange<u32>(0, last); }
    // For a value that decides how much is written: never far out of range.
    u32 Count(u32 last) { return OneIn(10) ? Any(2 * last + 40) : Any(last); }
    // Out of range: just behind it, around the sizes of the tables, around the limits of 32 bits.
    u32 Value(u32 last)
    {
        constexpr u32 kTelling[] = {15,  16,  31,         32,         63,         64,
                                    255, 256, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
        if (!OneIn(10))
            return Any(last);
        return OneIn(3) ? last + 1 : choices_.PickValueInArray(kTelling);
    }

    Bytes Content(u32 most)
    {
        const auto bytes = choices_.ConsumeBytes<u8>(Any(most));
        return Bytes(bytes.begin(), bytes.end());
    }

    template <typename Element>
    std::optional<Element> Maybe(const Element& element)
    {
        return OneIn(2) ? std::nullopt : std::optional(element);
    }
    auto Cropping() { return Maybe(avctest::Cropping{Value(8), Value(8), Value(8), Value(8)}); }
    auto Signal()
    {
        return Maybe(avctest::VideoSignal{Any(7), Any(1), Any(1), Any(255), Any(255), Any(255)});
    }
    auto Timing() { return Maybe(avctest::Timing{Value(1001), Value(60000)}); }

    avctest::Sps AvcSps()
    {
        constexpr u32 kProfiles[] = {66, 77, 100, 110, 122, 244, 44, 83, 86, 118, 128, 255};
        constexpr u32 kWithChroma = 0b011111111100; // of these profiles
        avctest::Sps sps;
        const u32 profile = Any(11);
        sps.profile_idc = kProfiles[profile];
        sps.chroma_format = (kWithChroma >> profile & 1) != 0;
        sps.seq_parameter_set_id = OneIn(2) ? 0 : Value(31);
        sps.chroma_format_idc = Value(3);
        sps.separate_colour_plane_flag = sps.chroma_format_idc == 3 && sps.chroma_format ? Any(1) : 0;
        if (OneIn(4))
            sps.scaling_lists.assign(sps.chroma_format_idc == 3 ? 12 : 8,
                                     std::vector<i32>{static_cast<i32>(Value(9)), -8});
        sps.log2_max_frame_num_minus4 = Count(12);
        sps.pic_order_cnt_type = Value(2);
        sps.log2_max_pic_order_cnt_lsb_minus4 = Count(12);
        sps.delta_pic_order_always_zero_flag = Any(1);
        sps.offset_for_ref_frame.assign(OneIn(4) ? Count(255) : Any(2), static_cast<i32>(Value(4)));
        sps.gaps_in_frame_num_value_allowed_flag = Any(1);
        sps.pic_width_in_mbs = Value(200);
        sps.pic_height_in_map_units = Value(200);
        sps.frame_mbs_only_flag = Any(1);
        sps.crop = Cropping();
        sps.vui = Maybe(avctest::Vui{.aspect_ratio_idc = OneIn(2) ? 255 : Any(255),
                                     .signal = Signal(),
                                     .chroma_sample_loc_type = Value(5),
                                     .timing = Timing()});
        return sps;
    }

    Bytes AvcSlice()
    {
        avctest::Slice slice{.sps = avcSps_, .pps = avcPps_};
        if (OneIn(8))
            slice.pps.pic_parameter_set_id = Value(255);
        slice.nal_unit_type = OneIn(8) ? 2 : OneIn(3) ? 5 : 1;
        slice.nal_ref_idc = Any(3);
        slice.first_mb_in_slice = OneIn(2) ? 0 : Value(500);
        slice.slice_type = Value(9);
        slice.frame_num = Value(15);
        slice.field_pic_flag = avcSps_.frame_mbs_only_flag == 0 ? Any(1) : 0;
        slice.bottom_field_flag = Any(1);
        slice.idr_pic_id = Value(3);
        slice.pic_order_cnt_lsb = Value(15);
        slice.delta_pic_order_cnt_bottom = static_cast<i32>(Any(4)) - 2;
        slice.delta_pic_order_cnt[0] = static_cast<i32>(Any(4)) - 2;
        slice.data = Content(40);
        slice.startCodeSize = 3 + Any(1);
        return slice;
    }

    std::vector<hevctest::SubLayer> SubLayers()
    {
        return std::vector<hevctest::SubLayer>(OneIn(3) ? Any(7) : 0, hevctest::SubLayer{Any(1), Any(1)});
    }

    hevctest::Vps Vps()
    {
        hevctest::Vps vps{.vps_video_parameter_set_id = Any(15), .subLayers = SubLayers()};
        vps.vps_sub_layer_ordering_info_present_flag = Any(1);
        vps.vps_max_layer_id = Any(63);
        vps.vps_num_layer_sets_minus1 = OneIn(2) ? 0 : Value(1023);
        vps.timing = Timing();
        return vps;
    }

    hevctest::Sps HevcSps()
    {
        hevctest::Sps sps{.sps_video_parameter_set_id = Any(15), .subLayers = SubLayers()};
        sps.sps_seq_parameter_set_id = OneIn(2) ? 0 : Value(15);
        sps.chroma_format_idc = Value(3);
        sps.separate_colour_plane_flag = sps.chroma_format_idc == 3 ? Any(1) : 0;
        sps.pic_width_in_luma_samples = Value(8192);
        sps.pic_height_in_luma_samples = Value(4320);
        sps.conf_win = Cropping();
        sps.log2_max_pic_order_cnt_lsb_minus4 = Count(12);
        sps.scaling_list_enabled_flag = Any(1);
        if (OneIn(4))
            sps.scaling_list_pred_mode_flags = choices_.ConsumeIntegral<u32>();
        sps.pcm_enabled_flag = Any(1);
        sps.st_ref_pic_sets.resize(OneIn(10) ? Count(64) : Any(3));
        for (hevctest::ShortTermSet& set : sps.st_ref_pic_sets) {
            set = {Count(4), Count(4)};
            if (OneIn(3)) {
                set.flags = choices_.ConsumeBytesAsString(Any(12));
                for (char& flag : set.flags)
                    flag = "01 "[static_cast<u8>(flag) % 3];
            }
        }
        if (OneIn(3))
            sps.lt_ref_pic_poc_lsb_sps = std::vector<u32>(Count(33), 5);
        sps.vui = Maybe(avctest::Vui{.aspect_ratio_idc = OneIn(2) ? 255 : Any(255),
                                     .signal = Signal(),
                                     .timing = Timing(),
                                     .def_disp_win = Cropping()});
        return sps;
    }

    Bytes HevcSlice()
    {
        hevctest::Slice slice{.sps = hevcSps_, .pps = hevcPps_};
        if (OneIn(8))
            slice.pps.pps_pic_parameter_set_id = Value(63);
        constexpr u32 kTypes[] = {0, 1, 1, 1, 7, 8, 9, 16, 19, 20, 21, 21, 22, 23};
        slice.nal_unit_type = choices_.PickValueInArray(kTypes);
        slice.nuh_layer_id = OneIn(10) ? Any(63) : 0;
        slice.nuh_temporal_id_plus1 = 1 + Any(2);
        slice.first_slice_segment_in_pic_flag = OneIn(4) ? 0 : 1;
        slice.slice_type = Value(2);
        slice.slice_pic_order_cnt_lsb = Value(15);
        slice.data = Content(40);
        return slice;
    }

    // Messages of which one in ten says another size than it has.
    Bytes Sei()
    {
        Bytes messages;
        for (u32 left = Any(3); left > 0; --left) {
            const Bytes payload = OneIn(3) ? userdatatest::kUuid + Content(30) : Content(300);
            Bytes message = userdatatest::Message(OneIn(2) ? 5 : Value(200) % 1000, payload);
            if (OneIn(10))
                message.resize(Any(message.Size()));
            messages = messages + message;
        }
        const u32 trailing = OneIn(5) ? Any(3) : 0;
        return format_.Sei(messages, 3 + Any(1)) + Bytes(trailing, 0);
    }

    Bytes Damaged(Bytes unit)
    {
        if (!OneIn(12) || unit.empty())
            return unit;
        if (OneIn(2))
            unit.resize(Any(unit.Size()));
        else
            unit[Any(unit.Size() - 1)] = choices_.ConsumeIntegral<u8>();
        return unit;
    }

    FuzzedDataProvider& choices_;
    const userdatatest::Format& format_;
    avctest::Sps avcSps_ = {};
    avctest::Pps avcPps_ = {};
    hevctest::Sps hevcSps_ = {};
    hevctest::Pps hevcPps_ = {};
};

} // namespace fuzz
