// SPDX-License-Identifier: MIT
// H.264 parameter sets that the standard does not have. AvcLayerHeadersTest.cpp reads those that it has.
#include "AvcStream.h"
#include "Handles.h"

#include <bit>
#include <gtest/gtest.h>

namespace {

using namespace avctest;

TEST(AvcSps, ValuesBeyondTheStandardAreKept)
{
    for (const Sps& sps :
         {Sps{.seq_parameter_set_id = 31, .pic_order_cnt_type = 6},
          Sps{.log2_max_frame_num_minus4 = 0xFFFFFFFE, .log2_max_pic_order_cnt_lsb_minus4 = 0xFFFFFFFC}}) {
        const ParsingHandle handle;
        handle.Feed(Bytes(sps));
        EXPECT_EQ(handle.Flush().info.width, 64u);
        EXPECT_EQ((std::bit_cast<std::array<u32, 8>>(*handle.Avc().spsTable[sps.seq_parameter_set_id])),
                  sps.Kept());
    }
}

TEST(AvcSps, WithoutVideoUsabilityNoMoreThanTheSizeIsWritten)
{
    const u32 keep = kUnwritten;
    const ParsingHandle handle;
    const Bytes payload = Sps{}.Payload();
    VideoInfo info = UnwrittenInfo();
    handle.Avc().InitReadData(payload.data(), payload.Size());
    EXPECT_EQ(handle.Avc().ReadSequenceParameterSetData(&info), 0);
    EXPECT_EQ(SequenceFieldsOf(info),
              (SequenceFields{64, 64, keep, keep, keep, keep, keep, keep, keep, keep, keep}));
    EXPECT_TRUE(info.sequenceInfoValid == 1 && info.keyFrame == keep && info.frameSize == keep);
}

TEST(AvcSps, AnIdBeyondTheTableIsDescribedButNotKept)
{
    for (const u32 id : {32u, 255u, 0xFFFFFFFEu}) {
        const ParsingHandle handle;
        const Sps sps{.seq_parameter_set_id = id, .pic_width_in_mbs = 7};
        const Pps pps{.seq_parameter_set_id = id};
        handle.Feed(Bytes(sps));
        EXPECT_EQ(handle.Avc().ppsTable[0], nullptr); // it stands right behind the table
        handle.Feed(pps + Slice{.sps = sps});
        const Reported unit = handle.Flush();
        EXPECT_TRUE(unit.info.sequenceInfoValid == 1 && unit.info.width == 112);
        EXPECT_EQ(unit.frame, sps + pps); // the slice is refused
        for (const AvcSpsInfo* kept : handle.Avc().spsTable)
            EXPECT_EQ(kept, nullptr);
    }
}

// Counts of up to four thousand million in a few bytes: the test's time limit is the assertion.
TEST(AvcSps, CountsBeyondTheDataCostNothing)
{
    const ParsingHandle handle;
    const Bytes sps =
        Nal(7, BitWriter().u(24, 66 << 16).ue(0).ue(0).ue(1).u(1, 0).se(0).se(0).ue(~u32{1}).Take());
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(handle.Feed(sps).status, 0);
    EXPECT_EQ(handle.Flush().info.width, 16u); // all that is missing reads as 0
}

TEST(AvcPps, OneOfAnIdBeyondTheTableIsNotKept)
{
    const ParsingHandle handle;
    const auto& table = handle.Avc().ppsTable;
    for (const u32 id : {256u, 0xFFFFFFFEu})
        EXPECT_EQ(handle.Feed(Sps{} + Pps{id} + Slice{.pps = {id}}).status, 0);
    EXPECT_EQ(std::count(std::begin(table), std::end(table), nullptr), 256);
}

} // namespace
