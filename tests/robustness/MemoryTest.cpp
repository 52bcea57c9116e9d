// SPDX-License-Identifier: MIT
// How much memory a handle holds at most, measured in bytes of the heap.
#include "AvcStream.h"
#include "BothHandles.h"
#include "FailingAllocation.h"
#include "HevcStream.h"
#include "UserData.h"

#include <filesystem>

namespace {

constexpr i64 kSmallBuffers = 64 * 1024; // records, retained sets, scratch: fixed or of a NAL unit's size

struct Measured {
    i64 peak = 0;
    i64 largest = 0; // access unit or frame
};

Measured Reading(VideoCodecType codec, u32 queueCount, const std::vector<Bytes>& pieces)
{
    Measured measured;
    AllocationWatch watch;
    void* handle = nullptr;
    watch.During([&] { return ParseCreate(&handle, codec, queueCount, 1); });
    const auto feed = [&](const u8* data, u32 size) {
        VideoInfo info;
        watch.During([&] { return ParseVideoParams(handle, data, size, &info); });
        measured.largest = std::max(measured.largest, i64{info.frameSize});
    };
    for (const Bytes& piece : pieces)
        feed(piece.data(), piece.Size());
    feed(nullptr, 0);
    watch.During([&] { return ParseRelease(handle); });
    EXPECT_EQ(watch.Live(), 0);
    measured.peak = watch.Peak();
    return measured;
}

void ExpectBounded(VideoCodecType codec, u32 queueCount, const std::vector<Bytes>& pieces)
{
    const Measured measured = Reading(codec, queueCount, pieces);
    EXPECT_GT(measured.largest, 0);
    EXPECT_LE(measured.peak, (queueCount + 4) * measured.largest * 5 / 4 + kSmallBuffers)
        << "largest " << measured.largest;
}

TEST(Memory, OfAParsingHandleIsBoundedByTheLargestAccessUnit)
{
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(NALSMITH_STREAMS)) {
        const bool hevc = file.path().extension() == ".h265";
        if (!hevc && file.path().extension() != ".h264")
            continue;
        ++files;
        const Bytes stream = StreamFile(file.path().filename());
        ExpectBounded(hevc ? VideoCodecHEVC : VideoCodecAVC, 6, SplitNalUnits(stream));
    }
    EXPECT_EQ(files, 8);
}

TEST(Memory, OfAParsingHandleIsBoundedForHostileStreamsToo)
{
    using namespace avctest;
    const Bytes sets = Sps{} + Pps{};
    const auto rounds = [](const std::vector<Bytes>& round) {
        std::vector<Bytes> all;
        for (int i = 0; i < 20; ++i)
            all.insert(all.end(), round.begin(), round.end());
        return all;
    };
    const auto slice = [](u32 frame_num, u32 size) {
        return Bytes(Slice{.nal_unit_type = kIdr,
                           .frame_num = frame_num,
                           .idr_pic_id = frame_num,
                           .data = Bytes(size, 0x5A)});
    };
    const std::vector<Bytes> families[] = {
        // Parameter sets as large as pictures, inserted everywhere.
        {sets + Bytes(100000, 0x80), slice(0, 10), slice(1, 10), slice(2, 10), slice(3, 10)},
        rounds({slice(0, 200000), slice(1, 200000)}),
        rounds({Sei{.message = Bytes(100000, 0)}, Delimiter{}, slice(0, 1), Sei{}, slice(1, 100000)}),
        rounds({Nal(12, Bytes(5, 0xFF)), slice(0, 5), Nal(1, Bytes(300000, 0)), slice(1, 5)}),
        rounds({Nal(7, Bytes(50000, 0)), Nal(8, Bytes(50000, 0xFF)), slice(0, 50)}),
    };
    for (const std::vector<Bytes>& family : families)
        for (const u32 queueCount : {2u, 6u}) {
            std::vector<Bytes> pieces = family;
            pieces.insert(pieces.begin(), sets);
            ExpectBounded(VideoCodecAVC, queueCount, pieces);
        }
}

TEST(Memory, OfAUserDataHandleIsBoundedByTheLargestFrame)
{
    constexpr i64 kFixed = 3000000 * 5 / 4 + 100000 * 5 / 4 + kSmallBuffers;
    for (const userdatatest::Format& format : userdatatest::kFormats) {
        const Bytes large(2000000, 0), text(2000000, 0x41);
        const Bytes frames[] = {format.Sei(userdatatest::Message(4, large)) + format.Slice(),
                                format.Sei(userdatatest::Message(4, text)) + format.Slice(),
                                format.Sei(Join(std::vector<Bytes>(100000, "04 00"_bytes))) + format.Slice(),
                                format.Sei(userdatatest::Own(large)) + format.Slice(),
                                format.Slice() + format.SliceOf(4000000)};
        for (const Bytes& frame : frames) {
            AllocationWatch watch;
            void* handle = nullptr;
            const u8* out = nullptr;
            u32 size = 0;
            watch.During([&] {
                UserDataCreate(&handle, format.codec);
                RemoveUserData(handle, frame.data(), frame.Size(), &out, &size);
                GetUserData(handle, frame.data(), frame.Size(), &out, &size);
                AddUserData(handle, frame.data(), frame.Size(), frame.data(), 1000, &out, &size);
                UserDataRelease(handle);
            });
            EXPECT_EQ(watch.Live(), 0);
            EXPECT_LE(watch.Peak(), 10 * i64{frame.Size()} + kFixed) << frame.size();
        }
    }
}

// No count in the stream is an amount of memory.
TEST(Memory, TwentyTwoBytesAskForNoMoreThanAGoodStreamOfThatSize)
{
    const Bytes good[] = {avctest::Sps{} + avctest::Slice{}, hevctest::Slice{} + hevctest::Slice{}};
    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC}) {
        const auto peakOf = [&](const Bytes& input) {
            AllocationWatch watch;
            const auto around = [&](const auto& call) { return watch.During(call); };
            BothHandles handles(codec, around);
            handles.Call(input.data(), input.Size(), around);
            handles.Release(around);
            EXPECT_EQ(watch.Live(), 0);
            return watch.Peak();
        };
        const i64 usual = peakOf(good[codec].From(0, 22));
        EXPECT_GT(usual, 3000000); // of the user-data handle
        for (u32 type = 0; type < 64; ++type)
            for (const u8 fill : "00 01 03 10 80 a5 ff"_bytes) {
                const Bytes header =
                    codec == VideoCodecAVC ? Bytes{static_cast<u8>(type)} : hevctest::NalHeader(type);
                Bytes input = NalUnitOf(header, 4) + Bytes(22, fill);
                input.resize(22);
                EXPECT_LE(peakOf(input), usual + 64 * 1024) << type << " " << int{fill};
            }
    }
}

} // namespace
