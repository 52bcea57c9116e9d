// SPDX-License-Identifier: MIT
// Any functions in any order on one handle, with pieces of the input for buffers.
#include "Operations.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    FuzzedDataProvider choices(data, size);
    const auto codec = choices.ConsumeBool() ? VideoCodecHEVC : VideoCodecAVC;
    fuzz::Operations operations(choices, codec, choices.ConsumeBool());
    Bytes second;
    for (int calls = 0; calls < 40 && choices.remaining_bytes() > 0; ++calls) {
        const auto taken = choices.ConsumeBytes<u8>(choices.ConsumeIntegralInRange<std::size_t>(0, 1200));
        const Bytes input(taken.begin(), taken.end());
        operations.Call(input, second);
        second = input;
    }
    return 0;
}
