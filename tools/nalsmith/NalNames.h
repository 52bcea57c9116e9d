// SPDX-License-Identifier: MIT
// Names out of the standards.
#pragma once

#include <nalsmith/nalsmith.h>

#include <string>

namespace host {

// "P"; "all P" where the slice says that all of its picture are; nothing for an unknown type.
std::string PictureTypeName(VideoPicType type);

} // namespace host
