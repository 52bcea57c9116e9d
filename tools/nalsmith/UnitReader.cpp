// SPDX-License-Identifier: MIT
#include "UnitReader.h"

#include "Failure.h"
#include "Output.h"

#include <algorithm>
#include <new>
#include <utility>

namespace host {
namespace {

using nalsmith::BytesView;
using nalsmith::Status;

constexpr std::size_t kBlock = std::size_t{256} << 10;

// No access unit comes near. What may grow above it are slices of which none can be read.
constexpr std::size_t kLargestAccessUnit = std::size_t{1} << 29;

// The guess is made from this much of the stream at most, and from the first parameter set as a rule.
constexpr std::size_t kGuessNalUnits = 64;
constexpr std::size_t kGuessBytes = std::size_t{4} << 20;

// Containers are known by their first bytes.
constexpr std::size_t kSignatureBytes = 189;
constexpr std::size_t kTransportPacket = 188;

const char* ContainerOf(BytesView bytes)
{
    const auto holds = [&](std::size_t at, std::initializer_list<std::uint8_t> signature) {
        const BytesView there = bytes.subview(at, signature.size());
        return std::equal(there.begin(), there.end(), signature.begin(), signature.end());
    };
    if (holds(4, {'f', 't', 'y', 'p'}))
        return "MP4";
    if (holds(0, {0x1A, 0x45, 0xDF, 0xA3}))
        return "Matroska";
    return holds(0, {0x47}) && holds(kTransportPacket, {0x47}) ? "MPEG transport stream" : nullptr;
}

nalsmith::ReaderOptions LayerOptions(bool selfContained)
{
    nalsmith::ReaderOptions options;
    options.self_contained = selfContained;
    options.max_pending = kLargestAccessUnit;
    return options;
}

// H.264: SVC and MVC (Annexes G and H, types 14, 15, 20) and 3D (21). H.265: all but the base layer.
bool IsLayered(const nalsmith::NalUnit& nal)
{
    if (nal.codec == nalsmith::Codec::h265)
        return nal.layer_id() != 0;
    return nal.type() == 14 || nal.type() == 15 || nal.type() == 20 || nal.type() == 21;
}

void Note(std::uint64_t& count, std::uint64_t& first, std::uint64_t index)
{
    if (count++ == 0)
        first = index;
}

} // namespace

UnitReader::UnitReader(Input& input, const StreamOptions& stream, Options options)
    : input_(input), options_(std::move(options)), quiet_(stream.quiet),
      codecNamed_(stream.Codec().has_value()),
      codec_((FindFirstStartCode(), codecNamed_ ? *stream.Codec() : GuessCodec())),
      reader_(codec_, LayerOptions(options_.selfContained)), block_(kBlock)
{
    nextByte_ = leadingBytes_;
}

void UnitReader::ReadHead()
{
    const std::size_t size = head_.size();
    head_.resize(size + kBlock);
    const std::size_t got = input_.Read(head_.data() + size, kBlock);
    head_.resize(size + got);
    inputEnded_ = got == 0;
}

void UnitReader::FindFirstStartCode()
{
    constexpr std::size_t kZerosOfStartCode = 3;
    for (;;) {
        ReadHead();
        const bool early = leadingBytes_ == 0 && head_.size() < kSignatureBytes && !inputEnded_;
        const char* const container = codecNamed_ || leadingBytes_ != 0 ? nullptr : ContainerOf(head_);
        if (container != nullptr)
            Fail(std::string(container) + ", and not an H.264 or H.265 byte stream");
        const nalsmith::NalUnits nals(nalsmith::Codec::h264, head_); // start codes are the same in both
        const bool found = !nals.empty();
        std::size_t drop = 0;
        if (found)
            drop = static_cast<std::size_t>((*nals.begin()).bytes.data() - head_.data());
        else if (!early)
            drop = head_.size() - std::min(head_.size(), inputEnded_ ? 0 : kZerosOfStartCode);
        if (drop != 0 && options_.leading)
            options_.leading(BytesView(head_).subview(0, drop));
        head_.erase(head_.begin(), head_.begin() + static_cast<std::ptrdiff_t>(drop));
        leadingBytes_ += drop;
        if (found)
            return;
        if (inputEnded_)
            Fail(input_.BytesRead() == 0 ? "the input is empty"
                                         : "no start code found: not an H.264 or H.265 byte stream");
    }
}

// None while the NAL units make sense as neither. The last NAL unit counts when it has all come.
std::optional<nalsmith::Codec> UnitReader::Guess(bool& settled) const
{
    CodecGuess guess;
    std::size_t count = 0;
    for (const nalsmith::NalUnit& nal : nalsmith::NalUnits(nalsmith::Codec::h264, head_)) {
        if (guess.Settled() || count == kGuessNalUnits)
            break;
        if (nal.bytes.end() == head_.data() + head_.size() && !inputEnded_)
            break;
        guess.Add(nal);
        ++count;
    }
    settled = guess.Settled() || count == kGuessNalUnits;
    return guess.Best();
}

// Looks again whenever the bytes have doubled: so that an input in small pieces takes no longer.
nalsmith::Codec UnitReader::GuessCodec()
{
    for (std::size_t next = 0;;) {
        if (head_.size() >= next || inputEnded_) {
            bool settled = false;
            const auto codec = Guess(settled);
            if (settled || inputEnded_ || head_.size() >= kGuessBytes) {
                if (!codec)
                    Fail("looks like neither H.264 nor H.265 (--codec reads it all the same)");
                return *codec;
            }
            next = std::min(2 * head_.size(), kGuessBytes);
        }
        ReadHead();
    }
}

const nalsmith::AccessUnit* UnitReader::Next()
{
    unit_ = reader_.next();
    while (!unit_ && !finished_) {
        Feed();
        unit_ = reader_.next();
    }
    if (!unit_) {
        if (!anyAccessUnit_ && !options_.anyNals)
            Fail("no access unit found");
        return nullptr;
    }
    LookAtNals();
    units_ += counted_ ? 1 : 0;
    nextByte_ = Offset() + unit_->bytes.size() - unit_->inserted + unit_->zeros_left_out;
    return &*unit_;
}

void UnitReader::Feed()
{
    if (!head_.empty()) {
        Take(head_);
        head_ = nalsmith::Bytes();
        return;
    }
    const std::size_t got = inputEnded_ ? 0 : input_.Read(block_.data(), block_.size());
    if (got != 0) {
        Take(BytesView(block_).subview(0, got));
        return;
    }
    finished_ = true;
    if (reader_.finish() != Status::ok)
        throw std::bad_alloc();
}

void UnitReader::Take(BytesView piece)
{
    const Status status = reader_.push(piece);
    if (status == Status::too_large)
        Fail(fmt::format("no end of the access unit at byte {} (NAL unit {}) within {} bytes", nextByte_,
                         nalUnits_, kLargestAccessUnit));
    if (status != Status::ok)
        throw std::bad_alloc();
}

// An opener makes an access unit of what has no picture: the library stores it.
void UnitReader::LookAtNals()
{
    bool anySlice = false;
    bool anyOpener = false;
    for (const nalsmith::NalUnit& nal : Nals()) {
        const std::uint64_t index = nalUnits_++;
        if (nal.bare())
            continue;
        if (nal.forbidden()) {
            Note(oddities_.forbidden, oddities_.firstForbidden, index);
            continue;
        }
        if (IsLayered(nal))
            Note(oddities_.layered, oddities_.firstLayered, index);
        anySlice = anySlice || nal.is_slice();
        anyOpener = anyOpener || nal.role() == nalsmith::NalRole::opener;
    }
    refused_ = anySlice && !unit_->has_picture;
    counted_ = unit_->has_picture || (anyOpener && !anySlice);
    anyAccessUnit_ = anyAccessUnit_ || unit_->has_picture || anyOpener;
}

void UnitReader::Warn() const
{
    if (quiet_)
        return;
    if (oddities_.forbidden != 0)
        host::Warn(
            fmt::format("{}: {} with forbidden_zero_bit set, which the library passes over; the first is "
                        "NAL unit {}",
                        input_.Name(), Count(oddities_.forbidden, "NAL unit"), oddities_.firstForbidden));
    if (oddities_.layered != 0)
        host::Warn(fmt::format(
            "{}: {} of further layers ({}), which are not told from the base; the first is NAL "
            "unit {}",
            input_.Name(), Count(oddities_.layered, "NAL unit"),
            codec_ == nalsmith::Codec::h264 ? "SVC, MVC" : "nuh_layer_id above 0", oddities_.firstLayered));
}

void UnitReader::Fail(const std::string& message) const
{
    throw Failure(ExitStatus::BadInput, input_.Name() + ": " + message);
}

} // namespace host
