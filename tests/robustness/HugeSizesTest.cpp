// SPDX-License-Identifier: MIT
// Buffers of nearly 2^32 bytes: sums of sizes do not wrap, and what is refused is refused at once. No such
// amount is ever allocated: large allocations fail.
#include "AvcStream.h"
#include "BothHandles.h"
#include "FailingAllocation.h"
#include "UserData.h"
#include "support/Memory.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace userdatatest;

constexpr u32 kHuge = 0xFFFFFFF0;

// 4 GiB of readable bytes out of few: the same pages, again and again. A few bytes may be set at the front.
class HugeBuffer {
public:
    HugeBuffer()
    {
        const int file = memfd_create("huge", 0);
        Bytes block(kBlock, 0x55);
        EXPECT_EQ(write(file, block.data(), kBlock), static_cast<ssize_t>(kBlock));
        void* const all = mmap(nullptr, kAll, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        EXPECT_NE(all, MAP_FAILED);
        data_ = static_cast<u8*>(all);
        for (u64 at = 0; at < kAll; at += kBlock) // the first is a copy
            EXPECT_NE(mmap(data_ + at, kBlock, at == 0 ? PROT_READ | PROT_WRITE : PROT_READ,
                           (at == 0 ? MAP_PRIVATE : MAP_SHARED) | MAP_FIXED, file, 0),
                      MAP_FAILED);
        close(file);
    }
    ~HugeBuffer() { munmap(data_, kAll); }
    HugeBuffer(const HugeBuffer&) = delete;
    HugeBuffer& operator=(const HugeBuffer&) = delete;

    u8* With(const Bytes& front)
    {
        std::fill_n(data_, 64, u8{0x55});
        std::copy(front.begin(), front.end(), data_);
        return data_;
    }

private:
    static constexpr u64 kBlock = u64{1} << 21, kAll = u64{1} << 32;
    u8* data_ = nullptr;
};

class HugeSizes : public testing::Test {
protected:
    void SetUp() override
    {
#if defined(NALSMITH_EXACT_ALLOCATION) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "a sanitizer's shadow of so much memory would take too long";
#endif
    }

    // Without memory. The largest amount asked for, if any, is at least `least`.
    template <typename Call>
    static void ExpectRefused(u64 least, const Call& call)
    {
        AllocationWatch watch(Failing::FromThenOn, 1);
        EXPECT_EQ(watch.During(call), -1);
        EXPECT_EQ(watch.Calls() != 0, least != 0);
        EXPECT_GE(watch.Largest(), least);
        EXPECT_LT(watch.Largest(), u64{1} << 32);
    }
};

TEST_F(HugeSizes, StreamsAreRefusedWhole)
{
    HugeBuffer huge;
    const Bytes unit = avctest::Sps{} + avctest::Pps{} + avctest::Slice{.nal_unit_type = avctest::kIdr};
    for (const Bytes& front : {"00 00 01 0c ff"_bytes, "00 00 01 06 ff"_bytes}) {
        const ParsingHandle handle(VideoCodecAVC, 2, 100000);
        handle.Feed(unit);
        const bool waits = front[3] == 6; // in the spare slot, which is empty: the sum is the size itself
        VideoInfo info;
        ExpectRefused(waits ? kHuge : 0,
                      [&] { return ParseVideoParams(handle.Get(), huge.With(front), kHuge, &info); });
        EXPECT_EQ(handle.Flush().frame, unit);
    }
}

TEST_F(HugeSizes, WhatOnlyLooksIntoABufferAnswers)
{
    HugeBuffer huge;
    const ParsingHandle handle;
    handle.Feed(avctest::Sps{} + avctest::Pps{});
    u8* const data = huge.With(avctest::Slice{});
    VideoInfoEx verdict = {};
    VideoPicType type = VideoPicTypeUnknown;
    ParameterSetData sets = {};
    u32 count = 0, *sizes = nullptr;
    u8** nals = nullptr;
    EXPECT_EQ(VideoSampleTest(handle.Get(), data, kHuge, &verdict), 0);
    EXPECT_EQ(QueryType(handle.Get(), data, kHuge, type), 0);
    EXPECT_EQ(GetNalFromFrame(handle.Get(), data, kHuge, &count, &nals, &sizes), 0);
    EXPECT_TRUE(count == 1 && sizes[0] == kHuge);
    huge.With("00 00 01 67 42"_bytes);
    EXPECT_EQ(GetParameterSetData(handle.Get(), data, kHuge, &sets), 0);
    EXPECT_EQ(sets.spsData, nullptr);
}

TEST_F(HugeSizes, ImportsThatDoNotFitWithAStartCodeAreRefused)
{
    HugeBuffer huge;
    const ParsingHandle handle;
    u8 pps[] = {0x68, 0xCE};
    u8* const data = huge.With({});
    ExpectRefused(0, [&] { return SetParameterSetData(handle.Get(), data, 0xFFFFFFFC, pps, 2); });
    ExpectRefused(kHuge, [&] { return SetParameterSetData(handle.Get(), data, kHuge, pps, 2); });
    EXPECT_EQ(handle.Avc().spsNalSize, 0u);
}

TEST_F(HugeSizes, UserDataIsRefusedWhereSumsPass32Bits)
{
    HugeBuffer huge;
    u8* const data = huge.With({});
    for (const Format& format : kFormats) {
        const UserDataHandle handle(format.codec);
        const Bytes frame = format.Slice();
        Edited out;
        const auto add = [&](const u8* in, u32 inSize, u32 dataSize) {
            return AddUserData(handle.Get(), in, inSize, data, dataSize, &out.at, &out.size);
        };
        for (const u32 size : {0xFFFFFFFFu, kHuge, 0xE0000000u}) // half as much again when escaped
            ExpectRefused(0, [&] { return add(frame.data(), frame.Size(), size); });
        ExpectRefused(0x90000000, [&] { return add(frame.data(), frame.Size(), 0x90000000); });
        ExpectRefused(0, [&] { return add(data, 0xFFFFFFFF, 8); });
        ExpectRefused(kHuge - 100, [&] { return add(data, kHuge - 100, 8); });
        EXPECT_TRUE(out.Untouched());

        huge.With(format.Unit(format.firstSlice, {}));
        ExpectRefused(kHuge, [&] { return RemoveUserData(handle.Get(), data, kHuge, &out.at, &out.size); });
        huge.With(format.Unit(format.sei, {}));
        ExpectRefused(kHuge, [&] { return GetUserData(handle.Get(), data, kHuge, &out.at, &out.size); });
        EXPECT_TRUE(out.Nothing());
    }
}

} // namespace
