// SPDX-License-Identifier: MIT
// Each job of the library and its minimum, and the limits of the memory, over streams of large and of small
// NAL units.
#include "Minimum.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace {

using benchmark::State;

// One handle of either family.
class Handle {
public:
    explicit Handle(const Stream& stream, bool userData = false) : userData_(userData)
    {
        if (userData)
            UserDataCreate(&handle_, stream.shape.codec);
        else
            ParseCreate(&handle_, stream.shape.codec, 0, stream.largest + 4096);
    }
    ~Handle() { userData_ ? UserDataRelease(handle_) : ParseRelease(handle_); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    operator void*() const { return handle_; }

private:
    void* handle_ = nullptr;
    bool userData_;
};

// Runs `job` over every access unit, an iteration each round.
template <typename Job>
void Run(State& state, const Stream& stream, Job&& job)
{
    u32 sum = 0;
    for (auto _ : state) {
        for (const Bytes& unit : stream.units)
            sum += static_cast<u32>(job(unit));
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * stream.bytes));
    state.counters["ns/unit"] =
        benchmark::Counter(static_cast<double>(state.iterations() * stream.units.size()) * 1e-9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <typename Job>
void Register(const Stream& stream, const std::string& name, const std::string& side, Job job)
{
    benchmark::RegisterBenchmark((name + "/" + stream.shape.Name() + "/" + side).c_str(), job);
}

void RegisterLimits(const Stream& stream)
{
    Register(stream, "limits", "memcpy", [&stream](State& state) {
        minimum::Ring ring(stream);
        Run(state, stream, [&](const Bytes& unit) { return minimum::Copy(unit, ring.Next()); });
    });
    Register(stream, "limits", "scan", [&stream](State& state) { Run(state, stream, minimum::Scan); });
    Register(stream, "limits", "scan+copy", [&stream](State& state) {
        minimum::Ring ring(stream);
        Run(state, stream, [&](const Bytes& unit) { return minimum::ScanAndCopy(unit, ring.Next()); });
    });
}

void RegisterReading(const Stream& stream)
{
    const VideoCodecType codec = stream.shape.codec;
    Register(stream, "read", "minimum", [&stream, codec](State& state) {
        minimum::Ring ring(stream);
        Run(state, stream, [&](const Bytes& unit) { return minimum::Read(unit, codec, ring.Next()); });
    });
    Register(stream, "read", "library", [&stream](State& state) {
        const Handle handle(stream);
        VideoInfo info;
        Run(state, stream, [&](const Bytes& unit) {
            ParseVideoParams(handle, unit.data(), unit.Size(), &info);
            return info.frameSize;
        });
    });
    Register(stream, "sample", "minimum", [&stream, codec](State& state) {
        Run(state, stream, [&](const Bytes& unit) { return minimum::Sample(unit, codec); });
    });
    Register(stream, "sample", "library", [&stream](State& state) {
        const Handle handle(stream);
        VideoInfoEx info;
        Run(state, stream, [&](const Bytes& unit) {
            VideoSampleTest(handle, unit.data(), unit.Size(), &info);
            return info.intraPicture;
        });
    });
}

void RegisterAvcOnly(const Stream& stream)
{
    Register(stream, "query", "minimum", [&stream](State& state) {
        Run(state, stream, [&](const Bytes& unit) { return minimum::Sample(unit, VideoCodecAVC); });
    });
    Register(stream, "query", "library", [&stream](State& state) {
        const Handle handle(stream);
        VideoPicType type;
        Run(state, stream, [&](const Bytes& unit) {
            QueryType(handle, unit.data(), unit.Size(), type);
            return static_cast<u32>(type);
        });
    });
    Register(stream, "walk", "minimum", [&stream](State& state) {
        Run(state, stream, [&](const Bytes& unit) { return minimum::Walk(unit, VideoCodecAVC); });
    });
    Register(stream, "walk", "library", [&stream](State& state) {
        const Handle handle(stream);
        Run(state, stream, [&](const Bytes& unit) {
            u8* nal = nullptr;
            u32 size = 0;
            u32 header = 0;
            u32 sum = 0;
            bool isSlice = false;
            SetVideoData(handle, const_cast<u8*>(unit.data()), unit.Size());
            while (GetNalUnit(handle, &nal, &size, &isSlice, &header) == 0)
                sum += header;
            return sum;
        });
    });
}

void RegisterAdding(const Stream& stream, u32 size)
{
    const VideoCodecType codec = stream.shape.codec;
    const Bytes data(size, 'x');
    const std::string name = "add" + std::to_string(size);
    Register(stream, name, "minimum", [&stream, codec, data](State& state) {
        Bytes out(stream.largest + data.size() + 64);
        Run(state, stream, [&](const Bytes& unit) { return minimum::Add(unit, codec, data, out.data()); });
    });
    Register(stream, name, "library", [&stream, data](State& state) {
        const Handle handle(stream, true);
        Run(state, stream, [&](const Bytes& unit) {
            const u8* frame = nullptr;
            u32 frameSize = 0;
            AddUserData(handle, unit.data(), unit.Size(), data.data(), data.Size(), &frame, &frameSize);
            return frameSize;
        });
    });
}

using UserDataJob = i64 (*)(void*, const u8*, u32, const u8**, u32*);

void RegisterUserDataJob(const Stream& stream, const std::string& name, UserDataJob job)
{
    Register(stream, name, "library", [&stream, job](State& state) {
        const Handle handle(stream, true);
        Run(state, stream, [&](const Bytes& unit) {
            const u8* out = nullptr;
            u32 size = 0;
            job(handle, unit.data(), unit.Size(), &out, &size);
            return size;
        });
    });
}

void RegisterUserData(const Stream& stream)
{
    const VideoCodecType codec = stream.shape.codec;
    Register(stream, "get", "minimum", [&stream, codec](State& state) {
        Bytes scratch(stream.largest);
        Run(state, stream, [&](const Bytes& unit) { return minimum::Get(unit, codec, scratch.data()); });
    });
    RegisterUserDataJob(stream, "get", GetUserData);
    Register(stream, "remove", "minimum", [&stream, codec](State& state) {
        Bytes scratch(stream.largest);
        Bytes out(stream.largest);
        Run(state, stream,
            [&](const Bytes& unit) { return minimum::Remove(unit, codec, out.data(), scratch.data()); });
    });
    RegisterUserDataJob(stream, "remove", RemoveUserData);
}

std::vector<std::unique_ptr<Stream>>& Kept()
{
    static std::vector<std::unique_ptr<Stream>> streams;
    return streams;
}

const Stream& Keep(Stream stream)
{
    return *Kept().emplace_back(std::make_unique<Stream>(std::move(stream)));
}

} // namespace

void RegisterJobs()
{
    constexpr std::pair<u32, u32> kShapes[] = {{40'000, 1},    {500'000, 1}, {500'000, 8},
                                               {1'000'000, 8}, {2'054, 1},   {2'054, 13}};
    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC})
        for (const auto& [bytes, slices] : kShapes) {
            const Stream& plain = Keep(MakeStream({codec, bytes, slices}));
            RegisterLimits(plain);
            RegisterReading(plain);
            if (codec == VideoCodecAVC)
                RegisterAvcOnly(plain);
            RegisterAdding(plain, 64);
            RegisterAdding(plain, 1000);
            RegisterUserData(Keep(WithUserData(plain, 64)));
        }
}
