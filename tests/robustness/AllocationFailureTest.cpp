// SPDX-License-Identifier: MIT
// Each allocation of a handle's life fails in turn.
#include "AvcStream.h"
#include "FailingAllocation.h"
#include "Handles.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

// Everything that grows, grows: slots and spare of 4 bytes, both retained sets, the payload scratch, the
// insertion scratch. The last unit is a key frame that needs parameter sets.
std::vector<Bytes> NalUnits()
{
    const Bytes rest(12, 0x55);
    return {Delimiter{},
            Sps{.vui = Vui{.timing = Timing{}}},
            Pps{} + rest,
            Slice{.nal_unit_type = kIdr, .data = Bytes(2000, 0x11)},
            Slice{.frame_num = 1, .data = Bytes(100, 0x22)},
            Delimiter{},
            Sei{},
            Slice{.frame_num = 2, .data = Bytes(3000, 0x33)},
            Delimiter{},
            Slice{.nal_unit_type = kIdr, .idr_pic_id = 1, .data = Bytes(2500, 0x44)}};
}

bool IsSlice(const Bytes& nal, bool keyOnly = false)
{
    return (nal[4] & 31) == kIdr || (!keyOnly && (nal[4] & 31) == 1);
}

class Session {
public:
    Session(AllocationWatch& watch, const std::vector<Bytes>& nals) : watch_(watch), nals_(nals) {}
    ~Session() { ParseRelease(handle_); }

    // False when the handle could not be made.
    bool Create()
    {
        const Status status = watch_.During([&] { return ParseCreate(&handle_, VideoCodecAVC, 2, 4); });
        EXPECT_EQ(status, watch_.Failures() != 0 ? -1 : 0);
        EXPECT_EQ(handle_ == nullptr, watch_.Failures() != 0);
        return handle_ != nullptr;
    }

    // Feeds NAL unit by NAL unit and flushes.
    void Run()
    {
        for (const Bytes& nal : nals_)
            (Call(nal.data(), nal.Size()) == 0 ? accepted : refused).push_back(nal);
        Call(nullptr, 0);
    }

    bool KnowsParameterSets() const
    {
        const auto& parser = static_cast<CParseAVCParams&>(*static_cast<CParserBase*>(handle_));
        return parser.spsTable[0] != nullptr && parser.ppsTable[0] != nullptr;
    }

    std::vector<Bytes> frames;
    std::vector<u32> described;           // sequenceInfoValid of each
    std::vector<Bytes> out;               // NAL units of all frames
    std::vector<Bytes> accepted, refused; // NAL units by the status of their call

private:
    Status Call(const u8* data, u32 size)
    {
        const u64 before = watch_.Failures();
        VideoInfo info = UnwrittenInfo();
        const Status status = watch_.During([&] { return ParseVideoParams(handle_, data, size, &info); });
        // Only a record that finds no memory is no failure of the call.
        if (const bool failed = watch_.Failures() != before; !failed || KnowsParameterSets()) {
            EXPECT_EQ(status, failed ? -1 : 0);
        }
        if (info.frameAvailable != 0) {
            frames.emplace_back(info.frameData, info.frameData + info.frameSize);
            described.push_back(info.sequenceInfoValid);
            const std::vector<Bytes> units = SplitNalUnits(frames.back());
            EXPECT_TRUE(!units.empty() && Join(units) == frames.back());
            EXPECT_EQ(info.keyFrame,
                      std::count_if(units.begin(), units.end(), [](auto& u) { return IsSlice(u, true); }));
            out.insert(out.end(), units.begin(), units.end());
        }
        return status;
    }

    AllocationWatch& watch_;
    const std::vector<Bytes>& nals_;
    void* handle_ = nullptr;
};

// Without a watch in the way the handle reads the stream as ever.
void ExpectStillWorking(Session& session, const std::vector<Bytes>& nals)
{
    session.frames.clear();
    session.Run();
    ASSERT_GE(session.frames.size(), 3u);
    const std::vector<Bytes> last(session.frames.end() - 3, session.frames.end());
    EXPECT_EQ(last, (std::vector<Bytes>{nals[4], nals[5] + nals[6] + nals[7],
                                        nals[8] + nals[1] + nals[2] + nals[9]}));
}

TEST(AllocationFailure, OfOneAllocationDropsAtMostOneNalUnitWhole)
{
    const std::vector<Bytes> nals = NalUnits();
    u64 n = 0;
    for (bool failed = true; failed;) {
        SCOPED_TRACE(++n);
        AllocationWatch watch(Failing::Once, n);
        Session session(watch, nals);
        if (!session.Create())
            continue;
        session.Run();
        failed = watch.Failures() != 0;
        EXPECT_LE(session.refused.size(), 1u);
        std::vector<Bytes> kept = session.accepted;
        if (!session.KnowsParameterSets())
            std::erase_if(kept, [](const Bytes& nal) { return IsSlice(nal); });
        EXPECT_TRUE(IsSubsequence(kept, session.out));
        EXPECT_LE(session.out.size(), nals.size() + 2);                    // parameter sets inserted
        if (session.refused.size() == 1 && !IsSlice(session.refused[0])) { // as if it had never been there
            AllocationWatch calm;
            Session without(calm, session.accepted);
            without.Create();
            without.Run();
            EXPECT_EQ(session.frames, without.frames);
            EXPECT_EQ(session.described, without.described);
        }
        ExpectStillWorking(session, nals);
    }
    EXPECT_GT(n, 20u); // there was something to fail
}

TEST(AllocationFailure, OfAllAllocationsFromOneOnLeavesAUsableHandle)
{
    const std::vector<Bytes> nals = NalUnits();
    u64 n = 0;
    for (bool failed = true; failed;) {
        SCOPED_TRACE(++n);
        AllocationWatch watch(Failing::FromThenOn, n);
        Session session(watch, nals);
        if (!session.Create())
            continue;
        session.Run();
        for (const Bytes& unit : session.out)
            EXPECT_NE(std::find(nals.begin(), nals.end(), unit), nals.end()); // none is cut
        failed = watch.Failures() != 0;
        watch = AllocationWatch();
        ExpectStillWorking(session, nals);
    }
    EXPECT_GT(n, 20u);
}

// A header with fields far wider than the standard has them is read from the whole NAL unit.
TEST(AllocationFailure, OfALongHeaderIsAnsweredAndTheSliceIsDroppedWhole)
{
    const Sps sps{.log2_max_frame_num_minus4 = 800};
    const Bytes unit = sps + Pps{} + Slice{.sps = sps};
    Bytes slice = Slice{.sps = sps, .frame_num = 1, .data = Bytes(5000, 0x55)};
    const ParsingHandle handle;
    handle.Feed(unit);
    VideoInfo info;
    VideoInfoEx verdict;
    AllocationWatch judging(Failing::Once, 1), walking(Failing::Once, 1), watch(Failing::Once, 1);
    EXPECT_EQ(
        judging.During([&] { return VideoSampleTest(handle.Get(), slice.data(), slice.Size(), &verdict); }),
        -1);
    u8* nal = slice.data();
    u32 size = 7, headerSize = 7;
    bool isSlice = true;
    SetVideoData(handle.Get(), slice.data(), slice.Size());
    EXPECT_EQ(walking.During([&] { return GetNalUnit(handle.Get(), &nal, &size, &isSlice, &headerSize); }),
              -1);
    EXPECT_TRUE(nal == nullptr && size == 0 && !isSlice && headerSize == 0);
    EXPECT_EQ(watch.During([&] { return ParseVideoParams(handle.Get(), slice.data(), slice.Size(), &info); }),
              -1);
    EXPECT_TRUE(watch.Failures() == 1 && info.frameAvailable == 0);
    EXPECT_EQ(handle.Flush().frame, unit);
    EXPECT_EQ(handle.Feed(slice).frame, unit);
    EXPECT_EQ(handle.Flush().frame, slice);
}

TEST(AllocationFailure, OfTheScratchBufferYieldsNoPayload)
{
    const ParsingHandle handle;
    CParserBase& parser = handle.Avc();
    const Bytes large(5000, 0x42);
    u8* out = nullptr;
    u32 size = 7;
    AllocationWatch watch(Failing::Once, 1);
    const auto remove = [&] { return parser.GetRbspData(large.data(), large.Size(), &out, &size); };
    EXPECT_EQ(watch.During(remove), -1);
    EXPECT_TRUE(out == nullptr && size == 0);
    EXPECT_EQ(remove(), 0);
    EXPECT_EQ(Bytes(out, out + size), large);
}

} // namespace
