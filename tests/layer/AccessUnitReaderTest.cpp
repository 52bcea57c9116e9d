// SPDX-License-Identifier: MIT
// Bytes in, access units out.
#include "LayerStreams.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

using namespace layertest;
using nlohmann::json;

std::vector<std::uint32_t> fields_of(const SequenceParameters& s)
{
    return {s.width,
            s.height,
            s.frame_rate_num,
            s.frame_rate_den,
            s.video_signal_type_present_flag,
            s.video_format,
            s.video_full_range_flag,
            s.colour_description_present_flag,
            s.colour_primaries,
            s.transfer_characteristics,
            s.matrix_coefficients};
}

json all_facts()
{
    const Bytes text = read_file("facts.json");
    return json::parse(text.begin(), text.end());
}

TEST(AccessUnitReader, GivesTheSameUnitsHoweverTheInputIsCut)
{
    const json all = all_facts();
    for (const auto& [name, facts] : all.items()) {
        const Bytes stream = read_file(name);
        const std::size_t start = detail::find_start_code(stream.data(), 0, 0, stream.size());
        AccessUnitReader reader(codec_of(name)); // one for all: finish() begins anew
        for (const std::size_t size : {1, 2, 3, 5, 64, 777, 100'000}) {
            SCOPED_TRACE(name + " in pieces of " + std::to_string(size));
            const std::vector<Kept> units = read_all(reader, stream, size);
            EXPECT_TRUE(std::ranges::equal(joined(units), BytesView(stream).subview(start)));
            ASSERT_EQ(units.size(), facts["sizes"].size());
            std::size_t position = start;
            json keys = json::array();
            for (std::size_t i = 0; i < units.size(); ++i) {
                EXPECT_EQ(units[i].unit.position, position);
                EXPECT_EQ(units[i].unit.tag, position / size);
                position += units[i].bytes.size();
                if (units[i].unit.key)
                    keys.push_back(i);
            }
            EXPECT_EQ(keys, facts["key"]);
        }
    }
}

TEST(AccessUnitReader, TellsTheParametersInForceOfEveryPicture)
{
    const json facts = all_facts()["avc_size_change.h264"];
    json expected;
    const std::vector<Kept> units = read_all(Codec::h264, read_file("avc_size_change.h264"));
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (const auto own = facts["sequence"].find(std::to_string(i)); own != facts["sequence"].end())
            expected = *own;
        ASSERT_TRUE(units[i].unit.sequence) << i;
        EXPECT_EQ(json(fields_of(*units[i].unit.sequence)), expected) << i;
        EXPECT_EQ(units[i].unit.picture_type == VideoPicTypeAllI, units[i].unit.key) << i;
    }
}

// The second and third size come with parameter sets once; the library would put in those of the first.
TEST(AccessUnitReader, CompletesKeyUnitsWithTheSetsInForce)
{
    Bytes stream;
    std::vector<Kept> plain = read_all(Codec::h264, read_file("avc_size_change.h264"));
    for (std::size_t i = 0; i < plain.size(); ++i) {
        if (i % 12 == 6)
            plain[i].bytes = without(plain[i].bytes, Codec::h264,
                                     [](const NalUnit& nal) { return nal.is_parameter_set(); });
        append(stream, plain[i].bytes);
    }
    const std::vector<Kept> units = read_all(Codec::h264, stream, {.self_contained = true});
    ASSERT_EQ(units.size(), plain.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        EXPECT_EQ(units[i].unit.inserted != 0, i % 12 == 6);
        EXPECT_EQ(units[i].bytes.size() - units[i].unit.inserted, plain[i].bytes.size());
        if (!units[i].unit.key)
            continue;
        const std::vector<Kept> alone = read_all(Codec::h264, units[i].bytes);
        ASSERT_EQ(alone.size(), 1u);
        ASSERT_TRUE(alone[0].unit.sequence);
        EXPECT_EQ(fields_of(*alone[0].unit.sequence), fields_of(*plain[i].unit.sequence));
    }
}

TEST(AccessUnitReader, PutsSetsBehindTheDelimiterInTheOrderOfTheirDependence)
{
    for (const char* const name : {"avc_headers_once_aud.h264", "hevc_aud_headers_once.h265"}) {
        const Codec codec = codec_of(name);
        std::size_t completed = 0;
        for (const Kept& kept : read_all(codec, read_file(name), {.self_contained = true})) {
            std::vector<unsigned> types;
            for (const NalUnit& nal : NalUnits(codec, kept.bytes))
                types.push_back(nal.type());
            const std::vector<unsigned> sets =
                codec == Codec::h264 ? std::vector<unsigned>{9, 7, 8} : std::vector<unsigned>{35, 32, 33, 34};
            types.resize(sets.size());
            if (kept.unit.inserted != 0 || !kept.unit.key) {
                EXPECT_EQ(types == sets, kept.unit.key) << name;
            }
            completed += kept.unit.inserted != 0 ? 1 : 0;
        }
        EXPECT_EQ(completed, codec == Codec::h264 ? 3u : 2u);
    }
}

TEST(AccessUnitReader, GivesWholeUnitsBackAtOnce)
{
    const json all = all_facts();
    for (const auto& [name, facts] : all.items()) {
        SCOPED_TRACE(name);
        AccessUnitReader reader(codec_of(name), {.whole_units = true});
        std::uint64_t tag = 0;
        for (const Kept& kept : read_all(codec_of(name), read_file(name))) {
            const auto unit = reader.read(kept.bytes, ++tag);
            ASSERT_TRUE(unit);
            EXPECT_TRUE(std::ranges::equal(unit->bytes, kept.bytes));
            EXPECT_EQ(unit->key, kept.unit.key);
            EXPECT_EQ(unit->tag, tag);
            EXPECT_EQ(unit->picture_type, kept.unit.picture_type);
            EXPECT_EQ(unit->sequence.has_value(), kept.unit.sequence.has_value());
            EXPECT_FALSE(reader.next());
        }
    }
    AccessUnitReader reader(Codec::h264, {.whole_units = true});
    EXPECT_FALSE(reader.read(Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(reader.status(), Status::no_start_code);
}

TEST(AccessUnitReader, LosesNothingWhereThereIsNoPicture)
{
    // No VPS: the library refuses every slice. They pile up to the limit, and come out at the end.
    const Bytes stream = without(read_file("hevc_poc_lsb_4_bits.h265"), Codec::h265,
                                 [](const NalUnit& nal) { return nal.type() == 32; });
    AccessUnitReader reader(Codec::h265, {.max_pending = 5000});
    std::size_t taken = 0;
    Status status = Status::ok;
    while (status == Status::ok && taken < stream.size()) {
        status = reader.push(BytesView(stream).subview(taken, 100));
        taken += std::min<std::size_t>(100, stream.size() - taken);
    }
    EXPECT_EQ(status, Status::too_large);
    EXPECT_EQ(taken, 5100u);
    EXPECT_EQ(reader.push(stream), Status::too_large);
    EXPECT_EQ(reader.finish(), Status::too_large);
    const auto rest = reader.next();
    ASSERT_TRUE(rest);
    EXPECT_FALSE(rest->has_picture);
    EXPECT_TRUE(std::ranges::equal(rest->bytes, BytesView(stream).subview(0, taken)));
    EXPECT_EQ(reader.push(BytesView(stream).subview(0, 100)), Status::ok);
}

TEST(AccessUnitReader, TellsWhatIsUnreadableInFrontOfTheFirstPicture)
{
    const std::string name = "hevc_hand_vps_late.h265";
    const Bytes stream = read_file(name);
    std::size_t unreadable = 0;
    for (const Kept& kept : read_all(Codec::h265, stream)) {
        unreadable += kept.unit.unreadable;
        if (kept.unit.unreadable == 0)
            continue;
        const Bytes picture(kept.bytes.begin() + static_cast<std::ptrdiff_t>(kept.unit.unreadable),
                            kept.bytes.end());
        EXPECT_EQ((*NalUnits(Codec::h265, picture).begin()).type(), 32u);
    }
    EXPECT_NE(unreadable, 0u);
}

TEST(AccessUnitReader, SeesNalUnitsOfFourBytesAndSetsFromOutside)
{
    const Bytes stream = read_file("avc_size_change.h264");
    const std::vector<Kept> plain = read_all(Codec::h264, stream);
    ParameterSets sets;
    sets.add_all(Codec::h264, plain[0].bytes);
    Bytes bare =
        without(plain[0].bytes, Codec::h264, [](const NalUnit& nal) { return nal.is_parameter_set(); });
    append(bare, Bytes{0, 0, 1, 9}); // a delimiter of four bytes opens the next access unit
    append(bare, plain[1].bytes);
    AccessUnitReader reader(Codec::h264);
    EXPECT_EQ(reader.add_parameter_sets(sets.to_annex_b()), Status::ok);
    const std::vector<Kept> units = read_all(reader, bare, 1);
    ASSERT_EQ(units.size(), 2u);
    EXPECT_TRUE(units[0].unit.key && units[0].unit.has_picture);
    EXPECT_EQ(units[0].unit.sequence->width, 128u);
    EXPECT_EQ(units[1].bytes.size(), plain[1].bytes.size() + 4);
    EXPECT_EQ(joined(units), bare);
}

} // namespace
