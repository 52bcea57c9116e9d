// SPDX-License-Identifier: MIT
// The virtual operations by their slot, and the exported functions on the way to them.
#include "nalsmith/nalsmith.h"
#include "parser/VideoParams.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

using namespace nalsmith_internal;

namespace {

using Words = std::vector<u64>;

template <typename T>
u64 Word(T value)
{
    if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<u64>(value);
    else
        return static_cast<u64>(value);
}

// Records which operation ran, by its slot, and what it was given.
struct Recorder : CParserBase {
    Words seen;

    template <typename... Arguments>
    Status Note(u64 slot, Arguments... arguments)
    {
        seen = {slot, Word(arguments)...};
        return Answer(slot);
    }
    // A status is 64 bits wide.
    static Status Answer(u64 slot) { return static_cast<Status>(slot << 40 | 1); }

    Status Create() override { return Note(2); }
    Status Release() override { return Note(3); }
    Status ReadVideoParams(const u8* a, u32 b, VideoInfo* c, int d) override { return Note(4, a, b, c, d); }
    Status VideoSampleTest(const u8* a, u32 b, VideoInfoEx* c) override { return Note(5, a, b, c); }
    Status QuerySliceType(const u8* a, u32 b, VideoPicType& c) override { return Note(6, a, b, &c); }
    Status SetVideoData(u8* a, u32 b) override { return Note(7, a, b); }
    Status GetNalUnit(u8** a, u32* b, bool* c, u32* d) override { return Note(8, a, b, c, d); }
    Status GetNalFromFrame(u8* a, u32 b, u32* c, u8*** d, u32** e) override { return Note(9, a, b, c, d, e); }
    Status UserDataCreate() override { return Note(10); }
    Status UserDataRelease() override { return Note(11); }
    Status AddUserData(const u8* a, u32 b, const u8* c, u32 d, const u8** e, u32* f) override
    {
        return Note(12, a, b, c, d, e, f);
    }
    Status GetUserData(const u8* a, u32 b, const u8** c, u32* d) override { return Note(13, a, b, c, d); }
    Status RemoveUserData(const u8* a, u32 b, const u8** c, u32* d) override { return Note(14, a, b, c, d); }
    Status SetParameterSetData(u8* a, u32 b, u8* c, u32 d) override { return Note(15, a, b, c, d); }
    Status GetParameterSetData(u8* a, u32 b, ParameterSetData* c) override { return Note(16, a, b, c); }
};

// Itanium C++ ABI: the object begins with the address of its table, the object comes first among arguments.
Status CallSlot(CParserBase& object, std::size_t slot, u64 a = 0, u64 b = 0, u64 c = 0, u64 d = 0, u64 e = 0,
                u64 f = 0)
{
    using Operation = Status (*)(CParserBase*, u64, u64, u64, u64, u64, u64);
    Operation* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    return table[slot](&object, a, b, c, d, e, f);
}

TEST(VirtualSlots, OperationsStandInTheirOrder)
{
    Recorder recorder;
    const std::size_t argumentsOf[] = {0, 0, 0, 0, 4, 3, 3, 2, 4, 5, 0, 0, 6, 4, 4, 4, 3};
    for (std::size_t slot = 2; slot <= 16; ++slot) {
        EXPECT_EQ(CallSlot(recorder, slot, 11, 12, 13, 14, 15, 16), Recorder::Answer(slot));
        Words expected = {slot, 11, 12, 13, 14, 15, 16};
        expected.resize(1 + argumentsOf[slot]);
        EXPECT_EQ(recorder.seen, expected);
    }
}

TEST(VirtualSlots, TheSecondDestructorFreesTheObject)
{
    struct Witness : CParserBase {
        bool& gone;
        explicit Witness(bool& flag) : gone(flag) {}
        ~Witness() override { gone = true; }
    };
    bool destroyed = false;
    CallSlot(*new Witness(destroyed), 1); // a leak checker sees whether it is freed
    EXPECT_TRUE(destroyed);
}

TEST(VirtualSlots, BaseVersionsAnswerZeroAndWriteNothing)
{
    for (const std::size_t slot : {4, 5, 6, 7, 8, 9, 12, 13, 14, 15, 16}) {
        CParserBase base;
        const Words unwritten(64, 0xEEEEEEEEEEEEEEEE);
        Words areas = unwritten;
        const u64 at = Word(areas.data());
        EXPECT_EQ(CallSlot(base, slot, at, at + 80, at + 160, at + 240, at + 320, at + 400), 0);
        EXPECT_EQ(areas, unwritten) << "slot " << slot;
    }
}

TEST(VirtualSlots, ExportedFunctionsPassArgumentsAndStatusThrough)
{
    Recorder recorder;
    void* const handle = static_cast<CParserBase*>(&recorder);
    u8 bytes[8] = {}, *nal = nullptr, **nals = nullptr;
    const u8* out = nullptr;
    u32 number = 0, *numbers = nullptr;
    bool flag = false;
    VideoInfo info = {};
    VideoInfoEx verdict = {};
    VideoPicType type = VideoPicTypeUnknown;
    ParameterSetData sets = {};
    const auto expect = [&](Status status, const Words& words) {
        EXPECT_EQ(status, Recorder::Answer(words[0]));
        EXPECT_EQ(recorder.seen, words);
    };
    const u64 at = Word(bytes), to = Word(&out), count = Word(&number);
    expect(ParseVideoParams(handle, bytes, 5, &info), {4, at, 5, Word(&info), 0});
    expect(ParseVideoParams(handle, nullptr, 5, nullptr), {4, 0, 5, 0, 0});
    expect(VideoSampleTest(handle, bytes, 5, &verdict), {5, at, 5, Word(&verdict)});
    expect(QueryType(handle, bytes, 5, type), {6, at, 5, Word(&type)});
    expect(SetVideoData(handle, bytes, 5), {7, at, 5});
    expect(GetNalUnit(handle, &nal, &number, &flag, numbers), {8, Word(&nal), count, Word(&flag), 0});
    expect(GetNalFromFrame(handle, bytes, 5, &number, &nals, &numbers),
           {9, at, 5, count, Word(&nals), Word(&numbers)});
    expect(AddUserData(handle, bytes, 5, bytes + 1, 6, &out, &number), {12, at, 5, at + 1, 6, to, count});
    expect(GetUserData(handle, bytes, 5, &out, &number), {13, at, 5, to, count});
    expect(RemoveUserData(handle, bytes, 5, &out, &number), {14, at, 5, to, count});
    expect(SetParameterSetData(handle, bytes, 5, bytes + 1, 6), {15, at, 5, at + 1, 6});
    expect(GetParameterSetData(handle, bytes, 5, &sets), {16, at, 5, Word(&sets)});
}

} // namespace
