// SPDX-License-Identifier: MIT
// The installed surface alone: built on the public header, linked to the shared library.
#include "nalsmith/nalsmith.h"

#include <cstdio>

int main()
{
    // SPS of 64x64, PPS, two IDR pictures.
    const std::uint8_t stream[] = {0,    0,    0, 1, 0x67, 66,   0,    30,   0xFB, 0x0A, 0x12,
                                   0x40, 0,    0, 1, 0x68, 0xCE, 6,    0,    0,    1,    0x65,
                                   0xB8, 0x40, 0, 0, 1,    0x65, 0xB8, 0x40, 0x80};
    void* handle = nullptr;
    VideoInfo info = {};
    const bool read = ParseCreate(&handle, VideoCodecAVC, 0, 0) == 0 &&
                      ParseVideoParams(handle, stream, sizeof stream, &info) == 0 && info.frameAvailable == 1;
    const bool right = read && info.frameSize == 24 && info.keyFrame == 1 && info.frameData[4] == 0x67;
    const bool released = ParseRelease(handle) == 0;
    if (!right || !released)
        std::fprintf(stderr, "the shared library did not read the stream\n");
    return right && released ? 0 : 1;
}
