// SPDX-License-Identifier: MIT
// The user-data message, payloads of all kinds through it, and the buffers that grow for it.
#include "FailingAllocation.h"
#include "UserData.h"

#include <functional>
#include <random>

namespace {

using namespace userdatatest;

Bytes Arranged(CParserBase& parser, const Bytes& data)
{
    EXPECT_EQ(parser.ArrangeUserData(data.Exact().get(), data.Size()), 0);
    return Bytes(parser.userDataBuffer, parser.userDataBuffer + parser.userDataLength);
}

const Bytes kMuch(600, 3);

// A kept message, or two, of so many bytes.
Bytes MessagesOf(u32 size)
{
    for (u32 payload = size; payload-- > 0;)
        for (const Bytes& front : {Bytes{}, Message(1, Bytes{})})
            if (const Bytes all = front + Message(4, Bytes(payload, 0x77)); all.size() == size)
                return all;
    return Bytes{};
}

TEST(UserDataMessage, ItsBufferGrowsAsTheSizeAndTheDataNeed)
{
    // {bytes of data, capacity}: twice the data is set aside behind the UUID, doubling comes before that.
    const std::pair<u32, u32> rows[] = {{0, 1024},
                                        {502, 1024},
                                        {503, 2030},
                                        {504, 2032},
                                        {256768, 1024 + 2 * 256768},
                                        {256769, 2048 + 2 * 256769},
                                        {1 << 20, 8192 + (2 << 20)}};
    for (const auto& [size, capacity] : rows)
        for (const u8 fill : {u8{0}, u8{7}}) {
            const UserDataHandle handle(VideoCodecHEVC);
            EXPECT_EQ(Arranged(handle.Base(), Bytes(size, fill)).size(),
                      18 + (size + 16) / 255 + size + (fill == 0 && size > 0 ? (size - 1) / 2 : 0));
            EXPECT_EQ(handle.Base().userDataBufferSize, capacity) << size;
            Arranged(handle.Base(), Bytes(10, 0));
            EXPECT_EQ(handle.Base().userDataBufferSize, capacity);
        }
}

TEST(UserDataMessage, OneThatCannotBeBuiltLeavesTheLastOne)
{
    const UserDataHandle handle(VideoCodecAVC);
    CParserBase& parser = handle.Base();
    const Bytes before = Arranged(parser, "41"_bytes), large(503, 9);
    const u8* const block = parser.userDataBuffer;
    AllocationWatch watch(Failing::Once, 1);
    EXPECT_EQ(watch.During([&] { return parser.ArrangeUserData(large.data(), large.Size()); }), -1);
    EXPECT_EQ(parser.ArrangeUserData(large.data(), 0xFFFFFFFF), -1); // no 32 bits hold its length
    EXPECT_TRUE(parser.userDataBuffer == block && parser.userDataBufferSize == 1024);
    EXPECT_EQ(Bytes(block, block + parser.userDataLength), before);
    EXPECT_EQ(Arranged(parser, large), Own(large));
}

class UserDataPayload : public testing::TestWithParam<Format> {
protected:
    const Format& f_ = GetParam();
    const UserDataHandle handle_{f_.codec};

    // Into a frame without SEI and into one with.
    void ExpectCarried(const Bytes& data) const
    {
        const Bytes sets = f_.Unit(f_.parameterSet, "42 80"_bytes), pending = "06 01 c4"_bytes;
        for (const bool withSei : {false, true}) {
            const Bytes sei = withSei ? f_.Sei(pending) : Bytes{};
            const Edited added = handle_.Add(sets + sei + f_.Slice(3), data);
            ASSERT_EQ(added.status, 0);
            const Bytes frame = added.Content();
            ASSERT_EQ(frame, sets + f_.Sei((withSei ? pending : Bytes{}) + Own(data)) + f_.Slice(3));
            const Edited found = handle_.Find(frame), removed = handle_.Remove(frame);
            ASSERT_TRUE(found.status == 0 && found.at == handle_.Base().userFrameBuffer);
            ASSERT_EQ(found.Content(), data);
            ASSERT_EQ(handle_.Base().userPayloadLength, data.size());
            ASSERT_EQ(removed.status, 0);
            ASSERT_EQ(removed.Content(), sets + sei + f_.Slice(3));
        }
    }
};

TEST_P(UserDataPayload, OfAnySizeComesBack)
{
    constexpr u8 kTelling[] = {0, 0, 0, 1, 2, 3, 4, 0x80, 0xff};
    std::mt19937 random(6);
    for (const u32 size :
         {0u, 1u, 2u, 3u, 237u, 238u, 239u, 493u, 494u, 495u, 502u, 503u, 1u << 16, 1u << 20})
        for (const int fill : {0, 1, 3, 0x80, 0xff, -1, -2}) {
            Bytes data(size, static_cast<u8>(fill));
            for (u8& byte : data)
                if (fill < 0)
                    byte = fill == -1 ? static_cast<u8>(random()) : kTelling[random() % sizeof kTelling];
            SCOPED_TRACE(size);
            ExpectCarried(data);
        }
    for (u8 last = 0; last <= 4; ++last) { // 00 00 0x over and over
        Bytes data;
        for (int i = 0; i < 1000; ++i)
            data = data + Bytes{0, 0, last};
        ExpectCarried(data);
    }
}

TEST_P(UserDataPayload, OfZerosInAnyNumberComesBack)
{
    for (u32 zeros = 0; zeros <= 600; ++zeros)
        for (const Bytes& end : {Bytes{}, "01"_bytes, "03"_bytes, "04"_bytes, "80"_bytes})
            ExpectCarried(Bytes(zeros, 0) + end);
}

TEST_P(UserDataPayload, MayBeThatOfAnotherFrame)
{
    const Edited found = handle_.Find(f_.Sei(Own("41 00 00 00 42"_bytes)));
    Edited added;
    const Bytes frame = f_.Slice();
    EXPECT_EQ(
        AddUserData(handle_.Get(), frame.data(), frame.Size(), found.at, found.size, &added.at, &added.size),
        0);
    EXPECT_EQ(added.Content(), f_.Sei(Own("41 00 00 00 42"_bytes)) + frame);
}

TEST_P(UserDataPayload, TheFrameBufferGrowsOnceForTheWholeFrame)
{
    constexpr u32 kCapacity = 3000000;
    const Bytes data = "41 00 00 01"_bytes;
    const u32 fits = kCapacity - WithEmulationPrevention(Own(data)).Size() - f_.Around();
    CParserBase& parser = handle_.Base();
    EXPECT_EQ(handle_.Add(f_.SliceOf(fits), data).status, 0);
    EXPECT_EQ(parser.userFrameBufferSize, kCapacity);
    EXPECT_EQ(handle_.Add(f_.SliceOf(fits + 1), data).Content(), f_.Sei(Own(data)) + f_.SliceOf(fits + 1));
    EXPECT_EQ(parser.userFrameBufferSize, kCapacity + kCapacity + 1);
    EXPECT_EQ(handle_.Add(f_.SliceOf(fits), data).status, 0);
    EXPECT_EQ(parser.userFrameBufferSize, kCapacity + kCapacity + 1);

    for (const u32 more : {0u, 1u, 1000u}) {
        const UserDataHandle other(f_.codec);
        const Bytes large(kCapacity + more, 0x11);
        EXPECT_EQ(other.Find(f_.Sei(Own(large))).Content(), large);
        EXPECT_EQ(other.Base().userFrameBufferSize, kCapacity + more);
    }
}

TEST_P(UserDataPayload, RemovalsBuffersGrowAsStated)
{
    const Bytes sei = f_.Sei("06 03 00 00 00"_bytes); // six bytes when escaped
    const u32 fits = 100000 - f_.Around() - 6;
    const std::pair<Bytes, u32> frames[] = {
        {f_.SliceOf(100000), 100000},
        {f_.SliceOf(100001), 2 * 100001},
        {f_.SliceOf(60000) + f_.SliceOf(60000), 2 * 120000},
        {f_.SliceOf(fits) + sei, 100000},
        {f_.SliceOf(fits + 1) + sei, 2 * 100001},
        {f_.SliceOf(100000) + f_.Sei(Own(Bytes(100, 0))), 100000},
    };
    for (const auto& [frame, capacity] : frames) {
        const UserDataHandle handle(f_.codec);
        EXPECT_EQ(handle.Remove(frame).status, 0);
        EXPECT_EQ(handle.Base().removeFrameBufferSize, capacity);
        handle.Remove(f_.Slice());
        EXPECT_EQ(handle.Base().removeFrameBufferSize, capacity);
    }
    const struct {
        u32 kept, keepSize, escapeSize;
    } rows[] = {{512, 1024, 1024},  {513, 1024, 1026},   {1024, 1024, 2048},
                {1025, 2048, 2050}, {5000, 8192, 10000}, {5001, 8192, 10002}};
    for (const auto& row : rows) {
        const UserDataHandle handle(f_.codec);
        const Bytes frame = f_.Sei(MessagesOf(row.kept));
        EXPECT_EQ(handle.Remove(frame + f_.Slice()).Content(), frame + f_.Slice());
        EXPECT_EQ(handle.Base().seiKeepBufferSize, row.keepSize);
        EXPECT_EQ(handle.Base().seiEscapeBufferSize, row.escapeSize) << row.kept;
        EXPECT_EQ(handle.Base().rbspBufferSize, std::max<std::size_t>(1024, frame.size()));
    }
}

// Growth fails at each point in turn; the same call works once there is memory again.
TEST_P(UserDataPayload, WithoutMemoryThereIsNoResult)
{
    using Call = std::function<Status(void*, Edited&)>;
    const Bytes large(3500000, 0), kept = MessagesOf(60000), full = f_.Sei(Own(large)),
                                   mixed = f_.Sei(kept + Own(kMuch) + kept);
    const Call add = [&](void* handle, Edited& out) {
        return AddUserData(handle, full.data(), full.Size(), kMuch.data(), kMuch.Size(), &out.at, &out.size);
    };
    const Call find = [&](void* handle, Edited& out) {
        return GetUserData(handle, full.data(), full.Size(), &out.at, &out.size);
    };
    const Call remove = [&](void* handle, Edited& out) {
        return RemoveUserData(handle, mixed.data(), mixed.Size(), &out.at, &out.size);
    };
    const struct {
        const Call& call;
        u64 buffers; // that grow
        Bytes expected;
    } rows[] = {
        {add, 2, f_.Sei(Own(large) + Own(kMuch))}, {find, 2, large}, {remove, 4, f_.Sei(kept + kept)}};
    for (const auto& row : rows) {
        u64 n = 0;
        for (bool failed = true; failed;) {
            const UserDataHandle handle(f_.codec);
            Edited out;
            AllocationWatch watch(Failing::Once, ++n);
            const Status status = watch.During([&] { return row.call(handle.Get(), out); });
            failed = watch.Failures() != 0;
            if (failed) {
                EXPECT_EQ(status, -1);
                EXPECT_TRUE(&row.call == &add ? out.Untouched() : out.Nothing()) << n;
                EXPECT_EQ(row.call(handle.Get(), out), 0);
            }
            EXPECT_EQ(out.Content(), row.expected);
        }
        EXPECT_GT(n, row.buffers);
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, UserDataPayload, testing::ValuesIn(kFormats), NameOf);

} // namespace
