// SPDX-License-Identifier: MIT
#include "OutputFile.h"

#include "Failure.h"
#include "Unfinished.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace host {

using unfinished::SignalsHeld;

OutputFile::OutputFile(const std::string& path) : name_(path == "-" ? "standard output" : path), target_(path)
{
    if (path == "-")
        file_ = stdout;
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
    if (exists && (::access(target_.c_str(), W_OK) != 0 || !FollowLinks()))
        return;
    OpenBeside(exists ? existing.st_mode & 0777 : unfinished::DefaultMode(0666));
}

// A link stays, and points to the new file.
bool OutputFile::FollowLinks()
{
    char* const real = ::realpath(target_.c_str(), nullptr);
    if (real == nullptr)
        return false;
    target_ = real;
    std::free(real);
    return true;
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
