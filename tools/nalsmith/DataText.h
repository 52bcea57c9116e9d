// SPDX-License-Identifier: MIT
// User data in print: as text where it is some, else in Base64 (RFC 4648).
#pragma once

#include "Output.h"

#include <nalsmith/bytes.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// Whether the bytes are UTF-8 without control characters.
bool IsPrintableText(nalsmith::BytesView bytes);

// Text from outside, with "?" for what could steer a terminal or show as something else: control characters,
// marks of direction, and bytes that are not UTF-8.
std::string Printable(std::string_view text);

std::string EncodeBase64(nalsmith::BytesView bytes);

// None when it is not Base64: padding belongs to it, blanks do not.
std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text);

} // namespace host
