// SPDX-License-Identifier: MIT
// How cost grows: with the size of access units, with the NAL units in one, with the way a stream is cut into
// pieces, and on patterns that a hostile stream might be made of. A row of twice the work should take about
// twice the time.
#include "Minimum.h"

#include <benchmark/benchmark.h>

#include <functional>

namespace {

using benchmark::State;

Bytes Repeated(const Bytes& pattern, std::size_t size)
{
    Bytes bytes = "00 00 00 01 09 f0"_bytes;
    while (bytes.size() < size)
        bytes.insert(bytes.end(), pattern.begin(), pattern.end());
    return bytes;
}

// One SEI NAL unit with `messages`, the rest of `size` bytes filled with them, and a slice.
Bytes SeiOf(const Bytes& messages, std::size_t size)
{
    Bytes bytes = Repeated("00 00 01 06"_bytes + messages, 11);
    while (bytes.size() < size)
        bytes.insert(bytes.end(), messages.begin(), messages.end());
    return bytes + "80 00 00 01 41 9a 22 33 44 55"_bytes;
}

struct Pattern {
    const char* name;
    std::function<Bytes(std::size_t)> make;
};

const std::vector<Pattern>& Patterns()
{
    static const std::vector<Pattern> patterns = {
        {"zeros", [](std::size_t size) { return Repeated(Bytes(64, 0), size); }},
        {"000003", [](std::size_t size) { return Repeated("00 00 03"_bytes, size); }},
        {"start_codes", [](std::size_t size) { return Repeated("00 00 01"_bytes, size); }},
        {"one_byte_units", [](std::size_t size) { return Repeated("00 00 01 0c"_bytes, size); }},
        {"zero_runs", [](std::size_t size) { return Repeated(Bytes(61, 0) + "01 0c ff"_bytes, size); }},
        {"sei_chain", [](std::size_t size) { return SeiOf("06 01 c4"_bytes, size); }},
        {"sei_units", [](std::size_t size) { return Repeated("00 00 01 06 05 01 c4 80"_bytes, size); }},
        {"sei_of_ff", [](std::size_t size) { return SeiOf("ff"_bytes, size); }},
        {"one_unit", [](std::size_t size) { return Repeated(Bytes(64, 0x5A), size); }},
    };
    return patterns;
}

// Hands `piece` in as one access unit after another.
void Read(State& state, const std::vector<Bytes>& pieces)
{
    void* handle = nullptr;
    ParseCreate(&handle, VideoCodecAVC, 2, 1'000'000);
    VideoInfo info;
    u64 bytes = 0;
    for (auto _ : state)
        for (const Bytes& piece : pieces) {
            ParseVideoParams(handle, piece.data(), piece.Size(), &info);
            bytes += piece.size();
        }
    state.SetBytesProcessed(static_cast<i64>(bytes));
    ParseRelease(handle);
}

using Edit = std::function<void(void*, const Bytes&)>;

void EditFrames(State& state, const Bytes& frame, const Edit& edit)
{
    void* handle = nullptr;
    UserDataCreate(&handle, VideoCodecAVC);
    for (auto _ : state)
        edit(handle, frame);
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * frame.size()));
    UserDataRelease(handle);
}

void RegisterPattern(const Pattern& pattern, std::size_t size)
{
    const std::string name = std::string("/") + pattern.name + "/" + std::to_string(size >> 20) + "MB";
    const auto frame = [make = pattern.make, size] { return make(size); };
    benchmark::RegisterBenchmark(("hostile/read" + name).c_str(), [frame](State& state) {
        const Stream decodable = MakeStream({VideoCodecAVC, 100, 1}, 1); // its slice ends the access unit
        Read(state, {frame(), decodable.units[0]});
    });
    const std::pair<const char*, Edit> edits[] = {
        {"add",
         [](void* handle, const Bytes& bytes) {
             const u8* out = nullptr;
             u32 outSize = 0;
             AddUserData(handle, bytes.data(), bytes.Size(), bytes.data(), 64, &out, &outSize);
         }},
        {"get",
         [](void* handle, const Bytes& bytes) {
             const u8* out = nullptr;
             u32 outSize = 0;
             GetUserData(handle, bytes.data(), bytes.Size(), &out, &outSize);
         }},
        {"remove", [](void* handle, const Bytes& bytes) {
             const u8* out = nullptr;
             u32 outSize = 0;
             RemoveUserData(handle, bytes.data(), bytes.Size(), &out, &outSize);
         }}};
    for (const auto& [job, edit] : edits)
        benchmark::RegisterBenchmark(
            ("hostile/" + std::string(job) + name).c_str(),
            [frame, edit = edit](State& state) { EditFrames(state, frame(), edit); });
}

void RegisterShape(const std::string& name, const Shape& shape)
{
    benchmark::RegisterBenchmark((name + "/library").c_str(),
                                 [shape](State& state) { Read(state, MakeStream(shape, 8'000'000).units); });
    benchmark::RegisterBenchmark((name + "/minimum").c_str(), [shape](State& state) {
        const Stream stream = MakeStream(shape, 8'000'000);
        minimum::Ring ring(stream);
        for (auto _ : state)
            for (const Bytes& unit : stream.units)
                benchmark::DoNotOptimize(minimum::Read(unit, shape.codec, ring.Next()));
        state.SetBytesProcessed(static_cast<i64>(state.iterations() * stream.bytes));
    });
}

// The same stream, one NAL unit, one access unit, and all of it a call.
void RegisterCuts(const Shape& shape)
{
    const std::string name = "cut/" + shape.Name();
    const auto units = [shape] { return MakeStream(shape, 8'000'000).units; };
    benchmark::RegisterBenchmark((name + "/unit").c_str(), [units](State& state) {
        std::vector<Bytes> pieces;
        for (const Bytes& unit : units())
            for (const u8 *at = unit.data(), *end = at + unit.size(); at != end;) {
                const u8* next = minimum::FindStartCode(at + 4, end);
                next -= next != end ? 1 : 0; // of four bytes here
                pieces.emplace_back(at, next);
                at = next;
            }
        Read(state, pieces);
    });
    benchmark::RegisterBenchmark((name + "/access_unit").c_str(),
                                 [units](State& state) { Read(state, units()); });
    benchmark::RegisterBenchmark((name + "/file").c_str(),
                                 [units](State& state) { Read(state, {Join(units())}); });
}

// What copying alone costs at these sizes, as the data leaves one cache after the other.
void RegisterCopy(std::size_t size)
{
    benchmark::RegisterBenchmark(("hostile/copy/plain/" + std::to_string(size >> 20) + "MB").c_str(),
                                 [size](State& state) {
                                     const Bytes from(size, 1);
                                     Bytes to(size);
                                     for (auto _ : state) {
                                         std::copy(from.begin(), from.end(), to.begin());
                                         benchmark::DoNotOptimize(to.data());
                                         benchmark::ClobberMemory();
                                     }
                                     state.SetBytesProcessed(static_cast<i64>(state.iterations() * size));
                                 });
}

} // namespace

void RegisterGrowth()
{
    for (const std::size_t size : {1u << 20, 2u << 20, 4u << 20, 64u << 20})
        RegisterCopy(size);
    for (u32 size = 1024; size <= 16u << 20; size *= 2)
        RegisterShape("size/" + std::to_string(size), {VideoCodecAVC, size, 1});
    for (u32 slices = 1; slices <= 4096; slices *= 2)
        RegisterShape("units/" + std::to_string(slices), {VideoCodecAVC, slices * 158, slices});
    RegisterCuts({VideoCodecAVC, 500'000, 8});
    RegisterCuts({VideoCodecAVC, 2'054, 13});
    for (const Pattern& pattern : Patterns())
        for (const std::size_t size : {1u << 20, 2u << 20, 4u << 20})
            RegisterPattern(pattern, size);
    RegisterPattern(Patterns().back(), 64u << 20);
}
