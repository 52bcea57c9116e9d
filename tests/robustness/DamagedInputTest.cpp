// SPDX-License-Identifier: MIT
// Input that is cut, damaged or no stream at all: nothing outside it is read, nothing outside a slot handed
// out.
#include "AvcStream.h"
#include "Handles.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace avctest;

Bytes SmallStream()
{
    const Sps sps{
        .profile_idc = 244,
        .chroma_format = true,
        .chroma_format_idc = 3,
        .scaling_lists = std::vector<ScalingList>(12, std::vector<i32>{4, -12}),
        .pic_order_cnt_type = 1,
        .offset_for_ref_frame = {1, -1, 2},
        .frame_mbs_only_flag = 0,
        .crop = Cropping{.bottom = 1},
        .vui = Vui{.aspect_ratio_idc = 255, .signal = VideoSignal{5, 0, 1, 1, 0, 0}, .timing = Timing{}}};
    const Pps pps{.bottom_field_pic_order_in_frame_present_flag = 1};
    return Delimiter{} + sps + pps + Slice{.sps = sps, .pps = pps, .nal_unit_type = kIdr} + Sei{} +
           Slice{.sps = sps, .pps = pps, .frame_num = 1, .delta_pic_order_cnt = {-3, 4}} + Delimiter{} +
           Slice{.sps = sps, .pps = pps, .nal_unit_type = kIdr, .idr_pic_id = 1, .startCodeSize = 3};
}

// A page of memory with nothing readable behind it.
class GuardedPage {
public:
    GuardedPage() : size_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
    {
        void* const pages =
            mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(pages, MAP_FAILED);
        page_ = static_cast<u8*>(pages);
        EXPECT_EQ(mprotect(page_ + size_, size_, PROT_NONE), 0);
    }
    ~GuardedPage() { munmap(page_, 2 * size_); }
    GuardedPage(const GuardedPage&) = delete;
    GuardedPage& operator=(const GuardedPage&) = delete;

    // The address of a copy that ends where the page does.
    const u8* Put(const Bytes& bytes)
    {
        u8* const at = page_ + size_ - bytes.size();
        std::copy(bytes.begin(), bytes.end(), at);
        return at;
    }

private:
    std::size_t size_;
    u8* page_ = nullptr;
};

// A frame lies in a slot and begins with a start code.
void ExpectSound(const ParsingHandle& handle, const Reported& unit)
{
    ASSERT_TRUE(unit.status == 0 || unit.status == -1);
    if (unit.info.frameAvailable == 0)
        return;
    bool inSlot = false;
    for (const VideoQueueInfo& slot : handle.Avc().queue->slots)
        inSlot = inSlot || (slot.buffer == unit.info.frameData && unit.info.frameSize <= slot.capacity);
    ASSERT_TRUE(inSlot);
    ASSERT_FALSE(SplitNalUnits(unit.frame).empty());
    ASSERT_EQ(Join(SplitNalUnits(unit.frame)), unit.frame);
}

TEST(DamagedInput, NothingBehindTheBufferIsRead)
{
    GuardedPage page;
    const Bytes stream = SmallStream() + SmallStream();
    const std::vector<Bytes> nals = SplitNalUnits(stream);
    std::vector<Bytes> contents = {Bytes(64, 0), stream, nals[1] + nals[1],
                                   nals[1].From(0, 5) + Bytes(64, 0)};
    for (const Bytes& repeated :
         {"00 00 01"_bytes, "00 00 00 01"_bytes, "00 00 03"_bytes, "00 00 01 41"_bytes, nals[3]})
        contents.push_back(Join(std::vector<Bytes>(22, repeated)));
    const ParsingHandle handle;
    handle.Feed(SmallStream());
    for (const Bytes& content : contents)
        for (u32 size = 0; size <= 64; ++size) {
            VideoInfo info = UnwrittenInfo();
            const Bytes piece = content.From(0, size);
            const bool noStartCode = size > 4 && CParserBase::GetStartCode(piece.data(), size) == nullptr;
            EXPECT_EQ(ParseVideoParams(handle.Get(), page.Put(piece), size, &info), noStartCode ? -1 : 0)
                << testing::PrintToString(piece);
        }
}

TEST(DamagedInput, StreamsMayEndAnywhere)
{
    const Bytes stream = SmallStream();
    for (std::size_t size = 0; size <= stream.size(); ++size) {
        const ParsingHandle handle(VideoCodecAVC, 2, 20);
        ExpectSound(handle, handle.Feed(stream.From(0, size)));
        ExpectSound(handle, handle.Flush());
        handle.Feed(stream); // and the next one is read as ever
        EXPECT_EQ(handle.Flush().info.keyFrame, 1u);
    }
}

TEST(DamagedInput, AnyBitMayBeWrong)
{
    const Bytes stream = SmallStream();
    for (std::size_t bit = 0; bit < 8 * stream.size(); ++bit) {
        Bytes damaged = stream;
        damaged[bit / 8] = static_cast<u8>(damaged[bit / 8] ^ 0x80 >> bit % 8);
        const ParsingHandle handle(VideoCodecAVC, 2, 20);
        ExpectSound(handle, handle.Feed(damaged));
        for (const Bytes& nal : SplitNalUnits(damaged))
            ExpectSound(handle, handle.Feed(nal));
        ExpectSound(handle, handle.Flush());
    }
}

} // namespace
