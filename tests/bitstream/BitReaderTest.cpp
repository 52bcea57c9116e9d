// SPDX-License-Identifier: MIT
// Fixed-length fields, Exp-Golomb codes, skipping, and the end of the data, against a reader bit by bit.
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

// The plain statement of every rule, one bit a step. Behind the end every bit is zero and the position stays;
// 32 zeros end the counting, and what is read then is the rest of a code modulo 2^32.
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
    i32 GetSE()
    {
        const u64 code = GetUE();
        return static_cast<i32>(code % 2 != 0 ? code / 2 + 1 : 0 - code / 2);
    }
};

// The same on both, chosen at random.
void Step(bitstream::Reading& bits, BitByBit& plain, std::mt19937& random)
{
    const u32 n = static_cast<u32>(random() % 3 == 0 ? random() % 100 : random() % 33);
    switch (random() % 5) {
    case 0: ASSERT_EQ(bits.ReadData(n), plain.ReadData(n)) << n; break;
    case 1: ASSERT_EQ(bits.GetUE(), plain.GetUE()); break;
    case 2: ASSERT_EQ(bits.GetSE(), plain.GetSE()); break;
    case 3:
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
        ASSERT_EQ(reader.ReadData(3), plain.ReadData(3));
        ASSERT_EQ(reader.GetUE(), plain.GetUE());
        ASSERT_EQ(reader.GetSE(), plain.GetSE());
        ASSERT_EQ(reader.BitsConsumed(), plain.position);
        ASSERT_EQ(reader.readRemaining, bytes.size() - plain.position / 8);
        u8* position = nullptr;
        ASSERT_EQ(reader.GetDataPtr(&position), 0);
        ASSERT_EQ(position, reader.readPtr);
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
