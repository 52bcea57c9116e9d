// SPDX-License-Identifier: MIT
/// \file
/// Bytes in, cut anywhere; access units out, each exactly once.
#ifndef NALSMITH_ACCESS_UNIT_READER_HPP
#define NALSMITH_ACCESS_UNIT_READER_HPP

#include "nalsmith/access_unit.hpp"
#include "nalsmith/detail/reader/unit_cutter.hpp"
#include "nalsmith/detail/reader/whole_units.hpp"

namespace nalsmith {
inline namespace v1 {

/// How an AccessUnitReader works.
struct ReaderOptions {
    /// Gives every access unit at which decoding may begin (AccessUnit::entry()) the parameter sets in force
    /// for it that it lacks: the latest of its SPS, of the VPS of that and of every PPS of that. Each is put
    /// after the delimiter and after the access unit's own sets of its kind and of those that it depends on.
    bool self_contained = false;
    /// Each piece of input is one access unit and comes out at once, unchanged (except for the option above).
    /// Nothing is copied: the piece has to stay valid until the access unit has been used.
    bool whole_units = false;
    /// Bytes that may be held of an access unit that does not end. Beyond, push() answers `too_large`. H.264
    /// slices that cannot be read, with nothing between them, come out in parts as soon as they take half of
    /// that.
    std::size_t max_pending = std::size_t{64} << 20;
};

/// Cuts a byte stream into access units.
///
/// The pieces that are pushed may end anywhere, also inside a start code. The access units in order are the
/// stream from its first start code on: nothing is lost but AccessUnit::zeros_left_out, and nothing is added
/// but what ReaderOptions::self_contained asks for. Where one begins is what the library says; slices that
/// cannot be read are access units of their own.
///
/// An access unit comes out with the bytes that decide where it ends: the first 260 of the next picture's
/// first slice, start code included, or the start code after that slice if it is shorter; or at once, with
/// end_unit().
///
/// \code
/// nalsmith::AccessUnitReader reader(nalsmith::Codec::h264);
/// while (const auto piece = receive()) {
///     if (reader.push(piece->bytes, piece->timestamp) != nalsmith::Status::ok)
///         break;
///     while (const auto unit = reader.next())
///         use(*unit);
/// }
/// const bool good = reader.finish() == nalsmith::Status::ok;
/// while (const auto unit = reader.next())
///     use(*unit);
/// \endcode
///
/// Where the standard library's containers find no memory, their exception passes through. From then on every
/// call answers `no_memory`, and no access unit comes out, until finish().
class AccessUnitReader {
public:
    /// Needs no memory.
    explicit AccessUnitReader(Codec codec, ReaderOptions options = {}) noexcept
        : codec_(codec), options_(options), cutter_(codec, options.self_contained, options.max_pending / 2),
          whole_units_(codec, options.self_contained)
    {
    }
    /// Takes over the stream of `other`, which begins anew.
    AccessUnitReader(AccessUnitReader&& other) noexcept : AccessUnitReader(other.codec_, other.options_)
    {
        swap(other);
    }
    /// The same. What it was reading is dropped.
    AccessUnitReader& operator=(AccessUnitReader&& other) noexcept
    {
        AccessUnitReader taken(std::move(other));
        swap(taken);
        return *this;
    }
    AccessUnitReader(const AccessUnitReader&) = delete;
    AccessUnitReader& operator=(const AccessUnitReader&) = delete;
    ~AccessUnitReader() = default;

    /// Takes in the next piece, of any size, or with ReaderOptions::whole_units the next access unit. After
    /// `too_large` nothing more is taken in until finish(); what has been taken in still comes out. A piece
    /// that is refused with `no_start_code` (whole units alone) is passed over.
    Status push(BytesView piece, std::uint64_t tag = 0)
    {
        if (failure_ != Status::ok)
            return last_ = failure_;
        if (options_.whole_units && NalUnits(codec_, piece).empty())
            return last_ = Status::no_start_code;
        if (options_.whole_units && piece.size() > options_.max_pending)
            return last_ = failure_ = Status::too_large;
        begin_call();
        if (options_.whole_units)
            whole_units_.push(piece, tag);
        else
            cutter_.push(piece, tag);
        end_call();
        return last_;
    }

    /// The last byte of an access unit has been pushed, as the marker bit of RTP says: what is held comes out
    /// now, and whatever slice comes next begins another. Parameter sets stay. Without a NAL unit to end
    /// nothing happens; NAL units that open an access unit come out as one without picture. With
    /// ReaderOptions::whole_units: `not_supported`.
    Status end_unit()
    {
        if (options_.whole_units)
            return last_ = Status::not_supported;
        if (failure_ != Status::ok)
            return last_ = failure_;
        begin_call();
        cutter_.end_unit();
        end_call();
        return last_;
    }

    /// The next access unit, if one is complete.
    std::optional<AccessUnit> next()
    {
        if (failure_ == Status::no_memory) {
            last_ = failure_;
            return std::nullopt;
        }
        const Status before = failure_;
        begin_call();
        std::optional<AccessUnit> unit = options_.whole_units ? next_whole() : next_cut();
        end_call();
        if (before != Status::ok)
            failure_ = before;
        last_ = unit ? Status::ok : failure_;
        return unit;
    }

    /// With ReaderOptions::whole_units: takes in an access unit and gives it back. None when it was refused;
    /// status() says why.
    std::optional<AccessUnit> read(BytesView unit, std::uint64_t tag = 0)
    {
        if (!options_.whole_units)
            last_ = Status::not_supported;
        else if (push(unit, tag) == Status::ok)
            return next();
        return std::nullopt;
    }

    /// How the last call ended, whichever it was.
    Status status() const noexcept { return last_; }

    /// Parameter sets from outside the stream, such as those of a configuration record, as a byte stream.
    /// They are in force from here on and part of no access unit.
    Status add_parameter_sets(BytesView sets)
    {
        if (failure_ != Status::ok)
            return last_ = failure_;
        begin_call();
        if (options_.whole_units)
            whole_units_.add_parameter_sets(sets);
        else
            cutter_.add_parameter_sets(sets);
        end_call();
        return last_;
    }

    /// Ends the stream: what is held becomes its last access unit. The next push() begins another stream,
    /// which shares nothing with this one. Answers the failure that the stream ended with, if any.
    Status finish()
    {
        const Status ended = failure_;
        if (ended == Status::no_memory) {
            *this = AccessUnitReader(codec_, options_);
        } else {
            begin_call();
            if (options_.whole_units)
                whole_units_.end_stream();
            else
                cutter_.end_stream();
            failure_ = Status::ok;
        }
        return last_ = ended;
    }

    /// The latest parameter sets of the stream, as far as its access units have been cut. Changed by every
    /// call that is not const.
    const ParameterSets& parameter_sets() const noexcept
    {
        return options_.whole_units ? whole_units_.parameter_sets() : cutter_.parameter_sets();
    }

private:
    // An exception leaves a call as the lack of memory that it is.
    void begin_call() noexcept { last_ = failure_ = Status::no_memory; }
    void end_call()
    {
        const bool waits = !options_.whole_units && !cutter_.advance();
        failure_ = waits && cutter_.pending() > options_.max_pending ? Status::too_large : Status::ok;
        last_ = failure_;
    }

    std::optional<AccessUnit> next_cut()
    {
        if (!cutter_.advance())
            return std::nullopt;
        const detail::Draft unit = cutter_.take(slices_);
        return describe(unit, cutter_.view(unit.begin, unit.end));
    }

    std::optional<AccessUnit> next_whole()
    {
        BytesView bytes;
        const std::optional<detail::Draft> unit = whole_units_.next(bytes, slices_);
        return unit ? std::optional<AccessUnit>(describe(*unit, bytes)) : std::nullopt;
    }

    AccessUnit describe(const detail::Draft& unit, BytesView bytes);

    void swap(AccessUnitReader& other) noexcept
    {
        std::swap(codec_, other.codec_);
        std::swap(options_, other.options_);
        std::swap(cutter_, other.cutter_);
        std::swap(whole_units_, other.whole_units_);
        std::swap(slices_, other.slices_);
        std::swap(assembled_, other.assembled_);
        std::swap(next_assembled_, other.next_assembled_);
        std::swap(failure_, other.failure_);
        std::swap(last_, other.last_);
    }

    Codec codec_;
    ReaderOptions options_;
    detail::UnitCutter cutter_;
    detail::WholeUnits whole_units_;
    std::vector<SlicePlace> slices_; // of the access unit handed out
    Bytes assembled_;                // the access unit handed out, when sets were put in
    Bytes next_assembled_;           // the next one, while the last may be read
    Status failure_ = Status::ok;    // what the stream goes on with until finish()
    Status last_ = Status::ok;
};

inline AccessUnit AccessUnitReader::describe(const detail::Draft& unit, BytesView bytes)
{
    AccessUnit described;
    described.bytes = bytes;
    described.key = unit.key;
    described.has_picture = unit.content == detail::Draft::Content::picture;
    described.reference = unit.reference;
    described.kind = unit.kind;
    described.picture_order = unit.picture_order;
    described.order_restarts = unit.order_restarts;
    described.recovery = unit.recovery;
    described.zeros_left_out = unit.zeros_left_out;
    described.sequence = unit.sequence;
    described.picture_type = unit.picture_type;
    described.position = unit.position;
    described.tag = unit.tag;
    described.slices = SlicePlaces(slices_);
    if (unit.insertions.empty())
        return described;
    next_assembled_.clear();
    std::size_t copied = 0;
    auto slice = slices_.begin();
    const auto move_slices = [&](std::size_t until) { // those before it, by what has been put in
        for (; slice != slices_.end() && slice->begin < until; ++slice) {
            slice->begin += next_assembled_.size() - copied;
            slice->end += next_assembled_.size() - copied;
        }
    };
    for (const detail::Insertion& insertion : unit.insertions) {
        const auto at = static_cast<std::size_t>(insertion.at - unit.begin);
        move_slices(at);
        append(next_assembled_, bytes.subview(copied, at - copied));
        append(next_assembled_, insertion.bytes);
        copied = at;
    }
    move_slices(bytes.size());
    append(next_assembled_, bytes.subview(copied));
    std::swap(assembled_, next_assembled_);
    described.inserted = assembled_.size() - bytes.size();
    described.bytes = assembled_;
    return described;
}

} // namespace v1
} // namespace nalsmith

#endif
