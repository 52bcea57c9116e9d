// SPDX-License-Identifier: MIT
#include "OutputFile.h"

#include "Failure.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace host {
namespace {

// The temporary file, for a signal that ends the run.
char unfinished[PATH_MAX];

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGTERM};

extern "C" void RemoveUnfinished(int signal)
{
    if (unfinished[0] != '\0')
        ::unlink(unfinished);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Keeps the signals that end a run waiting.
class SignalsHeld {
public:
    SignalsHeld()
    {
        sigset_t ending;
        sigemptyset(&ending);
        for (const int signal : kEndingSignals)
            sigaddset(&ending, signal);
        sigprocmask(SIG_BLOCK, &ending, &before_);
    }
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_ = {};
};

void SetUnfinished(const std::string& path)
{
    unfinished[path.copy(unfinished, sizeof unfinished - 1)] = '\0';
}

// A signal that is ignored, as under nohup, stays ignored.
void HandleEndingSignals()
{
    for (const int signal : kEndingSignals)
        if (std::signal(signal, RemoveUnfinished) == SIG_IGN)
            std::signal(signal, SIG_IGN);
}

// The permissions that a new file gets.
mode_t DefaultMode()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

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
    OpenBeside(exists ? existing.st_mode & 0777 : DefaultMode());
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
    SetUnfinished({});
}

void OutputFile::OpenBeside(unsigned mode)
{
    const std::string folder = target_.substr(0, target_.rfind('/') + 1); // empty for the current one
    std::string path = folder + ".nalsmith-XXXXXX";

    const SignalsHeld held;
    HandleEndingSignals();
    const int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0)
        return;
    temporary_ = path;
    SetUnfinished(temporary_);
    // A file system without permissions may refuse, which does no harm.
    static_cast<void>(::fchmod(descriptor, mode));
    file_ = ::fdopen(descriptor, "wb");
}

void OutputFile::Write(ByteView bytes)
{
    if (std::fwrite(bytes.data, 1, bytes.size, file_) != bytes.size)
        Fail(errno);
    bytesWritten_ += bytes.size;
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
    SetUnfinished({});
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
