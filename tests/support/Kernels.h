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
                                   {"Portable", bitstream::FindZeroPairPortable}};
#if defined(__x86_64__)
    kernels.push_back({"Sse2", bitstream::FindZeroPairSse2});
    if (__builtin_cpu_supports("avx2"))
        kernels.push_back({"Avx2", bitstream::FindZeroPairAvx2});
#elif defined(__aarch64__)
    kernels.push_back({"Neon", bitstream::FindZeroPairNeon});
#endif
    return kernels;
}
