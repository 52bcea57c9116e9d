// SPDX-License-Identifier: MIT
// Fixed-length fields, Exp-Golomb codes, skipping, and the end of the data.
#include "BitWriter.h"
#include "parser/bitstream/Reading.h"

#include <gtest/gtest.h>
#include <random>

namespace {

class Reader : public CParserBase {
public:
    explicit Reader(const Bytes& bytes) : bytes_(bytes.Exact()) { InitReadData(bytes_.get(), bytes.Size()); }
    u64 BitsConsumed() const { return static_cast<u64>(readPtr - bytes_.get()) * 8 + bitPosition; }

private:
    std::unique_ptr<u8[]> bytes_;
};

TEST(BitReader, ReadsFromTheMostSignificantBitOn)
{
    Reader reader("a5 f0"_bytes);
    const u8* const first = reader.readPtr;
    EXPECT_EQ(reader.ReadData(4), 10u);
    EXPECT_EQ(reader.ReadData(0), 0u);
    EXPECT_EQ(reader.ReadData(8), 0x5Fu);
    EXPECT_TRUE(reader.bitPosition == 4 && reader.readPtr == first + 1 && reader.readRemaining == 1);
    u8* position = nullptr;
    EXPECT_EQ(reader.GetDataPtr(&position), 0);
    EXPECT_EQ(position, first + 1);

    Reader ones("ff ff ff ff"_bytes);
    EXPECT_EQ(ones.ReadData(32), 0xFFFFFFFFu);
    EXPECT_TRUE(ones.BitsConsumed() == 32 && ones.readRemaining == 0);
}

TEST(BitReader, ExpGolombCodesUpToTheirExtremes)
{
    const struct {
        u32 ue = 0;
        i32 se = 0;
        BitWriter code = {};
    } rows[] = {
        {0, 0, BitWriter().u(1, 1)},
        {1, 1, BitWriter().u(3, 2)},
        {2, -1, BitWriter().u(3, 3)},
        {3, 2, BitWriter().u(5, 4)},
        {6, -3, BitWriter().u(5, 7)},
        {7, 4, BitWriter().u(7, 8)},
        {0x7FFFFFFF, 0x40000000, BitWriter().u(31, 0).u(32, 0x80000000)},
        {0xFFFFFFFD, 0x7FFFFFFF, BitWriter().u(31, 0).u(32, 0xFFFFFFFE)},
        {0xFFFFFFFE, -0x7FFFFFFF, BitWriter().u(31, 0).u(32, 0xFFFFFFFF)},
        // 32 zeros end the counting; the next 32 bits are the rest of the code, minus one, modulo 2^32.
        {0xFFFFFFFF, -0x7FFFFFFF - 1, BitWriter().u(64, 0)},
        {0x7FFFFFFF, 0x40000000, BitWriter().u(32, 0).u(32, 0x80000000)},
        {4, -2, BitWriter().u(32, 0).u(32, 5)},
    };
    for (const auto& row : rows) {
        const Bytes code = BitWriter(row.code).u(4, 9).Take();
        Reader reader(code), same(code);
        EXPECT_EQ(reader.GetUE(), row.ue);
        EXPECT_EQ(reader.ReadData(4), 9u) << row.ue;
        EXPECT_EQ(same.GetSE(), row.se);
    }
}

TEST(BitReader, BehindTheEndEveryBitIsZeroAndThePositionStays)
{
    Reader reader("ff a0"_bytes);
    reader.ReadData(10);
    EXPECT_EQ(reader.ReadData(9), 0x100u); // 100000, then three bits that are not there
    EXPECT_TRUE(reader.ReadData(32) == 0 && reader.GetUE() == 0 && reader.GetSE() == 0);
    EXPECT_TRUE(reader.BitsConsumed() == 16 && reader.readRemaining == 0);
    EXPECT_EQ(Reader("00 00"_bytes).GetUE(), 0xFFFFu); // 16 zeros counted, 16 zero bits behind the end
    EXPECT_EQ(Reader(Bytes{}).GetUE(), 0u);
}

// The plain statement of every rule, one bit a step.
struct BitByBit {
    const Bytes& bytes;
    u64 position = 0;

    bool DataLeft() const { return position < bytes.size() * 8; }
    u64 Bit()
    {
        if (!DataLeft())
            return 0;
        const u64 bit = bytes[position / 8] >> (7 - position % 8) & 1;
        ++position;
        return bit;
    }
    u32 ReadData(u32 n)
    {
        u64 value = 0;
        while (n-- > 0)
            value = value << 1 | Bit();
        return static_cast<u32>(value);
    }
    u32 GetUE()
    {
        u32 zeros = 0;
        while (zeros < 32 && DataLeft() && Bit() == 0)
            ++zeros;
        return static_cast<u32>((u64{1} << zeros) - 1 + ReadData(zeros));
    }
};

// The same on both, chosen at random.
void Step(bitstream::Reading& bits, BitByBit& plain, std::mt19937& random)
{
    const u32 n = static_cast<u32>(random() % 3 == 0 ? random() % 100 : random() % 33);
    switch (random() % 4) {
    case 0: ASSERT_EQ(bits.ReadData(n), plain.ReadData(n)) << n; break;
    case 1: ASSERT_EQ(bits.GetUE(), plain.GetUE()); break;
    case 2:
        bits.SkipSE(n % 4);
        for (u32 codes = n % 4; codes > 0; --codes)
            plain.GetUE();
        break;
    default: bits.SkipBits(n); plain.ReadData(n);
    }
    ASSERT_EQ(bits.DataLeft(), plain.DataLeft());
}

// What one reader holds ahead between its reads must show in no answer and in no position.
TEST(BitReader, AnyMixtureOfReadsEqualsReadingBitByBit)
{
    std::mt19937 random(5);
    for (int round = 0; round < 3000 && !HasFatalFailure(); ++round) {
        Bytes bytes(random() % 40);
        for (u8& byte : bytes) // long runs of zeros, for long codes
            byte = random() % 3 == 0 ? static_cast<u8>(random() % 256) : u8{0};
        Reader reader(bytes);
        BitByBit plain{bytes};
        for (int structure = 0; structure < 4; ++structure) {
            bitstream::Reading bits(reader);
            for (u64 i = random() % 12; i > 0; --i)
                Step(bits, plain, random);
        }
        ASSERT_EQ(reader.BitsConsumed(), plain.position);
    }
}

// Counted down one by one these would run for hours: the test's time limit is the assertion.
TEST(BitReader, HugeCountsCostNothing)
{
    Reader reader("5a 5a"_bytes);
    for (int i = 0; i < 1000; ++i) {
        bitstream::Reading bits(reader);
        bits.SkipUE(0xFFFFFFFE);
        bits.SkipSE(0xFFFFFFFF);
        bits.ReadData(0xFFFFFFFF);
        bits.SkipBits(~u64{0});
    }
    EXPECT_TRUE(reader.BitsConsumed() == 16 && reader.readRemaining == 0);
}

} // namespace
