// SPDX-License-Identifier: MIT
// What parameter sets say of the pictures, and which of them are heard.
#include "LayerFields.h"
#include "LayerStreams.h"

#include "HevcStream.h"

#include <random>

namespace {

using namespace layertest;
using nalsmith::Bytes;
using nalsmith::Status;

// An SPS that comes alone, as the library reports it.
void expect_as_the_library_reads(Codec codec, BytesView stream)
{
    ParameterSets sets;
    sets.add_all(codec, stream);
    const Bytes kept = sets.to_annex_b();
    const ParsingHandle reader = make_parsing_handle(codec, 2, 1);
    VideoInfo info = {};
    ParseVideoParams(reader.get(), kept.data(), detail::library_size(kept.size()), &info);
    ParseVideoParams(reader.get(), nullptr, 0, &info);
    if (sets.all().size() != 1)
        return; // damaged into none or several
    const SequenceParameters expected = sequence_parameters(info);
    const auto read = read_sequence(codec, sets, sets.all()[0].id);
    ASSERT_TRUE(read && info.sequenceInfoValid == 1);
    ASSERT_EQ(fields_of(*read), fields_of(expected)) << testing::PrintToString(kept);
}

TEST(Sequence, IsWhatTheLibraryReportsAlsoWhenDamaged)
{
    constexpr unsigned kUnknownToTheLibrary = 135; // whether this profile_idc has a chroma format
    const avctest::Cropping crop = {1, 2, 3, 4};
    const avctest::Vui vui = {
        255, 40, 33, 1, avctest::VideoSignal{1, 1, 1, 9, 16, 9}, 2, avctest::Timing{1001, 60000}, crop};
    avctest::Sps avc = {.profile_idc = 100, .chroma_format = true};
    avc.scaling_lists = {{{1, 2, -300}}, {}, {}, {}, {}, {}, {{-8}}, {}};
    avc.pic_order_cnt_type = 1;
    avc.offset_for_ref_frame = {1, -2};
    avc.frame_mbs_only_flag = 0;
    avc.crop = crop;
    avc.vui = vui;
    hevctest::Sps hevc = {.subLayers = {{1, 1}}, .conf_win = crop};
    hevc.scaling_list_enabled_flag = hevc.pcm_enabled_flag = 1;
    hevc.scaling_list_pred_mode_flags = 0x8A555;
    hevc.st_ref_pic_sets = {{2, 1, ""}, {0, 0, "1011"}};
    hevc.lt_ref_pic_poc_lsb_sps = {{3, 5}};
    hevc.vui = vui;
    std::vector<std::pair<Codec, Bytes>> all = {{Codec::h264, ::Bytes(avc)}, {Codec::h265, ::Bytes(hevc)}};
    for (const char* const name :
         {"avc_size_change.h264", "avc_headers_once_aud.h264", "avc_hand_escaped_headers.h264",
          "avc_hand_other_nal_types.h264", "avc_hand_starts_in_the_middle.h264", "hevc_aud_headers_once.h265",
          "hevc_hand_vps_late.h265", "hevc_poc_lsb_4_bits.h265"}) {
        ParameterSets sets;
        const Bytes file = read_file(name);
        for (const NalUnit& nal : NalUnits(codec_of(name), file))
            if (const auto [kind, id, vps] = identify_parameter_set(nal);
                sets.add(nal) && kind == ParameterSetKind::sps)
                all.emplace_back(nal.codec, sets.find(kind, id)->bytes);
    }
    EXPECT_EQ(all.size(), 12u);
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp)
    for (const auto& [codec, sets] : all) {
        expect_as_the_library_reads(codec, sets);
        for (int i = 0; i < 2000; ++i) {
            Bytes damaged = sets;
            for (unsigned k = random() % 4; k < 4; ++k)
                damaged[5 + random() % (damaged.size() - 5)] ^= static_cast<std::uint8_t>(1U << random() % 8);
            if (codec == Codec::h265 || damaged[5] != kUnknownToTheLibrary)
                expect_as_the_library_reads(codec, damaged);
            ASSERT_FALSE(HasFailure());
        }
    }
}

struct Rate {
    std::uint32_t width;
    std::uint32_t num;
    std::uint32_t den;
    bool operator==(const Rate&) const = default;
};

// Of a VPS that comes first or later, but not of another one, of a layer above or of a reserved type. A key
// unit made complete says the same by itself.
TEST(Sequence, HasTheTimingOfItsVpsUnlessItHasItsOwn)
{
    using hevctest::Timing;
    using hevctest::Vps;
    const hevctest::Slice picture = {.nal_unit_type = hevctest::kIdr};
    const hevctest::Sps other = {.pic_width_in_luma_samples = 128};
    const hevctest::Sps timed = {.vui = hevctest::Vui{.timing = Timing{2, 48}}};
    const std::vector<std::pair<::Bytes, Rate>> steps = {
        {Join({Vps{.timing = Timing{1001, 30000}}, hevctest::Sps(), hevctest::Pps()}), {64, 30000, 1001}},
        {Vps{.timing = Timing{1, 50}}, {64, 50, 1}},
        {Vps{.vps_video_parameter_set_id = 1, .timing = Timing{1, 7}}, {64, 50, 1}},
        {hevctest::Nal(32, Vps{.timing = Timing{1, 8}}.Payload(), 1), {64, 50, 1}},
        {hevctest::Nal(33, other.Payload(), 1), {64, 50, 1}},
        {hevctest::Nal(44, other.Payload()), {64, 50, 1}},
        {other, {128, 50, 1}},
        {timed, {64, 48, 2}},
        {Vps{.timing = Timing{1, 60}}, {64, 48, 2}},
        {hevctest::Sps(), {64, 60, 1}},
        {Vps(), {64, 0, 0}}};
    for (const bool whole : {false, true}) {
        AccessUnitReader reader(Codec::h265, {.self_contained = true, .whole_units = whole});
        for (std::size_t i = 0; i < steps.size(); ++i) {
            SCOPED_TRACE(i);
            const ::Bytes unit = Join({steps[i].first, picture});
            ASSERT_EQ(reader.push(unit), Status::ok);
            ASSERT_EQ(reader.end_unit(), whole ? Status::not_supported : Status::ok);
            const auto read = reader.next();
            ASSERT_TRUE(read);
            EXPECT_EQ(read->bytes.size() - read->inserted, unit.size());
            const std::vector<Kept> alone = read_all(Codec::h265, read->bytes);
            for (const auto& s : {read->sequence, alone.at(0).unit.sequence,
                                  read_sequence(Codec::h265, reader.parameter_sets(), 0)}) {
                ASSERT_TRUE(s);
                EXPECT_EQ((Rate{s->width, s->frame_rate_num, s->frame_rate_den}), steps[i].second);
            }
        }
    }
}

TEST(Sequence, TellsProfileDepthsAndAspectRatio)
{
    const auto read = [](Codec codec, const ::Bytes& sps) {
        ParameterSets sets;
        sets.add_all(codec, BytesView(sps.data(), sps.size()));
        const SequenceParameters s = read_sequence(codec, sets, 0).value_or(SequenceParameters());
        return std::array<std::uint64_t, 11>{s.profile_idc,
                                             s.constraint_flags,
                                             s.level_idc,
                                             s.chroma_format_idc,
                                             s.bit_depth_luma,
                                             s.bit_depth_chroma,
                                             s.field_coding,
                                             s.sar_width,
                                             s.sar_height,
                                             s.high_tier,
                                             s.profile_compatibility_flags};
    };
    using Fields = std::array<std::uint64_t, 11>;
    avctest::Sps avc{.profile_idc = 100, .constraint_flags = 0x53, .level_idc = 41, .chroma_format = true};
    avc.chroma_format_idc = 2;
    avc.frame_mbs_only_flag = 0;
    avc.vui = avctest::Vui{.aspect_ratio_idc = 5};
    EXPECT_EQ(read(Codec::h264, avc), (Fields{100, 0x53, 41, 2, 10, 9, 1, 40, 33}));
    avc = {.vui = avctest::Vui{.aspect_ratio_idc = 255, .sar_width = 0x1234, .sar_height = 7}};
    EXPECT_EQ(read(Codec::h264, avc), (Fields{66, 0, 30, 1, 8, 8, 0, 0x1234, 7}));
    hevctest::Sps hevc{.subLayers = {{1, 1}}, .vui = avctest::Vui{.aspect_ratio_idc = 17}};
    EXPECT_EQ(read(Codec::h265, hevc), (Fields{1, 0x9555'5555'5555, 93, 1, 10, 9, 0, 0, 0, 1, 0x6000'0001}));
}

// The latest of each, once, after those that the unit brings itself; none of another SPS.
TEST(Sequence, KeyUnitsGetTheSetsThatTheyLackInOrder)
{
    using namespace avctest;
    const auto slice = [](u32 first_mb_in_slice, u32 idr_pic_id) {
        return Slice{.nal_unit_type = kIdr, .first_mb_in_slice = first_mb_in_slice, .idr_pic_id = idr_pic_id};
    };
    const auto pps = [](u32 id, u32 sps) {
        return Pps{.pic_parameter_set_id = id, .seq_parameter_set_id = sps};
    };
    const ::Bytes latest = avctest::Sps{.pic_width_in_mbs = 5};
    const Bytes first = Join({avctest::Sps(), avctest::Sps{.seq_parameter_set_id = 1}, pps(0, 0), pps(1, 0),
                              pps(2, 1), latest, slice(0, 0)});
    const Bytes second = Join({Delimiter(), pps(0, 0), slice(0, 1), slice(2, 1)});
    const ::Bytes complete = Join({Delimiter(), latest, pps(0, 0), pps(1, 0), slice(0, 1), slice(2, 1)});
    for (const bool whole : {false, true}) {
        AccessUnitReader reader(Codec::h264, {.self_contained = true, .whole_units = whole});
        EXPECT_EQ(reader.push(first), Status::ok);
        EXPECT_EQ(reader.push(second), Status::ok);
        EXPECT_EQ(reader.finish(), Status::ok);
        EXPECT_EQ(reader.next().value_or(AccessUnit()).inserted, 0u);
        const auto unit = reader.next();
        ASSERT_TRUE(unit);
        EXPECT_TRUE(std::ranges::equal(unit->bytes, complete));
    }
}

// A 03 at the end is one of the bits, unless a zero comes after it, which is no part of the parameter set.
TEST(Sequence, IsReadAnewWhereOnlyTheZerosAfterASetAreOthers)
{
    const ::Bytes picture = "00 00 01 68 ce 38 80 00 00 01 65 88 84 21"_bytes;
    const ::Bytes sps = "00 00 01 67 42 00 1e f8 00 00 03"_bytes;
    const std::vector<Kept> units = read_all(Codec::h264, sps + "00 00"_bytes + picture + sps + picture);
    ASSERT_EQ(units.size(), 2u);
    EXPECT_NE(units[0].unit.sequence->width, units[1].unit.sequence->width);
}

} // namespace
