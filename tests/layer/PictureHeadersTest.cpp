// SPDX-License-Identifier: MIT
// What access units say of their pictures: kind, place in output order, and whether decoding may begin there.
#include "ContinuityTables.h"

namespace {

using namespace layertest;

// A unit as I, P, B or ? with its order count; then * when that begins anew, and e where decoding may begin
// or the count of its recovery point.
std::string described(const std::vector<Kept>& units)
{
    std::ostringstream text;
    for (const auto& [unit, bytes] : units) {
        text << (text.tellp() == 0 ? "" : " ") << "?IPB"[static_cast<std::size_t>(unit.kind)];
        if (unit.picture_order)
            text << *unit.picture_order;
        text << (unit.order_restarts ? "*" : "") << (unit.entry() ? "e" : "");
        if (unit.recovery)
            text << unit.recovery->count;
    }
    return text.str();
}

// However the units come.
template <typename Line>
void expect_described(Line line, const std::string& units, const std::string& expected)
{
    const Codec codec = std::is_same_v<Line, AvcLine> ? Codec::h264 : Codec::h265;
    std::istringstream in(units);
    ::Bytes stream = line.sets();
    for (std::string unit; in >> unit;)
        stream = stream + line.unit(unit);
    const std::vector<Kept> cut = read_all(codec, stream);
    EXPECT_EQ(described(cut), expected) << units;
    AccessUnitReader byte_by_byte(codec), whole(codec, {.whole_units = true}), marked(codec);
    EXPECT_EQ(described(read_all(byte_by_byte, stream, 1)), expected) << units;
    std::vector<Kept> given, ended;
    for (const Kept& kept : cut) {
        EXPECT_EQ(whole.push(kept.bytes), nalsmith::Status::ok);
        drain(whole, given);
        EXPECT_EQ(marked.push(kept.bytes), nalsmith::Status::ok);
        EXPECT_EQ(marked.end_unit(), nalsmith::Status::ok);
        drain(marked, ended);
    }
    EXPECT_EQ(described(given), expected) << units;
    EXPECT_EQ(described(ended), expected) << units;
    const std::vector<Kept> alone = read_all(codec, stream, {.self_contained = true});
    EXPECT_EQ(described(alone), expected) << units;
    for (std::size_t i = 1; i < alone.size(); ++i) // the first one has the sets
        EXPECT_EQ(alone[i].unit.inserted != 0, alone[i].unit.entry()) << units << ", unit " << i;
}

TEST(PictureHeaders, OfH264)
{
    const avctest::Sps sps{.frame_mbs_only_flag = 0};
    const auto expect = [&](const char* units, const char* expected) {
        expect_described(AvcLine(sps), units, expected);
    };
    expect("P3~9 I4~6 P5~2 D0 p1~6 b2~4", "P9* I6 P2 I0*e P6 B4");        // a join; lsb of 4 bits
    expect("P3~9 I4~15 P5~2 D0/@4", "P9* I15 P18 I0*e");                  // and on into the next cycle
    expect("D0 P1~2/B1~2@4 B1~4/I1~4@4 I1~6", "I0*e B2 B4 I6");           // of all slices
    expect("D0 D0q P1/@0q P1 P2q", "I0*e I0e P2 P2 P4 P");                // redundant ones
    expect("D0t P0b~1 P1t~2 P1b~3 I2tx~8 P2b~1", "I0*e P1 P2 P3 I0* P1"); // fields
    expect("D0 P1~6 P2x~8 P1~2 P2xw~14 P1~2", "I0*e P6 P0* P2 P0* P2");   // operation 5
    expect("D0 I1E2 P2 P3E3/@4 P4A0 B5L1z P6", "I0*e I2e2 P4 P6e3 P8e0 Be1 P12"); // recovery points
    expect("D0 P1#3E1 P2 P3", "I0*e ? P4 P6");                                    // not readable
}

TEST(PictureHeaders, OfH265)
{
    const auto expect = [](const char* units, const char* expected) {
        expect_described(HevcLine({.pic_width_in_luma_samples = 80,
                                   .pic_height_in_luma_samples = 48,
                                   .lt_ref_pic_poc_lsb_sps = std::vector<u32>{}}),
                         units, expected);
    };
    expect("C4 R2 T5-1 T12-7 T18-6 C22 R20", "I4*e P2 P5 P12 P18 I22e P20");
    expect("T3 T4-1 C9 T10-1 E C12 R11 J0", "P3* P4 I9*e P10 I12*e P11 I0*e");
    expect("I0 T1-1/@4b/@8d A17 L16", "I0*e B1 I1*e P0");
}

} // namespace
