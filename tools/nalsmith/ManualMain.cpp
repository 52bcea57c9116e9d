// SPDX-License-Identifier: MIT
// Writes the manual page of nalsmith and its completions for shells: nalsmith-manual FOLDER
#include "Commands.h"
#include "Manual.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

void Write(const std::filesystem::path& path, const std::string& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file << text;
    file.close();
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc != 2)
            throw std::invalid_argument("nalsmith-manual FOLDER");
        const std::filesystem::path folder = argv[1];
        CLI::App program(host::kProgramDescription, host::kProgramName);
        const auto commands = host::AddCommands(program);
        Write(folder / "man/man1/nalsmith.1", host::ManualPage(program));
        Write(folder / "bash-completion/completions/nalsmith", host::BashCompletion(program));
        Write(folder / "zsh/site-functions/_nalsmith", host::ZshCompletion(program));
        Write(folder / "fish/vendor_completions.d/nalsmith.fish", host::FishCompletion(program));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
