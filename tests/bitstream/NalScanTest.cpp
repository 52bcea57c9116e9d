// SPDX-License-Identifier: MIT
// Finding zero pairs and start codes, and cutting a buffer into NAL units.
#include "BitWriter.h"
#include "Handles.h"
#include "RandomBuffers.h"

#include <gtest/gtest.h>

namespace {

struct Unit {
    Bytes nal;
    Bytes rbsp;
    bool operator==(const Unit&) const = default;
};

// What is handed out until the end is signalled. `status` receives the status of the last call.
std::vector<Unit> Scan(CParserBase& parser, const Bytes& buffer, Status& status)
{
    const auto exact = buffer.Exact();
    parser.SetData(exact.get(), buffer.Size());
    parser.Reset();
    std::vector<Unit> units;
    for (;;) {
        const u8 *nal = nullptr, *rbsp = nullptr;
        u32 size = 0, rbspSize = 0;
        status = parser.GetNalData(&nal, &size, &rbsp, &rbspSize);
        if (nal == nullptr) {
            EXPECT_TRUE(size == 0 && rbsp == nullptr && rbspSize == 0);
            return units;
        }
        units.push_back({Bytes(nal, nal + size), Bytes(rbsp, rbsp + rbspSize)});
    }
}

TEST(NalScan, RandomBuffersAreCutAsByteByByte)
{
    const ParsingHandle handle;
    OnRandomBuffers([&](const Bytes& bytes) {
        std::vector<Unit> expected;
        for (const Bytes& nal : SplitNalUnits(bytes)) {
            const Bytes content = WithoutEmulationPrevention(nal);
            const std::size_t code = CodeSize(nal);
            expected.push_back({nal, content.From(code, content.size() - code)});
        }
        Status status = 5;
        ASSERT_EQ(Scan(handle.Avc(), bytes, status), expected);
        ASSERT_EQ(status, bytes.size() > 4 && expected.empty() ? -1 : 0);
    });
}

TEST(NalScan, WithoutPayloadTheUnitsAreTheSameAndTheEndLeavesAFreshScanner)
{
    const ParsingHandle handle;
    CParserBase& parser = handle.Avc();
    const Bytes buffer = "99 00 00 01 09 10 00 00 00 01 41 9a 00 00 03 00"_bytes;
    for (int pass = 0; pass < 2; ++pass) { // without Reset() before the second
        parser.SetData(buffer.data(), buffer.Size());
        for (const Bytes& expected : {buffer.From(1, 5), buffer.From(6, 10), Bytes{}}) {
            const u8* nal = nullptr;
            u32 size = 0;
            EXPECT_EQ(parser.GetNalDataEx(&nal, &size), 0);
            EXPECT_EQ(nal == nullptr, expected.empty());
            EXPECT_EQ(Bytes(nal, nal + size), expected);
        }
        EXPECT_TRUE(parser.nalCursor == nullptr && parser.streamRemaining == 0);
    }
}

} // namespace
