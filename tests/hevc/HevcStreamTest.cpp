// SPDX-License-Identifier: MIT
// H.265 streams into access units: what belongs to which, what is inserted, what is reported.
#include "HevcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace hevctest;

// What is reported of an access unit.
struct Unit {
    Bytes frame = {};
    u32 keyFrame = 0, sequenceInfoValid = 0, width = 0, frameRateNum = 0;

    bool operator==(const Unit&) const = default;
};

void PrintTo(const Unit& unit, std::ostream* out)
{
    PrintTo(unit.frame, out);
    *out << ", key " << unit.keyFrame << ", sequence " << unit.sequenceInfoValid << ", width " << unit.width
         << ", rate " << unit.frameRateNum;
}

Unit UnitOf(const Reported& reported)
{
    const VideoInfo& info = reported.info;
    EXPECT_EQ(info.frameSize, reported.frame.size());
    return {reported.frame, info.keyFrame, info.sequenceInfoValid, info.width, info.frameRateNum};
}

std::vector<Unit> Read(const std::vector<Bytes>& pieces)
{
    std::vector<Unit> units;
    for (const Reported& reported : ParsingHandle(VideoCodecHEVC).FeedAll(pieces)) {
        EXPECT_EQ(reported.status, 0);
        units.push_back(UnitOf(reported));
    }
    return units;
}

using Units = std::vector<Unit>;

Bytes Picture(u32 type = kTrailR, u32 first_slice_segment_in_pic_flag = 1)
{
    return Slice{.nal_unit_type = type, .first_slice_segment_in_pic_flag = first_slice_segment_in_pic_flag};
}

const Bytes kAud = Delimiter{}, kSei = Sei{}, kSuffixSei = Sei{40}, kEndOfSequence = Nal(36, {});
const Sps kSps{.vui = Vui{.timing = Timing{}}};
const Bytes kSets = Vps{} + kSps + Pps{};
const Bytes kP = Picture(), kMore = Picture(kTrailR, 0), kKeyPicture = Picture(kIdr);
const Bytes kKeyUnit = kSets + kKeyPicture;
const Unit kFirst = {kKeyUnit, 1, 1, 64, 50};

TEST(HevcStream, AnAccessUnitIsCompletedByTheNextPicturesFirstSegment)
{
    for (const Bytes& more : {Bytes{}, kMore, kSei + kMore + kSuffixSei, kSuffixSei + kEndOfSequence}) {
        const ParsingHandle whole(VideoCodecHEVC);
        EXPECT_EQ(UnitOf(whole.Feed(kKeyUnit + kAud + kSei + kP + more)), kFirst);
        EXPECT_EQ(UnitOf(whole.Flush()), (Unit{kAud + kSei + kP + more}));
        EXPECT_EQ(Read(SplitNalUnits(kKeyUnit + more + kAud + kSei + kP)),
                  (Units{{kKeyUnit + more, 1, 1, 64, 50}, {kAud + kSei + kP}}));
    }
}

// Every type between two pictures, inside a picture, and in front of everything.
TEST(HevcStream, EachTypeGoesWithThePictureBeforeOrBehind)
{
    for (u32 type = 0; type < 64; ++type) {
        if (IsSlice(type)) {
            const bool key = type >= 16 && type <= 21; // and gets the sets inserted
            const Unit expected = {(key ? kSets : Bytes{}) + Picture(type), key ? 1u : 0u};
            EXPECT_EQ(Read({kKeyUnit, Picture(type), kP}), (Units{kFirst, expected, {kP}}))
                << "type " << type;
            continue;
        }
        const bool opens = (type >= 32 && type <= 35) || type == 39 || (type >= 41 && type <= 44) ||
                           (type >= 48 && type <= 55);
        const Bytes sets[] = {Vps{}, kSps, Pps{}};
        const Bytes unit = type >= 32 && type <= 34 ? sets[type - 32] : Nal(type, "50 00 00 77"_bytes);
        const Bytes filler = Nal(38, "ff ff 80"_bytes, 0, 3);
        const auto frames = [](const std::vector<Bytes>& pieces) {
            return FramesOf(ParsingHandle(VideoCodecHEVC).FeedAll(pieces));
        };
        EXPECT_EQ(frames({kKeyUnit, unit, filler, kP}),
                  opens ? (std::vector<Bytes>{kKeyUnit, unit + filler + kP})
                        : (std::vector<Bytes>{kKeyUnit + unit + filler, kP}))
            << "type " << type;
        EXPECT_EQ(frames({kKeyUnit, kP, unit, kMore, filler, kP}),
                  (std::vector<Bytes>{kKeyUnit, kP + unit + kMore + filler, kP}))
            << "type " << type;
        EXPECT_EQ(frames({unit, kAud, kKeyUnit, unit}),
                  (std::vector<Bytes>{(opens ? unit : Bytes{}) + kAud + kKeyUnit + unit}))
            << "type " << type;
    }
}

TEST(HevcStream, KeyPicturesWithoutSpsReceiveTheFirstSetsInFrontOfEverything)
{
    const Sps big{.pic_width_in_luma_samples = 128};
    const Bytes layered = Nal(33, big.Payload(), 5), cra = Picture(kCra), bla = Picture(18);
    const std::pair<Bytes, Unit> rows[] = {
        {kKeyPicture, {kSets + kKeyPicture, 1}},
        {kAud + kSei + cra + kSuffixSei, {kSets + kAud + kSei + cra + kSuffixSei, 1}},
        {Vps{} + Pps{} + bla, {kSets + Vps{} + Pps{} + bla, 1}},
        {kP + kMore + Picture(kCra, 0), {kSets + kP + kMore + Picture(kCra, 0), 1}},
        {big + cra, {big + cra, 1, 1, 128}},
        {kAud + layered + cra, {kAud + layered + cra, 1, 1, 128}}, // layers are not told apart
        {big + kP, {big + kP, 0, 1, 128}},
        {Slice{.nuh_layer_id = 1} + kMore, {Slice{.nuh_layer_id = 1} + kMore}},
    };
    for (const auto& [piece, expected] : rows)
        EXPECT_EQ(Read({kKeyUnit, piece, kP}), (Units{kFirst, expected, {kP}}));
    // Later sets describe their own unit, but the first are those inserted.
    EXPECT_EQ(
        Read({kKeyUnit, Vps{.timing = Timing{}} + big + Pps{} + cra, bla}),
        (Units{kFirst, {Vps{.timing = Timing{}} + big + Pps{} + cra, 1, 1, 128, 50}, {kSets + bla, 1}}));
}

TEST(HevcStream, NothingIsInsertedBeforeAllThreeSetsAreKnown)
{
    for (u32 known = 0; known < 8; ++known) {
        const Bytes frame = ((known & 1) != 0 ? Vps{} : Bytes{}) + ((known & 2) != 0 ? kSps : Bytes{}) +
                            ((known & 4) != 0 ? Pps{} : Bytes{}) + Picture(kIdr, 0); // stored in any case
        const ParsingHandle handle(VideoCodecHEVC);
        handle.Feed(frame);
        EXPECT_EQ(handle.Flush().frame, frame);
        EXPECT_EQ(UnitOf(handle.Flush()), (Unit{(known == 7 ? kSets : Bytes{}) + frame, 1}));
    }
}

// The first opener of a handle goes to the unit at hand, all others wait for their slice in a record of their
// own, which takes the place of the first.
TEST(HevcStream, TheTimingOfAVpsIsReportedWithTheSpsBehindIt)
{
    const Bytes rest = Sps{} + Pps{} + kKeyPicture;
    const Bytes vps = Vps{.timing = Timing{1, 25}}, later = Vps{.timing = Timing{1, 30}};
    EXPECT_EQ(Read({vps + rest, later + rest}),
              (Units{{vps + rest, 1, 1, 64, 0}, {later + rest, 1, 1, 64, 30}}));
    EXPECT_EQ(
        Read({kAud + vps + rest, later + kP, rest, rest}), // with no SPS it waits for the next
        (Units{{kAud + vps + rest, 1, 1, 64, 25}, {later + kP}, {rest, 1, 1, 64, 30}, {rest, 1, 1, 64}}));
    const Bytes own = kSps + Pps{} + kKeyPicture;
    EXPECT_EQ(Read({kAud + vps + own, Sps{} + later + Pps{} + kKeyPicture}), // the last one counts
              (Units{{kAud + vps + own, 1, 1, 64, 50}, {Sps{} + later + Pps{} + kKeyPicture, 1, 1, 64, 30}}));
}

TEST(HevcStream, ACallDescribesTheLastOfSeveralUnits)
{
    const ParsingHandle handle(VideoCodecHEVC);
    const Bytes second = Picture(), third = Picture(kTrailN);
    EXPECT_EQ(UnitOf(handle.Feed(kKeyUnit + second + third + kP)), (Unit{third, 0, 1, 64, 50}));
    EXPECT_TRUE(AllFieldsAre(0, handle.Feed(kMore).info));
    EXPECT_EQ(UnitOf(handle.Flush()), (Unit{kP + kMore}));
}

TEST(HevcStream, OneEnteredInTheMiddleBeginsWithWhatWasStored)
{
    // Without parameter sets only segments other than the first are stored.
    EXPECT_EQ(Read({kEndOfSequence, kP, kMore, kSei, kP, kKeyUnit, kP}),
              (Units{{kMore}, {kSei + kKeyUnit, 1, 1, 64, 50}, {kP}}));
    // The refused slice was the first of the handle: what is stored by then is a unit of its own.
    EXPECT_EQ(Read({kSps, kSei, kP, kSuffixSei, Vps{} + Pps{} + kKeyPicture}),
              (Units{{kSps, 0, 1, 64, 50}, {kSets + kSei + kSuffixSei + Vps{} + Pps{} + kKeyPicture, 1}}));
}

TEST(HevcStream, APieceEndsAtABareStartCodeAndAtAForbiddenBit)
{
    for (const Bytes& end : {"00 00 01"_bytes, "00 00 01 82 01 80"_bytes}) {
        const ParsingHandle handle(VideoCodecHEVC);
        const Reported unit = handle.Feed(kKeyUnit + kP + end + kP + kP);
        EXPECT_EQ(unit.status, end.size() == 3 ? 0 : -1);
        EXPECT_EQ(UnitOf(unit), kFirst);
        EXPECT_EQ(UnitOf(handle.Feed("ff"_bytes + kP)), (Unit{kP})); // garbage in front is skipped
        const Reported garbage = handle.Feed("12 34 56 78 9a"_bytes);
        EXPECT_TRUE(garbage.status == -1 && AllFieldsAre(0, garbage.info));
        EXPECT_EQ(UnitOf(handle.Flush()), (Unit{kP}));
    }
}

} // namespace
