// SPDX-License-Identifier: MIT
// Losses, and what can be decoded after them.
#include "ContinuityTables.h"

namespace {

using namespace layertest;
using nalsmith::Bytes, nalsmith::Status;

std::string times(int count, const std::string& text)
{
    std::string all;
    while (count-- > 0)
        all += (all.empty() ? "" : " ") + text;
    return all;
}

void expect(const char* what, const std::string& units, const std::string& expected,
            const avctest::Sps& sps = {})
{
    avctest::Sps wide = sps;
    wide.log2_max_pic_order_cnt_lsb_minus4 = 4;
    wide.constraint_flags |= sps.profile_idc == 66 && sps.level_idc == 30 ? 0x40 : 0;
    expect_found(what, AvcLine(wide), units, expected);
}

const avctest::Sps kFields{.frame_mbs_only_flag = 0};

TEST(AvcContinuity, GoesByNumbersAndOrderCounts)
{
    expect("references", "D0 P1 b2 b2 P2 P4 P5 D0", "c+ c+ c+ c+ c+ r- c- c+");
    expect("no reference has the number before it", "D0 P1 b1 b1 P2 b2 b4 P4", "c+ c+ c+ c+ c+ c+ r- c-");
    expect("a reference has not", "D0 P1 P1", "c+ c+ r-");
    expect("wrap", "D0 P1 I15 P0 P1 b1 b2", "c+ c+ r- c- c- c- c-");
    expect("gaps allowed", "D0 P1 P3 P4", "c+ c+ g+ c+", {.gaps_in_frame_num_value_allowed_flag = 1});
    expect("starts", "P3 P4 D0", "n- c- c+");
    expect("starts at an intra picture", "I3 P4 D0", "c- c- c+");
    expect("an order count twice: an IDR picture is missing", "D0~0 P1~2 P2~4 P3~2 P4~4", "c+ c+ c+ r- c-");
    expect("operation 5", "D0~0 P1~2 P2x~4 P1~2 P2~4 P4~6", "c+ c+ c+ c+ c+ r-");
    expect("other widths", "D0 P1 P2", "c+ c+ c+",
           {.profile_idc = 135, .chroma_format = true, .log2_max_frame_num_minus4 = 3});
    expect("counts of type 1", "D0 P1 P2", "c+ c+ c+",
           {.pic_order_cnt_type = 1, .offset_for_ref_frame = {0}});
    expect("a gap, and a count twice", "D0~0 P2~0", "c+ g+", {.gaps_in_frame_num_value_allowed_flag = 1});
    expect("the 64 counts before", "D0 " + times(62, "b1") + " b1~2", times(63, "c+") + " r-");
}

TEST(AvcContinuity, GoesByFields)
{
    expect("pairs", "D0t/P0b P1t P1b b2t b2b P2b P2t", "c+ c+ c+ c+ c+ c+ c+", kFields);
    expect("a second is missing", "D0t P0b P1t P2t P2b", "c+ c+ c+ f- c-", kFields);
    expect("before an IDR picture", "D0t P0b P1t D0t P0b", "c+ c+ c+ f+ c+", kFields);
    expect("none refers to it", "D0t P0b b1t P1t P1b", "c+ c+ c+ c+ c+", kFields);
    expect("both IDR", "D0t D0b~1 P1t P1b", "c+ c+ c+ c+", kFields);
    expect("the second after operation 5", "D0t P0b P1tx P0b P1t P1b", "c+ c+ c+ c+ c+ c+", kFields);
    expect("no pair", "D0t P0b b1t P1b P2t", "c+ c+ c+ c+ f-", kFields);
    expect("frames between", "D0 P1t/P1b P2 P3t P4", "c+ c+ c+ c+ f-", kFields);
    expect("three fields", "D0t P0b P1t P1b P1t", "c+ c+ c+ c+ r-", kFields);
    expect("a frame is no second field", "D0 P1b P1", "c+ c+ r-", kFields);
    expect("a bottom field of another IDR picture", "D0t P0b P1t D0b", "c+ c+ c+ f+", kFields);
    expect("of one count", "D0t~0 P0b~0 P1t~2 P1b~2", "c+ c+ c+ c+", kFields);
    expect("gaps allowed", "D0t P0b P1t P2t P2b", "c+ c+ c+ c+ c+",
           {.gaps_in_frame_num_value_allowed_flag = 1, .frame_mbs_only_flag = 0});
}

TEST(AvcContinuity, FindsMissingSlices)
{
    expect("none", "D0/@4/@8 P1/@4 P2", "c+ c+ c+");
    expect("the first", "D0/@4 P1@4/@8 P2", "c+ m- c-");
    expect("the first, joined", "D0/@4/P1@4 P2 D0", "m- c- c+");
    expect("places", "D0/@8/@4", "m-");
    expect("twice the same", "D0/@4/@4 @0/@4 P1 @0/@4", "c+ 0+ c+ 0+");
    expect("another in its place", "D0/@4/@4! P1", "m- c-");
    expect("across a delimiter", "D0/@4/^/@8 P1 D0/^/@0/@4 P1/^/P2 D0/^/D0!", "m- c- c+ c+ m-");
    expect("refused between", "D0 @4#9 @8 P1", "c+ p- m- c-");
    expect("refused at the end", "D0/@4/@8#9 P1", "p- c-");
    expect("cut", "D0 P1z P1 D0z", "c+ x- c- x-");
    expect("redundant ones", "D0 D0q P1/P1q@4 P2q@2 P2", "c+ 0+ c+ 0+ c+");
    expect("of fields", "D0t/@4/P0b/@4 P1t/@4/P1b@4", "c+ m-", kFields);
    const avctest::Sps any{.profile_idc = 88}, baseline{.level_idc = 31};
    expect("any order", "D0@8/@4 @0 P1@4/@8 @0", "c+ 0+ c+ 0+", any);
    expect("Baseline", "D0@8/@4 @0", "c+ 0+", baseline);
    expect("a habit of Baseline", "D0 " + times(16, "b1/@4/@8") + " b1/@8 b1/@4", times(17, "c+") + " u- u-",
           baseline);
    expect("a habit of any order", "D0 " + times(16, "b1@4/@8 @0") + " b1@4 @0 b1@8",
           "c+ " + times(16, "c+ 0+") + " c+ 0+ u-", any);
    expect("the first twice, of a habit", "D0 " + times(16, "b1/@4") + " b1 @0/@4 P1",
           times(17, "c+") + " u- 0+ c+");
    expect("after a fallen one", "D0/@8/@4 @6", "m- m-");
    expect("of many", "D0/@1/@2/@3/@5/@4", "m-");
    expect("any order, across a delimiter", "D0@8/@4/^/@8", "c+", any);
    expect("any order, refused between", "D0@8 @2#9 @4", "c+ p- m-", any);
    expect("any order, one twice", "D0 " + times(16, "b1/@4/@8") + " b1/@8/@8", times(17, "c+") + " u-",
           baseline);
    expect("two pictures in one", "D0 P2/D0", "c+ r-");
    expect("the next one suspect", "D0 " + times(16, "b1/@4") + " b1 b1/@4 @8",
           times(17, "c+") + " u- c- 0-");
    expect("suspect, of what was lost", "I3/@4 " + times(15, "b3/@4") + " b3 @4", times(16, "c-") + " u- 0-");
    expect("cut in the PPS id", "D0 P1#200z", "c+ x-");
    expect("of another picture", "D0 P1~2/b1@4~2 P2~4/P3@4~4 D0/I0@4~0", "c+ m- m- m-");
    expect("of a field", "D0 P1~2/P1t@4~2", "c+ m-", kFields);
    expect("of the other field", "D0t P0b P1t~2/P1b@4~2", "c+ c+ m-", kFields);
}

TEST(AvcContinuity, JudgesColourPlanesEachByItself)
{
    const avctest::Sps planes{
        .profile_idc = 244, .chroma_format = true, .chroma_format_idc = 3, .separate_colour_plane_flag = 1};
    expect("whole", "D0&0 @0&1/@4 @0&2 P1&0/@4&1/@4&2", "c+ 0+ 0+ m-", planes);
    expect("one is missing", "D0&0 @0&2 P1&0 @0&1 @0&2 D0&0", "c+ 0+ m- 0- 0- c+", planes);
    const std::string picture = "b1&0/@4&0 @0&1/@4&1 @0&2";
    expect("a slice of one", "D0&0/@4&0 @0&1/@4&1 @0&2 " + times(16, picture) + " b1&0/@4&0 @0&1 @0&2 b1&0",
           "c+ 0+ 0+ " + times(16, "c+ 0+ 0+") + " c+ 0+ 0+ u-", planes);
    expect("no such plane", "D0&3", "x-", planes);
}

TEST(AvcContinuity, KnowsTheHabitOfTheEncoder)
{
    const std::string start = "D0/@4/@8 ", usual = times(15, "b1/@4/@8"), fine = times(16, "c+") + " ";
    expect("a slice less", start + usual + " b1/@8 b1/@4/@8 D0/@4/@8", fine + "u- c- c+");
    expect("not before", start + times(14, "b1/@4/@8") + " b1/@8", times(16, "c+"));
    expect("another place", start + usual + " b1/@4/@9 b1/@8", fine + "c+ c+");
    expect("one more", start + usual + " b1/@2/@4/@8 b1/@8", fine + "c+ c+");
    expect("a new habit", start + usual + " b1/@8 b1/@8 b1/@8 b1/@8 b1 D0", fine + "u- u- u- c- c- c+");
    expect("no new habit", start + usual + " b1/@8 b1/@8 b1/@4/@8 b1/@8 b1/@8", fine + "u- u- c- u- u-");
    expect("other parameters", start + usual + " $ b1/@8", fine + "c+");
    expect("broken ones are no habit", start + usual + " b1@4/@8 b1/@4", fine + "m- u-");
    expect("a field is no frame", start + usual + " b1t/@4/b1b/@4", fine + "c+", kFields);
    expect("redundant ones do not count", start + times(15, "b1/@4/@8/@8q") + " b1/@4/@8", fine + "c+");
    expect("of the first field", start + times(16, "b1t/@4/b1b/@4") + " b1t/b1b/@4",
           "c+ " + times(16, "c+") + " u-", kFields);
    expect("fewer, at another place", start + usual + " b1/@5", fine + "c+");
    expect("exceptions of other parameters", start + usual + " b1/@8 b1/@8 $ " + times(14, "b1/@8") + " b1",
           fine + "u- u- " + times(15, "c-"));
    expect("exceptions that differ", start + usual + " b1/@4 b1/@8 b1 b1", fine + "u- u- u- u-");
    expect("a new habit is one", start + usual + " " + times(16, "b1/@8") + " b1",
           fine + "u- u- u- " + times(13, "c-") + " u-");
    expect("another exception", start + usual + " b1/@8 b1/@8 b1/@8 b1/@4", fine + "u- u- u- u-");
    expect("broken, with more places", start + usual + " b1/@2/^/@4/@8 b1/@8", fine + "m- u-");
    expect("broken, not unusual", start + usual + " b1@4 @8", fine + "m- 0-");
    expect("fields by themselves", "D0 " + times(16, "b1t/@4/b1b") + " b1t/b1b", times(17, "c+") + " u-",
           kFields);
    expect("spread", "D0 " + times(16, "b1t/@4 b1b/@4") + " b1 @4 b1t b1b/@4",
           "c+ " + times(32, "c+") + " c+ 0+ u- c-", kFields);
}

TEST(AvcContinuity, RecoversAtIdrPicturesAndRecoveryPoints)
{
    expect("at once", "P3 I4E0 P5 P7 D0", "n- c+ c+ r- c+");
    expect("in some frames", "P3E2 b4 P4 b5 P5 P6", "c- c- c- c- c+ c+");
    expect("in two turns", "P14E3 P15 P0 P1 P2", "c- c- c- c+ c+");
    expect("a later point does not put it off", "P3E2 P4E9 P5 P6", "c- c- c+ c+");
    expect("approximate", "P3A0 P4 I5L0 P6", "c- c- c- c-");
    expect("a broken link", "D0 P1 I2L0 P3 I4E0", "c+ c+ c- c- c+");
    expect("a loss on the way", "P3E2 P4 P6 P7 P8", "c- c- r- c- c-");
    expect("the loss before it", "D0 P1 I4E0 P5", "c+ c+ r+ c+");
    expect("a slice of it is lost", "D0 P1 I2E0@4 P3", "c+ c+ m- c-");
    expect("order", "I3E0~20 b4~16 P4~30 b5~24 P5~40", "c+ c- c+ c+ c+");
    expect("order, up to an IDR picture", "I3E0~20 b4~16 D0 P1~4", "c+ c- c+ c+");
    expect("order, up to operation 5", "I3E0~20 P4x~24 P1~2 b2~1", "c+ c+ c+ c+");
    expect("too many frames", "P3E16 P4 P5", "c- c- c-");
    const avctest::Sps gaps{.gaps_in_frame_num_value_allowed_flag = 1};
    expect("of one picture", "I3E0/P5 P6", "r- c-");
    expect("of none", "P3 @0qE0 I4", "n- 0- c-");
    expect("an IDR picture ends it", "I3E14 D0~0 P1~8 b2~4", "c- c+ c+ c+");
    expect("where nothing is missing", "D0~0 P1~4 I2E0~12 b3~8", "c+ c+ c+ c+");
    expect("too many frames",
           "I14E16 P15 " + times(2, "P0 P1 P2 P3 P4 P5 P6 P7 P8 P9 P10 P11 P12 P13 P14 P15"),
           times(34, "c-"));
    expect("in a gap", "I3E2 P6", "c- g+", gaps);
    expect("across a gap", "I3E4 b6 P6 P7", "c- g- c- c+", gaps);
    expect("operation 5 before it in output", "I3E0~20 P4x~16 P1~2", "c+ c- c+");
    expect("an earlier one", "I3E9 P4E1 P5", "c- c- c+");
    expect("counts by references", "I3E0~20 b4~100 P4~160", "c+ c+ c-");
}

void expect_hevc(const char* what, const std::string& units, const std::string& expected)
{
    expect_found(what,
                 HevcLine({.pic_width_in_luma_samples = 80,
                           .pic_height_in_luma_samples = 48,
                           .pcm_enabled_flag = 1,
                           .lt_ref_pic_poc_lsb_sps = std::vector<u32>{}}),
                 units, expected);
}

TEST(HevcContinuity, GoesByWhatPicturesReferTo)
{
    expect_hevc("a loss", "I0 T1-1 T2-1 T4-1 T5-1 T6-1-2 I0", "c+ c+ c+ r- c- c- c+");
    expect_hevc("none needs it", "I0 T4-4 T2-2+2 T3-1+1 T8-4k-6 T9-1", "c+ c+ c+ c+ c+ c+");
    expect_hevc("only what is used counts", "I0 T2-2 T3-1k-2k-3 T4-1", "c+ c+ c+ c+");
    expect_hevc("kept for later", "I0 T1-1 T2-1k-2 T3-1-3 T4-1k-3 T5-5", "c+ c+ c+ c+ c+ r-");
    expect_hevc("an order count twice", "I0 T1-1 T2-1k-2 T1-1k+1! T2-2 T3-1 C4k-1 T5-1",
                "c+ c+ c+ r- c- c- c+ c+");
    expect_hevc("counts go on", "I0 T7-7 T14-7 T20-6 T28-8", "c+ c+ c+ c+ c+");
    expect_hevc("start", "T3-1 T4-1 C8 R6-2k+2 T9-1", "n- c- c+ s- c+");
}

TEST(HevcContinuity, GoesByLongTermPictures)
{
    expect_hevc("by lsb", "I0 T4-4 T8-4l0 T12-4l0 T16-4l0", "c+ c+ c+ c+ c+");
    expect_hevc("by the whole count", "I0 T4-4m0 T12-8m0 T20-8m0 T28-8m0 T36-8m0 T44-8m4",
                "c+ c+ c+ c+ c+ c+ r-");
    expect_hevc("the one of that count, not of that lsb", "I0 T1-1 T8-7m1 T16-8m1 T17-1m1 T18-2m1 T19-3m17",
                "c+ c+ c+ c+ c+ c+ r-");
}

TEST(HevcContinuity, GoesByEntryPoints)
{
    expect_hevc("RASL pictures at the entry", "C8 R6-4+2 L7+1 T9-1", "c+ s- c+ c+");
    expect_hevc("later ones are decoded", "C8 T9-1 T10-1 C16k-6 R14-4+2 R15-1+1 T17-1",
                "c+ c+ c+ c+ c+ c+ c+");
    expect_hevc("a lost CRA picture", "C8 R6-4+2 T9-1 R14-5+2 T17-1", "c+ s- c+ r- r-");
    expect_hevc("lost after an IDR picture", "I0 R6-4+2 T9-1", "c+ r- r-");
    expect_hevc("its leading pictures at once", "C8 R10-2+4", "c+ r-");
    expect_hevc("leading pictures after others", "I0 T1-1 T2-1k-2 T3-1k-3 L2-2 T4-1", "c+ c+ c+ c+ r- r-");
    expect_hevc("none can lead", "J0 T1-1 L14+2k+3", "c+ c+ r-");
    expect_hevc("after the other field of the entry", "I0 T1-1 L14+2k+3 T2-1", "c+ c+ c+ c+");
    expect_hevc("after BLA", "I0 T1-1 A5 R3-2+2 T6-1", "c+ c+ c+ s- c+");
    expect_hevc("the end of a sequence", "I0 T1-1 E C8 R6-4+2 T9-1 E T10-1 T11-1",
                "c+ c+ 0+ c+ s- c+ 0+ n- c-");
    expect_hevc("references across the end", "I0 T1-1 E T2-1k-2 T3-3", "c+ c+ 0+ n- r-");
    expect_hevc("RADL before RASL", "C8 L7+1 R6-4+2 T9-1", "c+ c+ s- c+");
    expect_hevc("at the count of the entry", "C8 R8-4", "c+ r-");
    expect_hevc("BLA forgets", "I0 T1-1 A5k-4 T6-1-5", "c+ c+ c+ r-");
    expect_hevc("a start that refers to none", "T3 T4-1", "n- c-");
    expect_hevc("leading pictures do not count", "C8 L1+7 T12-4", "c+ c+ c+");
    expect_hevc("not by lsb", "I0 T8-8 T15-7k-15 T17-1k-17", "c+ c+ c+ r-");
}

TEST(HevcContinuity, FindsMissingSegmentsAndFollowsThem)
{
    expect_hevc("none", "I0/@4/@8d T1-1/@4 T2-1", "c+ c+ c+");
    expect_hevc("the first, with what refers to it", "I0 T1-1@4 T2-1 T3-1k-3 T4k-4", "c+ m- c- c- c+");
    expect_hevc("the first, joined", "I0/@4/T1-1@8 T2-1 T2-2", "m- c- r-");
    expect_hevc("a dependent one of none", "I0/@8/@4d T1-1", "m- c-");
    expect_hevc("across a delimiter", "I0/@4/^/@8 I0/@4/^/@8d T1-1/^/@0/T2-1", "m- m- c-");
    expect_hevc("of another picture", "I0/T1@4d T2-2", "m- c+");
    expect_hevc("twice the same", "I0/@4/@4 I0 T1-1/@4 T1-1", "c+ 0+ c+ 0+");
    expect_hevc("places", "I0/@8/@4 T1-1", "m- c-");
    expect_hevc("past the picture", "I0 T1-1 @15 @8 T2-2 @15 T3-3 T4-1", "c+ c+ x- m- c+ x- c+ c+");
    expect_hevc("past it, at once", "I0/@14 T1-1/@15 T2-1", "c+ x- c-");
    std::string stream = "I0/@4d/@8", fine = "c+";
    for (int i = 1; i < 16; ++i) {
        stream += " T" + std::to_string(i) + "-1/@" + std::to_string(i % 7 + 1) + "d/@8";
        fine += " c+";
    }
    expect_hevc("the first twice, of a habit", stream + " T16-1 @0/@4d/@8 T17-1/@8", fine + " u- 0+ c+");
    expect_hevc("fewer than usual", stream + " T16-1/@4d T17-1/@8 T18k-1/@8", fine + " u- c- c+");
    expect_hevc("of another picture", "I0 T1-1/T2-2@4 T3-3", "c+ m- c+");
    expect_hevc("past the end of a sequence", "I0 T1-1 E @4", "c+ c+ 0+ n-");
    expect_hevc("two pictures in one", "I0 T2-1/I0", "c+ r-");
    expect_hevc("the same across a delimiter", "I0/@4/^/@4 T1-1/^/@0/@4", "c+ c+");
    expect_hevc("of a skipped one", "C8 R6-4+2@4 T9-1", "c+ m- c+");
    expect_hevc("fewer, and the next picture", stream + " T16-1/T17-1/@8", fine + " u-");
    expect_hevc("broken ones", stream + " T16-1/@2/^/@8 T17-1", fine + " m- u-");
    expect_hevc("broken, not unusual", stream + " T16-1@8 @9d", fine + " m- 0-");
    expect_found("no VPS", HevcLine({.sps_video_parameter_set_id = 3}), "I0", "p-");
}

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
                ContinuityChecker of_units(codec), of_bytes(codec), again(codec);
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
                    const std::string is = found_in(of_units.check(unit));
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
