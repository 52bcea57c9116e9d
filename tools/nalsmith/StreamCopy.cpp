// SPDX-License-Identifier: MIT
#include "StreamCopy.h"

namespace host {

StreamCopy::StreamCopy(const CopyOptions& options, bool selfContained)
    : options_((RequireOneOutput(options), options)), input_(options), output_(options.output),
      reader_(input_, options,
              {selfContained, false, [this](nalsmith::BytesView leading) { output_.Write(leading); }})
{
}

const nalsmith::AccessUnit* StreamCopy::Next()
{
    WriteZeros(zerosLeftOut_, [this](nalsmith::BytesView zeros) { output_.Write(zeros); });
    const nalsmith::AccessUnit* const unit = reader_.Next();
    zerosLeftOut_ = unit != nullptr ? unit->zeros_left_out : 0;
    return unit;
}

void StreamCopy::Finish(const std::string& counts, Json json)
{
    output_.Commit();
    reader_.Warn();
    json["bytesIn"] = input_.BytesRead();
    json["bytesOut"] = output_.BytesWritten();
    output::Counts(
        options_,
        fmt::format("{}; {} bytes in, {} bytes out", counts, input_.BytesRead(), output_.BytesWritten()),
        json);
}

} // namespace host
