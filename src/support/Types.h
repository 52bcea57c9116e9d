// SPDX-License-Identifier: MIT
// The integer types and the status that every file of the library uses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nalsmith_internal {

using u8 = std::uint8_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using i32 = std::int32_t;
using i64 = std::int64_t;

using Status = i64;
constexpr Status kOk = 0;
constexpr Status kFailed = -1;

} // namespace nalsmith_internal
