// SPDX-License-Identifier: MIT
#include "ParameterSets.h"

#include "NalCutter.h"

#include <functional>
#include <optional>
#include <string_view>

namespace host {
namespace {

constexpr unsigned kAvcSps = 7;
constexpr unsigned kAvcPps = 8;

// The bits of a NAL unit, without the bytes that keep start codes out of it (H.264 7.4.1). The ids stand in
// the first few bytes.
class BitReader {
public:
    BitReader(ByteView unit, std::size_t from)
    {
        for (std::size_t i = 0; i < unit.size && bytes_.size() < kEnough; ++i)
            if (i < 2 || unit.data[i] != 3 || unit.data[i - 1] != 0 || unit.data[i - 2] != 0)
                bytes_.push_back(unit.data[i]);
        position_ = from * 8;
    }

    // ue(v), H.264 9.1; none when the data ends before it does.
    std::optional<std::uint32_t> ReadUe()
    {
        unsigned zeros = 0;
        while (zeros < 32 && ReadBit() == 0)
            ++zeros;
        if (zeros == 32)
            return std::nullopt;
        std::uint32_t value = 1;
        for (unsigned i = 0; i < zeros; ++i)
            value = value << 1 | ReadBit();
        return position_ <= bytes_.size() * 8 ? std::optional(value - 1) : std::nullopt;
    }

private:
    static constexpr std::size_t kEnough = 32;

    // 0 behind the end of the data.
    unsigned ReadBit()
    {
        const std::size_t at = position_++;
        return at / 8 < bytes_.size() ? bytes_[at / 8] >> (7 - at % 8) & 1u : 0;
    }

    std::vector<std::uint8_t> bytes_;
    std::size_t position_;
};

ByteView WithoutTrailingZeros(ByteView unit)
{
    while (unit.size != 0 && unit.data[unit.size - 1] == 0)
        --unit.size;
    return unit;
}

std::uint64_t HashOf(ByteView unit)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(unit.data), unit.size});
}

} // namespace

void ParameterSets::AddAvc(ByteView nal)
{
    const ByteView unit = WithoutTrailingZeros(WithoutStartCode(nal));
    const unsigned header = unit.size != 0 ? unit.data[0] : 0;
    const unsigned type = header & 31;
    const bool forbidden_zero_bit = (header & 0x80) != 0;
    if (forbidden_zero_bit || (type != kAvcSps && type != kAvcPps))
        return;
    // The id follows the header; in an SPS three bytes of profile and level are between them.
    const auto id = BitReader(unit, type == kAvcSps ? 4 : 1).ReadUe();
    if (!id)
        return;
    const auto [place, isNew] = places_.try_emplace({type, *id, unit.size, HashOf(unit)}, sets_.size());
    if (isNew)
        sets_.push_back({type == kAvcSps ? "SPS" : "PPS", *id, unit.size, 0});
    ++sets_[place->second].sent;
}

} // namespace host
