// SPDX-License-Identifier: MIT
#include "Files.h"

#include "Failure.h"
#include "Progress.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace host {
namespace {

[[noreturn]] void FailWithErrno(const std::string& name)
{
    throw Failure(ExitStatus::BadInput, name + ": " + std::generic_category().message(errno));
}

} // namespace

Input::Input(const std::string& path)
    : name_(path == "-" ? "standard input" : path),
      descriptor_(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC))
{
    if (descriptor_ < 0)
        FailWithErrno(name_);
}

Input::Input(const StreamOptions& options) : Input(options.file)
{
    struct stat status = {};
    const bool known = ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    progress_ = !options.quiet;
    if (progress_)
        progress::Begin(known ? static_cast<std::uint64_t>(status.st_size) : 0);
}

Input::~Input()
{
    if (progress_)
        progress::Erase();
    if (descriptor_ != STDIN_FILENO)
        ::close(descriptor_);
}

std::size_t Input::Read(std::uint8_t* to, std::size_t size)
{
    if (ended_)
        return 0; // a terminal would be asked once more
    ssize_t got = 0;
    do {
        got = ::read(descriptor_, to, size);
    } while (got < 0 && errno == EINTR);
    if (got < 0)
        FailWithErrno(bytesRead_ == 0 ? name_ : fmt::format("{}: at byte {}", name_, bytesRead_));
    ended_ = got == 0;
    bytesRead_ += static_cast<std::uint64_t>(got);
    if (progress_)
        progress::Show(bytesRead_);
    return static_cast<std::size_t>(got);
}

std::vector<std::uint8_t> ReadAll(const std::string& path)
{
    constexpr std::size_t kBlock = std::size_t{64} << 10;
    constexpr std::size_t kLargest = std::size_t{256} << 20;
    Input input(path);
    std::vector<std::uint8_t> bytes;
    for (std::size_t size = 0, got = 1; got != 0; size += got) {
        if (size > kLargest)
            throw Failure(ExitStatus::BadInput,
                          fmt::format("{}: larger than {} bytes", input.Name(), kLargest));
        bytes.resize(size + kBlock);
        got = input.Read(bytes.data() + size, kBlock);
        bytes.resize(size + got);
    }
    return bytes;
}

} // namespace host
