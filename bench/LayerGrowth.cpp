// SPDX-License-Identifier: MIT
// How time and memory of the C++ layer grow, on streams that a hostile sender might make. A row of twice the
// input should take about twice the time; `peak/byte` is the memory that one round asked for at most, against
// the bytes of input.
#include "Layer.h"

#include "AvcStream.h"
#include "FailingAllocation.h"
#include "HevcStream.h"

#include <nalsmith/nalsmith.hpp>

#include <functional>

namespace {

using benchmark::State;
using nalsmith::AccessUnitReader;
using nalsmith::BytesView;
using nalsmith::Codec;

// Which job, on which bytes: a row each.
struct Growing {
    const char* name;
    Bytes (*make)(std::size_t size);
    std::size_t (*job)(const Bytes& input); // what came out
};

// The smallest pictures: first_mb_in_slice 0, slice_type 7, PPS 0, and a frame_num.
const Bytes kTinySlice = "00 00 01 41 88 9a"_bytes;
const Bytes kTinyKeySlice = "00 00 01 65 88 84"_bytes;
const Bytes kDelimiter = "00 00 00 01 09 f0"_bytes;
const Bytes kHevcSlice = "00 00 01 02 01 d0 9a"_bytes; // the first of its picture

Bytes Filled(Bytes begin, std::size_t size, const std::function<Bytes(std::size_t)>& part)
{
    begin.reserve(size + size / 4);
    for (std::size_t i = 0; begin.size() < size; ++i) {
        const Bytes bytes = part(i);
        begin.insert(begin.end(), bytes.begin(), bytes.end());
    }
    return begin;
}

Bytes Repeated(Bytes begin, std::size_t size, const Bytes& part)
{
    return Filled(std::move(begin), size, [&](std::size_t) { return part; });
}

Bytes Sets()
{
    return avctest::Sps{} + avctest::Pps{};
}

// An SPS of about `size` bytes: what stands after it belongs to the NAL unit.
Bytes LargeSps(std::size_t size, u8 filling)
{
    return avctest::Sps{} + Bytes(size, filling);
}

Bytes PpsOf(std::size_t id, std::size_t sps, const Bytes& rest = {})
{
    return avctest::Pps{static_cast<u32>(id), static_cast<u32>(sps)} + rest;
}

std::size_t Drain(AccessUnitReader& reader)
{
    std::size_t units = 0;
    while (const auto unit = reader.next()) {
        benchmark::DoNotOptimize(unit->bytes.data());
        ++units;
    }
    return units;
}

std::size_t ReadPieces(AccessUnitReader& reader, BytesView input, std::size_t piece)
{
    std::size_t units = 0;
    for (std::size_t at = 0; at < input.size(); at += piece) {
        static_cast<void>(reader.push(input.subview(at, piece)));
        units += Drain(reader);
    }
    static_cast<void>(reader.finish());
    return units + Drain(reader);
}

template <Codec codec>
std::size_t Read(const Bytes& input)
{
    AccessUnitReader reader(codec);
    return ReadPieces(reader, input, 65536);
}

// What cannot be read comes out in parts of 32 KiB.
std::size_t ReadInParts(const Bytes& input)
{
    nalsmith::ReaderOptions options;
    options.max_pending = 65536;
    AccessUnitReader reader(Codec::h264, options);
    return ReadPieces(reader, input, 16384);
}

std::size_t ReadSelfContainedAtOnce(const Bytes& input)
{
    nalsmith::ReaderOptions options;
    options.self_contained = true;
    AccessUnitReader reader(Codec::h264, options);
    return ReadPieces(reader, input, input.size());
}

// Each with a tag of its own.
std::size_t PushNothing(const Bytes& input)
{
    AccessUnitReader reader(Codec::h264);
    for (std::size_t i = 0; i < input.size(); ++i)
        static_cast<void>(reader.push({}, i + 1));
    return Drain(reader);
}

std::size_t PushByteByByte(const Bytes& input)
{
    AccessUnitReader reader(Codec::h264);
    std::size_t units = 0;
    for (std::size_t i = 0; i < input.size(); ++i) {
        static_cast<void>(reader.push(BytesView(input).subview(i, 1), i + 1));
        units += Drain(reader);
    }
    static_cast<void>(reader.finish());
    return units + Drain(reader);
}

std::size_t AddUserDataTo(const Bytes& input)
{
    nalsmith::UserDataEditor editor(Codec::h264);
    const auto edited = editor.add(input, kDelimiter);
    return edited ? edited->size() : 0;
}

std::size_t RemoveUserDataFrom(const Bytes& input)
{
    nalsmith::UserDataEditor editor(Codec::h264);
    const auto edited = editor.remove(input);
    return edited ? edited->size() : 0;
}

// Changes of both sets from picture to picture, with an SPS of 10 KB.
Bytes ChangingSets(std::size_t size)
{
    return Filled({}, size, [](std::size_t i) {
        return LargeSps(10'000, i % 2 == 0 ? 0xAA : 0xBB) + PpsOf(0, 0, Bytes(i % 3, 0x55)) + kTinySlice;
    });
}

// Changes of the PPS alone, or of another PPS, after an SPS that takes a quarter of the input.
Bytes ChangingPps(std::size_t size)
{
    return Filled(LargeSps(size / 4, 0xAA), size,
                  [](std::size_t i) { return PpsOf(0, 0, Bytes(i % 3, 0x55)) + kTinySlice; });
}

// 256 PPS of 70 bytes, then key pictures that bring none of them.
Bytes KeyUnitsWithoutSets(std::size_t size)
{
    Bytes sets = avctest::Sps{};
    for (u32 id = 0; id < 256; ++id)
        sets = sets + PpsOf(id, 0, Bytes(56, 0x55));
    return Filled(sets + kTinyKeySlice, size, [](std::size_t) { return kDelimiter + kTinyKeySlice; });
}

// Messages of two bytes, every other one user data.
Bytes TinyMessages(std::size_t size)
{
    return Repeated(kDelimiter + "00 00 01 06"_bytes, size, "05 00 06 00"_bytes) + "80"_bytes + kTinySlice;
}

// num_slice_groups_minus1 of 2^32 - 1, slice_group_map_type 6, and as many map units.
const Bytes kEndlessPps = avctest::Nal(
    8, BitWriter().ues({0, 0}).u(2, 0).ue(UINT32_MAX).ue(6).ue(UINT32_MAX).Take() + Bytes(12, 0xFF), 3, 3);

std::size_t JudgePps(const Bytes& input)
{
    nalsmith::ContinuityChecker checker(Codec::h264);
    return checker.check(input).broken() ? 1 : 2;
}

constexpr auto kReadAvc = Read<Codec::h264>;
constexpr auto kReadHevc = Read<Codec::h265>;

const Growing kGrowing[] = {
    {"pps_ids/known",
     [](std::size_t size) {
         return Filled(avctest::Sps{}, size, [](std::size_t i) { return PpsOf(i % 256, i / 256); }) +
                kTinySlice;
     },
     kReadAvc},
    {"pps_ids/unknown",
     [](std::size_t size) {
         return Filled(avctest::Sps{}, size, [](std::size_t i) { return PpsOf(256 + i, 0); }) + kTinySlice;
     },
     kReadAvc},
    {"changes/sps", ChangingSets, kReadAvc},
    {"changes/pps", ChangingPps, kReadAvc},
    {"self_contained/256_pps", KeyUnitsWithoutSets, ReadSelfContainedAtOnce},
    {"pushes/of_nothing", [](std::size_t size) { return Bytes(size); }, PushNothing},
    {"pushes/of_a_byte/one_unit",
     [](std::size_t size) { return Repeated(Sets() + kTinySlice, size, Bytes(64, 0x5A)); }, PushByteByByte},
    {"pushes/of_a_byte/tiny_units",
     [](std::size_t size) { return Repeated(Sets(), size, kDelimiter + kTinySlice); }, PushByteByByte},
    {"user_data/add", TinyMessages, AddUserDataTo},
    {"user_data/remove", TinyMessages, RemoveUserDataFrom},
    {"key_units_after_large_sps",
     [](std::size_t size) {
         return Repeated(LargeSps(size / 2, 0xAA) + avctest::Pps{}, size, kTinyKeySlice);
     },
     kReadAvc},
    {"tiny_units", [](std::size_t size) { return Repeated(Sets(), size, kDelimiter + kTinySlice); },
     kReadAvc},
    {"refused/avc", [](std::size_t size) { return Repeated({}, size, kTinySlice); }, kReadAvc},
    {"refused/avc/in_parts", [](std::size_t size) { return Repeated({}, size, kTinySlice); }, ReadInParts},
    {"refused/hevc", [](std::size_t size) { return Repeated({}, size, kHevcSlice); }, kReadHevc},
    {"start_codes/avc", [](std::size_t size) { return Repeated({}, size, "00 00 01"_bytes); }, kReadAvc},
    {"start_codes/hevc", [](std::size_t size) { return Repeated({}, size, "00 00 01"_bytes); }, kReadHevc},
    {"delimiters", [](std::size_t size) { return Repeated({}, size, "00 00 01 09"_bytes); }, kReadAvc},
    {"zeros", [](std::size_t size) { return Repeated(Sets() + kTinySlice, size, Bytes(64, 0)); }, kReadAvc},
    {"slice_groups", [](std::size_t size) { return Repeated({}, size, kEndlessPps); }, JudgePps},
};

void Run(State& state, const Growing& growing, std::size_t size)
{
    const Bytes input = growing.make(size);
    std::size_t out = 0;
    for (auto _ : state) {
        out += growing.job(input);
        benchmark::ClobberMemory();
    }
    AllocationWatch watch;
    watch.During([&] { out += growing.job(input); });
    if (out == 0 && growing.job != PushNothing)
        state.SkipWithError("nothing came out");
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * input.size()));
    state.counters["peak/byte"] = static_cast<double>(watch.Peak()) / static_cast<double>(input.size());
}

// One call for one PPS, which is all that a stream needs to send.
void JudgeOnePps(State& state)
{
    nalsmith::ContinuityChecker checker(Codec::h264);
    for (auto _ : state)
        benchmark::DoNotOptimize(checker.check(kEndlessPps));
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * kEndlessPps.size()));
    state.counters["ns/unit"] = benchmark::Counter(static_cast<double>(state.iterations()) * 1e-9,
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

void RegisterLayerGrowth()
{
    for (const Growing& growing : kGrowing)
        for (const std::size_t size : {1u << 20, 2u << 20, 4u << 20})
            RegisterLayerRow(
                "layer/" + std::string(growing.name) + "/" + std::to_string(size >> 20) + "MB",
                [&growing, size](State& state) { Run(state, growing, size); }, 15);
    RegisterLayerRow("layer/slice_groups/one_pps", JudgeOnePps);
}
