// SPDX-License-Identifier: MIT
// Names out of the standards.
#pragma once

#include <nalsmith/bytes.hpp>

#include <optional>
#include <string>

namespace host {

// What the standard calls a NAL unit type (H.264 Table 7-1, H.265 Table 7-1).
std::string NalTypeName(nalsmith::Codec codec, unsigned nal_unit_type);

// "P"; "all P" where the slice says that all of its picture are; nothing for an unknown type.
std::string PictureTypeName(VideoPicType type);

} // namespace host
