// SPDX-License-Identifier: MIT
// The access units of an input, as it holds them, and the codec that they are of.
#pragma once

#include "Codec.h"
#include "Files.h"
#include "StreamOptions.h"

#include <nalsmith/access_unit_reader.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace host {

// NAL units that are not what they seem to be.
struct Oddities {
    std::uint64_t forbidden = 0; // forbidden_zero_bit is set
    std::uint64_t layered = 0;   // of layers or views that are not separated from the base
    std::uint64_t firstForbidden = 0, firstLayered = 0; // index of the NAL unit
};

// The reader does not hold the zeros that end an input by the gigabyte; what copies it writes them again.
template <typename Write>
void WriteZeros(std::uint64_t count, const Write& write)
{
    constexpr std::size_t kBlock = std::size_t{64} << 10;
    const std::vector<std::uint8_t> zeros(count < kBlock ? static_cast<std::size_t>(count) : kBlock);
    for (; count >= kBlock; count -= kBlock)
        write(nalsmith::BytesView(zeros));
    if (count != 0)
        write(nalsmith::BytesView(zeros).subview(0, static_cast<std::size_t>(count)));
}

class UnitReader {
public:
    struct Options {
        bool selfContained = false; // give key frames the parameter sets that they lack
        bool anyNals = false;       // also an input of NAL units that make no access unit
        std::function<void(nalsmith::BytesView bytes)> leading; // sees what is before the first start code
    };

    // Reads the first NAL units. Where `stream` does not name the codec, they decide. An input without any
    // ends the run.
    UnitReader(Input& input, const StreamOptions& stream, Options options);
    UnitReader(Input& input, const StreamOptions& stream) : UnitReader(input, stream, Options()) {}

    // The next access unit, or null at the end. It is valid until the next call.
    const nalsmith::AccessUnit* Next();

    // The NAL units of the access unit at hand, and where it begins in the input.
    nalsmith::NalUnits Nals() const { return {codec_, unit_->bytes}; }
    std::uint64_t Offset() const { return leadingBytes_ + unit_->position; }

    nalsmith::Codec Codec() const { return codec_; }
    std::uint64_t LeadingBytes() const { return leadingBytes_; }
    // Access units handed out so far. What the library drops is not counted: slices that cannot be read, and
    // NAL units at the front that belong to an access unit before.
    std::uint64_t Units() const { return units_; }
    // Of the one at hand; none when it is not counted.
    std::optional<std::uint64_t> Index() const
    {
        return counted_ ? std::optional<std::uint64_t>(units_ - 1) : std::nullopt;
    }
    // It is slices that cannot be read.
    bool Refused() const { return refused_; }
    std::uint64_t NalUnits() const { return nalUnits_; }

    // One line for each kind of oddity met.
    void Warn() const;

private:
    void FindFirstStartCode();
    void ReadHead();
    nalsmith::Codec GuessCodec();
    std::optional<nalsmith::Codec> Guess(bool& settled) const;
    void Feed();
    void Take(nalsmith::BytesView piece);
    void LookAtNals();
    [[noreturn]] void Fail(const std::string& message) const;

    Input& input_;
    Options options_;
    bool quiet_;
    bool codecNamed_;
    nalsmith::Bytes head_; // from the first start code on, until the reader has it
    std::uint64_t leadingBytes_ = 0;
    bool inputEnded_ = false;
    nalsmith::Codec codec_;
    nalsmith::AccessUnitReader reader_;
    nalsmith::Bytes block_;
    std::optional<nalsmith::AccessUnit> unit_;
    Oddities oddities_;
    std::uint64_t units_ = 0;
    bool counted_ = false; // the one at hand
    bool refused_ = false;
    std::uint64_t nalUnits_ = 0;
    std::uint64_t nextByte_ = 0; // of the input, behind the access unit at hand
    bool finished_ = false;
    bool anyAccessUnit_ = false;
};

} // namespace host
