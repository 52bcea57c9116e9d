// SPDX-License-Identifier: MIT
#include "OutputFolder.h"

#include "Failure.h"
#include "Unfinished.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace host {

using unfinished::SignalsHeld;

OutputFolder::OutputFolder(const std::string& path, const char* ending)
    : name_(path), target_(path), ending_(ending)
{
    while (target_.size() > 1 && target_.back() == '/')
        target_.pop_back();
    RequireEmpty();
    std::string beside = target_.substr(0, target_.rfind('/') + 1) + ".nalsmith-XXXXXX";
    const SignalsHeld held;
    if (::mkdtemp(beside.data()) == nullptr)
        Fail(errno);
    temporary_ = beside;
    unfinished::SetFolder(temporary_, ending_);
}

// A link to an empty folder stays.
void OutputFolder::RequireEmpty()
{
    DIR* const folder = ::opendir(target_.c_str());
    if (folder == nullptr) {
        if (errno != ENOENT)
            Fail(errno);
        return;
    }
    int entries = 0;
    while (::readdir(folder) != nullptr)
        ++entries;
    ::closedir(folder);
    constexpr int kItselfAndParent = 2;
    if (entries > kItselfAndParent)
        Fail(ENOTEMPTY);
    char* const real = ::realpath(target_.c_str(), nullptr);
    if (real == nullptr)
        Fail(errno);
    target_ = real;
    std::free(real);
}

OutputFolder::~OutputFolder()
{
    if (file_ != nullptr)
        std::fclose(file_);
    Discard();
}

void OutputFolder::Discard()
{
    if (temporary_.empty())
        return;
    const SignalsHeld held;
    for (std::uint64_t i = 0; i < files_; ++i)
        ::unlink(unfinished::NumberedFile(temporary_, i, ending_).c_str());
    ::rmdir(temporary_.c_str());
    unfinished::SetNone();
}

void OutputFolder::BeginFile()
{
    EndFile();
    unfinished::SetFilesInFolder(files_ + 1);
    file_ = std::fopen(unfinished::NumberedFile(temporary_, files_, ending_).c_str(), "wbe");
    if (file_ == nullptr)
        Fail(errno);
    ++files_;
}

void OutputFolder::Write(nalsmith::BytesView bytes)
{
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size())
        Fail(errno);
    bytesWritten_ += bytes.size();
}

// Only now it is known that everything could be written.
void OutputFolder::EndFile()
{
    std::FILE* const file = std::exchange(file_, nullptr);
    if (file != nullptr && std::fclose(file) != 0)
        Fail(errno);
}

void OutputFolder::Commit()
{
    EndFile();
    // A file system without permissions may refuse, which does no harm.
    static_cast<void>(::chmod(temporary_.c_str(), unfinished::DefaultMode(0777)));
    const SignalsHeld held;
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
        Fail(errno);
    temporary_.clear();
    unfinished::SetNone();
}

void OutputFolder::Fail(int error) const
{
    throw Failure(ExitStatus::OutputFailed, name_ + ": " + std::generic_category().message(error));
}

} // namespace host
