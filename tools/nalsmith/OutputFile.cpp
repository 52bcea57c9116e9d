// SPDX-License-Identifier: MIT
#include "OutputFile.h"

#include "Failure.h"
#include "Unfinished.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace host {

using unfinished::SignalsHeld;

namespace {

// The number that a path such as /dev/fd/3 says.
std::optional<int> DescriptorOf(const std::string& path)
{
    if (path == "-" || path == "/dev/stdout")
        return STDOUT_FILENO;
    if (path == "/dev/stderr")
        return STDERR_FILENO;
    for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
        int number = -1;
        const char* const end = path.data() + path.size();
        if (path.compare(0, folder.size(), folder) == 0 &&
            std::from_chars(path.data() + folder.size(), end, number).ptr == end && number >= 0)
            return number;
    }
    return std::nullopt;
}

} // namespace

bool IsStandardOutput(const std::string& path)
{
    return DescriptorOf(path) == STDOUT_FILENO;
}

OutputFile::OutputFile(const std::string& path)
    : name_(IsStandardOutput(path) ? "standard output" : path), target_(path)
{
    if (IsStandardOutput(path))
        file_ = stdout;
    else if (const auto descriptor = DescriptorOf(path))
        file_ = ::fdopen(::fcntl(*descriptor, F_DUPFD_CLOEXEC, 0), "wb");
    else
        Open();
    if (file_ == nullptr) {
        const int error = errno;
        Discard();
        Fail(error);
    }
}

// Where it leaves no file, errno tells why.
void OutputFile::Open()
{
    struct stat existing = {};
    const bool exists = ::stat(target_.c_str(), &existing) == 0;
    if (!exists && errno != ENOENT)
        return;
    if (exists && !S_ISREG(existing.st_mode)) {
        file_ = std::fopen(target_.c_str(), "wbe");
        return;
    }
    if (exists && ::access(target_.c_str(), W_OK) != 0)
        return;
    FollowLink();
    OpenBeside(exists ? existing.st_mode & 0777 : unfinished::DefaultMode(0666));
}

// A link stays, and points to the new file, also when there was none.
void OutputFile::FollowLink()
{
    namespace fs = std::filesystem;
    constexpr int kMostLinks = 40; // as many as the system follows
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(target_, error); ++i)
        target_ = fs::path(target_).parent_path() / fs::read_symlink(target_, error);
}

OutputFile::~OutputFile()
{
    if (file_ != nullptr && file_ != stdout)
        std::fclose(file_);
    Discard();
}

void OutputFile::Discard()
{
    const SignalsHeld held;
    if (!temporary_.empty())
        ::unlink(temporary_.c_str());
    temporary_.clear();
    unfinished::SetNone();
}

void OutputFile::OpenBeside(unsigned mode)
{
    const std::string folder = target_.substr(0, target_.rfind('/') + 1); // empty for the current one
    std::string path = folder + ".nalsmith-XXXXXX";

    const SignalsHeld held;
    const int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0)
        return;
    temporary_ = path;
    unfinished::SetFile(temporary_);
    // A file system without permissions may refuse, which does no harm.
    static_cast<void>(::fchmod(descriptor, mode));
    file_ = ::fdopen(descriptor, "wb");
}

void OutputFile::Write(nalsmith::BytesView bytes)
{
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size())
        Fail(errno);
    bytesWritten_ += bytes.size();
}

void OutputFile::Commit()
{
    Close();
    if (temporary_.empty())
        return;
    const SignalsHeld held;
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
        Fail(errno);
    temporary_.clear();
    unfinished::SetNone();
}

// Only now it is known that everything could be written.
void OutputFile::Close()
{
    std::FILE* const file = file_;
    file_ = nullptr;
    const bool written = file == stdout ? std::fflush(file) == 0 : std::fclose(file) == 0;
    if (!written)
        Fail(errno);
}

void OutputFile::Fail(int error) const
{
    throw Failure(ExitStatus::OutputFailed, name_ + ": " + std::generic_category().message(error));
}

} // namespace host
