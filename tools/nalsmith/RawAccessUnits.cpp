// SPDX-License-Identifier: MIT
#include "RawAccessUnits.h"

#include "Failure.h"

#include <fmt/format.h>
#include <utility>

namespace host {
namespace {

// No access unit comes near. What may grow above it are slices of which none can be read.
constexpr std::size_t kLargestAccessUnit = std::size_t{1} << 29;

// The library sees no NAL unit in so few bytes.
constexpr std::size_t kUnseenSize = 4;

} // namespace

RawAccessUnits::RawAccessUnits(VideoCodecType codec, std::string name)
    : codec_(codec), name_(std::move(name)), sampleTest_(MakeParsingHandle(codec))
{
}

void RawAccessUnits::Add(ByteView nal)
{
    ForgetTaken();
    if (bytes_.size() + nal.size > kLargestAccessUnit)
        Fail(fmt::format("no end of an access unit found within {} bytes", kLargestAccessUnit));
    const auto header = ReadNalHeader(codec_, nal);
    const bool stored = IsStored(nal, header);
    held_.push_back({bytes_.size(), nal.size, header.value_or(NalHeader()), stored});
    bytes_.insert(bytes_.end(), nal.data, nal.data + nal.size);
    if (stored)
        Place(held_.size() - 1, RoleOf(codec_, header->nal_unit_type));
}

bool RawAccessUnits::IsStored(ByteView nal, const std::optional<NalHeader>& header)
{
    if (!header || nal.size <= kUnseenSize || header->forbidden_zero_bit)
        return false;
    if (IsParameterSet(codec_, header->nal_unit_type))
        Test(nal);
    switch (RoleOf(codec_, header->nal_unit_type)) {
    case NalRole::Slice: return Test(nal);
    case NalRole::Opener: return true;
    case NalRole::Trailing: return anyStored_;
    }
    return false;
}

// Reads a NAL unit as the library does when it reads the stream: keeps parameter sets, and has true for a
// slice whose parameter sets are known.
bool RawAccessUnits::Test(ByteView nal)
{
    VideoInfoEx verdict = {};
    return VideoSampleTest(sampleTest_.get(), nal.data, static_cast<std::uint32_t>(nal.size), &verdict) == 0;
}

// The first NAL units of all are part of the first access unit, so that nothing opens a second one before a
// NAL unit is stored.
void RawAccessUnits::Place(std::size_t index, NalRole role)
{
    if (role == NalRole::Slice) {
        boundary_ = opener_.value_or(index);
        opener_.reset();
    } else if (role == NalRole::Opener && anyStored_ && !opener_) {
        opener_ = index;
    }
    anyStored_ = true;
}

std::vector<RawNal> RawAccessUnits::Take(const VideoInfo& unit, bool last)
{
    ForgetTaken(); // for the last access unit nothing was added since
    taken_ = last ? held_.size() : boundary_;
    std::vector<RawNal> nals;
    std::size_t stored = 0;
    for (std::size_t i = 0; i < taken_; ++i) {
        const Held& held = held_[i];
        nals.push_back({{bytes_.data() + held.offset, held.size}, held.header, held.stored});
        stored += held.stored ? held.size : 0;
    }
    // Only key access units are handed out with more than the file holds.
    const bool same = unit.keyFrame != 0 ? stored <= unit.frameSize : stored == unit.frameSize;
    if (!same)
        Fail("an access unit was read incompletely; not enough memory?");
    return nals;
}

void RawAccessUnits::ForgetTaken()
{
    if (taken_ == 0)
        return;
    const std::size_t bytes = taken_ < held_.size() ? held_[taken_].offset : bytes_.size();
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(bytes));
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(taken_));
    for (Held& held : held_)
        held.offset -= bytes;
    taken_ = 0;
}

void RawAccessUnits::Fail(const std::string& message) const
{
    throw Failure(ExitStatus::BadInput, name_ + ": " + message);
}

} // namespace host
