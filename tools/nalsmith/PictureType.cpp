// SPDX-License-Identifier: MIT
#include "PictureType.h"

namespace host {

PictureType PictureTypes::Of(ByteView bytes)
{
    VideoPicType type = VideoPicTypeUnknown;
    if (QueryType(handle_.get(), bytes.data, static_cast<std::uint32_t>(bytes.size), type) != 0)
        return std::nullopt;
    return type;
}

std::string PictureTypeText(PictureType type)
{
    if (!type)
        return {};
    switch (*type) {
    case VideoPicTypeP: return "P";
    case VideoPicTypeB: return "B";
    case VideoPicTypeI: return "I";
    case VideoPicTypeSP: return "SP";
    case VideoPicTypeSI: return "SI";
    case VideoPicTypeAllP: return "all P";
    case VideoPicTypeAllB: return "all B";
    case VideoPicTypeAllI: return "all I";
    case VideoPicTypeAllSP: return "all SP";
    case VideoPicTypeAllSI: return "all SI";
    default: return std::to_string(static_cast<std::uint32_t>(*type)); // coded so, but no slice_type
    }
}

Json PictureTypeJson(PictureType type)
{
    return type ? Json(static_cast<std::uint32_t>(*type)) : Json();
}

} // namespace host
