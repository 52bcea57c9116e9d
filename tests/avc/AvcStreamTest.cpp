// SPDX-License-Identifier: MIT
// H.264 streams into access units: what belongs to which, what is inserted, what is reported.
#include "AvcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

const Sps kSps{.vui = Vui{.timing = Timing{}}};
const Bytes kSets = kSps + Pps{};
const Bytes kIdrSlice = Slice{.nal_unit_type = kIdr};
const Bytes kNextIdr = Slice{.nal_unit_type = kIdr, .idr_pic_id = 1};
const Bytes kKeyUnit = Delimiter{} + kSets + kIdrSlice;

Bytes P(u32 frame_num, u32 first_mb_in_slice = 0)
{
    return Slice{.first_mb_in_slice = first_mb_in_slice, .frame_num = frame_num};
}

void ExpectUnit(const Reported& unit, const Bytes& frame, u32 keyFrame, u32 sequenceInfoValid, u32 width)
{
    EXPECT_EQ(unit.status, 0);
    EXPECT_EQ(unit.frame, frame);
    EXPECT_EQ(unit.info.frameSize, frame.size());
    EXPECT_EQ(unit.info.keyFrame, keyFrame);
    EXPECT_EQ(unit.info.sequenceInfoValid, sequenceInfoValid);
    EXPECT_EQ(unit.info.width, width);
    EXPECT_EQ(unit.info.frameRateNum, width != 0 ? 50u : 0u);
}

TEST(AvcStream, KeyFramesWithoutParameterSetsReceiveThemBehindTheirDelimiter)
{
    const Bytes aud = Delimiter{}, sei = Sei{},
                later = Slice{.nal_unit_type = kIdr, .first_mb_in_slice = 2, .idr_pic_id = 1};
    const struct {
        Bytes before, behind; // the place of insertion
    } rows[] = {
        {aud, kNextIdr},
        {aud, sei + kNextIdr},
        {Bytes{}, kNextIdr},
        {Bytes{}, sei + kNextIdr},
        {sei + aud, kNextIdr + later},
        {aud + aud, kNextIdr},
        {aud, kNextIdr + aud + later}, // the first delimiter counts
        {kNextIdr + aud, later},       // in the middle of a picture
        {kNextIdr + sei + aud, sei + later},
        {kNextIdr + aud, Bytes{}}, // still waiting at the flush
    };
    for (const auto& row : rows) {
        const ParsingHandle handle;
        const std::vector<Bytes> units = SplitNalUnits(kKeyUnit + row.before + row.behind);
        const std::vector<Reported> reported = handle.FeedAll(units);
        ASSERT_EQ(reported.size(), 2u);
        ExpectUnit(reported[0], kKeyUnit, 1, 1, 64);
        ExpectUnit(reported[1], row.before + kSets + row.behind, 1, 1, 64);
        EXPECT_EQ(handle.Base().queue->tailScratchCapacity, row.behind.size());
    }
}

// Every type between two pictures, inside a picture, and in front of everything.
TEST(AvcStream, EachTypeGoesWithThePictureBeforeOrBehind)
{
    for (u32 type = 0; type < 32; ++type) {
        if (type == 1 || type == 2 || type == 5)
            continue;
        const bool opens = (type >= 6 && type <= 9) || (type >= 14 && type <= 18);
        const Bytes unit = type == 7   ? Bytes(kSps)
                           : type == 8 ? Bytes(Pps{})
                                       : Nal(type, "50 00 00 77"_bytes);
        const Bytes filler = Nal(12, "ff ff 80"_bytes, 0, 3);

        const std::vector<Bytes> between = {kKeyUnit, unit, filler, P(1)};
        EXPECT_EQ(FramesOf(ParsingHandle().FeedAll(between)),
                  opens ? (std::vector<Bytes>{kKeyUnit, unit + filler + P(1)})
                        : (std::vector<Bytes>{kKeyUnit + unit + filler, P(1)}))
            << "type " << type;

        const std::vector<Bytes> inside = {kKeyUnit, P(1), unit, P(1, 2), filler, P(2)};
        EXPECT_EQ(FramesOf(ParsingHandle().FeedAll(inside)),
                  (std::vector<Bytes>{kKeyUnit, P(1) + unit + P(1, 2) + filler, P(2)}))
            << "type " << type;

        const std::vector<Bytes> inFront = {unit, Delimiter{}, kSets, kIdrSlice, unit};
        EXPECT_EQ(FramesOf(ParsingHandle().FeedAll(inFront)),
                  (std::vector<Bytes>{(opens ? unit : Bytes{}) + kKeyUnit + unit}))
            << "type " << type;
    }
}

TEST(AvcStream, PartitionAIsASliceAndTheOthersFollowIt)
{
    const Bytes first = Slice{.nal_unit_type = 2, .frame_num = 1}, b = Nal(3, "80 11"_bytes),
                c = Nal(4, "80"_bytes);
    const Bytes second = Slice{.nal_unit_type = 2, .first_mb_in_slice = 4, .frame_num = 1};
    const std::vector<Reported> units = ParsingHandle().FeedAll({kKeyUnit, first, b, c, second, b, P(2)});
    EXPECT_EQ(FramesOf(units), (std::vector<Bytes>{kKeyUnit, first + b + c + second + b, P(2)}));
    EXPECT_EQ(units[1].info.keyFrame, 0u);
}

TEST(AvcStream, FieldsAreAccessUnitsOfTheirOwn)
{
    const Sps sps{.frame_mbs_only_flag = 0};
    std::vector<Bytes> expected = {Delimiter{} + sps + Pps{} +
                                   Slice{.sps = sps, .nal_unit_type = kIdr, .field_pic_flag = 1}};
    for (u32 i = 1; i < 6; ++i)
        expected.push_back(
            Delimiter{} +
            Slice{.sps = sps, .frame_num = i / 2, .field_pic_flag = 1, .bottom_field_flag = i % 2});
    EXPECT_EQ(FramesOf(ParsingHandle().FeedAll(expected)), expected);
}

TEST(AvcStream, ALaterSequenceDescribesItsUnitsButTheFirstIsRetained)
{
    const ParsingHandle handle;
    const Sps big{.pic_width_in_mbs = 8,
                  .vui = Vui{.signal = VideoSignal{5, 0, 1, 1, 1, 1}, .timing = Timing{}}};
    const Bytes bigUnit = Delimiter{} + big + Pps{} + kNextIdr;
    handle.Feed(kKeyUnit);
    ExpectUnit(handle.Feed(bigUnit), kKeyUnit, 1, 1, 64);
    ExpectUnit(handle.Feed(P(1)), bigUnit, 1, 1, 128);
    ExpectUnit(handle.Feed(kIdrSlice), P(1), 0, 0, 0);
    ExpectUnit(handle.Flush(), kSets + kIdrSlice, 1, 1, 64);
    const CParseAVCParams& parser = handle.Avc();
    EXPECT_EQ(Bytes(parser.spsNal, parser.spsNal + parser.spsNalSize), Bytes(kSps));
    EXPECT_EQ(Bytes(parser.ppsNal, parser.ppsNal + parser.ppsNalSize), Bytes(Pps{}));
    EXPECT_EQ(parser.spsCapacity, Bytes(kSps).size());
    EXPECT_EQ(parser.ppsCapacity, 10u);
}

TEST(AvcStream, ThePpsDecidesWhatTheRetainedSetsDescribe)
{
    // Without a delimiter in front the SPS opens the handle, and the PPS waits beside an empty record.
    const ParsingHandle handle;
    handle.Feed(kSets + kIdrSlice);
    ExpectUnit(handle.Feed(kNextIdr), kSets + kIdrSlice, 1, 1, 64);
    ExpectUnit(handle.Feed(kIdrSlice), kSets + kNextIdr, 1, 0, 0);
    // A PPS of its own is no SPS: the sets are inserted all the same.
    handle.Feed(Pps{} + kNextIdr);
    ExpectUnit(handle.Flush(), kSets + Pps{} + kNextIdr, 1, 0, 0);
}

TEST(AvcStream, AFlushedUnitStaysCurrent)
{
    const ParsingHandle handle;
    for (const Bytes& piece : {Bytes{}, Bytes{}})
        EXPECT_TRUE(handle.Feed(piece).status == 0 && AllFieldsAre(0, handle.Flush().info));
    handle.Feed(kKeyUnit);
    ExpectUnit(handle.Feed(Bytes{}), kKeyUnit, 1, 1, 64); // no bytes are a flush as well
    ExpectUnit(handle.Flush(), Delimiter{} + kSets + kSets + kIdrSlice, 1, 1, 64);
    ExpectUnit(handle.Feed(P(1)), Delimiter{} + kSets + kSets + kSets + kIdrSlice, 1, 1, 64);
    ExpectUnit(handle.Feed(P(2)), P(1), 0, 0, 0);

    VideoInfo info = {};
    const Bytes unread = "00 00 01 61"_bytes;
    EXPECT_EQ(ParseVideoParams(handle.Get(), nullptr, 100, &info), 0); // null with a size: a flush
    EXPECT_EQ(info.frameSize, P(2).size());
    EXPECT_EQ(ParseVideoParams(handle.Get(), unread.data(), 0, &info), 0);
    EXPECT_EQ(info.frameSize, P(2).size());
}

TEST(AvcStream, WaitingUnitsComeOutWithTheFlush)
{
    const ParsingHandle sets;
    sets.Feed(Delimiter{} + kSps);
    ExpectUnit(sets.Flush(), Delimiter{} + kSps, 0, 1, 64);

    const ParsingHandle tail;
    tail.Feed(kKeyUnit + Sei{} + Nal(11, Bytes{}, 0, 4) + Delimiter{});
    ExpectUnit(tail.Flush(), kKeyUnit + Sei{} + Nal(11, Bytes{}) + Delimiter{}, 1, 1, 64);
}

// The slice history is the handle's, and other operations read slices without storing any.
TEST(AvcStream, APictureMayBeginWithNothingStored)
{
    const ParsingHandle handle;
    EXPECT_EQ(Judge(handle, kSets + P(1)).status, 0);
    EXPECT_TRUE(AllFieldsAre(0, handle.Feed(P(2)).info));
    EXPECT_EQ(handle.Feed(P(3)).frame, P(2));
    // Of the sets just the one that was stored is retained, and one alone is not inserted.
    const ParsingHandle half;
    Judge(half, Pps{});
    half.Feed(kSps + kIdrSlice);
    EXPECT_EQ(half.Flush().frame, kSps + kIdrSlice);
    EXPECT_EQ(half.Flush().frame, kSps + kIdrSlice);
}

TEST(AvcStream, AStreamEnteredInTheMiddleBeginsWithItsOpeners)
{
    const ParsingHandle handle;
    const Bytes filler = Nal(12, "ff 80"_bytes), aud = Delimiter{};
    const std::vector<Bytes> pieces = {filler, P(6), aud,  P(7), filler, Sei{},
                                       Pps{},  P(8), kSps, P(9), P(10)};
    EXPECT_EQ(FramesOf(handle.FeedAll(pieces)),
              (std::vector<Bytes>{aud + filler + Sei{} + Pps{} + kSps + P(9), P(10)}));
}

} // namespace
