// SPDX-License-Identifier: MIT
// A program of somebody else: counts the access units of the two sample streams, whose folder it is told, by
// the layer, and judges each by the library, which the layer's reader alone would not link.
#include <nalsmith/nalsmith.hpp>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

static bool reads(const std::string& path, nalsmith::Codec codec)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    nalsmith::AccessUnitReader reader(codec);
    bool good = reader.push(nalsmith::BytesView(bytes)) == nalsmith::Status::ok;
    good = reader.finish() == nalsmith::Status::ok && good;
    const nalsmith::ParsingHandle library = nalsmith::make_parsing_handle(codec);
    int units = 0, keys = 0, intra = 0;
    while (const auto unit = reader.next()) {
        VideoInfoEx verdict = {};
        const auto size = static_cast<std::uint32_t>(unit->bytes.size());
        good = VideoSampleTest(library.get(), unit->bytes.data(), size, &verdict) == 0 && good;
        ++units;
        keys += unit->key ? 1 : 0;
        intra += verdict.intraPicture != 0 ? 1 : 0;
    }
    good = good && units == 125 && keys == 5 && intra == 5;
    if (!good)
        std::fprintf(stderr, "%s: %d access units, %d key, %d intra\n", path.c_str(), units, keys, intra);
    return good;
}

int main(int argc, char** argv)
{
    const std::string stem = std::string(argc > 1 ? argv[1] : "") + "/testsrc2_320x180.";
    const bool avc = reads(stem + "h264", nalsmith::Codec::h264);
    return reads(stem + "h265", nalsmith::Codec::h265) && avc ? 0 : 1;
}
