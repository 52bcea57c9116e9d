// SPDX-License-Identifier: MIT
// Cuts a byte stream that comes in pieces into access units, one at a time: as long as one is ready, nothing
// that comes after it is looked at. So what is in force for an access unit is known without keeping it.
#ifndef NALSMITH_DETAIL_READER_UNIT_CUTTER_HPP
#define NALSMITH_DETAIL_READER_UNIT_CUTTER_HPP

#include "nalsmith/access_unit.hpp"
#include "nalsmith/detail/queue.hpp"
#include "nalsmith/detail/reader/held_bytes.hpp"
#include "nalsmith/detail/reader/stream_sets.hpp"

#include <algorithm>
#include <utility>

namespace nalsmith {
inline namespace v1 {
namespace detail {

class UnitCutter {
public:
    // Slices that cannot be read come out in parts when they take `most_refused` bytes.
    UnitCutter(Codec codec, bool self_contained, std::size_t most_refused) noexcept
        : codec_(codec), self_contained_(self_contained), most_refused_(most_refused)
    {
    }

    void push(BytesView piece, std::uint64_t tag)
    {
        if (overlap(piece, held_.all()))
            return push(piece.to_bytes(), tag);
        held_.forget(oldest());
        held_.push(piece, tag);
    }

    // The last byte of an access unit, or of the stream, has been pushed.
    void end_unit() { end(Event::Kind::end_of_unit); }
    void end_stream() { end(Event::Kind::end_of_stream); }

    // In force for slices that have not been looked at.
    void add_parameter_sets(BytesView sets)
    {
        if (advance())
            events_.push({held_.end(), Event::Kind::parameter_sets, sets.to_bytes()});
        else
            sets_.add(codec_, sets);
    }

    // Goes on until an access unit is ready. False when the bytes are used up.
    bool advance();
    // The one that is ready. Its slices go to `slices`, whose memory serves again.
    Draft take(std::vector<SlicePlace>& slices) noexcept
    {
        is_ready_ = false;
        slices.swap(ready_slices_);
        return std::move(ready_);
    }
    // Valid until the next push().
    BytesView view(std::uint64_t begin, std::uint64_t end) const noexcept { return held_.view(begin, end); }

    // Bytes held of an access unit that does not end. To be asked when the bytes are used up.
    std::uint64_t pending() const noexcept { return in_stream_ ? held_.end() - draft_.origin : 0; }

    const ParameterSets& parameter_sets() const noexcept { return sets_.all(); }

private:
    // What the caller said at a place that has not been reached.
    struct Event {
        enum class Kind : std::uint8_t { parameter_sets, end_of_unit, end_of_stream };
        std::uint64_t position = 0;
        Kind kind = Kind::parameter_sets;
        Bytes sets = {};
    };

    static constexpr std::uint64_t kNone = UINT64_MAX;
    // So many bytes are waited for. A start code that begins within the head is complete then.
    static constexpr std::uint64_t kEnoughOfSlice = 260;

    std::uint64_t oldest() const noexcept
    {
        return is_ready_ ? ready_.origin : in_stream_ ? draft_.origin : searched_;
    }
    void end(Event::Kind kind);
    void find_next(std::uint64_t limit) noexcept;
    void begin_nal(std::uint64_t at) noexcept;
    NalUnit nal_unit(std::uint64_t end, std::size_t most = SIZE_MAX) const noexcept;
    void look_at_slice(std::uint64_t end);
    void take_slice(const NalUnit& slice);
    void open_draft();
    void end_nal(std::uint64_t end);
    bool reach_event();
    void end_draft(std::uint64_t limit);
    void emit(std::uint64_t end);

    Codec codec_;
    bool self_contained_;
    std::size_t most_refused_;
    HeldBytes held_;
    StreamSets sets_;
    Queue<Event> events_; // in order of position
    Draft ready_;
    bool is_ready_ = false;
    Draft draft_;
    std::vector<SlicePlace> ready_slices_; // of the one that is ready, from its first byte on
    std::vector<SlicePlace> slices_;       // of the draft
    std::uint64_t stream_begin_ = 0;
    std::uint64_t left_out_ = 0;     // zeros of the stream that came before the draft and were left out
    std::uint64_t searched_ = 0;     // where the search for start codes goes on
    std::uint64_t nal_ = kNone;      // where the NAL unit at hand begins
    std::uint64_t next_ = kNone;     // the start code after it, when it has been found
    std::uint64_t opener_ = kNone;   // the first opener after the last slice of the draft's picture
    bool looked_ = false;            // at the slice at hand
    bool in_stream_ = false;         // a start code has been found
    bool after_end_of_unit_ = false; // and none since
};

inline bool UnitCutter::advance()
{
    while (!is_ready_) {
        const std::uint64_t limit =
            events_.empty() ? held_.end() : std::min(events_.front().position, held_.end());
        if (next_ == kNone)
            find_next(limit);
        const bool ends =
            next_ != kNone || (!events_.empty() && events_.front().kind != Event::Kind::parameter_sets);
        if (nal_ != kNone && !looked_ && (ends || limit - nal_ >= kEnoughOfSlice)) {
            look_at_slice(std::min(next_, limit));
        } else if (next_ != kNone) {
            if (nal_ != kNone)
                end_nal(next_);
            begin_nal(std::exchange(next_, kNone));
        } else if (!reach_event()) {
            return false;
        }
    }
    return true;
}

inline void UnitCutter::find_next(std::uint64_t limit) noexcept
{
    constexpr std::size_t kIncomplete = 3; // last bytes that may begin a start code
    const BytesView bytes = held_.view(searched_, limit);
    const std::size_t at = find_start_code(bytes.data(), 0, bytes.size());
    if (at < bytes.size()) {
        next_ = searched_ + at;
        searched_ = next_ + start_code_size_at(bytes.data() + at);
    } else {
        searched_ = limit - std::min(bytes.size(), kIncomplete);
    }
}

inline void UnitCutter::begin_nal(std::uint64_t at) noexcept
{
    nal_ = at;
    looked_ = false;
    if (!in_stream_) {
        draft_ = Draft();
        draft_.origin = draft_.begin = at;
    } else if (after_end_of_unit_) {
        const BytesView between = held_.view(draft_.origin, at);
        draft_.begin = draft_.origin + skip_zeros(between.data(), 0, between.size());
    }
    in_stream_ = true;
    after_end_of_unit_ = false;
}

// The one at hand, or no more than `most` bytes of it after the start code.
inline NalUnit UnitCutter::nal_unit(std::uint64_t end, std::size_t most) const noexcept
{
    NalUnit nal;
    nal.codec = codec_;
    nal.bytes = held_.view(nal_, end);
    nal.start_code_size = start_code_size_at(nal.bytes.data());
    if (most < nal.bytes.size() - nal.start_code_size)
        nal.bytes = nal.bytes.subview(0, nal.start_code_size + most);
    return nal;
}

// As soon as there is enough of it; slices alone are not waited for to the end.
inline void UnitCutter::look_at_slice(std::uint64_t end)
{
    looked_ = true;
    const NalUnit nal = nal_unit(end, kSliceHead);
    if (!nal.bare() && !nal.forbidden() && nal.is_slice())
        take_slice(nal);
}

inline void UnitCutter::take_slice(const NalUnit& slice)
{
    open_draft();
    const SliceVerdict verdict = sets_.look(slice);
    const bool after_picture = draft_.content == Draft::Content::picture;
    const bool after_refused = draft_.content == Draft::Content::refused_slices;
    if (after_picture && (verdict.begins || !verdict.readable))
        emit(opener_ != kNone ? opener_ : nal_);
    else if (after_refused && (verdict.readable || (codec_ == Codec::h265 && verdict.begins) ||
                               nal_ - draft_.begin >= most_refused_))
        emit(nal_);
    opener_ = kNone;
    if (verdict.readable) {
        sets_.describe(draft_, slice, verdict, self_contained_);
    } else {
        draft_.content = Draft::Content::refused_slices;
        sets_.forget_recovery_point();
    }
}

// What belongs to an access unit that has not been seen, since it stays with what came before, is no part of
// the first that has.
inline void UnitCutter::open_draft()
{
    if (!draft_.opened && nal_ != draft_.begin)
        emit(nal_);
    draft_.opened = true;
}

// What the library would drop stays where it stands and decides nothing.
inline void UnitCutter::end_nal(std::uint64_t end)
{
    const NalUnit nal = nal_unit(end);
    if (nal.bare() || nal.forbidden())
        return;
    const NalRole role = nal.role();
    if (role == NalRole::slice) {
        slices_.push_back(
            {static_cast<std::size_t>(nal_ - draft_.begin), static_cast<std::size_t>(end - draft_.begin)});
        sets_.end_slice(draft_, nal);
        return;
    }
    if (role == NalRole::opener) {
        open_draft();
        if (draft_.content == Draft::Content::refused_slices)
            emit(nal_);
        else if (draft_.content == Draft::Content::picture && opener_ == kNone)
            opener_ = nal_;
    }
    sets_.take(nal, nal_, end);
}

// False when there is none to come. An access unit that gets ready before it is handed out first.
inline bool UnitCutter::reach_event()
{
    if (events_.empty())
        return false;
    const Event::Kind kind = events_.front().kind;
    const std::uint64_t limit = events_.front().position;
    if (kind == Event::Kind::parameter_sets) {
        sets_.add(codec_, events_.front().sets);
    } else {
        if (nal_ != kNone)
            end_nal(limit);
        nal_ = kNone;
        if (is_ready_)
            return true;
        end_draft(limit);
        if (kind == Event::Kind::end_of_stream) {
            held_.take_left_out(limit);
            left_out_ = 0;
            stream_begin_ = limit;
            sets_ = StreamSets();
            in_stream_ = after_end_of_unit_ = false;
        }
    }
    events_.pop();
    return true;
}

// What is no NAL unit, after the end of an access unit, waits for one or for the end of the stream.
inline void UnitCutter::end_draft(std::uint64_t limit)
{
    if ((!in_stream_ || after_end_of_unit_) && events_.front().kind == Event::Kind::end_of_unit)
        return;
    if (after_end_of_unit_) {
        const BytesView rest = held_.view(draft_.origin, limit);
        draft_.begin = draft_.origin + skip_zeros(rest.data(), 0, rest.size());
    }
    if (in_stream_ && draft_.begin < limit)
        emit(limit);
    draft_.opened = false;
    sets_.forget_recovery_point();
    searched_ = limit;
    opener_ = kNone;
    after_end_of_unit_ = in_stream_;
}

// The draft ends at `end`, and another begins there, with an opener or a slice.
inline void UnitCutter::emit(std::uint64_t end)
{
    left_out_ += held_.take_left_out(draft_.origin);
    draft_.position = draft_.origin - stream_begin_ + left_out_;
    const std::uint64_t gaps = held_.take_left_out(end);
    left_out_ += gaps;
    draft_.zeros_left_out = draft_.begin - draft_.origin + gaps;
    draft_.end = end;
    draft_.tag = held_.tag_at(draft_.begin);
    ready_ = std::move(draft_);
    ready_slices_.swap(slices_);
    slices_.clear();
    is_ready_ = true;
    draft_ = Draft();
    draft_.origin = draft_.begin = end;
    draft_.opened = true;
}

inline void UnitCutter::end(Event::Kind kind)
{
    held_.end_zeros();
    const bool known =
        !events_.empty() && events_.back().position == held_.end() && events_.back().kind == kind;
    if (!known)
        events_.push({held_.end(), kind, {}});
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
