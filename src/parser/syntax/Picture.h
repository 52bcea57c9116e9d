// SPDX-License-Identifier: MIT
// From coded to cropped picture size, which both standards define alike (H.264 7.4.2.1.1, H.265 7.4.3.2.1).
#pragma once

#include "support/Types.h"

namespace nalsmith_internal::syntax {

// Offsets in crop units.
struct Cropping {
    u32 left = 0;
    u32 right = 0;
    u32 top = 0;
    u32 bottom = 0;
};

// Luma samples per crop unit of a frame: SubWidthC and SubHeightC (H.264 Table 6-1, H.265 Table 6-1).
struct CropUnit {
    u32 x;
    u32 y;
};

// A chroma format that the standards do not define disables cropping.
constexpr CropUnit CropUnitOf(u32 chroma_format_idc)
{
    switch (chroma_format_idc) {
    case 0: return {1, 1};
    case 1: return {2, 2};
    case 2: return {2, 1};
    case 3: return {1, 1};
    default: return {0, 0};
    }
}

constexpr u32 CroppedWidth(u32 coded, const Cropping& crop, const CropUnit& unit)
{
    return coded - unit.x * crop.right - unit.x * crop.left;
}

constexpr u32 CroppedHeight(u32 coded, const Cropping& crop, const CropUnit& unit)
{
    return coded - unit.y * crop.bottom - unit.y * crop.top;
}

} // namespace nalsmith_internal::syntax
