// SPDX-License-Identifier: MIT
// nalsmith split: a stream as files of access units, or of segments that begin at key frames.
#include "CommandLine.h"
#include "Commands.h"
#include "Files.h"
#include "Output.h"
#include "OutputFolder.h"
#include "UnitReader.h"

namespace host {
namespace {

struct SplitOptions : StreamOptions {
    std::string folder;
    bool atKey = false;
};

struct Piece {
    std::uint64_t offset = 0; // in the input
    std::uint64_t bytes = 0;
    std::uint64_t firstUnit = 0;
    std::uint64_t units = 0;
    bool key = false; // begins with a key frame
};

// Cuts in front of access units.
class Splitter {
public:
    explicit Splitter(const SplitOptions& options)
        : options_(options), input_(options),
          reader_(input_, options, {false, false, [this](auto bytes) { append(leading_, bytes); }}),
          folder_(options.folder, EndingOf(reader_.Codec()))
    {
    }

    void Run()
    {
        while (const nalsmith::AccessUnit* unit = reader_.Next()) {
            // Slices that cannot be read begin no file of their own, except before a key frame.
            if (folder_.Files() == 0 || unit->key ||
                (!options_.atKey && reader_.Index() && piece_.units != 0))
                Begin(*unit);
            Write(unit->bytes);
            WriteZeros(unit->zeros_left_out, [this](nalsmith::BytesView zeros) { Write(zeros); });
            piece_.units += reader_.Index() ? 1 : 0;
        }
        Tell();
        folder_.Commit();
        reader_.Warn();
        if (!options_.quiet)
            output::Remark(fmt::format("{} in {}; {} bytes in, {} bytes out",
                                       Count(reader_.Units(), "access unit"), Count(folder_.Files(), "file"),
                                       input_.BytesRead(), folder_.BytesWritten()));
    }

private:
    void Begin(const nalsmith::AccessUnit& unit)
    {
        Tell();
        piece_ = {reader_.Offset(), 0, reader_.Index().value_or(reader_.Units()), 0, unit.key};
        folder_.BeginFile();
        if (folder_.Files() > 1)
            return;
        piece_.offset = 0; // bytes before the first start code are part of the first file
        Write(leading_);
    }

    void Write(nalsmith::BytesView bytes)
    {
        folder_.Write(bytes);
        piece_.bytes += bytes.size();
    }

    void Tell() const
    {
        if (!options_.json || folder_.Files() == 0)
            return;
        output::JsonLine({{"file", fmt::format("{:06}{}", folder_.Files() - 1, EndingOf(reader_.Codec()))},
                          {"offset", piece_.offset},
                          {"bytes", piece_.bytes},
                          {"firstUnit", piece_.firstUnit},
                          {"accessUnits", piece_.units},
                          {"key", piece_.key}});
    }

    const SplitOptions& options_;
    nalsmith::Bytes leading_;
    Input input_;
    UnitReader reader_;
    OutputFolder folder_;
    Piece piece_;
};

} // namespace

Command MakeSplitCommand(CLI::App& program)
{
    CLI::App* parser =
        AddCommand(program, "split", "Write access units, or segments, to files of their own",
                   "The files are DIR/000000.h264 (.h265) and so on; one behind the other they are FILE, "
                   "byte for byte.\n"
                   "DIR appears when it is complete; it must not exist, or be empty. To make every segment "
                   "stand alone,\n"
                   "split what `nalsmith complete` has written.\n\n"
                   "Example:\n  nalsmith split movie.h264 -o segments --at-key");
    const auto options = std::make_shared<SplitOptions>();
    AddStreamOptions(*parser, *options, "Print one JSON object for each file");
    AddOption(*parser, "-o,--output", options->folder, "Folder to make", {"DIR", true});
    AddFlag(*parser, "--at-key", options->atKey, "Begin a file at each key frame, not at each access unit");
    return {parser, [options] {
                Splitter(*options).Run();
                return ExitStatus::Done;
            }};
}

} // namespace host
