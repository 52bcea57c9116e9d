// SPDX-License-Identifier: MIT
// What the tests of the C++ layer share: streams from files, and access units kept beyond their reader.
#pragma once

#include <nalsmith/nalsmith.hpp>

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace layertest {

using namespace nalsmith;

inline Bytes read_file(const std::string& name)
{
    std::ifstream file(NALSMITH_STREAMS "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    const std::string content(std::istreambuf_iterator<char>(file), {});
    return Bytes(content.begin(), content.end());
}

inline Codec codec_of(const std::string& name)
{
    return name.ends_with(".h265") ? Codec::h265 : Codec::h264;
}

struct Kept {
    AccessUnit unit; // its bytes are not valid any more
    Bytes bytes;
};

inline void drain(AccessUnitReader& reader, std::vector<Kept>& kept)
{
    while (const auto unit = reader.next())
        kept.push_back({*unit, Bytes(unit->bytes.begin(), unit->bytes.end())});
}

// In pieces of `size` bytes; the number of a piece is its tag.
inline std::vector<Kept> read_all(AccessUnitReader& reader, BytesView stream, std::size_t size)
{
    std::vector<Kept> kept;
    for (std::size_t at = 0; at < stream.size(); at += size) {
        EXPECT_EQ(reader.push(stream.subview(at, size), at / size), Status::ok);
        drain(reader, kept);
    }
    EXPECT_EQ(reader.finish(), Status::ok);
    drain(reader, kept);
    return kept;
}

inline std::vector<Kept> read_all(Codec codec, BytesView stream, ReaderOptions options = {})
{
    AccessUnitReader reader(codec, options);
    return read_all(reader, stream, 4096);
}

inline Bytes joined(const std::vector<Kept>& units)
{
    Bytes all;
    for (const Kept& kept : units)
        append(all, kept.bytes);
    return all;
}

inline Bytes without(BytesView stream, Codec codec, bool (*drop)(const NalUnit&))
{
    Bytes left;
    for (const NalUnit& nal : NalUnits(codec, stream))
        if (!drop(nal))
            append(left, nal.bytes);
    return left;
}

} // namespace layertest
