// SPDX-License-Identifier: MIT
// Finding zero pairs and start codes, and cutting a buffer into NAL units.
#include "Handles.h"
#include "RandomBuffers.h"

#include <gtest/gtest.h>

namespace {

// Where the first start code begins; the size when there is none.
std::size_t StartCodeByteByByte(const u8* p, std::size_t n)
{
    for (std::size_t i = 0; i + 4 < n; ++i)
        if (p[i] == 0 && p[i + 1] == 0 && (p[i + 2] == 1 || (p[i + 2] == 0 && p[i + 3] == 1)))
            return i;
    return n;
}

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

TEST(NalScan, StartCodesAreFoundAsByteByByte)
{
    OnRandomBuffers([](const Bytes& bytes) {
        const auto exact = bytes.Exact();
        const std::size_t expected = StartCodeByteByByte(exact.get(), bytes.size());
        const u8* found = CParserBase::GetStartCode(exact.get(), bytes.Size());
        ASSERT_EQ(found, expected < bytes.size() ? exact.get() + expected : nullptr)
            << testing::PrintToString(bytes);
    });
}

TEST(NalScan, BuffersAreCutByExample)
{
    const struct {
        Bytes buffer;
        std::vector<Unit> units;
        Status status;
    } rows[] = {
        {"00 00 01 65 88"_bytes, {{"00 00 01 65 88"_bytes, "65 88"_bytes}}, 0},
        {"00 00 01 65"_bytes, {}, 0},
        {Bytes{}, {}, 0},
        {"11 22 33 44 00 00 02 00 00 05"_bytes, {}, -1},
        {"00 00 00 01 09 10 00 00 00 01 67 42 00 1e"_bytes,
         {{"00 00 00 01 09 10"_bytes, "09 10"_bytes}, {"00 00 00 01 67 42 00 1e"_bytes, "67 42 00 1e"_bytes}},
         0},
        {"00 00 01 09 10 00 00 00 00 01 67 42"_bytes,
         {{"00 00 01 09 10 00"_bytes, "09 10 00"_bytes}, {"00 00 00 01 67 42"_bytes, "67 42"_bytes}},
         0},
        {"ab cd 00 00 01 41 9a"_bytes, {{"00 00 01 41 9a"_bytes, "41 9a"_bytes}}, 0},
        {"00 00 01 00 00 01 41 9a"_bytes,
         {{"00 00 01"_bytes, Bytes{}}, {"00 00 01 41 9a"_bytes, "41 9a"_bytes}},
         0},
        {"00 00 01 09 10 00 00 01 41"_bytes,
         {{"00 00 01 09 10 00 00 01 41"_bytes, "09 10 00 00 01 41"_bytes}},
         0},
        {"00 00 00 00 01 41 9a"_bytes, {{"00 00 00 01 41 9a"_bytes, "41 9a"_bytes}}, 0},
        {"00 00 01 06 00 00 03 01 80"_bytes,
         {{"00 00 01 06 00 00 03 01 80"_bytes, "06 00 00 01 80"_bytes}},
         0},
    };
    const ParsingHandle handle;
    for (const auto& row : rows) {
        Status status = 5;
        const std::vector<Unit> units = Scan(handle.Avc(), row.buffer, status);
        EXPECT_EQ(units, row.units) << testing::PrintToString(row.buffer);
        EXPECT_EQ(status, row.status) << testing::PrintToString(row.buffer);
    }
}

TEST(NalScan, RandomBuffersAreCutCompletely)
{
    const ParsingHandle handle;
    OnRandomBuffers([&](const Bytes& bytes) {
        Status status = 5;
        const std::vector<Unit> units = Scan(handle.Avc(), bytes, status);
        std::size_t at = StartCodeByteByByte(bytes.data(), bytes.size());
        ASSERT_EQ(status, bytes.size() > 4 && at == bytes.size() ? -1 : 0);
        for (const Unit& unit : units) {
            const std::size_t code = bytes[at + 2] == 1 ? 3 : 4;
            const u8* const behind = bytes.data() + at + code;
            const std::size_t size = code + StartCodeByteByByte(behind, bytes.size() - at - code);
            ASSERT_EQ(unit.nal, bytes.From(at, size));
            at += size;
        }
        ASSERT_EQ(at, bytes.size());
    });
}

TEST(NalScan, WithoutPayloadTheUnitsAreTheSameAndTheEndLeavesAFreshScanner)
{
    const ParsingHandle handle;
    CParserBase& parser = handle.Avc();
    const Bytes buffer = "99 00 00 01 09 10 00 00 00 01 41 9a 00 00 03 00"_bytes;
    for (int pass = 0; pass < 2; ++pass) { // without Reset() before the second
        parser.SetData(buffer.data(), buffer.Size());
        for (const Bytes& expected : {buffer.From(1, 5), buffer.From(6, 10)}) {
            const u8* nal = nullptr;
            u32 size = 0;
            EXPECT_EQ(parser.GetNalDataEx(&nal, &size), 0);
            ASSERT_NE(nal, nullptr);
            EXPECT_EQ(Bytes(nal, nal + size), expected);
        }
        const u8* nal = nullptr;
        u32 size = 0;
        EXPECT_EQ(parser.GetNalDataEx(&nal, &size), 0);
        EXPECT_TRUE(nal == nullptr && size == 0 && parser.nalCursor == nullptr &&
                    parser.streamRemaining == 0);
    }
}

} // namespace
