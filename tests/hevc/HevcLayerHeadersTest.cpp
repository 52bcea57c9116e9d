// SPDX-License-Identifier: MIT
// What the C++ layer reads of H.265 headers: all that was written, and the same as the library, which stops
// earlier.
#include "Handles.h"
#include "HevcStream.h"
#include "LayerFields.h"
#include "RandomElements.h"
#include "nalsmith/detail/hevc/picture.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/sequence.hpp"

#include <gtest/gtest.h>

namespace {

using namespace hevctest;
using namespace nalsmith::detail;

using Deltas = std::vector<std::pair<i32, bool>>; // to picture order counts, used by the picture itself

// In the order of 7.4.8: those before, nearest first, then those after, nearest first.
void Sort(Deltas& deltas)
{
    std::sort(deltas.begin(), deltas.end(), [](const auto& a, const auto& b) {
        return (a.first < 0) != (b.first < 0) ? a.first < 0 : std::abs(a.first) < std::abs(b.first);
    });
}

class Sets : public RandomElements {
public:
    using RandomElements::RandomElements;

    // st_ref_pic_set(), explicit or predicted from one of `before`.
    Deltas Write(BitWriter& out, const std::vector<Deltas>& before, bool in_slice)
    {
        const bool predicts = !before.empty() && before.back().size() < 15 && Flag() != 0;
        out.u(before.empty() ? 0 : 1, predicts);
        if (!predicts)
            return WriteExplicit(out);
        const u32 back = in_slice ? Below(static_cast<u32>(before.size())) : 0; // delta_idx_minus1
        if (in_slice)
            out.ue(back);
        Deltas from = before[before.size() - 1 - back], result;
        from.emplace_back(0, false);
        i32 shift = static_cast<i32>(1 + Below(6));
        const u32 sign = Flag();
        out.u(1, sign).ue(static_cast<u64>(shift - 1));
        shift = sign != 0 ? -shift : shift;
        for (const auto& [delta, unused] : from) {
            const u32 used = Flag(), use = used != 0 ? 1 : Flag();
            out.u(1, used).u(used != 0 ? 0 : 1, use);
            if (use != 0 && delta + shift != 0)
                result.emplace_back(delta + shift, used != 0);
        }
        Sort(result);
        return result;
    }

    // From short_term_ref_pic_set_sps_flag to the long-term pictures.
    BitWriter WriteReferences(const std::vector<Deltas>& sets, const std::optional<std::vector<u32>>& lsbs,
                              u32 lsb_bits)
    {
        BitWriter out;
        long_term.clear();
        const bool of_sps = !sets.empty() && Flag() != 0;
        out.u(1, of_sps);
        if (of_sps) {
            const u32 at = Below(static_cast<u32>(sets.size()));
            out.u(static_cast<u32>(std::bit_width(sets.size() - 1)), at);
            deltas = sets[at];
        } else {
            deltas = Write(out, sets, true);
        }
        if (lsbs)
            WriteLongTerm(out, *lsbs, lsb_bits);
        return out;
    }

    Deltas deltas;                       // of the slice written last
    std::vector<HevcLongTerm> long_term; // the same

private:
    Deltas WriteExplicit(BitWriter& out)
    {
        Deltas result;
        const u32 counts[2] = {Below(4), Below(4)};
        out.ue(counts[0]).ue(counts[1]);
        for (const i32 sign : {-1, 1})
            for (i32 i = 0, delta = 0; i < static_cast<i32>(counts[sign > 0 ? 1 : 0]); ++i) {
                const u32 step = Below(5), used = Flag();
                delta += sign * static_cast<i32>(step + 1);
                out.ue(step).u(1, used);
                result.emplace_back(delta, used != 0);
            }
        return result;
    }

    void WriteLongTerm(BitWriter& out, const std::vector<u32>& lsbs, u32 lsb_bits)
    {
        const u32 of_sps = lsbs.empty() ? 0 : Below(3), own = Below(3);
        if (!lsbs.empty())
            out.ue(of_sps);
        out.ue(own);
        u32 cycle = 0;
        for (u32 i = 0; i < of_sps + own; ++i) {
            HevcLongTerm entry;
            if (i < of_sps) {
                const u32 at = Below(static_cast<u32>(lsbs.size()));
                out.u(static_cast<u32>(std::bit_width(lsbs.size() - 1)), at);
                entry.lsb = lsbs[at];
                entry.used_now = true; // the builder's
            } else {
                entry.lsb = Below(1U << lsb_bits);
                entry.used_now = Flag() != 0;
                out.u(lsb_bits, entry.lsb).u(1, entry.used_now);
            }
            entry.has_msb = Flag() != 0;
            const u32 step = entry.has_msb ? Below(4) : 0;
            out.u(1, entry.has_msb);
            if (entry.has_msb)
                out.ue(step);
            cycle = i == 0 || i == of_sps ? step : cycle + step;
            entry.msb_cycle = cycle;
            long_term.push_back(entry);
        }
    }
};

nalsmith::NalUnit NalOf(const Bytes& bytes)
{
    return *nalsmith::NalUnits(nalsmith::Codec::h265, nalsmith::BytesView(bytes.data(), bytes.size()))
                .begin();
}

std::vector<SubLayer> MakeSubLayers(Sets& random)
{
    std::vector<SubLayer> layers(random.Below(8));
    for (SubLayer& layer : layers)
        layer = {random.Flag(), random.Flag()};
    return layers;
}

Vps MakeVps(Sets& random)
{
    return {random.Below(16),
            MakeSubLayers(random),
            random.Below(65536),
            random.Flag(),
            random.Below(64),
            random.Below(20),
            random.Maybe(Timing{random.Any(), random.Any()})};
}

Sps MakeSps(Sets& random)
{
    Sps sps{.sps_video_parameter_set_id = random.Below(16),
            .subLayers = MakeSubLayers(random),
            .sps_seq_parameter_set_id = random.Below(16),
            .chroma_format_idc = random.Below(5)}; // 4 is none of the standard
    sps.separate_colour_plane_flag = sps.chroma_format_idc == 3 ? random.Flag() : 0;
    sps.pic_width_in_luma_samples = 72 + random.Below(2000);
    sps.pic_height_in_luma_samples = 8 + random.Below(2000);
    sps.conf_win = random.Maybe(random.MakeCropping());
    sps.log2_max_pic_order_cnt_lsb_minus4 = random.Below(13);
    sps.sps_sub_layer_ordering_info_present_flag = random.Flag();
    sps.log2_min_luma_coding_block_size_minus3 = random.Below(2);
    sps.log2_diff_max_min_luma_coding_block_size =
        1 + random.Below(3 - sps.log2_min_luma_coding_block_size_minus3);
    sps.scaling_list_enabled_flag = random.Flag();
    sps.scaling_list_pred_mode_flags = random.Maybe(random.Below(1 << 20));
    sps.pcm_enabled_flag = random.Flag();
    if (random.Flag() != 0)
        sps.lt_ref_pic_poc_lsb_sps = std::vector<u32>(random.Below(33), random.Below(16));
    sps.vui = random.Maybe(random.MakeVui());
    return sps;
}

TEST(HevcLayerHeaders, AreReadAsWrittenAndAsTheLibraryReadsThem)
{
    Sets random(1);
    for (int round = 0; round < 4000; ++round) {
        SCOPED_TRACE(round);
        Sps sps = MakeSps(random);
        std::vector<Deltas> sets(random.Below(30) == 0 ? 64 : random.Below(6));
        sps.written = sets.size();
        for (std::size_t i = 0; i < sets.size(); ++i)
            sets[i] = random.Write(sps.written_sets,
                                   {sets.begin(), sets.begin() + static_cast<std::ptrdiff_t>(i)}, false);
        const Pps pps{.pps_pic_parameter_set_id = random.Below(64),
                      .pps_seq_parameter_set_id = sps.sps_seq_parameter_set_id,
                      .dependent_slice_segments_enabled_flag = random.Flag(),
                      .output_flag_present_flag = random.Flag(),
                      .num_extra_slice_header_bits = random.Below(4)};
        Slice slice{.sps = sps, .pps = pps, .nal_unit_type = random.Flag() != 0 ? kTrailR : kCra};
        slice.first_slice_segment_in_pic_flag = random.Flag();
        slice.slice_segment_address = 1;
        const u32 lsb_bits = sps.log2_max_pic_order_cnt_lsb_minus4 + 4;
        slice.slice_pic_order_cnt_lsb = random.Below(1U << lsb_bits);
        slice.references = random.WriteReferences(sets, sps.lt_ref_pic_poc_lsb_sps, lsb_bits);
        slice.data = Bytes{};

        const Bytes spsBytes = sps, ppsBytes = pps, bytes = slice;
        const auto sequence = read_hevc_sequence(bits_of(NalOf(spsBytes)));
        ASSERT_TRUE(sequence);
        const HevcPictureParameters readPps = read_hevc_pps(bits_of(NalOf(ppsBytes)));
        const auto read = [&](const Bytes& stored, HevcPicture& picture) {
            BitReader reader = bits_of(NalOf(stored));
            picture.type = slice.nal_unit_type;
            read_hevc_segment_begin(reader, picture);
            return read_hevc_segment(reader, *sequence, readPps, picture) &&
                   read_hevc_references(reader, *sequence, picture) && reader.flag() && !reader.past_end();
        };
        HevcPicture picture, cut;
        ASSERT_TRUE(read(bytes, picture));
        EXPECT_FALSE(read(bytes.From(0, bytes.size() - 2), cut));
        const HevcReferenceSet& set = picture.references();
        Deltas deltas;
        for (std::size_t i = 0; i < set.count; ++i)
            deltas.emplace_back(set.deltas[i].poc, set.deltas[i].used_now);
        EXPECT_EQ(deltas, random.deltas);
        ASSERT_EQ(picture.long_term.size(), random.long_term.size());
        for (std::size_t i = 0; i < picture.long_term.size(); ++i) {
            const HevcLongTerm &entry = picture.long_term[i], &expected = random.long_term[i];
            EXPECT_EQ(entry.lsb, expected.lsb);
            EXPECT_EQ(entry.used_now, expected.used_now);
            EXPECT_EQ(entry.has_msb, expected.has_msb);
            EXPECT_TRUE(!entry.has_msb || entry.msb_cycle == expected.msb_cycle);
        }
        EXPECT_EQ(picture.lsb, slice.slice_pic_order_cnt_lsb);
        EXPECT_EQ(picture.slice_segment_address, 1 - slice.first_slice_segment_in_pic_flag);

        Vps vps = MakeVps(random);
        vps.vps_video_parameter_set_id = sps.sps_video_parameter_set_id;
        const Bytes vpsBytes = vps;
        const ParsingHandle handle(VideoCodecHEVC);
        handle.Feed(Delimiter{} + vpsBytes + spsBytes + ppsBytes);
        EXPECT_EQ(SequenceFieldsOf(handle.Flush().info),
                  fields_of(sequence_of(read_hevc_sps(bits_of(NalOf(spsBytes))),
                                        read_hevc_vps(bits_of(NalOf(vpsBytes))))));
        ASSERT_NE(handle.Hevc().spsTable[sps.sps_seq_parameter_set_id], nullptr);
        ASSERT_NE(handle.Hevc().vpsTable[sps.sps_video_parameter_set_id], nullptr);
        const HevcSpsRecord& known = *handle.Hevc().spsTable[sps.sps_seq_parameter_set_id];
        EXPECT_EQ((std::bit_cast<std::array<u32, 8>>(known)), sps.Kept());
        EXPECT_EQ(std::bit_cast<u32>(*handle.Hevc().vpsTable[sps.sps_video_parameter_set_id]),
                  sps.sps_video_parameter_set_id);
        EXPECT_EQ((std::bit_cast<std::array<u32, 5>>(*handle.Hevc().ppsTable[pps.pps_pic_parameter_set_id])),
                  (std::array{pps.pps_pic_parameter_set_id, pps.pps_seq_parameter_set_id,
                              pps.dependent_slice_segments_enabled_flag, pps.output_flag_present_flag,
                              pps.num_extra_slice_header_bits}));
        EXPECT_EQ(sequence->lsb_bits, known.log2_max_pic_order_cnt_lsb_minus4 + 4);
        const u32 ctb =
            8U << (sps.log2_min_luma_coding_block_size_minus3 + sps.log2_diff_max_min_luma_coding_block_size);
        EXPECT_EQ(sequence->width, (sps.pic_width_in_luma_samples + ctb - 1) / ctb);
    }
}

TEST(HevcLayerHeaders, SegmentsGoTileByTile)
{
    // 10 x 6 CTBs of 16 samples in 3 x 2 tiles: columns of 3, 3 and 4, then of 1, 7 and 2; rows of 3, of 2
    // and 4.
    const Sps sps{.pic_width_in_luma_samples = 160, .pic_height_in_luma_samples = 96};
    const BitWriter uniform = BitWriter().ue(2).ue(1).u(1, 1).u(1, 1);
    const BitWriter given = BitWriter().ue(2).ue(1).u(1, 0).ue(0).ue(6).ue(1).u(1, 1);
    const std::pair<BitWriter, std::vector<u32>> rows[] = {
        {uniform, {0, 2, 10, 22, 3, 5, 25, 6, 9, 29, 30, 52, 33, 59}},
        {given, {0, 10, 1, 7, 17, 8, 9, 18, 20, 50, 21, 57, 28, 59}},
    };
    for (const auto& [tiles, addresses] : rows) {
        const Bytes bytes = Pps{.tiles = tiles};
        const HevcPictureParameters pps = read_hevc_pps(bits_of(NalOf(bytes)));
        ASSERT_TRUE(pps.known_tiles);
        for (std::size_t i = 1; i < addresses.size(); ++i)
            EXPECT_LT(pps.tiles.place_of(addresses[i - 1], 10, 6), pps.tiles.place_of(addresses[i], 10, 6))
                << addresses[i];
    }
}

} // namespace
