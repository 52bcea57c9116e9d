// SPDX-License-Identifier: MIT
// The picture type of H.264 access units and slices.
#pragma once

#include "Bytes.h"
#include "Handles.h"
#include "Output.h"

#include <nalsmith/nalsmith.h>

#include <optional>
#include <string>

namespace host {

using PictureType = std::optional<VideoPicType>; // none for H.265, and where there is no slice

class PictureTypes {
public:
    explicit PictureTypes(VideoCodecType codec) : handle_(MakeParsingHandle(codec)) {}

    // The type that the first slice tells. `bytes` begins with a start code.
    PictureType Of(ByteView bytes);

private:
    ParsingHandle handle_; // not the one that reads the stream
};

// "P"; "all P" where the slice says that all of its picture are; the bare number of no known type.
std::string PictureTypeText(PictureType type);
Json PictureTypeJson(PictureType type);

} // namespace host
