// SPDX-License-Identifier: MIT
// The library's byte operations beside plain byte loops, on ordinary and on hostile data: no pattern may make
// the operations slower than the loops.
#include "Streams.h"

#include "parser/VideoParams.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <random>

namespace {

using benchmark::State;

// Hands out NAL unit after NAL unit, as the library's scanner does.
class ByteScanner {
public:
    explicit ByteScanner(const Bytes& data) : at_(data.data()), end_(at_ + data.size()) { at_ = Find(at_); }

    [[gnu::noinline]] bool Next(const u8** nal, u32* size)
    {
        if (at_ == end_)
            return false;
        const u8* const next = Find(at_ + (at_[2] == 1 ? 3 : 4));
        *nal = at_;
        *size = static_cast<u32>(next - at_);
        at_ = next;
        return true;
    }

private:
    const u8* Find(const u8* from) const
    {
        for (; end_ - from > 4; ++from)
            if (from[0] == 0 && from[1] == 0 && (from[2] == 1 || (from[2] == 0 && from[3] == 1)))
                return from;
        return end_;
    }

    const u8* at_;
    const u8* end_;
};

u32 ScanByteByByte(const Bytes& data)
{
    ByteScanner scanner(data);
    u32 found = 0;
    const u8* nal = nullptr;
    for (u32 size = 0; scanner.Next(&nal, &size); ++found)
        benchmark::DoNotOptimize(nal);
    return found;
}

u32 Scan(CParserBase& parser, const Bytes& data)
{
    u32 found = 0;
    const u8 *nal = nullptr, *last = nullptr;
    u32 size = 0;
    parser.SetData(data.data(), data.Size());
    for (parser.Reset();; last = nal, ++found) {
        parser.GetNalDataEx(&nal, &size);
        if (nal == last)
            return found;
    }
}

u32 RemoveByteByByte(const Bytes& data, Bytes& to)
{
    u32 k = 0;
    for (std::size_t i = 0; i < data.size();) {
        if (data.size() - i > 3 && data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 3) {
            to[k++] = 0;
            to[k++] = 0;
            i += 3;
        } else {
            to[k++] = data[i++];
        }
    }
    return k;
}

u32 InsertByteByByte(const Bytes& data, Bytes& to)
{
    u32 k = 0;
    std::size_t i = 0;
    while (data.size() - i > 2) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] <= 3) {
            to[k++] = 0;
            to[k++] = 0;
            to[k++] = 3;
            i += 2;
        } else {
            to[k++] = data[i++];
        }
    }
    for (; i < data.size(); ++i)
        to[k++] = data[i];
    return k;
}

Bytes Filled(const Bytes& pattern)
{
    Bytes data;
    while (data.size() < 1'000'000)
        data.insert(data.end(), pattern.begin(), pattern.end());
    return data;
}

Bytes Random(u32 zeroOneIn)
{
    std::mt19937 random(3);
    Bytes data(1'000'000);
    for (u8& byte : data)
        byte = random() % zeroOneIn == 0 ? u8{0} : static_cast<u8>(random());
    return data;
}

template <typename Job>
void Run(State& state, const Bytes& data, Job&& job)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(job());
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * data.size()));
}

} // namespace

void RegisterBytewise()
{
    const std::pair<const char*, Bytes> inputs[] = {
        {"random", Random(1u << 30)},
        {"half_zeros", Random(2)},
        {"tenth_zeros", Random(10)},
        {"zeros", Filled("00"_bytes)},
        {"000003", Filled("00 00 03"_bytes)},
        {"000004", Filled("00 00 04"_bytes)},
        {"start_codes", Filled("00 00 01"_bytes)},
        {"one_byte_units", Filled("00 00 01 65"_bytes)},
        {"pair_in_64", Filled(Bytes(62, 0x55) + "00 00"_bytes)},
        {"pair_in_130", Filled(Bytes(128, 0x55) + "00 00"_bytes)}};
    for (const auto& [name, data] : inputs) {
        const auto add = [&name = name](const char* job, const char* side, auto function) {
            benchmark::RegisterBenchmark((std::string(job) + "/" + name + "/" + side).c_str(), function);
        };
        add("scan", "bytes",
            [data = data](State& state) { Run(state, data, [&] { return ScanByteByByte(data); }); });
        add("scan", "library", [data = data](State& state) {
            CParserBase parser;
            Run(state, data, [&] { return Scan(parser, data); });
        });
        add("unescape", "bytes", [data = data](State& state) {
            Bytes to(data.size());
            Run(state, data, [&] { return RemoveByteByByte(data, to); });
        });
        add("unescape", "library", [data = data](State& state) {
            CParserBase parser;
            parser.UserDataCreate();
            u8* out = nullptr;
            u32 size = 0;
            Run(state, data,
                [&] { return parser.GetRbspData(data.data(), data.Size(), &out, &size) + size; });
            parser.UserDataRelease();
        });
        add("escape", "bytes", [data = data](State& state) {
            Bytes to(2 * data.size());
            Run(state, data, [&] { return InsertByteByByte(data, to); });
        });
        add("escape", "library", [data = data](State& state) {
            Bytes to(2 * data.size());
            u32 size = 0;
            Run(state, data,
                [&] { return CParserBase::AddEscape(data.data(), data.Size(), to.data(), &size); });
        });
    }
}
