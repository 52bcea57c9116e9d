// SPDX-License-Identifier: MIT
// The kernels that find zero pairs, as far as this processor has them.
#pragma once

#include "parser/bitstream/ZeroPairs.h"

#include <vector>

using namespace nalsmith_internal;

struct Kernel {
    const char* name;
    std::size_t (*find)(const u8* data, std::size_t size);
};

inline std::vector<Kernel> KernelsHere()
{
    std::vector<Kernel> kernels = {{"Chosen", bitstream::FindZeroPair},
                                   {"Word", nalsmith::detail::find_zero_pair_word}};
#if defined(NALSMITH_ZERO_PAIRS_SSE2)
    kernels.push_back({"Sse2", nalsmith::detail::find_zero_pair_sse2});
    if (__builtin_cpu_supports("avx2"))
        kernels.push_back({"Avx2", bitstream::FindZeroPairAvx2});
#elif defined(NALSMITH_ZERO_PAIRS_NEON)
    kernels.push_back({"Neon", nalsmith::detail::find_zero_pair_neon});
#endif
    return kernels;
}
