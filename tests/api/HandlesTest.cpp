// SPDX-License-Identifier: MIT
// Making and releasing handles, and handles used wrongly.
#include "Handles.h"
#include "AvcStream.h"

#include <gtest/gtest.h>

namespace {

using namespace avctest;

TEST(Handles, AreMadeAndReleasedForEachCodecAndNoOther)
{
    for (const int codec : {0, 1, 2, -1, 0x7fffffff}) {
        const bool known = codec == 0 || codec == 1;
        for (const bool parsing : {true, false}) {
            void* handle = &handle;
            const auto type = static_cast<VideoCodecType>(codec);
            EXPECT_EQ(parsing ? ParseCreate(&handle, type, 0, 0) : UserDataCreate(&handle, type),
                      known ? 0 : -1);
            EXPECT_EQ(handle != nullptr, known) << codec;
            EXPECT_EQ(parsing ? ParseRelease(handle) : UserDataRelease(handle), known ? 0 : -1);
        }
    }
}

// Where every function answers, and whether any did.
struct Outputs {
    VideoInfo info = UnwrittenInfo();
    VideoInfoEx verdict = {7, 7, 7};
    VideoPicType type = VideoPicTypeAllSI;
    u8 byte = 0, *nal = &byte, **nals = &nal;
    ParameterSetData sets = {&byte, 7, &byte, 7, &byte, 7};
    const u8* out = &byte;
    u32 size = 7, *sizes = &size;
    bool isSlice = true;

    Outputs() = default;
    Outputs(const Outputs&) = delete;
    bool Untouched() const
    {
        return AllFieldsAre(kUnwritten, info) && verdict.discontinuity == 7 && verdict.isFramePicture == 7 &&
               verdict.intraPicture == 7 && type == VideoPicTypeAllSI && sets.vpsData == &byte &&
               sets.spsSize == 7 && sets.ppsSize == 7 && nal == &byte && nals == &nal && out == &byte &&
               size == 7 && sizes == &size && isSlice;
    }
};

using Statuses = std::vector<Status>;

Statuses Reading(void* handle, const Bytes& unit, Outputs& to)
{
    return {ParseVideoParams(handle, unit.data(), unit.Size(), &to.info),
            VideoSampleTest(handle, unit.data(), unit.Size(), &to.verdict),
            QueryType(handle, unit.data(), unit.Size(), to.type)};
}

// The five that H.265 does not have.
Statuses TakingApart(void* handle, const Bytes& unit, Outputs& to)
{
    u8* const data = const_cast<u8*>(unit.data());
    return {SetParameterSetData(handle, data, unit.Size(), data, unit.Size()),
            GetParameterSetData(handle, data, unit.Size(), &to.sets), SetVideoData(handle, data, unit.Size()),
            GetNalUnit(handle, &to.nal, &to.size, &to.isSlice, &to.size),
            GetNalFromFrame(handle, data, unit.Size(), &to.size, &to.nals, &to.sizes)};
}

Statuses Editing(void* handle, const Bytes& unit, Outputs& to)
{
    return {AddUserData(handle, unit.data(), unit.Size(), unit.data(), unit.Size(), &to.out, &to.size),
            GetUserData(handle, unit.data(), unit.Size(), &to.out, &to.size),
            RemoveUserData(handle, unit.data(), unit.Size(), &to.out, &to.size)};
}

TEST(Handles, NullOnesAndThoseOfTheOtherKindTouchNothing)
{
    const Bytes unit = Sps{} + Pps{} + Slice{};
    const Statuses three(3, -1), five(5, -1), zeros(5, 0);
    Outputs to;
    EXPECT_EQ(Reading(nullptr, unit, to), three);
    EXPECT_EQ(TakingApart(nullptr, unit, to), five);
    EXPECT_EQ(Editing(nullptr, unit, to), three);
    EXPECT_TRUE(ParseCreate(nullptr, VideoCodecAVC, 0, 0) == -1 && ParseRelease(nullptr) == -1);
    EXPECT_TRUE(UserDataCreate(nullptr, VideoCodecAVC) == -1 && UserDataRelease(nullptr) == -1);

    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC}) {
        const ParsingHandle parsing(codec);
        void* editor = nullptr;
        ASSERT_EQ(UserDataCreate(&editor, codec), 0);
        EXPECT_EQ(Reading(editor, unit, to), three);
        EXPECT_EQ(TakingApart(editor, unit, to), codec == VideoCodecAVC ? five : zeros);
        EXPECT_EQ(Editing(parsing.Get(), unit, to), three);
        if (codec == VideoCodecHEVC) {
            EXPECT_EQ(TakingApart(parsing.Get(), unit, to), zeros);
            EXPECT_EQ(parsing.Hevc().spsNalSize, 0u);
        }
        EXPECT_TRUE(UserDataRelease(parsing.Get()) == -1 && ParseRelease(editor) == -1);
        EXPECT_EQ(UserDataRelease(editor), 0);
    }
    EXPECT_TRUE(to.Untouched());
}

TEST(Handles, ArgumentsAreRefusedBeforeAnythingIsTouched)
{
    const ParsingHandle avc, hevc(VideoCodecHEVC);
    u8 byte = 0;
    ParameterSetData sets = {};
    for (void* const handle : {avc.Get(), hevc.Get()}) {
        EXPECT_EQ(SetParameterSetData(handle, nullptr, 1, &byte, 1), -1);
        EXPECT_EQ(SetParameterSetData(handle, &byte, 0, &byte, 1), -1);
        EXPECT_EQ(SetParameterSetData(handle, &byte, 1, nullptr, 1), -1);
        EXPECT_EQ(SetParameterSetData(handle, &byte, 1, &byte, 0), -1);
        EXPECT_EQ(GetParameterSetData(handle, nullptr, 1, &sets), -1);
        EXPECT_EQ(GetParameterSetData(handle, &byte, 0, &sets), -1);
        EXPECT_EQ(GetParameterSetData(handle, &byte, 1, nullptr), -1);
    }
    const Bytes unit = Sps{} + Pps{} + Slice{};
    EXPECT_EQ(ParseVideoParams(avc.Get(), unit.data(), unit.Size(), nullptr), -1);
    EXPECT_EQ(ParseVideoParams(avc.Get(), nullptr, 0, nullptr), -1);
    EXPECT_TRUE(AllFieldsAre(0, avc.Flush().info));
}

TEST(Handles, ZeroSelectsSixSlotsOfAHundredThousandBytes)
{
    const struct {
        u32 count, size, slots, bytes;
    } rows[] = {{0, 0, 6, 100000}, {3, 0, 3, 100000}, {10, 0, 10, 100000}, {0, 500, 6, 500}, {1, 1, 1, 1}};
    for (const auto& row : rows) {
        const ParsingHandle handle(VideoCodecHEVC, row.count, row.size);
        EXPECT_EQ(handle.Base().queue->slots.size(), row.slots);
        EXPECT_EQ(handle.Base().queue->slots.back().capacity, row.bytes);
        handle.Base().queue->ResizeBuffer(&handle.Base().queue->spare, row.bytes / 2); // never shrinks
        EXPECT_EQ(handle.Base().queue->spare.capacity, row.bytes);
    }
}

TEST(Handles, ReleasingAnObjectTwiceFreesOnce)
{
    CParseAVCParams parser, editor;
    ASSERT_TRUE(parser.Create() == 0 && editor.UserDataCreate() == 0);
    for (int times = 0; times < 2; ++times) {
        parser.Release();
        editor.UserDataRelease();
        EXPECT_TRUE(parser.queue == nullptr && parser.rbspBuffer == nullptr && parser.spsCopy == nullptr);
        EXPECT_TRUE(parser.spsNal == nullptr && parser.ppsNal == nullptr && parser.vpsCopy == nullptr);
        EXPECT_TRUE(editor.userDataBuffer == nullptr && editor.removeFrameBuffer == nullptr);
    }
}

} // namespace
