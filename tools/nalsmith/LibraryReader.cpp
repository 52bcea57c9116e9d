// SPDX-License-Identifier: MIT
#include "LibraryReader.h"

#include <new>
#include <utility>

namespace host {
namespace {

// An access unit is looked at before the next one is begun, so two are enough. They grow on demand.
constexpr std::uint32_t kQueueCount = 2;

} // namespace

LibraryReader::LibraryReader(Input& input, const StreamOptions& stream, NalObserver observer)
    : reader_(input, stream), observer_(std::move(observer)),
      handle_(nalsmith::make_parsing_handle(reader_.Codec(), kQueueCount))
{
    if (!handle_)
        throw std::bad_alloc();
}

const VideoInfo* LibraryReader::Next()
{
    while (at_ != nalsmith::NalUnits::iterator() || Begin()) {
        const nalsmith::NalUnit nal = *at_;
        ++at_;
        if (HandIn(nal))
            return &info_;
    }
    return Flush() ? &info_ : nullptr;
}

// The next of the reader's access units; false at the end.
bool LibraryReader::Begin()
{
    if (flushed_ || reader_.Next() == nullptr)
        return false;
    at_ = reader_.Nals().begin();
    return true;
}

// Whether an access unit was completed: also one NAL unit that is refused may have done so.
bool LibraryReader::HandIn(const nalsmith::NalUnit& nal)
{
    if (observer_)
        observer_(nal);
    if (ParseVideoParams(handle_.get(), nal.bytes.data(), static_cast<std::uint32_t>(nal.bytes.size()),
                         &info_) != 0)
        ++refused_;
    return info_.frameAvailable != 0;
}

// The last access unit. The library would hand it out at every flush, so there is only one.
bool LibraryReader::Flush()
{
    if (std::exchange(flushed_, true))
        return false;
    if (ParseVideoParams(handle_.get(), nullptr, 0, &info_) != 0)
        throw std::bad_alloc();
    return info_.frameAvailable != 0;
}

} // namespace host
