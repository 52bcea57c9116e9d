// SPDX-License-Identifier: MIT
// What the layer does when there is no memory, and how much it takes. Only its own allocations are watched,
// not those of the library.
#include "LayerStreams.h"

#include "AvcStream.h"
#include "FailingAllocation.h"

#include <algorithm>
#include <functional>

namespace {

using namespace layertest;
using nalsmith::Bytes;
using nalsmith::Status;

// One reader reads stream after stream while one of its allocations fails. Its caller goes on as if nothing
// had happened, or repeats the call first.
struct Tour {
    AccessUnitReader reader;
    AllocationWatch watch;
    bool ends_units;
    bool retries;
    std::uint64_t stream = 0;
    bool broken = false;
    std::vector<Kept> units = {};
    std::size_t before_failure = SIZE_MAX; // of these
    std::uint64_t failed_stream = UINT64_MAX;

    // False when it fails.
    bool call(const std::function<Status()>& make)
    {
        Status status = Status::no_memory;
        const std::size_t failures = watch.Failures();
        try {
            status = watch.During(make);
        } catch (const std::bad_alloc&) {
            broken = true;
            failed_stream = stream;
            before_failure = units.size();
        }
        EXPECT_EQ(status, broken ? Status::no_memory : Status::ok);
        EXPECT_EQ(reader.status(), status);
        return watch.Failures() == failures || (retries && call(make));
    }

    // Tags tell the stream and the piece.
    void read(const std::vector<Bytes>& pieces, BytesView sets)
    {
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            if (i % 4 == 0)
                call([&] { return reader.add_parameter_sets(sets); });
            call([&] { return reader.push(pieces[i], 1000 * stream + i); });
            if (ends_units)
                call([&] { return reader.end_unit(); });
            if (i % 4 == 1)
                drain();
        }
        while (!call([&] { return reader.finish(); })) {
        }
        broken = false;
        ++stream;
    }

    void drain()
    {
        std::optional<AccessUnit> unit;
        do {
            unit.reset();
            call([&] {
                unit = reader.next();
                return reader.status();
            });
            if (unit)
                units.push_back({*unit, unit->bytes.to_bytes()});
        } while (unit);
    }
};

bool same(const Kept& a, const Kept& b)
{
    return a.bytes == b.bytes && a.unit.position == b.unit.position && a.unit.tag == b.unit.tag &&
           a.unit.key == b.unit.key && a.unit.sequence.has_value() == b.unit.sequence.has_value();
}

// Of the beginning of a file, the first and the last time with its parameter sets from outside.
void expect_tours(const std::string& name, ReaderOptions options, bool ends_units, bool retries)
{
    const Codec codec = codec_of(name);
    ParameterSets sets;
    std::vector<Bytes> whole;
    std::vector<Bytes> bare;
    for (const Kept& kept : read_all(codec, BytesView(read_file(name)).subview(0, 3000))) {
        sets.add_all(codec, kept.bytes);
        whole.push_back(kept.bytes);
        bare.push_back(without(kept.bytes, codec, [](const NalUnit& nal) { return nal.is_parameter_set(); }));
    }
    std::vector<Kept> all;
    for (u64 failing = 0;; ++failing) { // first none
        SCOPED_TRACE("allocation " + std::to_string(failing));
        Tour tour{AccessUnitReader(codec, options), AllocationWatch(Failing::Once, failing), ends_units,
                  retries};
        tour.read(bare, sets.to_annex_b());
        tour.read(whole, {});
        tour.read(bare, sets.to_annex_b());
        tour.drain();
        if (failing == 0)
            all = tour.units;
        std::vector<Kept> expected;
        for (std::size_t i = 0; i < all.size(); ++i)
            if (i < tour.before_failure || all[i].unit.tag / 1000 > tour.failed_stream)
                expected.push_back(all[i]);
        ASSERT_TRUE(std::ranges::equal(tour.units, expected, same));
        if (failing != 0 && tour.watch.Failures() == 0)
            break;
    }
    EXPECT_EQ(all.size(), 3 * whole.size());
}

TEST(Memory, WhereThereIsNoneNoUnitIsWrongAndTheNextStreamIsWhole)
{
    for (const char* const name : {"avc_size_change.h264", "hevc_poc_lsb_4_bits.h265"})
        for (const bool retries : {false, true}) {
            expect_tours(name, {}, false, retries);
            expect_tours(name, {.self_contained = true}, false, retries);
            expect_tours(name, {.self_contained = true}, true, retries);
            expect_tours(name, {.self_contained = true, .whole_units = true}, false, retries);
        }
}

// The most bytes that a call takes of what it can have.
double peak_of(const std::function<void()>& call)
{
    AllocationWatch watch;
    watch.During(call);
    return static_cast<double>(watch.Peak());
}

TEST(Memory, WhatWaitsTakesLittleMoreThanItsBytes)
{
    Bytes stream = ::Bytes(avctest::Sps());
    for (u32 id = 0; id < 200; ++id)
        append(stream, ::Bytes(avctest::Pps{.pic_parameter_set_id = id}));
    for (u32 i = 0; i < 5000; ++i)
        append(stream, ::Bytes(avctest::Slice{.nal_unit_type = avctest::kIdr, .idr_pic_id = i % 2}));
    std::size_t completed = 0;
    AccessUnitReader reader(Codec::h264, {.self_contained = true});
    const auto read = [&] {
        EXPECT_EQ(reader.push(stream), Status::ok);
        EXPECT_EQ(reader.finish(), Status::ok);
        while (const auto unit = reader.next())
            completed += unit->inserted != 0 ? 1 : 0;
    };
    EXPECT_LT(peak_of(read), 2.0 * static_cast<double>(stream.size()));
    EXPECT_EQ(completed, 4999u);

    stream.clear();
    for (int i = 0; i < 75'000; ++i) // delimiters
        append(stream, Bytes{0, 0, 1, 9});
    reader = AccessUnitReader(Codec::h264);
    EXPECT_LT(peak_of(read), 1.5 * static_cast<double>(stream.size()));
    EXPECT_EQ(reader.push(Bytes{0, 0, 1, 9}), Status::ok); // waits while nothing comes
    const auto push_nothing = [&] {
        for (u64 tag = 0; tag < 100'000; ++tag)
            EXPECT_EQ(reader.push({}, tag), Status::ok);
    };
    EXPECT_LT(peak_of(push_nothing), 1000);

    Bytes frame = {0, 0, 1, 6};
    for (int i = 0; i < 50'000; ++i) // messages
        append(frame, Bytes{1, 0});
    append(frame, Bytes{0x80, 0, 0, 1, 0x65, 0x88, 0x84});
    UserDataEditor editor(Codec::h264);
    const auto add = [&] { EXPECT_TRUE(editor.add(frame, frame)); };
    EXPECT_LT(peak_of(add), 3.0 * static_cast<double>(frame.size()));
}

TEST(Memory, ParameterSetsOfIdsThatDoNotExistAreNotKept)
{
    Bytes stream = ::Bytes(avctest::Sps{.seq_parameter_set_id = 32});
    for (const u32 id : {256U, 257U, 70'000U, 0xFFFF'FFFEU})
        append(stream, ::Bytes(avctest::Pps{.pic_parameter_set_id = id}));
    ParameterSets sets;
    ContinuityChecker checker(Codec::h264);
    AccessUnitReader reader(Codec::h264);
    const auto keep = [&] {
        sets.add_all(Codec::h264, stream);
        checker.add_parameter_sets(stream);
        EXPECT_EQ(reader.add_parameter_sets(stream), Status::ok);
    };
    EXPECT_LT(peak_of(keep), 100);
    EXPECT_TRUE(sets.all().empty() && reader.parameter_sets().all().empty());
}

} // namespace
