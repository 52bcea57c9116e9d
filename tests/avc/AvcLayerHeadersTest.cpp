// SPDX-License-Identifier: MIT
// What the C++ layer reads of H.264 headers: all that was written, and the same as the library, which stops
// earlier.
#include "Handles.h"
#include "LayerFields.h"
#include "RandomElements.h"
#include "nalsmith/detail/avc/picture_order.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/sequence.hpp"

#include <bit>
#include <gtest/gtest.h>

namespace {

using namespace avctest;
using namespace nalsmith::detail;

// Headers of random elements that agree with each other.
class Headers : public RandomElements {
public:
    using RandomElements::RandomElements;

    u32 Wide() { return Below(3) == 0 ? Below(100000) : Below(9); }
    i32 Signed() { return static_cast<i32>(Wide()) * (Flag() != 0 ? 1 : -1); }

    Sps MakeSps()
    {
        constexpr u32 judged[] = {66, 77, 88};
        constexpr u32 with_chroma_format[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
        Sps sps{.profile_idc = Below(256), .constraint_flags = Below(256), .level_idc = Below(256)};
        if (const u32 kind = Below(4); kind < 3)
            sps.profile_idc = kind == 0 ? judged[Below(3)] : with_chroma_format[Below(13)];
        sps.seq_parameter_set_id = Below(32);
        sps.chroma_format = std::ranges::count(with_chroma_format, sps.profile_idc) != 0;
        sps.chroma_format_idc = sps.chroma_format ? Below(5) : 1; // 4 is none of the standard
        sps.separate_colour_plane_flag = sps.chroma_format_idc == 3 ? Flag() : 0;
        const std::size_t lists = sps.chroma_format_idc == 3 ? 12 : 8;
        while (sps.chroma_format && (Flag() != 0 || !sps.scaling_lists.empty()) &&
               sps.scaling_lists.size() < lists)
            sps.scaling_lists.push_back(Maybe(MakeScalingList(sps.scaling_lists.size() < 6 ? 16 : 64)));
        sps.log2_max_frame_num_minus4 = Below(13);
        sps.pic_order_cnt_type = Below(3);
        sps.log2_max_pic_order_cnt_lsb_minus4 = sps.pic_order_cnt_type == 0 ? Below(13) : 0;
        sps.delta_pic_order_always_zero_flag = sps.pic_order_cnt_type == 1 ? Flag() : 0;
        sps.offset_for_ref_frame.resize(Below(30) == 0 ? 255 : Below(4), Signed());
        sps.gaps_in_frame_num_value_allowed_flag = Flag();
        sps.pic_width_in_mbs = 1 + Below(200);
        sps.pic_height_in_map_units = 1 + Below(200);
        sps.frame_mbs_only_flag = Flag();
        sps.crop = Maybe(MakeCropping());
        sps.vui = Maybe(MakeVui());
        return sps;
    }

    Pps MakePps(const Sps& sps)
    {
        Pps pps{.pic_parameter_set_id = Below(256), .seq_parameter_set_id = sps.seq_parameter_set_id};
        pps.entropy_coding_mode_flag = Flag();
        pps.bottom_field_pic_order_in_frame_present_flag = Flag();
        if (Flag() != 0)
            pps.slice_groups = SliceGroups(1 + Below(7), Below(7));
        for (u32& count : pps.num_ref_idx_default_active_minus1)
            count = Below(5);
        pps.weighted_pred_flag = Flag();
        pps.weighted_bipred_idc = Below(3);
        pps.redundant_pic_cnt_present_flag = Flag();
        return pps;
    }

    Slice MakeSlice(const Sps& sps, const Pps& pps)
    {
        Slice slice{.sps = sps, .pps = pps, .nal_unit_type = Flag() != 0 ? 1 : kIdr, .nal_ref_idc = Below(4)};
        slice.first_mb_in_slice = Wide();
        slice.slice_type = slice.nal_unit_type == kIdr ? 2 + 5 * Flag() : Below(10);
        slice.colour_plane_id = Below(3);
        const bool lsb = sps.pic_order_cnt_type == 0;
        const bool deltas = sps.pic_order_cnt_type == 1 && sps.delta_pic_order_always_zero_flag == 0;
        slice.frame_num = Below(16U << sps.log2_max_frame_num_minus4);
        slice.field_pic_flag = sps.frame_mbs_only_flag == 0 ? Flag() : 0;
        slice.bottom_field_flag = slice.field_pic_flag != 0 ? Flag() : 0;
        const bool both = pps.bottom_field_pic_order_in_frame_present_flag != 0 && slice.field_pic_flag == 0;
        slice.idr_pic_id = slice.nal_unit_type == kIdr ? Wide() : 0;
        slice.pic_order_cnt_lsb = lsb ? Below(16U << sps.log2_max_pic_order_cnt_lsb_minus4) : 0;
        slice.delta_pic_order_cnt_bottom = lsb && both ? Signed() : 0;
        slice.delta_pic_order_cnt[0] = deltas ? Signed() : 0;
        slice.delta_pic_order_cnt[1] = deltas && both ? Signed() : 0;
        slice.data = Bytes{};
        WriteReferences(slice);
        return slice;
    }

    bool redundant = false, reset = false; // what the slice written last says

private:
    // To its last scale or to a scale of 0, behind which all repeat.
    std::vector<i32> MakeScalingList(std::size_t size)
    {
        std::vector<i32> deltas;
        for (i32 scale = 8; deltas.size() < size && scale != 0; scale = (scale + deltas.back()) & 255)
            deltas.push_back(Below(20) == 0 ? -scale : static_cast<i32>(Below(600)) - 300);
        return deltas;
    }

    BitWriter SliceGroups(u32 groups_minus1, u32 type)
    {
        BitWriter out;
        out.ue(groups_minus1).ue(type);
        const u32 pairs = type == 2 ? 2 * groups_minus1 : 0;
        for (u32 i = 0; i < (type == 0 ? groups_minus1 + 1 : pairs); ++i)
            out.ue(Wide());
        if (type >= 3 && type <= 5)
            out.u(1, Flag()).ue(Wide());
        if (type == 6) {
            const u32 units = 1 + Below(40), bits = groups_minus1 > 3 ? 3 : groups_minus1 > 1 ? 2 : 1;
            out.ue(units - 1);
            for (u32 i = 0; i < units; ++i)
                out.u(bits, Below(groups_minus1 + 1));
        }
        return out;
    }

    // H.264 7.3.3 from redundant_pic_cnt on.
    void WriteReferences(Slice& slice)
    {
        BitWriter out;
        const u32 type = slice.slice_type % 5, lists = type == 1 ? 2 : type == 2 || type == 4 ? 0 : 1;
        redundant = slice.pps.redundant_pic_cnt_present_flag != 0 && Flag() != 0;
        if (slice.pps.redundant_pic_cnt_present_flag != 0)
            out.ue(redundant ? 1 + Below(5) : 0);
        out.u(type == 1 ? 1 : 0, Flag()); // direct_spatial_mv_pred_flag
        u32 entries[2] = {slice.pps.num_ref_idx_default_active_minus1[0] + 1,
                          slice.pps.num_ref_idx_default_active_minus1[1] + 1};
        const u32 override_flag = lists != 0 ? Flag() : 0;
        out.u(lists != 0 ? 1 : 0, override_flag);
        for (u32 list = 0; override_flag != 0 && list < lists; ++list)
            out.ue((entries[list] = 1 + Below(6)) - 1);
        for (u32 list = 0; list < lists; ++list)
            WriteModification(out);
        if (lists == 1 ? slice.pps.weighted_pred_flag != 0 : lists == 2 && slice.pps.weighted_bipred_idc == 1)
            WriteWeights(out, slice.sps, entries, lists);
        reset = false;
        if (slice.nal_ref_idc != 0)
            WriteMarking(out, slice.nal_unit_type == kIdr);
        slice.references = out;
    }

    void WriteModification(BitWriter& out)
    {
        const u32 count = Below(4);
        out.u(1, count != 0 ? 1 : 0);
        for (u32 i = 0; i < count; ++i)
            out.ue(Below(3)).ue(Wide());
        if (count != 0)
            out.ue(3);
    }

    void WriteWeights(BitWriter& out, const Sps& sps, const u32 (&entries)[2], u32 lists)
    {
        const bool chroma = sps.chroma_format_idc != 0 && sps.separate_colour_plane_flag == 0;
        out.ue(Below(8));
        if (chroma)
            out.ue(Below(8));
        for (u32 i = 0; i < entries[0] + (lists == 2 ? entries[1] : 0); ++i)
            for (const u32 count : chroma ? std::vector<u32>{2, 4} : std::vector<u32>{2}) {
                const u32 present = Flag();
                out.u(1, present);
                for (u32 k = 0; k < present * count; ++k)
                    out.se(Signed());
            }
    }

    void WriteMarking(BitWriter& out, bool idr)
    {
        if (idr) {
            out.u(2, Below(4));
            return;
        }
        const u32 count = Below(5);
        out.u(1, count != 0 ? 1 : 0);
        for (u32 i = 0; i < count; ++i) {
            const u32 operation = 1 + Below(6);
            reset = reset || operation == 5;
            out.ue(operation);
            for (u32 k = 0; k < (operation == 3 ? 2u : operation == 5 ? 0u : 1u); ++k)
                out.ue(Wide());
        }
        if (count != 0)
            out.ue(0);
    }
};

nalsmith::NalUnit NalOf(const Bytes& bytes)
{
    return *nalsmith::NalUnits(nalsmith::Codec::h264, nalsmith::BytesView(bytes.data(), bytes.size()))
                .begin();
}

void ExpectSame(const AvcPicture& read, const AvcSliceInfo& library)
{
    EXPECT_EQ(read.first_mb_in_slice, library.first_mb_in_slice);
    EXPECT_EQ(read.slice_type, library.slice_type);
    EXPECT_EQ(read.pic_parameter_set_id, library.pic_parameter_set_id);
    EXPECT_EQ(read.frame_num, library.frame_num);
    EXPECT_EQ(read.field_pic_flag, library.field_pic_flag != 0);
    EXPECT_EQ(read.bottom_field_flag, library.bottom_field_flag != 0);
    EXPECT_EQ(read.idr_pic_id, library.idr_pic_id);
    EXPECT_EQ(read.pic_order_cnt_lsb, static_cast<u32>(library.pic_order_cnt_lsb));
    EXPECT_EQ(read.delta_pic_order_cnt_bottom, library.delta_pic_order_cnt_bottom);
    EXPECT_EQ(read.delta_pic_order_cnt[0], library.delta_pic_order_cnt[0]);
    EXPECT_EQ(read.delta_pic_order_cnt[1], library.delta_pic_order_cnt[1]);
}

TEST(AvcLayerHeaders, AreReadAsWrittenAndAsTheLibraryReadsThem)
{
    Headers headers(1);
    for (int round = 0; round < 4000; ++round) {
        SCOPED_TRACE(round);
        const Sps sps = headers.MakeSps();
        const Pps pps = headers.MakePps(sps);
        const Slice slice = headers.MakeSlice(sps, pps);
        const Bytes spsBytes = sps, ppsBytes = pps, bytes = slice;
        const AvcSps readSps = read_avc_sps(bits_of(NalOf(spsBytes)));
        const AvcPps readPps = read_avc_pps(bits_of(NalOf(ppsBytes)));
        const auto read = [&](const Bytes& stored, AvcPicture& picture) {
            BitReader reader = bits_of(NalOf(stored));
            picture.IdrPicFlag = slice.nal_unit_type == kIdr;
            picture.nal_ref_idc = static_cast<u8>(slice.nal_ref_idc);
            read_avc_slice_begin(reader, picture);
            return read_avc_picture(reader, readSps, readPps, picture) && reader.ue() == 1;
        };
        AvcPicture picture, cut;
        ASSERT_TRUE(read(bytes, picture));
        EXPECT_EQ(picture.redundant, headers.redundant);
        EXPECT_EQ(picture.resets_numbering, headers.reset);
        EXPECT_EQ(picture.arbitrary_order, pps.slice_groups.Count() > 1 || sps.profile_idc == 88 ||
                                               (sps.profile_idc == 66 && (sps.constraint_flags & 0x40) == 0));
        EXPECT_FALSE(read(bytes.From(0, bytes.size() - 3), cut)); // more than the ue(1)

        const ParsingHandle handle;
        handle.Feed(spsBytes + ppsBytes + bytes);
        const VideoInfo info = handle.Flush().info;
        EXPECT_EQ(info.sequenceInfoValid, 1u);
        if (sps.profile_idc == 135)
            continue; // where the library reads no chroma format
        EXPECT_EQ(SequenceFieldsOf(info), fields_of(sequence_of(readSps)));
        const CParseAVCParams& parser = handle.Avc();
        EXPECT_EQ((std::bit_cast<std::array<u32, 8>>(*parser.spsTable[sps.seq_parameter_set_id])),
                  sps.Kept());
        EXPECT_EQ((std::bit_cast<std::array<u32, 3>>(*parser.ppsTable[pps.pic_parameter_set_id])),
                  (std::array{pps.pic_parameter_set_id, pps.seq_parameter_set_id,
                              pps.bottom_field_pic_order_in_frame_present_flag}));
        EXPECT_EQ((std::bit_cast<std::array<u32, 13>>(parser.curSlice)), slice.Kept());
        EXPECT_EQ(std::memcmp(&parser.prevSlice, &parser.curSlice, sizeof parser.curSlice), 0);
        ExpectSame(picture, parser.curSlice);
    }
}

// Offsets -3 of pictures that are no references, 2 from top to bottom field, as the builder writes them.
TEST(AvcLayerHeaders, PictureOrderCountsOfEachType)
{
    struct Row {
        u32 type, frame_num, nal_ref_idc;
        i32 delta0, delta1;
        char field; // f, t, b
        bool reset;
        i64 count;
    };
    const Row rows[] = {
        {1, 0, 1, 0, 0, 'f', false, 0},   {1, 1, 1, 0, 0, 'f', false, 4},   {1, 2, 0, 0, 0, 'f', false, 1},
        {1, 2, 1, 5, 0, 'f', false, 15},  {1, 3, 1, 0, -9, 'f', false, 7},  {1, 15, 1, 0, 0, 't', false, 74},
        {1, 15, 1, 1, 0, 'b', false, 77}, {1, 0, 1, 0, 0, 'f', false, 80},  {1, 1, 1, 0, 0, 'f', true, 84},
        {1, 1, 1, 0, 0, 'f', false, 4},   {2, 0, 1, 0, 0, 'f', false, 0},   {2, 1, 0, 0, 0, 'f', false, 1},
        {2, 1, 1, 0, 0, 'f', false, 2},   {2, 15, 1, 0, 0, 't', false, 30}, {2, 15, 1, 0, 0, 'b', false, 30},
        {2, 0, 0, 0, 0, 'f', false, 31},  {2, 3, 1, 0, 0, 'f', true, 38},   {2, 0, 1, 0, 0, 'b', false, 0},
        {0, 0, 1, 0, 0, 'f', false, 0},   {0, 6, 1, 0, 0, 'f', false, 6},   {0, 14, 1, 0, -3, 'f', false, 11},
        {0, 1, 0, 0, 0, 't', false, 17},  {0, 12, 1, 0, 0, 'b', false, 12}, {0, 3, 1, 0, -2, 'f', true, 17},
        {0, 10, 1, 0, 0, 'f', false, 10}, {0, 2, 1, 0, 0, 'b', true, 18},   {0, 9, 0, 0, 0, 'f', false, -7},
    };
    AvcPictureOrder order;
    for (const Row& row : rows) {
        const Sps sps{.pic_order_cnt_type = row.type, .offset_for_ref_frame = {4, 6}};
        const Bytes bytes = sps;
        AvcPicture picture;
        picture.max_frame_num = picture.max_lsb = 16;
        picture.frame_num = picture.pic_order_cnt_lsb = row.frame_num;
        picture.nal_ref_idc = static_cast<u8>(row.nal_ref_idc);
        picture.delta_pic_order_cnt = {row.delta0, row.delta1};
        picture.delta_pic_order_cnt_bottom = row.type == 0 ? row.delta1 : 0;
        picture.field_pic_flag = row.field != 'f';
        picture.bottom_field_flag = row.field == 'b';
        picture.resets_numbering = row.reset;
        picture.IdrPicFlag = row.count == 0 && row.field == 'f';
        EXPECT_EQ(order.next(picture, read_avc_sps(bits_of(NalOf(bytes)))), row.count) << &row - rows;
    }
}

} // namespace
