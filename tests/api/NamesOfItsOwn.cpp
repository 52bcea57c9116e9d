// SPDX-License-Identifier: MIT
// A program whose own classes are named as some inside the library are, linked with the static library. Of
// two functions in line with the same name a linker keeps the program's, without a word: the library would
// run them.
#include "nalsmith/nalsmith.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace bitstream {
struct BitReader {
    [[gnu::used, gnu::noinline]] std::uint32_t GetUE() { return 0; }
    [[gnu::used, gnu::noinline]] std::uint32_t ReadData(std::uint32_t n) { return n; }
};
} // namespace bitstream

namespace memory {
template <typename T>
[[gnu::used, gnu::noinline]] bool GrowTo(T*&, std::uint32_t&, std::uint64_t, std::uint64_t)
{
    return false;
}
template <typename T>
[[gnu::used, gnu::noinline]] T* Allocate(std::uint64_t)
{
    return nullptr;
}
} // namespace memory

struct NalUnit {
    [[gnu::used, gnu::noinline]] bool Found() const { return false; }
    [[gnu::used, gnu::noinline]] bool HasPayload() const { return false; }
};

struct VideoQueueInfo {
    double value = 1;
};

struct CVideoQueue {
    std::vector<VideoQueueInfo> slots;
};

struct CParserBase {
    virtual ~CParserBase() = default;
    virtual std::int64_t Create() { return 5; }
};

namespace {

// Makes the compiler write all of them out, and none of them may do what the library's does.
bool OwnNamesMeanOwnThings()
{
    std::uint8_t* buffer = nullptr;
    std::uint32_t capacity = 0;
    bitstream::BitReader reader;
    const NalUnit unit;
    CVideoQueue queue;
    queue.slots.resize(3);
    CParserBase parser;
    CParserBase* volatile seen = &parser; // calls through the table of virtual functions
    return reader.GetUE() == 0 && reader.ReadData(40) == 40 && !memory::GrowTo(buffer, capacity, 1, 1) &&
           memory::Allocate<std::uint8_t>(1) == nullptr && !unit.Found() && !unit.HasPayload() &&
           queue.slots[2].value == 1 && seen->Create() == 5;
}

} // namespace

int main(int, char** argv)
{
    std::ifstream file(argv[1], std::ios::binary);
    const std::string stream(std::istreambuf_iterator<char>(file), {});
    void* handle = nullptr;
    VideoInfo info = {};
    const bool read = ParseCreate(&handle, VideoCodecAVC, 2, 16) == 0 &&
                      ParseVideoParams(handle, reinterpret_cast<const std::uint8_t*>(stream.data()),
                                       static_cast<std::uint32_t>(stream.size()), &info) == 0;
    ParseRelease(handle);
    std::printf("%u x %u\n", static_cast<unsigned>(info.width), static_cast<unsigned>(info.height));
    return read && info.width == 320 && info.height == 180 && OwnNamesMeanOwnThings() ? 0 : 1;
}
