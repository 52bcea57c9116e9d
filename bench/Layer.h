// SPDX-License-Identifier: MIT
// What the rows of the C++ layer and the yardsticks beside them read: streams small enough to stay in a
// cache, so that what a byte and a NAL unit cost is seen, and not the memory.
#pragma once

#include "Streams.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

struct LayerInput {
    Stream stream;
    Bytes file; // all of its access units
};

constexpr std::size_t kPiece = 65536;

// Large and small access units, whole and in slices of 158 bytes, of both codecs.
const std::vector<LayerInput>& LayerInputs();

// Rows of their own; called by RegisterLayer().
void RegisterLayerChecks();

// Runs `round`, which goes through the whole stream once more and tells how many access units came out of it.
// A reader may hold back the last ones, but only once: the streams follow one another.
template <typename Round>
void RunLayer(benchmark::State& state, const LayerInput& input, const Round& round)
{
    std::size_t units = 0;
    for (auto _ : state) {
        units += round();
        benchmark::ClobberMemory();
    }
    const std::size_t there = static_cast<std::size_t>(state.iterations()) * input.stream.units.size();
    if (units > there || units + 2 < there)
        state.SkipWithError("access units were lost");
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * input.stream.bytes));
    state.counters["ns/unit"] = benchmark::Counter(static_cast<double>(there) * 1e-9,
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// Short runs and many of them: what disturbs one of them leaves the others alone, and the fastest counts.
template <typename Function>
void RegisterLayerRow(const std::string& name, const Function& function, int times = 41)
{
    benchmark::RegisterBenchmark(name.c_str(), function)->Repetitions(times)->MinTime(0.01);
}
