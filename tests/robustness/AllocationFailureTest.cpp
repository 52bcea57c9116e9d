// SPDX-License-Identifier: MIT
// What a failing allocation costs: at most the NAL unit at hand, and that one whole.
#include "AvcStream.h"
#include "FailingAllocation.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

// Everything that grows, grows: slots and spare of 4 bytes, both retained sets, the payload scratch, the
// insertion scratch. The last unit is a key frame that needs parameter sets.
const std::vector<Bytes> kNals = {Delimiter{},
                                  Sps{.vui = Vui{.timing = Timing{}}},
                                  Pps{} + Bytes(12, 0x55),
                                  Slice{.nal_unit_type = kIdr, .data = Bytes(2000, 0x11)},
                                  Slice{.frame_num = 1, .data = Bytes(100, 0x22)},
                                  Delimiter{},
                                  Sei{},
                                  Slice{.frame_num = 2, .data = Bytes(3000, 0x33)},
                                  Delimiter{},
                                  Slice{.nal_unit_type = kIdr, .idr_pic_id = 1, .data = Bytes(2500, 0x44)}};

bool IsSlice(const Bytes& nal)
{
    return (nal[4] & 31) == kIdr || (nal[4] & 31) == 1;
}

struct Session {
    std::vector<Bytes> frames, out; // `out`: the NAL units of all frames
    std::vector<u32> described;     // sequenceInfoValid of each frame
    std::vector<Bytes> accepted, refused;
};

// Feeds NAL unit by NAL unit and flushes.
Session Feed(void* handle, const std::vector<Bytes>& nals, AllocationWatch& watch)
{
    Session run;
    const auto call = [&](const u8* data, u32 size) {
        const u64 before = watch.Failures();
        VideoInfo info = UnwrittenInfo();
        const Status status = watch.During([&] { return ParseVideoParams(handle, data, size, &info); });
        const bool failed = watch.Failures() != before;
        EXPECT_TRUE(status == -1 ? failed : status == 0 && (!failed || IsOfARecord(watch.LastRefused())));
        if (info.frameAvailable != 0) {
            run.frames.emplace_back(info.frameData, info.frameData + info.frameSize);
            run.described.push_back(info.sequenceInfoValid);
            const std::vector<Bytes> units = SplitNalUnits(run.frames.back());
            EXPECT_EQ(Join(units), run.frames.back());
            run.out.insert(run.out.end(), units.begin(), units.end());
        }
        return status == 0;
    };
    for (const Bytes& nal : nals)
        (call(nal.data(), nal.Size()) ? run.accepted : run.refused).push_back(nal);
    call(nullptr, 0);
    return run;
}

void ExpectOneDroppedWhole(const Session& run, const CParseAVCParams& parser)
{
    EXPECT_LE(run.refused.size(), 1u);
    std::vector<Bytes> kept = run.accepted;
    if (parser.spsTable[0] == nullptr || parser.ppsTable[0] == nullptr)
        std::erase_if(kept, IsSlice);
    EXPECT_TRUE(IsSubsequence(kept, run.out));
    EXPECT_LE(run.out.size(), kNals.size() + 2);               // parameter sets inserted
    if (run.refused.size() == 1 && !IsSlice(run.refused[0])) { // as if it had never been there
        AllocationWatch calm;
        const Session without = Feed(ParsingHandle(VideoCodecAVC, 2, 4).Get(), run.accepted, calm);
        EXPECT_EQ(run.frames, without.frames);
        EXPECT_EQ(run.described, without.described);
    }
}

TEST(AllocationFailure, CostsAtMostTheNalUnitAtHand)
{
    for (const Failing mode : {Failing::Once, Failing::FromThenOn}) {
        u64 n = 0;
        for (bool failed = true; failed;) {
            SCOPED_TRACE(++n);
            AllocationWatch watch(mode, n);
            void* handle = nullptr;
            watch.During([&] { return ParseCreate(&handle, VideoCodecAVC, 2, 4); });
            EXPECT_EQ(handle == nullptr, watch.Failures() != 0);
            if (handle == nullptr)
                continue;
            const Session run = Feed(handle, kNals, watch);
            failed = watch.Failures() != 0;
            for (const Bytes& unit : run.out)
                EXPECT_NE(std::find(kNals.begin(), kNals.end(), unit), kNals.end()); // none is cut
            if (mode == Failing::Once)
                ExpectOneDroppedWhole(run, static_cast<CParseAVCParams&>(*static_cast<CParserBase*>(handle)));
            watch.Calm(); // the handle reads the stream as ever
            const Session again = Feed(handle, kNals, watch);
            ASSERT_GE(again.frames.size(), 3u);
            EXPECT_EQ(std::vector<Bytes>(again.frames.end() - 3, again.frames.end()),
                      (std::vector<Bytes>{kNals[4], kNals[5] + kNals[6] + kNals[7],
                                          kNals[8] + kNals[1] + kNals[2] + kNals[9]}));
            ParseRelease(handle);
        }
        EXPECT_GT(n, 20u); // there was something to fail
    }
}

// A header with fields far wider than the standard has them is read from the whole NAL unit.
TEST(AllocationFailure, OfALongHeaderIsAnsweredAndTheSliceIsDroppedWhole)
{
    const Sps sps{.log2_max_frame_num_minus4 = 800};
    const Bytes unit = sps + Pps{} + Slice{.sps = sps};
    Bytes slice = Slice{.sps = sps, .frame_num = 1, .data = Bytes(5000, 0x55)};
    const ParsingHandle handle;
    handle.Feed(unit);
    VideoInfo info = {};
    VideoInfoEx verdict = {};
    u8* nal = slice.data();
    u32 size = 7, headerSize = 7;
    bool isSlice = true;
    const auto expectRefused = [](const auto& call) {
        AllocationWatch watch(Failing::Once, 1);
        EXPECT_EQ(watch.During(call), -1);
        EXPECT_EQ(watch.Failures(), 1u);
    };
    expectRefused([&] { return VideoSampleTest(handle.Get(), slice.data(), slice.Size(), &verdict); });
    SetVideoData(handle.Get(), slice.data(), slice.Size());
    expectRefused([&] { return GetNalUnit(handle.Get(), &nal, &size, &isSlice, &headerSize); });
    EXPECT_TRUE(nal == nullptr && size == 0 && !isSlice && headerSize == 0);
    expectRefused([&] { return ParseVideoParams(handle.Get(), slice.data(), slice.Size(), &info); });
    EXPECT_EQ(info.frameAvailable, 0u);
    EXPECT_EQ(handle.Flush().frame, unit);
    EXPECT_EQ(handle.Feed(slice).frame, unit);
    EXPECT_EQ(handle.Flush().frame, slice);
}

} // namespace
