// SPDX-License-Identifier: MIT
// Zero pairs, start codes and emulation prevention against loops that go byte by byte.
// NALSMITH_PLANTED_READ reads behind a buffer, to see that the fuzzer notices.
#include "Invariants.h"
#include "Kernels.h"

namespace {

const u8* StartCodeIn(const u8* data, u32 size)
{
#if defined(NALSMITH_PLANTED_READ)
    if (size > 4 && data[size - 2] == 0 && data[size - 1] == 0 && data[size] == 1)
        return nullptr;
#endif
    return CParserBase::GetStartCode(data, size);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    const Bytes bytes(data, data + size);
    const auto exact = bytes.Exact();
    const auto pair = std::search_n(bytes.begin(), bytes.end(), 2, u8{0}) - bytes.begin();
    for (const Kernel& kernel : KernelsHere())
        REQUIRE(kernel.find(exact.get(), size) == static_cast<std::size_t>(pair));

    const std::size_t code = StartCode(bytes);
    REQUIRE(StartCodeIn(exact.get(), bytes.Size()) == (code < size ? exact.get() + code : nullptr));

    CParseAVCParams parser;
    parser.rbspBufferSize = 0; // grows to just the size
    u8* out = nullptr;
    u32 outSize = 77;
    REQUIRE(parser.GetRbspData(exact.get(), bytes.Size(), &out, &outSize) == 0);
    REQUIRE(Bytes(out, out + outSize) == WithoutEmulationPrevention(bytes));

    const auto room = Bytes(size + size / 2, 0xEE).Exact(); // three for every two at worst
    u32 written = 0;
    REQUIRE(CParserBase::AddEscape(exact.get(), bytes.Size(), room.get(), &written) == 0);
    const Bytes escaped(room.get(), room.get() + written);
    REQUIRE(escaped == WithEmulationPrevention(bytes));
    REQUIRE(WithoutEmulationPrevention(escaped + "80"_bytes) == bytes + "80"_bytes);
    parser.Release();
    return 0;
}
