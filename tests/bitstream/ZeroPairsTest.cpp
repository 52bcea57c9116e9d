// SPDX-License-Identifier: MIT
// Every kernel that this processor has, against the byte loop.
#include "Kernels.h"
#include "RandomBuffers.h"

#include <gtest/gtest.h>

namespace {

class ZeroPairs : public testing::TestWithParam<Kernel> {};

INSTANTIATE_TEST_SUITE_P(Kernels, ZeroPairs, testing::ValuesIn(KernelsHere()),
                         [](const auto& kernel) { return kernel.param.name; });

// Single zeros all over, and one pair; in front of the data and behind it stand zeros that do not count.
TEST_P(ZeroPairs, EveryPositionInEverySizeAtEveryAlignment)
{
    for (std::size_t offset = 1; offset <= 33; offset += offset % 4 == 0 ? 5 : 1)
        for (std::size_t size = 0; size <= 300; size += size < 150 ? 1 : 7)
            for (std::size_t pair = 0; pair <= size; ++pair) {
                Bytes buffer(offset + size + 2, 0);
                u8* const data = buffer.data() + offset;
                for (std::size_t i = 0; i < size; ++i)
                    data[i] =
                        static_cast<u8>(i == pair || i == pair + 1 || i % 2 == pair % 2 ? 0 : 0x80 >> i % 8);
                const auto expected = std::search_n(data, data + size, 2, u8{0}) - data;
                ASSERT_EQ(GetParam().find(data, size), expected) << offset << " " << size << " " << pair;
            }
}

TEST_P(ZeroPairs, NothingOutsideIsRead)
{
    OnRandomBuffers([](const Bytes& bytes) {
        const auto pair = std::search_n(bytes.begin(), bytes.end(), 2, u8{0});
        ASSERT_EQ(GetParam().find(bytes.Exact().get(), bytes.size()), pair - bytes.begin());
    });
}

} // namespace
