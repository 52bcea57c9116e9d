// SPDX-License-Identifier: MIT
// Every function with buffers that end where readable memory does, and with buffers that the handle handed
// out.
#include "AvcStream.h"
#include "BothHandles.h"
#include "HevcStream.h"
#include "support/Memory.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

// Memory with nothing readable behind it.
class Guarded {
public:
    explicit Guarded(std::size_t least) : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
    {
        size_ = (least + page_ - 1) / page_ * page_;
        void* const pages =
            mmap(nullptr, size_ + page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(pages, MAP_FAILED);
        begin_ = static_cast<u8*>(pages);
        EXPECT_EQ(mprotect(begin_ + size_, page_, PROT_NONE), 0);
    }
    ~Guarded() { munmap(begin_, size_ + page_); }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    // The address of a copy that ends where the memory does.
    const u8* Put(const u8* bytes, std::size_t size)
    {
        u8* const at = begin_ + size_ - size;
        std::copy(bytes, bytes + size, at);
        return at;
    }

private:
    std::size_t page_;
    std::size_t size_ = 0;
    u8* begin_ = nullptr;
};

void ExpectStatuses(const std::vector<Answer>& answers)
{
    EXPECT_GE(answers.size(), 11u);
    for (const Answer& answer : answers)
        ASSERT_TRUE(IsStatus(answer.status)) << testing::PrintToString(answer);
}

// Of all calls but those that read the stream, whose answers depend on what came before.
void ExpectSameAgain(const BothHandles& handles, const Bytes& piece, const std::vector<Answer>& answers)
{
    const auto copy = (piece + Bytes(8, 0x80)).Exact(); // more behind it changes nothing
    const std::vector<Answer> again = handles.Call(copy.get(), piece.Size());
    ASSERT_EQ(std::vector<Answer>(again.begin() + 2, again.end()),
              std::vector<Answer>(answers.begin() + 2, answers.end()))
        << testing::PrintToString(piece);
}

TEST(GuardedInput, OfAnySmallLengthIsNotReadBehindItsEnd)
{
    using namespace hevctest;
    std::vector<Bytes> contents = {Bytes(64, 0),
                                   avctest::Sps{} + avctest::Pps{} + avctest::Slice{},
                                   Sps{} + Pps{} + Slice{},
                                   Slice{} + Bytes(64, 0),
                                   avctest::Sei{} + avctest::Slice{},
                                   Sei{} + Slice{}};
    for (const Bytes& repeated : {"00 00 01"_bytes, "00 00 00 01"_bytes, "00 00 03"_bytes,
                                  "00 00 01 41"_bytes, "00 00 01 06 05 ff"_bytes, "00 00 01 4e 01 05"_bytes})
        contents.push_back(Join(std::vector<Bytes>(22, repeated)));
    Guarded page(64);
    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC}) {
        const BothHandles handles(codec);
        for (Bytes& content : contents) {
            content.resize(64);
            for (u32 size = 0; size <= 64; ++size) {
                const std::vector<Answer> answers = handles.Call(page.Put(content.data(), size), size);
                ExpectStatuses(answers);
                ExpectSameAgain(handles, content.From(0, size), answers);
            }
        }
    }
}

TEST(GuardedInput, MayBeAnyBeginningOfAStream)
{
#if defined(NALSMITH_EXACT_ALLOCATION)
    constexpr u32 kStep = 7; // a sanitizer takes its time
#else
    constexpr u32 kStep = 1;
#endif
    for (const NamedStream& stream : kSmallStreams) {
        const Bytes content = StreamFile(stream.file);
        ASSERT_GT(content.size(), 6000u);
        Guarded pages(content.size());
        const BothHandles handles(stream.codec);
        for (u32 size = 0; size <= content.Size(); size += kStep)
            ExpectStatuses(handles.Call(pages.Put(content.data(), size), size));
    }
}

// Parameter sets with everything in them, key pictures with and without them, SEI between.
Bytes RichStream(VideoCodecType codec)
{
    using avctest::ScalingList, avctest::Timing, avctest::VideoSignal;
    const avctest::Vui vui{.aspect_ratio_idc = 255, .signal = VideoSignal{5, 0, 1}, .timing = Timing{}};
    if (codec == VideoCodecHEVC) {
        using namespace hevctest;
        const Sps sps{.subLayers = {{1, 1}},
                      .scaling_list_enabled_flag = 1,
                      .pcm_enabled_flag = 1,
                      .st_ref_pic_sets = {{2, 1}, {.flags = "1 01 00 1"}},
                      .vui = vui};
        return Delimiter{} + Vps{} + sps + Pps{} + Slice{.nal_unit_type = kIdr} + Sei{} + Slice{} +
               Delimiter{} + Slice{.nal_unit_type = kCra} + Sei{40} + Slice{};
    }
    using namespace avctest;
    const Sps sps{.profile_idc = 244,
                  .chroma_format = true,
                  .chroma_format_idc = 3,
                  .scaling_lists = std::vector<ScalingList>(12, std::vector<i32>{4, -12}),
                  .pic_order_cnt_type = 1,
                  .offset_for_ref_frame = {1, -1, 2},
                  .frame_mbs_only_flag = 0,
                  .crop = Cropping{.bottom = 1},
                  .vui = vui};
    return Delimiter{} + sps + Pps{} + Slice{.sps = sps, .nal_unit_type = kIdr} + Sei{} +
           Slice{.sps = sps, .frame_num = 1, .delta_pic_order_cnt = {-3, 4}} + Delimiter{} +
           Slice{.sps = sps, .nal_unit_type = kIdr, .idr_pic_id = 1, .startCodeSize = 3};
}

TEST(GuardedInput, MayBeWrongInAnyBit)
{
    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC}) {
        const Bytes stream = RichStream(codec);
        for (std::size_t bit = 0; bit < 8 * stream.size(); ++bit) {
            Bytes damaged = stream;
            damaged[bit / 8] = static_cast<u8>(damaged[bit / 8] ^ 0x80 >> bit % 8);
            const ParsingHandle handle(codec, 2, 20);
            handle.Feed(damaged);
            for (const Reported& unit : handle.FeedAll(SplitNalUnits(damaged))) {
                ASSERT_TRUE(IsStatus(unit.status));
                ASSERT_EQ(Join(SplitNalUnits(unit.frame)), unit.frame) << "bit " << bit;
            }
            handle.Feed(stream); // and the next one is read as ever
            ASSERT_EQ(handle.Flush().info.keyFrame, codec == VideoCodecAVC ? 1u : 0u) << "bit " << bit;
        }
    }
}

// Each thing handed out is intact until its own function is called again.
TEST(GuardedInput, HandedOutByOneFunctionStaysIntactWhileOthersReadIt)
{
    using namespace avctest;
    const Bytes unit = Delimiter{} + Sps{} + Pps{} + Slice{.nal_unit_type = kIdr};
    const Bytes large = Sps{.pic_width_in_mbs = 9} + Pps{} + Sei{.message = Bytes(3000, 0)} +
                        Slice{.nal_unit_type = kIdr, .idr_pic_id = 1, .data = Bytes(9000, 0)};
    const BothHandles handles(VideoCodecAVC);
    const auto frame = unit.Exact(), other = large.Exact();
    VideoInfo info;
    VideoInfoEx verdict;
    ParameterSetData sets;
    u32 count = 0, *sizes = nullptr, outSize = 0, addedSize = 0;
    u8** nals = nullptr;
    const u8 *removed = nullptr, *added = nullptr;
    GetNalFromFrame(handles.parsing, frame.get(), unit.Size(), &count, &nals, &sizes);
    GetParameterSetData(handles.parsing, frame.get(), unit.Size(), &sets);
    ParseVideoParams(handles.parsing, frame.get(), unit.Size(), &info);
    ParseVideoParams(handles.parsing, other.get(), large.Size(), &info);
    VideoSampleTest(handles.parsing, other.get(), large.Size(), &verdict);
    SetParameterSetData(handles.parsing, other.get(), large.Size(), other.get(), large.Size());
    ASSERT_TRUE(count == 4 && info.frameAvailable == 1 && sets.spsSize != 0);
    EXPECT_EQ(Bytes(nals[0], nals[3] + sizes[3]), unit);
    EXPECT_EQ(Bytes(sets.spsData, sets.spsData + sets.spsSize), Bytes(Sps{}));
    EXPECT_EQ(Bytes(sets.ppsData, sets.ppsData + sets.ppsSize), Bytes(Pps{}));
    EXPECT_EQ(Bytes(info.frameData, info.frameData + info.frameSize), unit);

    // It is input like any other, where no call writes to it.
    u8* const again = const_cast<u8*>(info.frameData);
    EXPECT_EQ(VideoSampleTest(handles.parsing, again, info.frameSize, &verdict), 0);
    EXPECT_EQ(GetNalFromFrame(handles.parsing, again, info.frameSize, &count, &nals, &sizes), 0);
    EXPECT_TRUE(count == 4 && nals[0] == again);
    EXPECT_EQ(SetParameterSetData(handles.parsing, const_cast<u8*>(sets.spsData), sets.spsSize,
                                  const_cast<u8*>(sets.ppsData), sets.ppsSize),
              0);
    EXPECT_EQ(Bytes(again, again + info.frameSize), unit);

    ASSERT_EQ(RemoveUserData(handles.userData, frame.get(), unit.Size(), &removed, &outSize), 0);
    ASSERT_EQ(AddUserData(handles.userData, other.get(), large.Size(), other.get(), large.Size(), &added,
                          &addedSize),
              0);
    EXPECT_EQ(Bytes(removed, removed + outSize), unit);
    const Bytes before(added, added + addedSize);
    RemoveUserData(handles.userData, other.get(), large.Size(), &removed, &outSize);
    EXPECT_EQ(Bytes(added, added + addedSize), before);
}

} // namespace
