// SPDX-License-Identifier: MIT
// The C++ layer beside the functions below it. Access units: a stream in pieces of 64 KiB and already cut
// through AccessUnitReader, the same access units one a call through ParseVideoParams(). NAL units: NalUnits
// beside the library's scanner.
#include "Layer.h"

#include "parser/VideoParams.h"

#include <nalsmith/nalsmith.hpp>

namespace {

using benchmark::State;
using nalsmith::AccessUnitReader;
using nalsmith::BytesView;

nalsmith::Codec CodecOf(const LayerInput& input)
{
    return static_cast<nalsmith::Codec>(input.stream.shape.codec);
}

void ReadWithLibrary(State& state, const LayerInput& input)
{
    void* handle = nullptr;
    ParseCreate(&handle, input.stream.shape.codec, 0, input.stream.largest + 4096);
    RunLayer(state, input, [&] {
        VideoInfo info = {};
        std::size_t units = 0;
        for (const Bytes& unit : input.stream.units) {
            ParseVideoParams(handle, unit.data(), unit.Size(), &info);
            units += info.frameAvailable;
            benchmark::DoNotOptimize(info.frameData);
        }
        return units;
    });
    ParseRelease(handle);
}

void ReadPieces(State& state, const LayerInput& input)
{
    AccessUnitReader reader(CodecOf(input));
    const BytesView file = input.file;
    RunLayer(state, input, [&] {
        std::size_t units = 0;
        for (std::size_t at = 0; at < file.size(); at += kPiece) {
            static_cast<void>(reader.push(file.subview(at, kPiece)));
            while (const auto unit = reader.next()) {
                benchmark::DoNotOptimize(unit->bytes.data());
                ++units;
            }
        }
        return units;
    });
}

void ReadWhole(State& state, const LayerInput& input)
{
    AccessUnitReader reader(CodecOf(input), {false, true});
    RunLayer(state, input, [&] {
        std::size_t units = 0;
        for (const Bytes& bytes : input.stream.units)
            if (const auto unit = reader.read(bytes)) {
                benchmark::DoNotOptimize(unit->bytes.data());
                units += unit->has_picture ? 1 : 0;
            }
        return units;
    });
}

// Both walk over one access unit a call, and count its NAL units: slices and a delimiter, and once sets.
void CheckNalUnits(State& state, const LayerInput& input, u64 found)
{
    const u64 there = state.iterations() * input.stream.units.size() * (input.stream.shape.slices + 1);
    if (found < there || found > there + state.iterations() * 3)
        state.SkipWithError("NAL units were lost");
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * input.stream.bytes));
}

void ScanWithLibrary(State& state, const LayerInput& input)
{
    CParserBase parser;
    u64 found = 0;
    for (auto _ : state)
        for (const Bytes& unit : input.stream.units) {
            const u8 *nal = nullptr, *last = nullptr;
            u32 size = 0;
            parser.SetData(unit.data(), unit.Size());
            for (parser.Reset();; last = nal, ++found) {
                parser.GetNalDataEx(&nal, &size);
                if (nal == last)
                    break;
                benchmark::DoNotOptimize(size);
            }
        }
    CheckNalUnits(state, input, found);
}

void ScanNalUnits(State& state, const LayerInput& input)
{
    u64 found = 0;
    for (auto _ : state)
        for (const Bytes& unit : input.stream.units)
            for (const nalsmith::NalUnit& nal : nalsmith::NalUnits(CodecOf(input), unit)) {
                const std::size_t size = nal.bytes.size();
                benchmark::DoNotOptimize(size);
                ++found;
            }
    CheckNalUnits(state, input, found);
}

} // namespace

const std::vector<LayerInput>& LayerInputs()
{
    constexpr std::pair<u32, u32> kShapes[] = {
        {40'000, 1}, {500'000, 1}, {500'000, 8}, {2'054, 1}, {2'054, 13}};
    static const std::vector<LayerInput> inputs = [&] {
        std::vector<LayerInput> made;
        for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC})
            for (const auto& [bytes, slices] : kShapes) {
                made.push_back({MakeStream({codec, bytes, slices}, 1'500'000, 3), {}});
                made.back().file = Join(made.back().stream.units);
            }
        return made;
    }();
    return inputs;
}

void RegisterLayer()
{
    constexpr std::pair<const char*, void (*)(State&, const LayerInput&)> kSides[] = {
        {"layer/library", ReadWithLibrary},
        {"layer/layer", ReadPieces},
        {"layer/whole_units", ReadWhole},
        {"nal_units/library", ScanWithLibrary},
        {"nal_units/nal_units", ScanNalUnits}};
    for (const LayerInput& input : LayerInputs())
        for (const auto& [name, run] : kSides) {
            const std::string text = name;
            const std::string row = text.substr(0, text.find('/') + 1) + input.stream.shape.Name();
            RegisterLayerRow(row + text.substr(text.find('/')),
                             [&input, run = run](State& state) { run(state, input); });
        }
    RegisterLayerChecks();
}
