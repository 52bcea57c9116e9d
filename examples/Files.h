// SPDX-License-Identifier: MIT
// What the examples share: files in, files out.
#pragma once

#include <nalsmith/nalsmith.hpp>

#include <fstream>
#include <string>
#include <vector>

// By the name of the file: nothing in a byte stream says of which codec it is.
inline nalsmith::Codec codec_of(const std::string& file)
{
    const bool h265 = file.size() >= 5 && file.compare(file.size() - 5, 5, ".h265") == 0;
    return h265 ? nalsmith::Codec::h265 : nalsmith::Codec::h264;
}

inline void write(std::ofstream& out, nalsmith::BytesView bytes)
{
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Hands a file to `use`, piece by piece, as long as that answers true. Whether all of it went well.
template <typename Use>
bool for_each_piece(const char* file, std::size_t size, Use use)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return false;
    std::vector<char> piece(size);
    while (in.read(piece.data(), static_cast<std::streamsize>(size)), in.gcount() > 0)
        if (!use(nalsmith::BytesView(piece).subview(0, static_cast<std::size_t>(in.gcount()))))
            return false;
    return true;
}
