// SPDX-License-Identifier: MIT
// Reading a stream: whole, NAL unit by NAL unit, and cut where the input says. The choices stand at the end
// of the input, the stream in front.
#include "Invariants.h"

#include <fuzzer/FuzzedDataProvider.h>

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    FuzzedDataProvider choices(data, size);
    const auto codec = choices.ConsumeBool() ? VideoCodecHEVC : VideoCodecAVC;
    const u32 queueCount = choices.ConsumeIntegralInRange<u32>(2, 4);
    const u32 bufferSize = choices.ConsumeIntegralInRange<u32>(1, 5000);
    std::vector<std::size_t> cuts(choices.ConsumeIntegralInRange<std::size_t>(0, 7));
    for (std::size_t& cut : cuts)
        cut = choices.ConsumeIntegral<std::uint16_t>();
    const auto rest = choices.ConsumeRemainingBytes<u8>();
    const Bytes stream(rest.begin(), rest.end());
    for (std::size_t& cut : cuts)
        cut = std::min(cut, stream.size());
    std::sort(cuts.begin(), cuts.end());

    fuzz::CheckStream(codec, queueCount, bufferSize, stream);
    fuzz::CheckPieces(codec, queueCount, bufferSize, stream, cuts);
    return 0;
}
