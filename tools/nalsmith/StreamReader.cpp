// SPDX-License-Identifier: MIT
#include "StreamReader.h"

#include "Failure.h"
#include "Output.h"

#include <utility>

namespace host {
namespace {

// An access unit is looked at before the next one is begun, so two are enough. They grow on demand.
constexpr std::uint32_t kQueueCount = 2;
constexpr std::uint32_t kUsualBufferSize = 0;

} // namespace

StreamReader::StreamReader(Input& input, std::optional<VideoCodecType> codec, Observers observers)
    : input_(input), observer_(std::move(observers.nal)), nals_(input, codec, std::move(observers.leading)),
      handle_(MakeParsingHandle(nals_.Codec(), kQueueCount, kUsualBufferSize))
{
}

const VideoInfo* StreamReader::Next()
{
    while (const auto nal = nals_.Next())
        if (HandIn(*nal))
            return Report();
    if (Flush())
        return Report();
    if (accessUnits_ == 0)
        throw Failure(ExitStatus::BadInput, input_.Name() + ": no access unit found");
    return nullptr;
}

// Whether an access unit was completed: also one NAL unit that is refused may have done so.
bool StreamReader::HandIn(ByteView nal)
{
    if (observer_)
        observer_(nal);
    if (ParseVideoParams(handle_.get(), nal.data, static_cast<std::uint32_t>(nal.size), &info_) != 0)
        ++refused_;
    return info_.frameAvailable != 0;
}

// The last access unit. The library would hand it out at every flush, so there is only one.
bool StreamReader::Flush()
{
    if (flushed_)
        return false;
    flushed_ = true;
    if (ParseVideoParams(handle_.get(), nullptr, 0, &info_) != 0)
        throw Failure(ExitStatus::BadInput, input_.Name() + ": not enough memory for the last access unit");
    return info_.frameAvailable != 0;
}

const VideoInfo* StreamReader::Report()
{
    ++accessUnits_;
    return &info_;
}

void ComplainOfRefused(const Input& input, const StreamReader& reader, const char* fate)
{
    const std::uint64_t refused = reader.RefusedNalUnits();
    if (refused != 0)
        Complain(fmt::format("{}: {} refused and {} (forbidden_zero_bit set, or not enough memory)",
                             input.Name(), Count(refused, "NAL unit"), fate));
}

} // namespace host
