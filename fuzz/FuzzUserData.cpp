// SPDX-License-Identifier: MIT
// User data in a frame. The frame stands in front, the data behind it, the choices at the end.
#include "Invariants.h"

#include <fuzzer/FuzzedDataProvider.h>

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    FuzzedDataProvider choices(data, size);
    const userdatatest::Format& format = userdatatest::kFormats[choices.ConsumeBool()];
    const std::size_t carried = choices.ConsumeIntegralInRange<std::size_t>(0, 700);
    const std::size_t left = choices.remaining_bytes();
    const auto front = choices.ConsumeBytes<u8>(left - std::min(carried, left));
    const auto rest = choices.ConsumeRemainingBytes<u8>();
    fuzz::CheckUserData(format, Bytes(front.begin(), front.end()), Bytes(rest.begin(), rest.end()));
    return 0;
}
