// SPDX-License-Identifier: MIT
#include "Unfinished.h"

#include <atomic>
#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace host::unfinished {
namespace {

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
constexpr std::size_t kEndingRoom = 8;

// For the handler, which may call next to nothing.
char path[PATH_MAX];
char fileEnding[kEndingRoom];
volatile std::sig_atomic_t isFolder = 0;
std::atomic<std::uint64_t> filesInFolder;

// Writes "/000012.h264" and a zero.
void WriteName(char* to, std::uint64_t number, const char* ending)
{
    constexpr std::size_t kLeastDigits = 6;
    char digits[20];
    std::size_t count = 0;
    for (; number != 0 || count < kLeastDigits; number /= 10)
        digits[count++] = static_cast<char>('0' + number % 10);
    *to++ = '/';
    while (count != 0)
        *to++ = digits[--count];
    while ((*to++ = *ending++) != '\0') {
    }
}

void RemoveFolder()
{
    static char file[PATH_MAX + kNameRoom];
    const std::size_t size = std::strlen(path);
    std::memcpy(file, path, size + 1);
    for (std::uint64_t i = 0; i < filesInFolder; ++i) {
        WriteName(file + size, i, fileEnding);
        ::unlink(file);
    }
    ::rmdir(path);
}

extern "C" void RemoveUnfinished(int signal)
{
    if (path[0] != '\0' && isFolder != 0)
        RemoveFolder();
    else if (path[0] != '\0')
        ::unlink(path);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void HandleEndingSignals()
{
    for (const int signal : kEndingSignals)
        if (std::signal(signal, RemoveUnfinished) == SIG_IGN)
            std::signal(signal, SIG_IGN);
}

} // namespace

SignalsHeld::SignalsHeld()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : kEndingSignals)
        sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, &before_);
}

SignalsHeld::~SignalsHeld()
{
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

void SetFile(const std::string& file)
{
    isFolder = 0;
    path[file.copy(path, sizeof path - 1)] = '\0';
    HandleEndingSignals();
}

void SetFolder(const std::string& folder, const char* ending)
{
    SetFile(folder);
    isFolder = 1;
    filesInFolder = 0;
    std::strncpy(fileEnding, ending, sizeof fileEnding - 1);
}

void SetNone()
{
    path[0] = '\0';
}

void SetFilesInFolder(std::uint64_t count)
{
    filesInFolder = count;
}

std::string NumberedFile(const std::string& folder, std::uint64_t number, const char* ending)
{
    char name[kNameRoom];
    WriteName(name, number, ending);
    return folder + name;
}

unsigned DefaultMode(unsigned all)
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return all & ~mask;
}

} // namespace host::unfinished
