// SPDX-License-Identifier: MIT
// Streams that are written from the input, nearly valid, through every operation.
#include "Generator.h"
#include "Operations.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    FuzzedDataProvider choices(data, size);
    const auto codec = choices.ConsumeBool() ? VideoCodecHEVC : VideoCodecAVC;
    const u32 queueCount = choices.ConsumeIntegralInRange<u32>(2, 4);
    const u32 job = choices.ConsumeIntegralInRange<u32>(0, 2);
    fuzz::Generator generator(choices, codec);
    std::vector<Bytes> units;
    while (choices.remaining_bytes() > 8 && units.size() < 24)
        units.push_back(generator.Unit());
    if (job == 0) {
        fuzz::CheckStream(codec, queueCount, 50, Join(units));
    } else if (job == 1) {
        const Bytes carried = units.empty() ? Bytes{} : units.back();
        fuzz::CheckUserData(userdatatest::kFormats[codec], Join(units), carried);
    } else {
        fuzz::Operations operations(choices, codec, choices.ConsumeBool());
        for (std::size_t i = 0; i < units.size(); ++i)
            operations.Call(i % 3 == 0 ? Join(units) : units[i], units[units.size() - 1 - i]);
    }
    return 0;
}
