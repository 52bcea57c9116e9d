// SPDX-License-Identifier: MIT
#include "StreamCopy.h"

#include "Output.h"

namespace host {

void AddCopyOptions(CLI::App& parser, CopyOptions& options)
{
    AddStreamOptions(parser, options);
    parser
        .add_option("-o,--output", options.output,
                    "File to write, which appears when it is complete; - is the standard output")
        ->required();
}

StreamCopy::StreamCopy(const CopyOptions& options)
    : input_(options.file), output_(options.output),
      reader_(
          input_, options.Codec(),
          {[this](ByteView nal) { nals_.Add(nal); }, [this](ByteView leading) { output_.Write(leading); }}),
      nals_(reader_.Codec(), input_.Name())
{
}

const CopiedUnit* StreamCopy::Next()
{
    const VideoInfo* const unit = reader_.Next();
    if (unit == nullptr)
        return nullptr;
    unit_ = {accessUnits_++, unit->keyFrame != 0, nals_.Take(*unit, reader_.AtEnd())};
    return &unit_;
}

void StreamCopy::WriteUnchanged(const CopiedUnit& unit)
{
    for (const RawNal& nal : unit.nals)
        Write(nal.bytes);
}

void StreamCopy::Finish(const std::string& counts)
{
    output_.Commit();
    ComplainOfRefused(input_, reader_, "copied as they are");
    output::Remark(
        fmt::format("{}; {} bytes in, {} bytes out", counts, input_.BytesRead(), output_.BytesWritten()));
}

} // namespace host
