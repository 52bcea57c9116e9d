// SPDX-License-Identifier: MIT
// Losses in a stream.
#include "LayerStreams.h"

#include "HevcStream.h"

namespace {

using namespace layertest;
using nalsmith::Bytes;

// Where the first break is found when the pictures of `dropped` are lost, but not their parameter sets.
template <typename Dropped>
std::size_t first_break(Codec codec, const std::vector<Kept>& units, Dropped dropped)
{
    ContinuityChecker checker(codec);
    for (std::size_t i = 0; i < units.size(); ++i) {
        Bytes unit = units[i].bytes;
        if (dropped(i))
            unit = without(unit, codec, [](const NalUnit& nal) { return !nal.is_parameter_set(); });
        if (!unit.empty() && checker.check(unit).broken())
            return i;
    }
    return units.size();
}

// Whether later pictures up to the next random access point may need the picture: it is marked as one that
// they may refer to, and such a picture follows. True of the encoders' streams used here.
bool is_needed(const std::vector<Kept>& units, Codec codec, std::size_t at)
{
    for (const NalUnit& nal : NalUnits(codec, units[at].bytes))
        if (nal.is_slice() &&
            (codec == Codec::h264 ? nal.ref_idc() == 0 : nal.type() < 16 && nal.type() % 2 == 0))
            return false;
    return at + 1 < units.size() && !units[at + 1].unit.key;
}

TEST(Continuity, FindsEveryLossOfAPictureThatOthersNeed)
{
    for (const char* const name :
         {"avc_headers_once_aud.h264", "avc_size_change.h264", "hevc_poc_lsb_4_bits.h265"}) {
        SCOPED_TRACE(name);
        const Codec codec = codec_of(name);
        const std::vector<Kept> units = read_all(codec, read_file(name));
        EXPECT_EQ(first_break(codec, units, [](std::size_t) { return false; }), units.size());
        for (std::size_t lost = 1; lost < units.size(); ++lost) {
            const std::size_t found = first_break(codec, units, [&](std::size_t i) { return i == lost; });
            EXPECT_EQ(found < units.size(), is_needed(units, codec, lost)) << lost;
            EXPECT_GT(found, lost);
        }
    }
}

TEST(Continuity, TellsUnknownParametersAndAStartInTheMiddle)
{
    const std::vector<Kept> units = read_all(Codec::h265, read_file("hevc_aud_headers_once.h265"));
    ContinuityChecker checker(Codec::h265);
    EXPECT_EQ(checker.check(units[1].bytes).finding, Finding::unknown_parameters);
    ParameterSets sets;
    sets.add_all(Codec::h265, units[0].bytes);
    checker.add_parameter_sets(sets.to_annex_b());
    EXPECT_EQ(checker.check(units[1].bytes).finding, Finding::no_start);
    EXPECT_EQ(checker.check(units[0].bytes).finding, Finding::continuous);
    const Verdict reordered = checker.check(units[1].bytes);
    EXPECT_EQ(reordered.finding, Finding::continuous);
    EXPECT_EQ(reordered.library.discontinuity, 1u); // by its own rule
}

// Four thousand million bits of a field asked for by every slice, slice groups by every PPS.
TEST(Continuity, ClaimedNumbersCostNothing)
{
    const Bytes sets = {0x00, 0x00, 0x01, 0x67, 0x42, 0x00, 0x1E, 0x80, 0x00, 0x00, 0x03, 0x00, 0xFF,
                        0xFF, 0xFF, 0xFB, 0x68, 0x42, 0x64, 0x00, 0x00, 0x01, 0x68, 0xCE, 0x38, 0x80};
    const Bytes slice = {0x00, 0x00, 0x01, 0x65, 0x88, 0xC0, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55};
    ContinuityChecker checker(Codec::h264);
    checker.add_parameter_sets(sets);
    for (int i = 0; i < 1000; ++i)
        EXPECT_NE(checker.check(slice).finding, Finding::unknown_parameters);
    for (const u32 slice_group_map_type : {0U, 2U, 6U}) { // of as many slice groups and map units
        BitWriter pps;
        pps.ue(0).ue(0).u(2, 0).u(64, 0).ue(slice_group_map_type).u(64, 0).u(64, 0x5555'5555'5555'5555);
        for (int i = 0; i < 1000; ++i)
            checker.add_parameter_sets(avctest::Nal(8, pps.Take()));
    }
    EXPECT_NE(checker.check(slice).finding, Finding::unknown_parameters);
}

// Any of these would be taken for a part of the stream if only its type were looked at, or not even that.
TEST(Continuity, OtherLayersAndReservedTypesAreNotHeard)
{
    using namespace hevctest;
    const hevctest::Sps sps = {.st_ref_pic_sets = {{1, 0}}};
    const hevctest::Sps wrong_sps = {.log2_max_pic_order_cnt_lsb_minus4 = 4};
    const ::Bytes wrong_pps = ::Bytes(hevctest::Pps{.num_extra_slice_header_bits = 7});
    const ::Bytes pps_content = wrong_pps.From(5, wrong_pps.size() - 5);
    ContinuityChecker checker(Codec::h265);
    checker.add_parameter_sets(Join({sps, hevctest::Pps()}));
    for (u32 i = 0; i < 10; ++i) {
        const u32 type = i == 0 ? hevctest::kIdr : kTrailR;
        const ::Bytes picture =
            hevctest::Slice{.sps = sps, .nal_unit_type = type, .slice_pic_order_cnt_lsb = i};
        EXPECT_EQ(checker.check(picture).finding, Finding::continuous) << i;
        for (const ::Bytes& other :
             {hevctest::Nal(33, wrong_sps.Payload(), 1), hevctest::Nal(34, pps_content, 1),
              hevctest::Nal(44, pps_content), hevctest::Nal(36, {}, 1),
              hevctest::Nal(44, wrong_sps.Payload()),
              ::Bytes(hevctest::Slice{.sps = sps, .nal_unit_type = type, .nuh_layer_id = 1})}) {
            EXPECT_EQ(checker.check(other).finding, Finding::none);
            EXPECT_FALSE(ParameterSets().add_all(Codec::h265, other));
        }
    }
}

} // namespace
