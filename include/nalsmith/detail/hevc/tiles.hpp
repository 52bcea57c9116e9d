// SPDX-License-Identifier: MIT
// The tiles of a picture (H.265 6.5.1): slice segments come in their order, not in that of their addresses.
#ifndef NALSMITH_DETAIL_HEVC_TILES_HPP
#define NALSMITH_DETAIL_HEVC_TILES_HPP

#include "nalsmith/detail/bits.hpp"

#include <vector>

namespace nalsmith {
inline namespace v1 {
namespace detail {

// The columns or the rows.
struct HevcTileLines {
    std::uint32_t count = 1;
    std::vector<std::uint32_t> sizes; // in CTBs, without the last one's; empty: all alike

    // Which one a CTB is in, of `length` in all.
    std::uint64_t index_of(std::uint64_t ctb, std::uint64_t length) const noexcept
    {
        if (sizes.empty()) // colBd[i] = i * length / count
            return ((ctb + 1) * count - 1) / length;
        std::uint64_t index = 0;
        for (const std::uint32_t size : sizes) {
            if (ctb < size)
                break;
            ctb -= size;
            ++index;
        }
        return index;
    }
};

struct HevcTiles {
    HevcTileLines columns;
    HevcTileLines rows;

    bool enabled() const noexcept { return columns.count > 1 || rows.count > 1; }

    // Grows from slice segment to slice segment (CtbAddrRsToTs, as far as two addresses are compared).
    std::uint64_t place_of(std::uint64_t address, std::uint64_t width, std::uint64_t height) const noexcept
    {
        if (!enabled())
            return address;
        const std::uint64_t tile =
            rows.index_of(address / width, height) * columns.count + columns.index_of(address % width, width);
        return tile << 32 | address;
    }
};

// After tiles_enabled_flag. False for more than any level has (A.4.1).
inline bool read_hevc_tiles(BitReader& reader, HevcTiles& tiles)
{
    constexpr std::uint32_t kMost = 64;
    const std::uint32_t num_tile_columns_minus1 = reader.ue();
    const std::uint32_t num_tile_rows_minus1 = reader.ue();
    if (num_tile_columns_minus1 >= kMost || num_tile_rows_minus1 >= kMost)
        return false;
    tiles.columns.count = num_tile_columns_minus1 + 1;
    tiles.rows.count = num_tile_rows_minus1 + 1;
    if (reader.flag()) // uniform_spacing_flag
        return true;
    for (HevcTileLines* const lines : {&tiles.columns, &tiles.rows})
        for (std::uint32_t i = 1; i < lines->count; ++i)
            lines->sizes.push_back(reader.ue() + 1); // column_width_minus1[i], row_height_minus1[i]
    return true;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
