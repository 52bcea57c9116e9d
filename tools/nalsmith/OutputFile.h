// SPDX-License-Identifier: MIT
// A file that appears only when it is complete: until then it is written under another name beside the one
// that it is to have. A run that fails, or is interrupted, leaves nothing behind and touches no file that was
// there before.
//
// What is no regular file (a pipe, a device) and what is open already (the standard output, /dev/fd/N) is
// written to as it is, from where it stands.
#pragma once

#include <nalsmith/bytes.hpp>

#include <cstdint>
#include <cstdio>
#include <string>

namespace host {

// "-" and the other names that it has.
bool IsStandardOutput(const std::string& path);

class OutputFile {
public:
    // A path of "-" is the standard output.
    explicit OutputFile(const std::string& path);

    // Without Commit() before, what has been written is removed.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(nalsmith::BytesView bytes);

    // All is written: gives the file its name.
    void Commit();

    std::uint64_t BytesWritten() const { return bytesWritten_; }

private:
    void Open();
    void FollowLink();
    void OpenBeside(unsigned mode);
    void Close();
    void Discard();
    [[noreturn]] void Fail(int error) const;

    std::string name_;      // as messages call it
    std::string target_;    // what the file is to be called
    std::string temporary_; // what it is called until then; empty when it is written to as it is
    std::FILE* file_ = nullptr;
    std::uint64_t bytesWritten_ = 0;
};

} // namespace host
