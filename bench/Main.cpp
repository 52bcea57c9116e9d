// SPDX-License-Identifier: MIT
// Rows are named job/codec/size of an access unit/slices in it/side. The groups: jobs, growth, bytewise,
// layer, layer_growth; all of them when none is named on the command line.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

void RegisterJobs();
void RegisterGrowth();
void RegisterBytewise();
void RegisterLayer();
void RegisterLayerGrowth();
#if defined(NALSMITH_BENCH_LIBAVCODEC)
void RegisterLibavcodec();
void RegisterLibavcodecLayer();
#endif

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const std::vector<std::string> groups(argv + 1, argv + argc);
    const auto chosen = [&](const char* group) {
        return groups.empty() || std::find(groups.begin(), groups.end(), group) != groups.end();
    };
    if (chosen("jobs")) {
        RegisterJobs();
#if defined(NALSMITH_BENCH_LIBAVCODEC)
        RegisterLibavcodec();
#endif
    }
    if (chosen("growth"))
        RegisterGrowth();
    if (chosen("bytewise"))
        RegisterBytewise();
    if (chosen("layer")) {
        RegisterLayer();
#if defined(NALSMITH_BENCH_LIBAVCODEC)
        RegisterLibavcodecLayer();
#endif
    }
    if (chosen("layer_growth"))
        RegisterLayerGrowth();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
