// SPDX-License-Identifier: MIT
// What holds for every input: the rules of cutting and of SEI stated once more byte by byte, and what the
// library's answers are measured by. A broken rule ends the program.
#pragma once

#include "Handles.h"
#include "UserData.h"

#include <cstdio>
#include <cstdlib>
#include <optional>

#define REQUIRE(condition)                                                                                   \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "broken: %s, %s:%d\n", #condition, __FILE__, __LINE__);                     \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

namespace fuzz {

// Reads every byte, so that a sanitizer sees a range that is not the library's to hand out.
inline void Touch(const void* data, std::size_t size)
{
    const volatile u8* bytes = static_cast<const u8*>(data);
    for (std::size_t i = 0; i < size; ++i)
        static_cast<void>(bytes[i]);
}

// Whether each NAL unit, handed in alone, says what it says among the others.
inline bool StandsAlone(const std::vector<Bytes>& units)
{
    return std::all_of(units.begin(), units.end(), [](const Bytes& unit) {
        return unit.size() > 4 && unit.size() > CodeSize(unit) && (unit[CodeSize(unit)] & 0x80) == 0;
    });
}

// The payload types of an SEI NAL unit whose messages fill it up to the stop byte; none for any other.
inline std::optional<std::vector<u64>> MessageTypes(const userdatatest::Format& format, const Bytes& unit)
{
    Bytes payload = WithoutEmulationPrevention(unit);
    while (!payload.empty() && payload.back() == 0)
        payload.pop_back();
    std::size_t at = CodeSize(unit) + format.Header(0).size();
    if (payload.size() <= at || payload.back() != 0x80)
        return std::nullopt;
    const std::size_t end = payload.size() - 1;
    const auto sum = [&](u64& value) {
        for (bool more = true; more; ++at) {
            if (at == end)
                return false;
            value += payload[at];
            more = payload[at] == 0xFF;
        }
        return true;
    };
    std::vector<u64> types;
    while (at < end) {
        u64 type = 0, size = 0;
        if (!sum(type) || !sum(size) || size > end - at)
            return std::nullopt;
        at += size;
        types.push_back(type);
    }
    return types;
}

inline u32 TypeOf(const userdatatest::Format& format, const Bytes& unit)
{
    const u8 first = unit[CodeSize(unit)];
    return format.codec == VideoCodecAVC ? first & 0x1F : first >> 1 & 0x3F;
}

// A frame lies in a slot of the handle and begins with a start code. With one slot it is gone already.
inline void CheckReport(const CParserBase& parser, const Reported& report)
{
    REQUIRE(report.status == 0 || report.status == -1);
    REQUIRE(report.info.frameAvailable <= 1 && report.info.keyFrame <= 1);
    if (report.info.frameAvailable == 0) {
        REQUIRE(report.info.frameData == nullptr && report.info.frameSize == 0 && report.info.keyFrame == 0);
        return;
    }
    bool inSlot = false;
    for (const VideoQueueInfo& slot : parser.queue->slots)
        inSlot = inSlot || (slot.buffer == report.info.frameData && report.info.frameSize <= slot.length);
    REQUIRE(inSlot);
    REQUIRE(report.frame.size() >= 4 && report.frame[0] == 0 && report.frame[1] == 0);
    REQUIRE(report.frame[2] == 1 || (report.frame[2] == 0 && report.frame[3] == 1));
}

// What calls report together: the last access unit, the last sequence fields.
struct Last {
    Bytes frame = {};
    u32 available = 0, keyFrame = 0, sequenceInfoValid = 0;
    SequenceFields fields = {};

    bool operator==(const Last&) const = default;
    void Take(const Reported& report)
    {
        if (report.info.sequenceInfoValid != 0) {
            sequenceInfoValid = report.info.sequenceInfoValid;
            fields = SequenceFieldsOf(report.info);
        }
        if (report.info.frameAvailable == 0)
            return;
        available = 1;
        keyFrame = report.info.keyFrame;
        frame = report.frame;
    }
};

// The last access unit of a whole piece is the last one of its NAL units fed one by one.
void CheckStream(VideoCodecType codec, u32 queueCount, u32 bufferSize, const Bytes& piece);

// Cut anywhere, a stream yields sound reports. `cuts` ascend.
void CheckPieces(VideoCodecType codec, u32 queueCount, u32 bufferSize, const Bytes& stream,
                 const std::vector<std::size_t>& cuts);

// What is put in is found, what is removed is gone, and nothing else changes.
void CheckUserData(const userdatatest::Format& format, const Bytes& frame, const Bytes& data);

} // namespace fuzz
