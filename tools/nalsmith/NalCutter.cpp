// SPDX-License-Identifier: MIT
#include "NalCutter.h"

#include "Failure.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <utility>

namespace host {
namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10;
constexpr std::size_t kFirstBuffer = 4 * kBlock;
constexpr std::size_t kLargestBuffer = kLargestNalUnit + 2 * kBlock;

// Bytes at the end of what has been searched that may belong to a start code still to be completed.
constexpr std::size_t kZerosOfStartCode = 3;

} // namespace

NalCutter::NalCutter(Input& input, ByteObserver leading) : input_(input), leading_(std::move(leading))
{
    Grow();
}

std::optional<ByteView> NalCutter::Next()
{
    if (!started_ && !SkipToFirstStartCode())
        return std::nullopt;
    started_ = true;

    unit_ = next_;
    if (unit_ == end_)
        return std::nullopt;
    std::optional<std::size_t> found = FindStartCode();
    while (!found && ReadBlock())
        found = FindStartCode();
    next_ = found.value_or(end_);
    CheckSize(next_ - unit_);
    return ByteView{buffer_.get() + unit_, next_ - unit_};
}

bool NalCutter::SkipToFirstStartCode()
{
    for (;;) {
        if (const auto found = FindStartCode()) {
            SkipTo(*found);
            next_ = *found;
            return true;
        }
        SkipTo(std::max(unit_, end_ - std::min(end_, kZerosOfStartCode)));
        if (!ReadBlock())
            return false;
    }
}

void NalCutter::SkipTo(std::size_t position)
{
    if (leading_ && position != unit_)
        leading_({buffer_.get() + unit_, position - unit_});
    unit_ = position;
}

// Goes from one 01 to the next and looks at the zeros in front of it. Each byte is searched once.
std::optional<std::size_t> NalCutter::FindStartCode()
{
    const std::uint8_t* const data = buffer_.get();
    while (searched_ < end_) {
        const void* const one = std::memchr(data + searched_, 1, end_ - searched_);
        if (one == nullptr) {
            searched_ = end_;
            break;
        }
        const auto at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(one) - data);
        searched_ = at + 1;
        if (at < unit_ + 2 || data[at - 1] != 0 || data[at - 2] != 0)
            continue;
        const bool fourBytes = at >= unit_ + 3 && data[at - 3] == 0;
        return at - (fourBytes ? 3 : 2);
    }
    return std::nullopt;
}

bool NalCutter::ReadBlock()
{
    // Zeros at the end may yet turn out to be those of the next start code.
    CheckSize(end_ - unit_ - std::min(end_ - unit_, kZerosOfStartCode));
    if (capacity_ - end_ < kBlock)
        MakeRoomForBlock();
    const std::size_t got = input_.Read(buffer_.get() + end_, kBlock);
    end_ += got;
    return got != 0;
}

// Each NAL unit is moved to the front at most once, and the buffer doubles when it is too small: time stays
// proportional to the input.
void NalCutter::MakeRoomForBlock()
{
    MoveUnitToFront();
    if (capacity_ - end_ < kBlock)
        Grow();
}

void NalCutter::MoveUnitToFront()
{
    std::memmove(buffer_.get(), buffer_.get() + unit_, end_ - unit_);
    bufferOffset_ += unit_;
    searched_ -= unit_;
    end_ -= unit_;
    unit_ = 0;
}

// Not a vector: that one would copy and clear what realloc() moves page by page and leaves untouched.
void NalCutter::Grow()
{
    const std::size_t capacity = std::clamp(2 * capacity_, kFirstBuffer, kLargestBuffer);
    void* const grown = std::realloc(buffer_.get(), capacity);
    if (grown == nullptr)
        throw std::bad_alloc();
    static_cast<void>(buffer_.release()); // realloc() has taken it back
    buffer_.reset(static_cast<std::uint8_t*>(grown));
    capacity_ = capacity;
}

void NalCutter::CheckSize(std::size_t size) const
{
    if (size > kLargestNalUnit)
        throw Failure(ExitStatus::BadInput,
                      fmt::format("{}: the NAL unit at byte {} is larger than {} bytes", input_.Name(),
                                  bufferOffset_ + unit_, kLargestNalUnit));
}

ByteView WithoutStartCode(ByteView nal)
{
    const std::size_t startCode = nal.data[2] == 1 ? 3 : 4;
    return {nal.data + startCode, nal.size - startCode};
}

ByteView WithoutTrailingZeros(ByteView unit)
{
    while (unit.size != 0 && unit.data[unit.size - 1] == 0)
        --unit.size;
    return unit;
}

} // namespace host
