// SPDX-License-Identifier: MIT
// Losses in a stream.
#include "LayerStreams.h"

namespace {

using namespace layertest;

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

// A field of four thousand million bits, asked for by every slice.
TEST(Continuity, ClaimedFieldWidthsCostNothing)
{
    const Bytes sets = {0x00, 0x00, 0x01, 0x67, 0x42, 0x00, 0x1E, 0x80, 0x00, 0x00, 0x03, 0x00, 0xFF,
                        0xFF, 0xFF, 0xFB, 0x68, 0x42, 0x64, 0x00, 0x00, 0x01, 0x68, 0xCE, 0x38, 0x80};
    const Bytes slice = {0x00, 0x00, 0x01, 0x65, 0x88, 0xC0, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55};
    ContinuityChecker checker(Codec::h264);
    checker.add_parameter_sets(sets);
    for (int i = 0; i < 1000; ++i)
        EXPECT_NE(checker.check(slice).finding, Finding::unknown_parameters);
}

} // namespace
