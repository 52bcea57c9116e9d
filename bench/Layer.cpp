// SPDX-License-Identifier: MIT
// The C++ layer beside the function below it: a file in pieces of 64 KiB through AccessUnitReader, and the
// same access units, already cut, one a call through ParseVideoParams().
#include "Streams.h"

#include <nalsmith/nalsmith.hpp>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

using benchmark::State;

constexpr std::size_t kPiece = 65536;

struct Input {
    Stream stream;
    Bytes file;
};

template <typename Round>
void Run(State& state, const Input& input, const Round& round)
{
    std::size_t units = 0;
    for (auto _ : state)
        units += round();
    if (units != state.iterations() * input.stream.units.size())
        state.SkipWithError("access units were lost");
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * input.stream.bytes));
}

std::size_t ReadRaw(void* handle, const Stream& stream)
{
    VideoInfo info = {};
    std::size_t units = 0;
    for (const Bytes& unit : stream.units) {
        ParseVideoParams(handle, unit.data(), unit.Size(), &info);
        units += info.frameAvailable;
        benchmark::DoNotOptimize(info.frameData);
    }
    return units;
}

std::size_t Drain(nalsmith::AccessUnitReader& reader)
{
    std::size_t units = 0;
    while (const auto unit = reader.next()) {
        benchmark::DoNotOptimize(unit->bytes.data());
        ++units;
    }
    return units;
}

std::size_t ReadPieces(nalsmith::AccessUnitReader& reader, nalsmith::BytesView file)
{
    std::size_t units = 0;
    for (std::size_t at = 0; at < file.size(); at += kPiece) {
        static_cast<void>(reader.push(file.subview(at, kPiece)));
        units += Drain(reader);
    }
    static_cast<void>(reader.finish());
    return units + Drain(reader);
}

void RegisterShape(const Shape& shape)
{
    static std::vector<std::unique_ptr<Input>> kept;
    const Input& input = *kept.emplace_back(std::make_unique<Input>(Input{MakeStream(shape), {}}));
    kept.back()->file = Join(input.stream.units);
    const std::string row = "layer/" + shape.Name() + "/";
    benchmark::RegisterBenchmark((row + "library").c_str(), [&input](State& state) {
        Run(state, input, [&] {
            void* handle = nullptr;
            VideoInfo last = {};
            ParseCreate(&handle, input.stream.shape.codec, 0, input.stream.largest + 4096);
            const std::size_t units = ReadRaw(handle, input.stream);
            ParseVideoParams(handle, nullptr, 0, &last);
            ParseRelease(handle);
            return units + last.frameAvailable;
        });
    });
    benchmark::RegisterBenchmark((row + "layer").c_str(), [&input](State& state) {
        nalsmith::AccessUnitReader reader(static_cast<nalsmith::Codec>(input.stream.shape.codec));
        Run(state, input, [&] { return ReadPieces(reader, input.file); });
    });
}

} // namespace

void RegisterLayer()
{
    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC})
        for (const u32 bytes : {40'000U, 500'000U, 2'054U})
            RegisterShape({codec, bytes, 1});
}
