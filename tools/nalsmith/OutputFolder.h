// SPDX-License-Identifier: MIT
// A folder of numbered files that appears only when it is complete: until then it is written under another
// name beside the one that it is to have. A run that fails, or is interrupted, leaves nothing behind.
#pragma once

#include <nalsmith/bytes.hpp>

#include <cstdint>
#include <cstdio>
#include <string>

namespace host {

class OutputFolder {
public:
    // An empty folder may be there already; anything else ends the run.
    OutputFolder(const std::string& path, const char* ending);

    // Without Commit() before, what has been written is removed.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    // Ends the file at hand, if any, and begins the next: 000000.h264, 000001.h264, ...
    void BeginFile();
    void Write(nalsmith::BytesView bytes);

    // All is written: gives the folder its name.
    void Commit();

    std::uint64_t Files() const { return files_; }
    std::uint64_t BytesWritten() const { return bytesWritten_; }

private:
    void RequireEmpty();
    void EndFile();
    void Discard();
    [[noreturn]] void Fail(int error) const;

    std::string name_;   // as messages call it
    std::string target_; // what the folder is to be called
    const char* ending_; // of its files
    std::string temporary_;
    std::FILE* file_ = nullptr;
    std::uint64_t files_ = 0;
    std::uint64_t bytesWritten_ = 0;
};

} // namespace host
