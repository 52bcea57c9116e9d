// SPDX-License-Identifier: MIT
// Zero pairs, start codes and emulation prevention against loops that go byte by byte.
// NALSMITH_PLANTED_READ reads behind a buffer, to see that the fuzzer notices.
#include "Invariants.h"
#include "parser/bitstream/ZeroPairs.h"

namespace {

std::size_t ZeroPair(const Bytes& bytes)
{
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i)
        if (bytes[i] == 0 && bytes[i + 1] == 0)
            return i;
    return bytes.size();
}

using Kernel = std::size_t (*)(const u8*, std::size_t);

std::vector<Kernel> Kernels()
{
    std::vector<Kernel> kernels = {bitstream::FindZeroPair, bitstream::FindZeroPairPortable};
#if defined(__x86_64__)
    kernels.push_back(bitstream::FindZeroPairSse2);
    if (__builtin_cpu_supports("avx2"))
        kernels.push_back(bitstream::FindZeroPairAvx2);
#elif defined(__aarch64__)
    kernels.push_back(bitstream::FindZeroPairNeon);
#endif
    return kernels;
}

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
    for (const Kernel find : Kernels())
        REQUIRE(find(exact.get(), size) == ZeroPair(bytes));

    const std::size_t code = fuzz::StartCode(bytes, 0);
    REQUIRE(StartCodeIn(exact.get(), bytes.Size()) == (code < size ? exact.get() + code : nullptr));

    CParseAVCParams parser;
    parser.rbspBufferSize = 0; // grows to just the size
    u8* out = nullptr;
    u32 outSize = 77;
    REQUIRE(parser.GetRbspData(exact.get(), bytes.Size(), &out, &outSize) == 0);
    REQUIRE(Bytes(out, out + outSize) == fuzz::Unescaped(bytes));

    const auto room = Bytes(size + size / 2, 0xEE).Exact(); // three for every two at worst
    u32 written = 0;
    REQUIRE(CParserBase::AddEscape(exact.get(), bytes.Size(), room.get(), &written) == 0);
    const Bytes escaped(room.get(), room.get() + written);
    REQUIRE(escaped == WithEmulationPrevention(bytes));
    REQUIRE(fuzz::Unescaped(escaped + "80"_bytes) == bytes + "80"_bytes);
    parser.Release();
    return 0;
}
