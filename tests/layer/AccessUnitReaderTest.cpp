// SPDX-License-Identifier: MIT
// Bytes in, access units out.
#include "LayerFields.h"
#include "LayerStreams.h"
#include "UnitModel.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

namespace {

using namespace layertest;
using nlohmann::json;

json all_facts()
{
    const Bytes text = read_file("facts.json");
    return json::parse(text.begin(), text.end());
}

// Where the library says that units begin, with every field alike, however the input is cut.
void expect_units(AccessUnitReader& reader, Codec codec, BytesView stream)
{
    const std::vector<unitmodel::Unit> expected = unitmodel::Model(codec).cut(stream);
    for (const std::size_t size : {1, 2, 3, 5, 64, 777, 100'000}) {
        SCOPED_TRACE("in pieces of " + std::to_string(size));
        const std::vector<Kept> units = read_all(reader, stream, size);
        ASSERT_EQ(units.size(), expected.size());
        for (std::size_t i = 0; i < units.size(); ++i) {
            const AccessUnit& unit = units[i].unit;
            const unitmodel::Unit& model = expected[i];
            EXPECT_EQ((unitmodel::Unit{unit.position, unit.position + units[i].bytes.size(), unit.has_picture,
                                       unit.key, unit.reference}),
                      model)
                << i;
            EXPECT_TRUE(
                std::ranges::equal(units[i].bytes, stream.subview(model.begin, model.end - model.begin)));
            EXPECT_EQ(unit.tag, model.begin / size);
            EXPECT_EQ(unit.sequence.has_value(), model.picture);
        }
    }
}

TEST(AccessUnitReader, GivesTheSameUnitsHoweverTheInputIsCut)
{
    const json all = all_facts();
    for (const auto& [name, facts] : all.items()) {
        SCOPED_TRACE(name);
        const Codec codec = codec_of(name);
        const Bytes stream = read_file(name);
        AccessUnitReader reader(codec); // one for all: finish() begins anew
        expect_units(reader, codec, stream);
        if (name.find("_hand_") != std::string::npos)
            continue; // not every slice can be read
        std::vector<std::size_t> keys;
        const std::vector<Kept> units = read_all(codec, stream);
        for (std::size_t i = 0; i < units.size(); ++i)
            if (units[i].unit.key)
                keys.push_back(i);
        EXPECT_EQ(units.size(), facts["sizes"].size());
        EXPECT_EQ(json(keys), facts["key"]);
    }
}

// Entered at every NAL unit; without each kind of parameter set from some place on, and for a while.
TEST(AccessUnitReader, CutsStreamsThatAreJoinedOrHaveLostParameterSets)
{
    for (const char* const name : {"avc_size_change.h264", "hevc_aud_headers_once.h265",
                                   "hevc_hand_vps_late.h265", "avc_hand_other_nal_types.h264"}) {
        SCOPED_TRACE(name);
        const Codec codec = codec_of(name);
        const Bytes stream = read_file(name);
        std::map<std::uint64_t, Bytes> whole;
        for (const Kept& kept : read_all(codec, stream))
            whole[kept.unit.position + kept.bytes.size()] = kept.bytes; // by its end, which no join changes
        AccessUnitReader reader(codec);
        std::vector<NalUnit> nals;
        for (const NalUnit& nal : NalUnits(codec, stream))
            nals.push_back(nal);
        for (std::size_t i = 0; i < nals.size(); i += 1 + nals.size() / 60) {
            SCOPED_TRACE(i);
            const auto at = static_cast<std::size_t>(nals[i].bytes.data() - stream.data());
            const BytesView rest = BytesView(stream).subview(at);
            expect_units(reader, codec, rest);
            for (const Kept& kept : read_all(codec, rest))
                if (kept.unit.key && kept.unit.position != 0) {
                    EXPECT_EQ(kept.bytes, whole[at + kept.unit.position + kept.bytes.size()]);
                    break;
                }
            Bytes lost;
            for (std::size_t k = 0; k < nals.size(); ++k)
                if (k <= i || k > i + 25 || !nals[k].is_parameter_set() || nals[k].type() != nals[i].type())
                    append(lost, nals[k].bytes);
            if (nals[i].is_parameter_set())
                expect_units(reader, codec, lost);
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
            EXPECT_EQ(unit->bytes.data(), kept.bytes.data()); // not copied
        }
    }
}

// With 260 bytes of the next slice, or the start code after it; with end_unit() at once.
TEST(AccessUnitReader, GivesUnitsOutAsSoonAsTheirEndIsKnown)
{
    for (const char* const name : {"avc_size_change.h264", "hevc_aud_headers_once.h265"}) {
        SCOPED_TRACE(name);
        const Codec codec = codec_of(name);
        const Bytes stream = read_file(name);
        const std::vector<Kept> units = read_all(codec, stream);
        AccessUnitReader reader(codec);
        std::size_t pushed = 0;
        for (std::size_t i = 0; i + 2 < units.size(); ++i) {
            std::size_t latest = units[i + 1].unit.position + units[i + 1].bytes.size() + 4;
            for (const NalUnit& nal : NalUnits(codec, units[i + 1].bytes))
                if (nal.is_slice()) {
                    const auto at = static_cast<std::size_t>(nal.bytes.data() - units[i + 1].bytes.data());
                    latest =
                        units[i + 1].unit.position + at + std::min<std::size_t>(nal.bytes.size() + 4, 260);
                    break;
                }
            std::optional<AccessUnit> unit;
            for (; !unit && pushed < latest; ++pushed) {
                ASSERT_EQ(reader.push({&stream[pushed], 1}), Status::ok);
                unit = reader.next();
            }
            ASSERT_TRUE(unit) << i;
            EXPECT_TRUE(std::ranges::equal(unit->bytes, units[i].bytes));
        }

        AccessUnitReader marked(codec);
        for (const Kept& kept : units) {
            EXPECT_EQ(marked.push(kept.bytes), Status::ok);
            EXPECT_EQ(marked.end_unit(), Status::ok);
            const auto unit = marked.next();
            ASSERT_TRUE(unit);
            EXPECT_TRUE(std::ranges::equal(unit->bytes, kept.bytes));
            EXPECT_EQ(unit->position, kept.unit.position);
            EXPECT_EQ(unit->key, kept.unit.key);
        }
        EXPECT_EQ(marked.finish(), Status::ok);
        EXPECT_FALSE(marked.next());
    }
}

TEST(AccessUnitReader, EndsUnitsWhereItIsTold)
{
    const std::vector<Kept> units = read_all(Codec::h264, read_file("avc_size_change.h264"));
    AccessUnitReader reader(Codec::h264);
    EXPECT_EQ(reader.end_unit(), Status::ok);
    EXPECT_EQ(reader.push(Bytes{0, 0}), Status::ok); // half a start code is nothing to end
    EXPECT_EQ(reader.end_unit(), Status::ok);
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.push(Bytes{1, 9, 0x10}, 7), Status::ok);
    EXPECT_EQ(reader.end_unit(), Status::ok);
    const auto opener = reader.next();
    ASSERT_TRUE(opener);
    EXPECT_FALSE(opener->has_picture);
    EXPECT_EQ(opener->bytes.size(), 5u);

    // Zeros, then a unit that is ended twice over: its second half is a unit of its own.
    EXPECT_EQ(reader.push(Bytes(10, 0), 8), Status::ok);
    std::size_t half = units[0].bytes.size() / 2;
    EXPECT_EQ(reader.push(BytesView(units[0].bytes).subview(0, half), 9), Status::ok);
    EXPECT_EQ(reader.end_unit(), Status::ok);
    EXPECT_EQ(reader.push(BytesView(units[0].bytes).subview(half), 10), Status::ok);
    EXPECT_EQ(reader.finish(), Status::ok);
    const auto first = reader.next();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->zeros_left_out, 10u);
    EXPECT_EQ(first->position, 5u);
    EXPECT_EQ(first->tag, 9u);
    EXPECT_EQ(first->bytes.size(), half);
    EXPECT_TRUE(first->has_picture);
    const auto rest = reader.next();
    ASSERT_TRUE(rest);
    EXPECT_EQ(rest->position, 15 + half);
    EXPECT_EQ(rest->bytes.size() + rest->zeros_left_out, units[0].bytes.size() - half);
}

// 64 KiB of them stay; positions and tags go on as if all were there.
TEST(AccessUnitReader, HoldsNoGigabytesOfZeros)
{
    const std::vector<Kept> units = read_all(Codec::h264, read_file("avc_headers_once_aud.h264"));
    constexpr std::size_t kHeld = 65536;
    AccessUnitReader reader(Codec::h264, {.max_pending = kHeld + 10'000});
    for (const std::size_t zeros : {std::size_t{0}, kHeld, kHeld + 1, kHeld + 4, 5 * kHeld}) {
        Bytes stream(3 * zeros); // garbage, not a part of the stream
        append(stream, units[0].bytes);
        stream.resize(stream.size() + zeros);
        append(stream, units[1].bytes); // begins with a start code of four bytes
        append(stream, units[2].bytes);
        stream.resize(stream.size() + zeros);
        const std::size_t left_out = zeros > kHeld ? zeros - kHeld : 0;
        for (const std::size_t size : {std::size_t{1}, std::size_t{777}, kHeld, stream.size()}) {
            SCOPED_TRACE(std::to_string(zeros) + " in pieces of " + std::to_string(size));
            if (size == 1 && zeros > kHeld + 1)
                continue;                                                   // long enough with larger ones
            EXPECT_TRUE(read_all(reader, Bytes(2 * kHeld), kHeld).empty()); // a stream of nothing else
            const std::vector<Kept> read = read_all(reader, stream, size);
            ASSERT_EQ(read.size(), 3u);
            EXPECT_EQ(read[0].unit.zeros_left_out, left_out);
            EXPECT_EQ(read[1].unit.zeros_left_out, 0u);
            EXPECT_EQ(read[2].unit.zeros_left_out, left_out);
            std::size_t position = 3 * zeros;
            for (const Kept& kept : read) {
                EXPECT_EQ(kept.unit.position, position);
                EXPECT_EQ(kept.unit.tag, position / size);
                position += kept.bytes.size() + kept.unit.zeros_left_out;
            }
            EXPECT_EQ(position, stream.size());
        }
    }
}

// A NAL unit without end stops it; slices that cannot be read, with nothing between them, come out in parts.
TEST(AccessUnitReader, StopsAtItsLimitAndLosesNothing)
{
    Bytes stream = {0, 0, 1, 9};
    stream.resize(300, 0x10);
    append(stream, Bytes{0, 0, 1, 0x65});
    stream.resize(20'000, 0x5A);
    AccessUnitReader reader(Codec::h264, {.max_pending = 5000});
    std::size_t taken = 0;
    for (Status status = Status::ok; status == Status::ok; taken += 100)
        status = reader.push(BytesView(stream).subview(taken, 100));
    EXPECT_EQ(taken, 5100u);
    EXPECT_EQ(reader.finish(), Status::too_large);
    const auto rest = reader.next();
    EXPECT_TRUE(rest && std::ranges::equal(rest->bytes, BytesView(stream).subview(0, taken)));

    stream.clear();
    for (int i = 0; i < 40; ++i) {
        append(stream, Bytes{0, 0, 1, 0x65});
        stream.resize(stream.size() + 1000, 0x5A);
    }
    for (const std::size_t size : {std::size_t{1}, std::size_t{700}, stream.size()}) {
        const std::vector<Kept> parts = read_all(reader, stream, size);
        EXPECT_EQ(parts.size(), 14u); // of three slices, the first whole number of them above 2500 bytes
        EXPECT_EQ(joined(parts), stream);
    }
}

TEST(AccessUnitReader, TellsTheStatusOfTheLastCallWhicheverItWas)
{
    const Bytes unit = {0, 0, 1, 9, 0x10};
    Bytes large = unit;
    large.resize(200, 1);
    for (const bool whole : {false, true}) {
        SCOPED_TRACE(whole);
        AccessUnitReader reader(Codec::h264, {.whole_units = whole, .max_pending = 100});
        const auto expect = [&](Status answered, Status streaming, Status with_whole_units) {
            EXPECT_EQ(answered, whole ? with_whole_units : streaming);
            EXPECT_EQ(reader.status(), answered);
        };
        const auto next = [&] { return reader.next() ? Status::ok : reader.status(); };
        expect(reader.end_unit(), Status::ok, Status::not_supported);
        expect(reader.add_parameter_sets(unit), Status::ok, Status::ok);
        EXPECT_EQ(reader.read(unit).has_value(), whole);
        expect(reader.status(), Status::not_supported, Status::ok);
        expect(next(), Status::ok, Status::ok);
        expect(reader.push(Bytes(3)), Status::ok, Status::no_start_code);
        expect(next(), Status::ok, Status::ok);
        expect(reader.push(unit), Status::ok, Status::ok);
        expect(reader.push(large), Status::too_large, Status::too_large);
        expect(next(), Status::too_large, Status::ok);
        expect(reader.add_parameter_sets(unit), Status::too_large, Status::too_large);
        expect(reader.end_unit(), Status::too_large, Status::not_supported);
        expect(reader.push(unit), Status::too_large, Status::too_large);
        expect(next(), Status::too_large, Status::too_large);
        expect(reader.finish(), Status::too_large, Status::too_large);
        expect(next(), Status::ok, Status::ok);
        expect(reader.finish(), Status::ok, Status::ok);
    }
}

// Bytes past the end of a NAL unit read as zeros, so one of four bytes is PPS 0 of SPS 0.
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

    const Bytes sps = sets.find(ParameterSetKind::sps, 0)->bytes;
    Bytes short_pps = sps;
    append(short_pps, Bytes{0, 0, 1, 0x68, 0, 0, 1, 0x65, 0x88, 0x84, 0, 0x33, 0xFF});
    const std::vector<Kept> one = read_all(Codec::h264, short_pps, {.self_contained = true});
    ASSERT_EQ(one.size(), 1u);
    EXPECT_TRUE(one[0].unit.has_picture && one[0].unit.sequence && one[0].unit.inserted == 0);
}

// What it gave, and what it is left with.
TEST(AccessUnitReader, TakesItsOwnBytesAndCanBeMoved)
{
    const Bytes stream = read_file("hevc_aud_headers_once.h265");
    const std::vector<Kept> units = read_all(Codec::h265, stream);
    AccessUnitReader reader(Codec::h265);
    ASSERT_EQ(reader.push(BytesView(stream).subview(0, 9000)), Status::ok);
    auto unit = reader.next();
    ASSERT_TRUE(unit);
    AccessUnitReader moved = std::move(reader);
    EXPECT_EQ(moved.push(BytesView(stream).subview(9000)), Status::ok);
    EXPECT_EQ(moved.finish(), Status::ok);
    std::size_t count = 1;
    for (; moved.next(); ++count) {
    }
    EXPECT_EQ(count, units.size());
    EXPECT_EQ(read_all(reader, stream, 5000).size(), units.size()); // NOLINT(bugprone-use-after-move)

    ASSERT_EQ(reader.push(units[0].bytes), Status::ok);
    ASSERT_EQ(reader.end_unit(), Status::ok);
    unit = reader.next();
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(reader.push(unit->bytes), Status::ok);
        ASSERT_EQ(reader.end_unit(), Status::ok);
        unit = reader.next();
        ASSERT_TRUE(unit && std::ranges::equal(unit->bytes, units[0].bytes));
    }
    ASSERT_EQ(reader.push(units[0].bytes), Status::ok);
    ASSERT_EQ(reader.push(units[1].bytes), Status::ok); // held after it, and moved
    ASSERT_EQ(reader.end_unit(), Status::ok);
    unit = reader.next();
    ASSERT_TRUE(unit);
    ASSERT_EQ(reader.push(unit->bytes), Status::ok);
    EXPECT_EQ(reader.finish(), Status::ok);
    std::vector<Kept> rest;
    drain(reader, rest);
    EXPECT_EQ(rest.back().bytes, units[0].bytes);

    AccessUnitReader whole(Codec::h265, {.self_contained = true, .whole_units = true});
    ASSERT_TRUE(whole.read(units[0].bytes));
    auto completed = whole.read(
        without(units[0].bytes, Codec::h265, [](const NalUnit& nal) { return nal.is_parameter_set(); }));
    ASSERT_TRUE(completed && completed->inserted != 0);
    const Bytes kept = completed->bytes.to_bytes();
    completed = whole.read(completed->bytes);
    EXPECT_TRUE(completed && std::ranges::equal(completed->bytes, kept));
}

} // namespace
