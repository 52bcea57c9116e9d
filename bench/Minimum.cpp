// SPDX-License-Identifier: MIT
#include "Minimum.h"

#include <cstring>
#include <immintrin.h>

#define NALSMITH_AVX2 __attribute__((target("avx2")))

namespace minimum {
namespace {

// Exp-Golomb codes of up to 57 bits, out of 64 loaded bits.
class Fields {
public:
    explicit Fields(const u8* at) : at_(at) {}

    u32 u(u32 n)
    {
        const u32 value = static_cast<u32>(Load() >> (64 - n));
        position_ += n;
        return value;
    }
    u32 ue()
    {
        const u64 word = Load();
        const u32 length = 2 * static_cast<u32>(__builtin_clzll(word | 1)) + 1;
        position_ += length;
        return static_cast<u32>(word >> (64 - length)) - 1;
    }

private:
    u64 Load() const
    {
        u64 word;
        std::memcpy(&word, at_ + position_ / 8, sizeof word);
        return __builtin_bswap64(word) << position_ % 8;
    }

    const u8* at_;
    u32 position_ = 0;
};

// Ten fields, as many as a slice header has up to its picture order count with fields coded.
u32 TenFields(const u8* payload)
{
    Fields fields(payload);
    u32 sum = fields.ue() + fields.ue() + fields.ue();
    sum += fields.u(8) + fields.u(1) + fields.u(1) + fields.u(8);
    return sum + fields.ue() + fields.u(1) + fields.u(1);
}

enum class Kind { Slice, Sei, Other };

Kind KindOf(const u8* startCode, VideoCodecType codec)
{
    const u32 header = startCode[3];
    const u32 type = codec == VideoCodecAVC ? header & 31 : header >> 1 & 63;
    if (type == (codec == VideoCodecAVC ? 6 : 39))
        return Kind::Sei;
    const bool slice = codec == VideoCodecAVC ? type == 1 || type == 5 : type < 32;
    return slice ? Kind::Slice : Kind::Other;
}

u32 HeaderBytes(VideoCodecType codec)
{
    return codec == VideoCodecAVC ? 4 : 5; // behind the first byte of 00 00 01
}

u32 Unescape(const u8* from, const u8* end, u8* to)
{
    u8* const begin = to;
    int zeros = 0;
    for (; from != end; ++from) {
        if (zeros >= 2 && *from == 3) {
            zeros = 0;
            continue;
        }
        zeros = *from == 0 ? zeros + 1 : 0;
        *to++ = *from;
    }
    return static_cast<u32>(to - begin);
}

// Calls back with each NAL unit, from 00 00 01 to the next.
template <typename Function>
void ForEach(const Bytes& unit, Function&& function)
{
    const u8* const end = unit.data() + unit.size();
    const u8* at = FindStartCode(unit.data(), end);
    while (at != end) {
        const u8* next = FindStartCode(at + 3, end);
        function(at, next);
        at = next;
    }
}

} // namespace

NALSMITH_AVX2 const u8* FindStartCode(const u8* from, const u8* end)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i one = _mm256_set1_epi8(1);
    for (; end - from >= 34; from += 32) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + 1));
        const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + 2));
        const __m256i zeros = _mm256_cmpeq_epi8(_mm256_or_si256(a, b), zero);
        const u32 mask =
            static_cast<u32>(_mm256_movemask_epi8(_mm256_and_si256(zeros, _mm256_cmpeq_epi8(c, one))));
        if (mask != 0)
            return from + __builtin_ctz(mask);
    }
    for (; end - from >= 3; ++from)
        if (from[0] == 0 && from[1] == 0 && from[2] == 1)
            return from;
    return end;
}

u32 Copy(const Bytes& unit, u8* to)
{
    std::memcpy(to, unit.data(), unit.size());
    return to[unit.size() / 2];
}

u32 Scan(const Bytes& unit)
{
    u32 found = 0;
    ForEach(unit, [&](const u8*, const u8*) { ++found; });
    return found;
}

u32 ScanAndCopy(const Bytes& unit, u8* to)
{
    return Scan(unit) + Copy(unit, to);
}

u32 Read(const Bytes& unit, VideoCodecType codec, u8* to)
{
    u32 sum = 0;
    ForEach(unit, [&](const u8* at, const u8* next) {
        if (KindOf(at, codec) == Kind::Slice)
            sum += TenFields(at + HeaderBytes(codec));
        std::memcpy(to, at, static_cast<std::size_t>(next - at));
        to += next - at;
    });
    return sum;
}

u32 Sample(const Bytes& unit, VideoCodecType codec)
{
    const u8* const end = unit.data() + unit.size();
    for (const u8* at = FindStartCode(unit.data(), end); at != end; at = FindStartCode(at + 3, end))
        if (KindOf(at, codec) == Kind::Slice)
            return TenFields(at + HeaderBytes(codec));
    return 0;
}

u32 Walk(const Bytes& unit, VideoCodecType codec)
{
    u32 sum = 0;
    ForEach(unit, [&](const u8* at, const u8*) {
        if (KindOf(at, codec) == Kind::Slice)
            sum += TenFields(at + HeaderBytes(codec));
    });
    return sum;
}

u32 Add(const Bytes& unit, VideoCodecType codec, const Bytes& data, u8* to)
{
    const u8* const begin = to;
    bool placed = false;
    ForEach(unit, [&](const u8* at, const u8* next) {
        if (!placed && KindOf(at, codec) == Kind::Slice) {
            std::memset(to, 0x11, 24); // start code, header, type, size, UUID
            std::memcpy(to + 24, data.data(), data.size());
            to += 24 + data.size();
            placed = true;
        }
        std::memcpy(to, at, static_cast<std::size_t>(next - at));
        to += next - at;
    });
    return static_cast<u32>(to - begin);
}

u32 Get(const Bytes& unit, VideoCodecType codec, u8* scratch)
{
    u32 size = 0;
    ForEach(unit, [&](const u8* at, const u8* next) {
        if (KindOf(at, codec) == Kind::Sei)
            size += Unescape(at + HeaderBytes(codec), next, scratch);
    });
    return size;
}

u32 Remove(const Bytes& unit, VideoCodecType codec, u8* to, u8* scratch)
{
    const u8* const begin = to;
    u32 dropped = 0;
    ForEach(unit, [&](const u8* at, const u8* next) {
        if (KindOf(at, codec) == Kind::Sei) {
            dropped += Unescape(at + HeaderBytes(codec), next, scratch);
            return;
        }
        std::memcpy(to, at, static_cast<std::size_t>(next - at));
        to += next - at;
    });
    return static_cast<u32>(to - begin) + dropped;
}

} // namespace minimum
