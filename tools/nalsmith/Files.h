// SPDX-License-Identifier: MIT
// A file or the standard input, read from front to back.
#pragma once

#include "StreamOptions.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

class Input {
public:
    // A path of "-" is the standard input.
    explicit Input(const std::string& path);
    // FILE of a command. On a terminal it shows how far reading has come, unless told to be quiet.
    explicit Input(const StreamOptions& options);
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // Reads what is there, `size` bytes at most, waiting for the first of them. 0 at the end of the input.
    std::size_t Read(std::uint8_t* to, std::size_t size);

    // The input as messages call it.
    const std::string& Name() const { return name_; }

    std::uint64_t BytesRead() const { return bytesRead_; }

private:
    std::string name_;
    int descriptor_;
    bool progress_ = false;
    bool ended_ = false;
    std::uint64_t bytesRead_ = 0;
};

// All of a file, or of the standard input. One that is larger than is sensible ends the run.
std::vector<std::uint8_t> ReadAll(const std::string& path);

} // namespace host
