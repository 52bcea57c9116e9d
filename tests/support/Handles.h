// SPDX-License-Identifier: MIT
// Handles that release themselves, and what comes out of them.
#pragma once

#include "Bytes.h"
#include "nalsmith/nalsmith.h"
#include "parser/VideoParams.h"

#include <array>
#include <cstddef>
#include <cstring>

using SequenceFields = std::array<u32, 11>; // width to matrix_coefficients

inline SequenceFields SequenceFieldsOf(const VideoInfo& info)
{
    SequenceFields fields;
    std::memcpy(fields.data(), reinterpret_cast<const u8*>(&info) + offsetof(VideoInfo, width),
                sizeof fields);
    return fields;
}

inline bool AllFieldsAre(u32 value, const VideoInfo& info)
{
    SequenceFields same;
    same.fill(value);
    return info.frameAvailable == value && info.sequenceInfoValid == value && info.keyFrame == value &&
           reinterpret_cast<u64>(info.frameData) == (u64{value} << 32 | value) && info.frameSize == value &&
           SequenceFieldsOf(info) == same;
}

// A record without memory is no failure of the call that read it: slices that need it are refused.
inline bool IsOfARecord(u64 size)
{
    return size == sizeof(AvcSpsInfo) || size == sizeof(AvcPpsInfo) || size == sizeof(HevcVpsRecord) ||
           size == sizeof(HevcSpsRecord) || size == sizeof(HevcPpsRecord);
}

// A value that no call leaves by chance, in every field.
constexpr u32 kUnwritten = 0xEEEEEEEE;

inline VideoInfo UnwrittenInfo()
{
    VideoInfo info;
    std::memset(&info, 0xEE, sizeof info);
    return info;
}

// What one call of ParseVideoParams() reported, with the access unit's bytes copied.
struct Reported {
    Status status = 0;
    VideoInfo info = UnwrittenInfo();
    Bytes frame = {};
};

class ParsingHandle {
public:
    explicit ParsingHandle(VideoCodecType codec = VideoCodecAVC, u32 queueCount = 0, u32 queueBufferSize = 0)
    {
        ParseCreate(&handle_, codec, queueCount, queueBufferSize);
    }
    ~ParsingHandle() { ParseRelease(handle_); }
    ParsingHandle(const ParsingHandle&) = delete;
    ParsingHandle& operator=(const ParsingHandle&) = delete;

    void* Get() const { return handle_; }
    CParserBase& Base() const { return *static_cast<CParserBase*>(handle_); }
    CParseAVCParams& Avc() const { return static_cast<CParseAVCParams&>(Base()); }
    CParseHEVCParams& Hevc() const { return static_cast<CParseHEVCParams&>(Base()); }

    // The piece is gone when the call is over.
    Reported Feed(const Bytes& piece) const { return Call(piece.Exact().get(), piece.Size()); }
    Reported Flush() const { return Call(nullptr, 0); }

    // Every access unit that the calls report, the flushed one included.
    std::vector<Reported> FeedAll(const std::vector<Bytes>& pieces) const
    {
        std::vector<Reported> units;
        for (const Bytes& piece : pieces)
            units.push_back(Feed(piece));
        units.push_back(Flush());
        std::erase_if(units, [](const Reported& unit) { return unit.info.frameAvailable == 0; });
        return units;
    }

private:
    Reported Call(const u8* data, u32 size) const
    {
        Reported result;
        result.status = ParseVideoParams(handle_, data, size, &result.info);
        if (result.info.frameAvailable == 1)
            result.frame = Bytes(result.info.frameData, result.info.frameData + result.info.frameSize);
        return result;
    }

    void* handle_ = nullptr;
};

inline std::vector<Bytes> FramesOf(const std::vector<Reported>& units)
{
    std::vector<Bytes> frames;
    for (const Reported& unit : units)
        frames.push_back(unit.frame);
    return frames;
}

// What one call of VideoSampleTest() said.
struct Verdict {
    Status status = 0;
    u32 discontinuity = 0, isFramePicture = 0, intraPicture = 0;

    bool operator==(const Verdict&) const = default;
};

inline void PrintTo(const Verdict& v, std::ostream* out)
{
    *out << v.status << ": " << v.discontinuity << v.isFramePicture << v.intraPicture;
}

inline Verdict Judge(const ParsingHandle& handle, const Bytes& sample)
{
    VideoInfoEx info = {7, 7, 7};
    const Status status = VideoSampleTest(handle.Get(), sample.Exact().get(), sample.Size(), &info);
    return {status, info.discontinuity, info.isFramePicture, info.intraPicture};
}

inline Bytes Held(const VideoQueueInfo& slot)
{
    return Bytes(slot.buffer, slot.buffer + slot.length);
}
