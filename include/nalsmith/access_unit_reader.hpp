// SPDX-License-Identifier: MIT
/// \file
/// Bytes in, cut anywhere; access units out, each exactly once.
#ifndef NALSMITH_ACCESS_UNIT_READER_HPP
#define NALSMITH_ACCESS_UNIT_READER_HPP

#include "nalsmith/detail/library_feed.hpp"
#include "nalsmith/detail/start_codes.hpp"
#include "nalsmith/detail/unit_draft.hpp"

#include <deque>

namespace nalsmith {

/// One access unit of a stream.
struct AccessUnit {
    /// Its bytes as they came in; with ReaderOptions::self_contained also the parameter sets put in. Valid
    /// until the next call of a member of the reader that is not const.
    BytesView bytes;
    /// It holds a slice of a key picture: H.264 IDR, H.265 BLA, IDR or CRA.
    bool key = false;
    /// It holds a slice whose parameter sets are known.
    bool has_picture = false;
    /// Bytes at its front that are slices whose parameter sets had not come, with what belongs to them.
    /// More than 0 only where a stream is entered in the middle or is damaged. The picture is behind them.
    std::size_t unreadable = 0;
    /// Bytes put in that the input did not have.
    std::size_t inserted = 0;
    /// The parameters in force for its picture, whether or not they came with it.
    std::optional<SequenceParameters> sequence;
    /// Type of its first slice; H.264 only.
    VideoPicType picture_type = VideoPicTypeUnknown;
    /// Where its first byte stood in the input.
    std::uint64_t position = 0;
    /// The tag of the call that brought its first byte.
    std::uint64_t tag = 0;

    /// Without what is unreadable.
    BytesView picture() const noexcept { return bytes.subview(unreadable); }
};

/// How an AccessUnitReader works.
struct ReaderOptions {
    /// Gives every key access unit the parameter sets in force for it that it lacks: the latest of its SPS,
    /// of the VPS of that and of every PPS of that, behind its delimiter and its own sets.
    bool self_contained = false;
    /// Each piece of input is one access unit and comes out at once, unchanged (but for the option above).
    bool whole_units = false;
    /// Bytes that may be held of an access unit that does not end. Beyond, push() answers `too_large`.
    std::size_t max_pending = std::size_t{64} << 20;
};

/// Cuts a byte stream into access units.
///
/// The pieces that are pushed may end anywhere, also inside a start code. The access units, one behind the
/// other, are the stream from its first start code on: nothing is lost, and nothing but what
/// ReaderOptions::self_contained asks for is added. Where one begins is what the library says.
///
/// \code
/// nalsmith::AccessUnitReader reader(nalsmith::Codec::h264);
/// while (const auto piece = receive()) {
///     if (reader.push(piece->bytes, piece->timestamp) != nalsmith::Status::ok)
///         break;
///     while (const auto unit = reader.next())
///         use(*unit);
/// }
/// reader.finish();
/// while (const auto unit = reader.next())
///     use(*unit);
/// \endcode
class AccessUnitReader {
public:
    /// Where there is no memory for the library's handles, the first push() says so.
    explicit AccessUnitReader(Codec codec, ReaderOptions options = {})
        : codec_(codec), options_(options), library_(codec, !options.whole_units)
    {
    }

    /// Takes in the next piece, of any size, or with ReaderOptions::whole_units the next access unit. After
    /// a failure nothing more is taken in until finish() or, for `no_start_code`, the next piece; what has
    /// been taken in still comes out.
    Status push(BytesView piece, std::uint64_t tag = 0)
    {
        if (status_ == Status::ok && (library_.failed() || start_codes_.failed()))
            status_ = Status::no_memory;
        if (status_ != Status::ok)
            return status_;
        compact();
        return options_.whole_units ? push_unit(piece, tag) : push_piece(piece, tag);
    }

    /// The next access unit, if one is complete.
    std::optional<AccessUnit> next()
    {
        if (ready_.empty())
            return std::nullopt;
        const detail::UnitDraft unit = std::move(ready_.front());
        ready_.pop_front();
        return describe(unit);
    }

    /// With ReaderOptions::whole_units: takes in an access unit and gives it back. None when it was refused;
    /// status() says why.
    std::optional<AccessUnit> read(BytesView unit, std::uint64_t tag = 0)
    {
        read_status_ = options_.whole_units ? push(unit, tag) : Status::not_supported;
        return read_status_ == Status::ok ? next() : std::nullopt;
    }
    /// How the last read() ended.
    Status status() const noexcept { return read_status_; }

    /// Parameter sets from outside the stream, such as those of a configuration record, as a byte stream.
    /// They are in force from here on and part of no access unit.
    Status add_parameter_sets(BytesView sets)
    {
        for (const NalUnit& nal : NalUnits(codec_, sets))
            if (!nal.bare() && !nal.forbidden() && nal.is_parameter_set())
                keep_set(nal);
        return library_.failed() ? Status::no_memory : Status::ok;
    }

    /// Ends the stream: what is held becomes its last access unit. The next push() begins another stream,
    /// which shares nothing with this one.
    Status finish()
    {
        if (!options_.whole_units)
            end_stream();
        const Status status = status_ == Status::ok && library_.failed() ? Status::no_memory : status_;
        restart();
        return status;
    }

    /// The latest parameter sets of the stream so far.
    const ParameterSets& parameter_sets() const noexcept { return sets_; }

private:
    struct TagMark {
        std::uint64_t begin;
        std::uint64_t tag;
    };

    Status push_piece(BytesView piece, std::uint64_t tag);
    Status push_unit(BytesView piece, std::uint64_t tag);
    void mark_tag(std::uint64_t tag);
    std::uint64_t tag_at(std::uint64_t position);
    void begin_nal(std::size_t at);
    void end_nal(std::uint64_t end);
    void end_stream();
    void route(const NalUnit& nal, std::uint64_t begin);
    void take_slice(const NalUnit& nal, std::uint64_t begin);
    void describe_picture(const NalUnit& nal, std::uint64_t begin);
    void keep_set(const NalUnit& nal);
    void emit(std::uint64_t end, bool key);
    AccessUnit describe(const detail::UnitDraft& unit);
    std::optional<SequenceParameters> sequence(unsigned sps_id);
    void compact();
    void restart();

    static constexpr std::uint64_t kNone = UINT64_MAX;

    Codec codec_;
    ReaderOptions options_;
    detail::StartCodes start_codes_;
    detail::LibraryFeed library_;
    ParameterSets sets_;
    detail::SeenSets seen_;
    std::array<std::optional<std::optional<SequenceParameters>>, 32> sequences_; // by SPS id, as far as asked
    std::deque<detail::UnitDraft> ready_;
    detail::UnitDraft draft_;
    std::deque<TagMark> tags_;
    Bytes buffer_;
    Bytes assembled_;                     // the access unit handed out, when sets were put in
    std::uint64_t base_ = 0;              // position of buffer_[0]
    std::uint64_t origin_ = 0;            // position of the stream's first byte
    std::size_t searched_ = 0;            // in buffer_: where the search for start codes goes on
    std::uint64_t nal_ = 0;               // where the NAL unit at hand begins
    std::uint64_t opener_ = kNone;        // the first that may begin an access unit, behind the last slice
    std::uint64_t refused_ = kNone;       // the last slice without parameter sets
    std::uint64_t after_refused_ = kNone; // the first opener behind it
    bool started_ = false;                // a start code has been found
    bool any_stored_ = false;             // the library holds a NAL unit
    bool any_picture_ = false;
    Status status_ = Status::ok;
    Status read_status_ = Status::ok;
};

} // namespace nalsmith

#include "nalsmith/detail/access_unit_reader.hpp"

#endif
