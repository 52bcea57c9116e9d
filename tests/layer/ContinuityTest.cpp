// SPDX-License-Identifier: MIT
// Losses in either codec, by bytes and by access units.
#include "ContinuityTables.h"

namespace {

using namespace layertest;
using nalsmith::Bytes, nalsmith::Status;

TEST(Continuity, FindsEveryLossOfAPictureThatOthersNeed)
{
    for (const char* const name :
         {"avc_headers_once_aud.h264", "avc_size_change.h264", "hevc_poc_lsb_4_bits.h265"}) {
        SCOPED_TRACE(name);
        const Codec codec = codec_of(name);
        const std::vector<Kept> units = read_all(codec, read_file(name));
        for (std::size_t lost = 0; lost < units.size(); ++lost) { // of none, and of each but the first
            ContinuityChecker checker(codec);
            bool any = false;
            for (std::size_t i = 0; i < units.size(); ++i) {
                Bytes unit = units[i].bytes;
                if (lost != 0 && i == lost)
                    unit = without(unit, codec, [](const NalUnit& nal) { return !nal.is_parameter_set(); });
                any = checker.check(unit).broken() || any;
            }
            const bool needed =
                units[lost].unit.reference && lost + 1 < units.size() && !units[lost + 1].unit.key;
            EXPECT_EQ(any, lost != 0 && needed) << lost;
        }
    }
}

// Nothing that the reader has found is searched again; a checker that goes on elsewhere begins anew.
TEST(Continuity, OfAccessUnitsIsThatOfTheirBytes)
{
    for (const char* const name :
         {"avc_size_change.h264", "avc_hand_other_nal_types.h264", "avc_headers_once_aud.h264",
          "hevc_aud_headers_once.h265", "hevc_hand_vps_late.h265"})
        for (const bool self_contained : {false, true})
            for (const bool whole : {false, true}) {
                SCOPED_TRACE(name);
                const Codec codec = codec_of(name);
                Bytes stream = read_file(name);
                ContinuityChecker of_units(codec, true), of_bytes(codec), again(codec);
                const ParsingHandle library = make_parsing_handle(codec);
                std::string first, second;
                const std::vector<Kept> kept = read_all(codec, stream);
                AccessUnitReader reader(codec, {self_contained, whole});
                const auto check = [&](const AccessUnit& unit) {
                    std::size_t slices = 0;
                    for (const NalUnit& nal : NalUnits(codec, unit.bytes))
                        if (nal.is_slice() && !nal.bare() && !nal.forbidden()) {
                            const auto begin = static_cast<std::size_t>(nal.bytes.data() - unit.bytes.data());
                            ASSERT_LT(slices, unit.slices.size());
                            EXPECT_EQ(unit.slices[slices].begin, begin);
                            EXPECT_EQ(unit.slices[slices++].end, begin + nal.bytes.size());
                        }
                    EXPECT_EQ(unit.slices.size(), slices);
                    const Verdict verdict = of_units.check(unit);
                    VideoInfoEx info = {};
                    VideoSampleTest(library.get(), unit.bytes.data(), detail::library_size(unit.bytes.size()),
                                    &info);
                    EXPECT_EQ(verdict.library.discontinuity, info.discontinuity);
                    EXPECT_EQ(verdict.library.intraPicture, info.intraPicture);
                    const std::string is = found_in(verdict);
                    EXPECT_EQ(is, found_in(of_bytes.check(unit.bytes)));
                    first += is;
                    second += found_in(again.check(unit));
                };
                for (const Kept& unit : kept) {
                    again.reset();
                    EXPECT_EQ(reader.push(unit.bytes), Status::ok);
                    while (const auto next = reader.next())
                        check(*next);
                }
                EXPECT_EQ(reader.finish(), Status::ok);
                while (const auto next = reader.next())
                    check(*next);
                EXPECT_NE(first, second);
            }
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
    const BitWriter references = BitWriter().u(1, 1); // that set
    const hevctest::Sps wrong_sps = {.log2_max_pic_order_cnt_lsb_minus4 = 4};
    const ::Bytes wrong_pps = ::Bytes(hevctest::Pps{.num_extra_slice_header_bits = 7});
    const ::Bytes pps_content = wrong_pps.From(5, wrong_pps.size() - 5);
    ContinuityChecker checker(Codec::h265);
    checker.add_parameter_sets(Join({Vps(), sps, hevctest::Pps()}));
    for (u32 i = 0; i < 10; ++i) {
        const u32 type = i == 0 ? hevctest::kIdr : kTrailR;
        const ::Bytes picture = hevctest::Slice{
            .sps = sps, .nal_unit_type = type, .slice_pic_order_cnt_lsb = i, .references = references};
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
