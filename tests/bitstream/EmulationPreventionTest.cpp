// SPDX-License-Identifier: MIT
// Removal and insertion of emulation prevention, against loops that go byte by byte.
#include "BitWriter.h"
#include "Handles.h"
#include "RandomBuffers.h"

#include <gtest/gtest.h>

namespace {

Bytes Removed(CParserBase& parser, const Bytes& in)
{
    u8* out = nullptr;
    u32 size = 77;
    EXPECT_EQ(parser.GetRbspData(in.Exact().get(), in.Size(), &out, &size), 0);
    EXPECT_EQ(out, parser.rbspBuffer);
    return Bytes(out, out + size);
}

// With just the room that the operation may need.
Bytes Inserted(const Bytes& in)
{
    const std::size_t room = in.empty() ? 0 : in.size() + (in.size() - 1) / 2;
    const auto out = Bytes(room, 0xEE).Exact();
    u32 size = 10;
    EXPECT_EQ(CParserBase::AddEscape(in.Exact().get(), in.Size(), out.get(), &size), 0);
    EXPECT_LE(size - 10, room);
    return Bytes(out.get(), out.get() + size - 10);
}

TEST(EmulationPrevention, RemovalInsertionAndRoundTripOnRandomBuffers)
{
    const ParsingHandle handle;
    OnRandomBuffers([&](const Bytes& bytes) {
        ASSERT_EQ(Removed(handle.Avc(), bytes), WithoutEmulationPrevention(bytes))
            << testing::PrintToString(bytes);
        ASSERT_EQ(Inserted(bytes), WithEmulationPrevention(bytes)) << testing::PrintToString(bytes);
        const Bytes stopped = bytes + "80"_bytes; // a payload does not end with a zero byte
        ASSERT_EQ(Removed(handle.Avc(), Inserted(stopped)), stopped) << testing::PrintToString(bytes);
    });
}

TEST(EmulationPrevention, TheScratchBufferGrowsToExactSizesAndStays)
{
    const ParsingHandle handle;
    CParserBase& parser = handle.Avc();
    for (const auto& [size, capacity] : {std::pair{1024u, 1024u},
                                         {1025u, 1025u},
                                         {2048u, 2048u},
                                         {200u, 2048u},
                                         {2047u, 2048u},
                                         {2049u, 2049u}}) {
        EXPECT_EQ(Removed(parser, Bytes(size, 0x42)), Bytes(size, 0x42));
        EXPECT_EQ(parser.rbspBufferSize, capacity);
    }
}

} // namespace
