// SPDX-License-Identifier: MIT
// ContinuityChecker on bytes, and on what a reader has found, beside the walk over the NAL units that bytes
// need.
#include "Layer.h"

#include <nalsmith/nalsmith.hpp>

namespace {

using benchmark::State;
using nalsmith::BytesView;

nalsmith::Codec CodecOf(const LayerInput& input)
{
    return static_cast<nalsmith::Codec>(input.stream.shape.codec);
}

template <typename Check>
void RunChecks(State& state, const LayerInput& input, const Check& check)
{
    for (auto _ : state)
        for (std::size_t i = 0; i < input.stream.units.size(); ++i)
            check(i);
    const auto units =
        static_cast<double>(state.iterations()) * static_cast<double>(input.stream.units.size());
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * input.stream.bytes));
    state.counters["ns/unit"] =
        benchmark::Counter(units * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void ScanOnly(State& state, const LayerInput& input)
{
    RunChecks(state, input, [&](std::size_t i) {
        for (const nalsmith::NalUnit& nal : nalsmith::NalUnits(CodecOf(input), input.stream.units[i]))
            benchmark::DoNotOptimize(nal.bytes.data());
    });
}

void CheckBytes(State& state, const LayerInput& input)
{
    nalsmith::ContinuityChecker checker(CodecOf(input));
    RunChecks(state, input, [&](std::size_t i) {
        benchmark::DoNotOptimize(checker.check(BytesView(input.stream.units[i])));
    });
}

void CheckUnits(State& state, const LayerInput& input)
{
    nalsmith::AccessUnitReader reader(CodecOf(input), {false, true});
    std::vector<nalsmith::AccessUnit> units;
    std::vector<std::vector<nalsmith::SlicePlace>> places; // of each, beyond the reader's next call
    for (const Bytes& bytes : input.stream.units) {
        units.push_back(*reader.read(bytes));
        places.emplace_back(units.back().slices.begin(), units.back().slices.end());
    }
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i].slices = nalsmith::SlicePlaces(places[i]);
    nalsmith::ContinuityChecker checker(CodecOf(input));
    RunChecks(state, input, [&](std::size_t i) { benchmark::DoNotOptimize(checker.check(units[i])); });
}

} // namespace

void RegisterLayerChecks()
{
    for (const LayerInput& input : LayerInputs()) {
        const std::string row = "check/" + input.stream.shape.Name();
        RegisterLayerRow(row + "/scan", [&input](State& state) { ScanOnly(state, input); });
        RegisterLayerRow(row + "/bytes", [&input](State& state) { CheckBytes(state, input); });
        RegisterLayerRow(row + "/unit", [&input](State& state) { CheckUnits(state, input); });
    }
}
