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

TEST(Handles, NullOnesAreRefusedByEveryFunction)
{
    VideoInfo info = UnwrittenInfo();
    VideoInfoEx verdict = {7, 7, 7};
    VideoPicType type = VideoPicTypeAllSI;
    ParameterSetData sets = {};
    u8 byte = 0, *nal = &byte, **nals = &nal;
    const u8* out = &byte;
    u32 size = 7, *sizes = &size;
    bool isSlice = true;
    const Status statuses[] = {ParseCreate(nullptr, VideoCodecAVC, 0, 0),
                               ParseRelease(nullptr),
                               SetParameterSetData(nullptr, &byte, 1, &byte, 1),
                               GetParameterSetData(nullptr, &byte, 1, &sets),
                               ParseVideoParams(nullptr, &byte, 1, &info),
                               VideoSampleTest(nullptr, &byte, 1, &verdict),
                               QueryType(nullptr, &byte, 1, type),
                               SetVideoData(nullptr, &byte, 1),
                               GetNalUnit(nullptr, &nal, &size, &isSlice, &size),
                               GetNalFromFrame(nullptr, &byte, 1, &size, &nals, &sizes),
                               UserDataCreate(nullptr, VideoCodecAVC),
                               UserDataRelease(nullptr),
                               AddUserData(nullptr, &byte, 1, &byte, 1, &out, &size),
                               GetUserData(nullptr, &byte, 1, &out, &size),
                               RemoveUserData(nullptr, &byte, 1, &out, &size)};
    EXPECT_EQ(std::count(std::begin(statuses), std::end(statuses), -1), 15);
    EXPECT_TRUE(AllFieldsAre(kUnwritten, info) && verdict.discontinuity == 7 && type == VideoPicTypeAllSI);
    EXPECT_TRUE(nal == &byte && out == &byte && nals == &nal && sizes == &size && size == 7 && isSlice);
}

TEST(Handles, BelongToTheirFamily)
{
    const ParsingHandle parsing;
    void* userData = nullptr;
    ASSERT_EQ(UserDataCreate(&userData, VideoCodecAVC), 0);
    EXPECT_EQ(UserDataRelease(parsing.Get()), -1);
    EXPECT_EQ(ParseRelease(userData), -1);
    VideoInfo info = UnwrittenInfo();
    EXPECT_EQ(ParseVideoParams(userData, nullptr, 0, &info), -1);
    EXPECT_TRUE(AllFieldsAre(kUnwritten, info));

    EXPECT_EQ(parsing.Feed(Sps{} + Pps{} + Slice{}).status, 0); // both are as before
    EXPECT_EQ(parsing.Flush().frame, Sps{} + Pps{} + Slice{});
    EXPECT_EQ(UserDataRelease(userData), 0);
}

// The five that H.265 does not have answer 0 on any handle, and touch nothing either.
TEST(Handles, EveryFunctionOfTheOtherKindTouchesNothing)
{
    const Bytes unit = Sps{} + Pps{} + Slice{};
    u8* const data = const_cast<u8*>(unit.data());
    const u32 size = unit.Size();
    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC}) {
        const Status ofFive = codec == VideoCodecAVC ? -1 : 0;
        const ParsingHandle parsing(codec);
        void* editor = nullptr;
        ASSERT_EQ(UserDataCreate(&editor, codec), 0);
        VideoInfoEx verdict = {7, 7, 7};
        VideoPicType type = VideoPicTypeAllSI;
        ParameterSetData sets = {data, 7, data, 7, data, 7};
        u8 *nal = data, **nals = &nal;
        const u8* out = data;
        u32 outSize = 7, *sizes = &outSize;
        bool isSlice = true;
        EXPECT_EQ(VideoSampleTest(editor, data, size, &verdict), -1);
        EXPECT_EQ(QueryType(editor, data, size, type), -1);
        EXPECT_EQ(SetParameterSetData(editor, data, size, data, size), ofFive);
        EXPECT_EQ(GetParameterSetData(editor, data, size, &sets), ofFive);
        EXPECT_EQ(SetVideoData(editor, data, size), ofFive);
        EXPECT_EQ(GetNalUnit(editor, &nal, &outSize, &isSlice, &outSize), ofFive);
        EXPECT_EQ(GetNalFromFrame(editor, data, size, &outSize, &nals, &sizes), ofFive);
        EXPECT_EQ(AddUserData(parsing.Get(), data, size, data, size, &out, &outSize), -1);
        EXPECT_EQ(GetUserData(parsing.Get(), data, size, &out, &outSize), -1);
        EXPECT_EQ(RemoveUserData(parsing.Get(), data, size, &out, &outSize), -1);
        EXPECT_TRUE(verdict.discontinuity == 7 && verdict.intraPicture == 7 && type == VideoPicTypeAllSI);
        EXPECT_TRUE(sets.vpsData == data && sets.spsSize == 7 && nals == &nal && sizes == &outSize);
        EXPECT_TRUE(nal == data && out == data && outSize == 7 && isSlice);
        EXPECT_EQ(UserDataRelease(editor), 0);
    }
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
        EXPECT_EQ(handle.Base().queue->spare.capacity, row.bytes);
    }
}

TEST(Handles, ReleasingAnObjectTwiceFreesOnce)
{
    CParseAVCParams parser;
    ASSERT_EQ(parser.Create(), 0);
    parser.Release();
    EXPECT_TRUE(parser.queue == nullptr && parser.rbspBuffer == nullptr && parser.spsCopy == nullptr);
    EXPECT_TRUE(parser.spsNal == nullptr && parser.ppsNal == nullptr && parser.vpsCopy == nullptr);
    parser.Release();

    ASSERT_EQ(parser.UserDataCreate(), 0);
    EXPECT_TRUE(parser.userFrameBuffer != nullptr && parser.seiKeepBuffer != nullptr);
    EXPECT_TRUE(parser.seiEscapeBuffer != nullptr && parser.rbspBuffer != nullptr);
    parser.UserDataRelease();
    EXPECT_TRUE(parser.userDataBuffer == nullptr && parser.removeFrameBuffer == nullptr);
    parser.UserDataRelease();
}

} // namespace
