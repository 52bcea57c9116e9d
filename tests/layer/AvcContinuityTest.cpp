// SPDX-License-Identifier: MIT
// Losses in H.264 streams, and what can be decoded after them.
#include "ContinuityTables.h"

namespace {

using namespace layertest;

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
    expect("another with the same numbers", "D0 D0! P1 P1~2! P2 D0", "c+ r+ c+ r- c- c+");
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

} // namespace
