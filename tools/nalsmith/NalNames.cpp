// SPDX-License-Identifier: MIT
#include "NalNames.h"

#include <array>

namespace host {

std::string PictureTypeName(VideoPicType type)
{
    constexpr std::array<const char*, 10> kNames = {"P",     "B",     "I",     "SP",     "SI",
                                                    "all P", "all B", "all I", "all SP", "all SI"};
    return type >= 0 ? kNames.at(static_cast<std::size_t>(type)) : "";
}

} // namespace host
