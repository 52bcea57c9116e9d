// SPDX-License-Identifier: MIT
// Losses in H.265 streams, and what can be decoded after them.
#include "ContinuityTables.h"

namespace {

using namespace layertest;

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

} // namespace
