// SPDX-License-Identifier: MIT
// What is being written under another name, and is removed when a signal ends the run.
#pragma once

#include <csignal>
#include <cstdint>
#include <string>

namespace host::unfinished {

// Keeps the signals that end a run waiting.
class SignalsHeld {
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_ = {};
};

// One at a time; both with the signals held. A signal that is ignored, as under nohup, stays ignored.
void SetFile(const std::string& file);
void SetFolder(const std::string& folder, const char* ending);
void SetNone();

// So many files the folder may hold by now: those that NumberedFile() names from 0 on.
void SetFilesInFolder(std::uint64_t count);

// "folder/000012.h264". No longer than kNameRoom characters are added to that of the folder.
constexpr std::size_t kNameRoom = 32;
std::string NumberedFile(const std::string& folder, std::uint64_t number, const char* ending);

// The permissions that a new file gets, or with 0777 a new folder.
unsigned DefaultMode(unsigned all);

} // namespace host::unfinished
