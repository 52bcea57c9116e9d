// SPDX-License-Identifier: MIT
// Each allocation fails in turn, alone or with all behind it, while all fifteen functions are at work.
#include "AvcStream.h"
#include "BothHandles.h"
#include "FailingAllocation.h"
#include "HevcStream.h"
#include "UserData.h"

namespace {

using userdatatest::Format;

// Buffers that begin small: with these pieces every one of them grows.
std::vector<Bytes> Pieces(const Format& format)
{
    const Bytes sei = format.Sei(userdatatest::Message(4, Bytes(3000, 0)) + userdatatest::Own(Bytes(500, 0)));
    const Bytes other = format.Unit(format.parameterSet + 20, Bytes(5000, 0x55));
    if (format.codec == VideoCodecAVC) {
        using namespace avctest;
        const Bytes slice = Slice{.nal_unit_type = kIdr, .data = Bytes(3000, 0)};
        return {Sps{} + Pps{} + Bytes(20, 0x55), Delimiter{} + Sps{} + Pps{} + slice + sei,
                Delimiter{} + sei + Slice{.nal_unit_type = kIdr, .idr_pic_id = 1}, other + slice + sei};
    }
    using namespace hevctest;
    const Bytes slice = Slice{.nal_unit_type = hevctest::kIdr, .data = Bytes(3000, 0)};
    return {Vps{} + Sps{} + Pps{} + Bytes(4000, 0x55) + slice, Delimiter{} + sei + slice, slice + slice,
            other + slice + sei};
}

// Those that depend on nothing but the piece.
std::vector<Answer> Independent(const std::vector<Answer>& answers)
{
    std::vector<Answer> some(answers.begin() + 2, answers.begin() + 5);
    some.insert(some.end(), answers.end() - 3, answers.end());
    return some;
}

class AllocationTour : public testing::TestWithParam<std::tuple<Format, Failing>> {
protected:
    // False when there are fewer allocations than `n`.
    bool FailsAt(u64 n) const
    {
        AllocationWatch watch(std::get<1>(GetParam()), n);
        const auto around = [&](const auto& call) {
            const u64 before = watch.Failures();
            const Status status = watch.During(call);
            const bool failed = watch.Failures() != before;
            EXPECT_TRUE(IsStatus(status));
            EXPECT_TRUE(!failed || status == -1 || IsOfARecord(watch.LastRefused())) << watch.LastRefused();
            return status;
        };
        bool failed = false;
        {
            BothHandles handles(format_.codec, around);
            EXPECT_EQ(handles.Made(), watch.Failures() == 0);
            if (handles.Made()) {
                LetGrow(handles);
                for (const Bytes& piece : pieces_)
                    handles.Call(piece.data(), piece.Size(), around);
                failed = watch.Failures() != 0;
                watch.Calm();
                ExpectUsable(handles, around);
            }
            failed = failed || watch.Failures() != 0;
            handles.Release([&](const auto& call) { return watch.During(call); });
        }
        EXPECT_EQ(watch.Live(), 0) << "leaked";
        return failed;
    }

    // As if the buffers of 3000000 and 100000 bytes were small.
    static void LetGrow(const BothHandles& handles)
    {
        CParserBase& editor = *static_cast<CParserBase*>(handles.userData);
        editor.userFrameBufferSize = 10;
        editor.removeFrameBufferSize = 10;
    }

    template <typename Around>
    void ExpectUsable(const BothHandles& handles, const Around& around) const
    {
        const BothHandles fresh(format_.codec);
        for (const Bytes& piece : pieces_)
            EXPECT_EQ(Independent(handles.Call(piece.data(), piece.Size(), around)),
                      Independent(fresh.Call(piece.data(), piece.Size())));
        VideoInfo info;
        const Bytes& last = pieces_.back();
        around([&] { return ParseVideoParams(handles.parsing, last.data(), last.Size(), &info); });
        EXPECT_EQ(around([&] { return ParseVideoParams(handles.parsing, nullptr, 0, &info); }), 0);
        ASSERT_GT(info.frameSize, last.size());
        EXPECT_EQ(Bytes(info.frameData + info.frameSize - last.size(), info.frameData + info.frameSize),
                  last);
    }

    const Format& format_ = std::get<0>(GetParam());
    const std::vector<Bytes> pieces_ = Pieces(format_);
};

TEST_P(AllocationTour, FailuresAreAnsweredAndLeaveUsableHandles)
{
    u64 n = 1;
    while (FailsAt(n))
        ++n;
    std::printf("%llu allocations failed in turn\n", static_cast<unsigned long long>(n - 1));
    EXPECT_GT(n, 40u);
}

INSTANTIATE_TEST_SUITE_P(Codecs, AllocationTour,
                         testing::Combine(testing::ValuesIn(userdatatest::kFormats),
                                          testing::Values(Failing::Once, Failing::FromThenOn)),
                         [](const auto& row) {
                             return std::string(std::get<0>(row.param).name) +
                                    (std::get<1>(row.param) == Failing::Once ? "Once" : "FromThenOn");
                         });

} // namespace
