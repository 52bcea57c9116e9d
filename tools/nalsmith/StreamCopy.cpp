// SPDX-License-Identifier: MIT
#include "StreamCopy.h"

namespace host {

StreamCopy::StreamCopy(const CopyOptions& options, bool selfContained)
    : options_((RequireOneOutput(options), options)), input_(options), output_(options.output),
      reader_(input_, options,
              {selfContained, false, [this](nalsmith::BytesView leading) { output_.Write(leading); }})
{
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
