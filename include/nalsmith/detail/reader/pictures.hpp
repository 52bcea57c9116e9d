// SPDX-License-Identifier: MIT
// Which slices can be read, and which begin a picture: by the rules of the library, from the head of a slice.
// Like the library it keeps the parameter sets of all layers in one table.
#ifndef NALSMITH_DETAIL_READER_PICTURES_HPP
#define NALSMITH_DETAIL_READER_PICTURES_HPP

#include "nalsmith/detail/avc/slice.hpp"
#include "nalsmith/detail/hevc/syntax.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/detail/rules.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

// Stored bytes of a slice that are looked at, after its start code. Within the field widths of the standards
// no header takes as many up to where one picture is told from the next.
constexpr std::size_t kSliceHead = 252;

struct SliceVerdict {
    bool readable = false;        // its parameter sets are known
    bool begins = false;          // a picture; of a slice that is not readable, only H.265 tells
    std::uint32_t slice_type = 0; // H.264
    std::uint32_t pps_id = 0;
};

class AvcPictures {
public:
    void keep(const AvcSps& sps) noexcept
    {
        if (sps.seq_parameter_set_id < sps_.size())
            sps_[sps.seq_parameter_set_id] = {sps.frame_num_bits,
                                              sps.lsb_bits,
                                              sps.pic_order_cnt_type,
                                              true,
                                              sps.separate_colour_plane_flag,
                                              sps.frame_mbs_only_flag,
                                              sps.delta_pic_order_always_zero_flag};
    }
    void keep(const AvcPps& pps) noexcept
    {
        if (pps.pic_parameter_set_id < pps_.size())
            pps_[pps.pic_parameter_set_id] = {pps.seq_parameter_set_id, true,
                                              pps.bottom_field_pic_order_in_frame_present_flag};
    }

    SliceVerdict look(const NalUnit& nal) noexcept
    {
        BitReader reader = bits_of(nal);
        AvcSlice slice;
        read_avc_slice_begin(reader, slice);
        SliceVerdict verdict;
        verdict.slice_type = slice.slice_type;
        verdict.pps_id = slice.pic_parameter_set_id;
        if (slice.pic_parameter_set_id >= pps_.size())
            return verdict;
        const Pps& pps = pps_[slice.pic_parameter_set_id];
        if (!pps.known || pps.seq_parameter_set_id >= sps_.size() || !sps_[pps.seq_parameter_set_id].known)
            return verdict;
        const Sps& sps = sps_[pps.seq_parameter_set_id];
        slice.nal_ref_idc = static_cast<std::uint8_t>(nal.ref_idc());
        slice.IdrPicFlag = is_avc_idr(nal.type());
        read_avc_slice_numbers(reader, sps, pps.bottom_field_pic_order_in_frame_present_flag, slice);
        verdict.readable = true;
        verdict.begins = begins_picture(prev_, slice, sps.pic_order_cnt_type);
        prev_ = slice;
        return verdict;
    }

private:
    // What slice headers are read by.
    struct Sps {
        std::uint32_t frame_num_bits = 0;
        std::uint32_t lsb_bits = 0;
        std::uint32_t pic_order_cnt_type = 0;
        bool known = false;
        bool separate_colour_plane_flag = false;
        bool frame_mbs_only_flag = false;
        bool delta_pic_order_always_zero_flag = false;
    };
    struct Pps {
        std::uint32_t seq_parameter_set_id = 0;
        bool known = false;
        bool bottom_field_pic_order_in_frame_present_flag = false;
    };
    std::array<Sps, 32> sps_ = {};
    std::array<Pps, 256> pps_ = {};
    AvcSlice prev_;
};

class HevcPictures {
public:
    void keep(const HevcVps& vps) noexcept { vps_[vps.vps_video_parameter_set_id] = true; }
    void keep(const HevcSps& sps) noexcept
    {
        // No MaxPicOrderCntLsb of 32 bits exists from here on.
        constexpr std::uint32_t kLog2MaxLsbMinus4Limit = 28;
        if (sps.sps_seq_parameter_set_id < sps_.size() &&
            sps.num_short_term_ref_pic_sets <= HevcSps::kMostReferenceSets)
            sps_[sps.sps_seq_parameter_set_id] = {static_cast<std::uint8_t>(sps.sps_video_parameter_set_id),
                                                  sps.log2_max_pic_order_cnt_lsb_minus4 <
                                                      kLog2MaxLsbMinus4Limit};
    }
    void keep(const HevcPps& pps) noexcept
    {
        if (pps.pps_pic_parameter_set_id < pps_.size())
            pps_[pps.pps_pic_parameter_set_id] = {pps.pps_seq_parameter_set_id, true};
    }

    SliceVerdict look(const NalUnit& nal) const noexcept
    {
        BitReader reader = bits_of(nal);
        SliceVerdict verdict;
        verdict.begins = reader.flag(); // first_slice_segment_in_pic_flag
        if (is_hevc_irap(nal.type()))
            reader.flag(); // no_output_of_prior_pics_flag
        verdict.pps_id = reader.ue();
        if (verdict.pps_id >= pps_.size())
            return verdict;
        const Pps& pps = pps_[verdict.pps_id];
        if (!pps.known || pps.pps_seq_parameter_set_id >= sps_.size())
            return verdict;
        const Sps& sps = sps_[pps.pps_seq_parameter_set_id];
        verdict.readable = sps.usable && vps_[sps.sps_video_parameter_set_id];
        return verdict;
    }

private:
    struct Sps {
        std::uint8_t sps_video_parameter_set_id = 0;
        bool usable = false;
    };
    struct Pps {
        std::uint32_t pps_seq_parameter_set_id = 0;
        bool known = false;
    };
    std::array<bool, 16> vps_ = {};
    std::array<Sps, 32> sps_ = {};
    std::array<Pps, 256> pps_ = {};
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
