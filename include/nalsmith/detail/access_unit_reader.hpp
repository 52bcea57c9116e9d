// SPDX-License-Identifier: MIT
// The members of AccessUnitReader; part of nalsmith/access_unit_reader.hpp, which includes it at its end.
#ifndef NALSMITH_DETAIL_ACCESS_UNIT_READER_HPP
#define NALSMITH_DETAIL_ACCESS_UNIT_READER_HPP

namespace nalsmith {

inline Status AccessUnitReader::push_piece(BytesView piece, std::uint64_t tag)
{
    mark_tag(tag);
    append(buffer_, piece);
    searched_ = start_codes_.find(buffer_, searched_, [this](std::size_t at) { begin_nal(at); });
    if (library_.failed())
        status_ = Status::no_memory;
    else if (started_ && base_ + buffer_.size() - draft_.begin > options_.max_pending)
        status_ = Status::too_large;
    return status_;
}

inline void AccessUnitReader::begin_nal(std::size_t at)
{
    if (started_)
        end_nal(base_ + at);
    else
        draft_.begin = draft_.picture = base_ + at;
    started_ = true;
    nal_ = base_ + at;
}

// What the end of the input decides: the start codes in the last bytes, and the last NAL unit.
inline void AccessUnitReader::end_stream()
{
    for (std::size_t at = searched_; at < buffer_.size();) {
        at = detail::find_start_code(buffer_.data(), at, at, buffer_.size());
        if (at == buffer_.size())
            break;
        begin_nal(at);
        at += detail::start_code_size_at(buffer_.data() + at);
    }
    if (!started_)
        return;
    end_nal(base_ + buffer_.size());
    const detail::LibraryFeed::Answer last = library_.flush();
    emit(base_ + buffer_.size(), last.key);
}

inline Status AccessUnitReader::push_unit(BytesView piece, std::uint64_t tag)
{
    if (NalUnits(codec_, piece).empty())
        return Status::no_start_code;
    if (piece.size() > options_.max_pending)
        return Status::too_large;
    mark_tag(tag);
    const std::size_t offset = buffer_.size();
    append(buffer_, piece);
    draft_.begin = draft_.picture = base_ + offset;
    for (const NalUnit& nal : NalUnits(codec_, BytesView(buffer_).subview(offset)))
        route(nal, base_ + static_cast<std::uint64_t>(nal.bytes.data() - buffer_.data()));
    emit(base_ + buffer_.size(), draft_.key);
    return library_.failed() ? status_ = Status::no_memory : Status::ok;
}

inline void AccessUnitReader::mark_tag(std::uint64_t tag)
{
    if (tags_.empty() || tags_.back().tag != tag)
        tags_.push_back({base_ + buffer_.size(), tag});
}

inline std::uint64_t AccessUnitReader::tag_at(std::uint64_t position)
{
    while (tags_.size() > 1 && tags_[1].begin <= position)
        tags_.pop_front();
    return tags_.empty() ? 0 : tags_.front().tag;
}

inline void AccessUnitReader::end_nal(std::uint64_t end)
{
    NalUnit nal;
    nal.codec = codec_;
    nal.bytes = BytesView(buffer_).subview(static_cast<std::size_t>(nal_ - base_),
                                           static_cast<std::size_t>(end - nal_));
    nal.start_code_size = detail::start_code_size_at(nal.bytes.data());
    route(nal, nal_);
}

// What the library would drop stays where it stands and decides nothing.
inline void AccessUnitReader::route(const NalUnit& nal, std::uint64_t begin)
{
    if (nal.bare() || nal.forbidden())
        return;
    switch (nal.role()) {
    case NalRole::slice: take_slice(nal, begin); return;
    case NalRole::opener: break;
    case NalRole::trailing: return;
    }
    const std::uint64_t end = begin + nal.bytes.size();
    if (nal.is_parameter_set()) {
        keep_set(nal);
        if (nal.layer_id() == 0)
            seen_.add(identify_parameter_set(nal), begin, end);
    } else if (!any_picture_) {
        library_.opener(nal); // it matters up to the first picture
    }
    if (nal.is_delimiter())
        seen_.add_delimiter(begin, end);
    if (any_stored_ && opener_ == kNone)
        opener_ = begin;
    if (refused_ != kNone && after_refused_ == kNone)
        after_refused_ = begin;
    any_stored_ = true;
}

inline void AccessUnitReader::take_slice(const NalUnit& nal, std::uint64_t begin)
{
    const detail::LibraryFeed::Answer answer = library_.slice(nal);
    if (!answer.known) {
        refused_ = begin;
        after_refused_ = kNone;
        return;
    }
    if (answer.completed)
        emit(opener_ != kNone ? opener_ : begin, answer.key);
    opener_ = kNone;
    any_stored_ = true;
    any_picture_ = true;
    draft_.key = draft_.key || nal.is_key_slice();
    if (!draft_.has_picture)
        describe_picture(nal, begin);
}

inline void AccessUnitReader::describe_picture(const NalUnit& nal, std::uint64_t begin)
{
    draft_.has_picture = true;
    if (refused_ != kNone && refused_ >= draft_.begin)
        draft_.picture = after_refused_ != kNone ? after_refused_ : begin;
    const detail::SliceHead head(nal);
    if (codec_ == Codec::h264 && head.slice_type <= VideoPicTypeAllSI)
        draft_.picture_type = static_cast<VideoPicType>(head.slice_type);
    if (const ParameterSet* const pps = sets_.find(ParameterSetKind::pps, head.pps_id))
        draft_.sequence = sequence(pps->refers_to);
    if (options_.self_contained && nal.is_key_slice())
        detail::complete_with_sets(draft_, sets_, seen_, head.pps_id);
}

inline void AccessUnitReader::keep_set(const NalUnit& nal)
{
    library_.parameter_set(nal);
    if (sets_.add(nal))
        sequences_ = {};
}

// The draft ends at `end`, and another begins there.
inline void AccessUnitReader::emit(std::uint64_t end, bool key)
{
    if (end != draft_.begin) {
        draft_.end = end;
        draft_.key = key;
        draft_.position = draft_.begin - origin_;
        draft_.tag = tag_at(draft_.begin);
        ready_.push_back(std::move(draft_));
    }
    draft_ = {};
    draft_.begin = draft_.picture = end;
}

inline AccessUnit AccessUnitReader::describe(const detail::UnitDraft& unit)
{
    const auto view = [this](std::uint64_t begin, std::uint64_t end) {
        return BytesView(buffer_).subview(static_cast<std::size_t>(begin - base_),
                                          static_cast<std::size_t>(end - begin));
    };
    AccessUnit described;
    described.bytes = view(unit.begin, unit.end);
    described.key = unit.key;
    described.has_picture = unit.has_picture;
    described.unreadable = static_cast<std::size_t>(unit.has_picture ? unit.picture - unit.begin : 0);
    described.sequence = unit.sequence;
    described.picture_type = unit.picture_type;
    described.position = unit.position;
    described.tag = unit.tag;
    if (unit.insertions.empty())
        return described;
    assembled_.clear();
    std::uint64_t copied = unit.begin;
    for (const detail::Insertion& insertion : unit.insertions) {
        append(assembled_, view(copied, insertion.at));
        append(assembled_, insertion.bytes);
        copied = insertion.at;
    }
    append(assembled_, view(copied, unit.end));
    described.inserted = assembled_.size() - described.bytes.size();
    described.bytes = assembled_;
    return described;
}

inline std::optional<SequenceParameters> AccessUnitReader::sequence(unsigned sps_id)
{
    if (sps_id >= sequences_.size())
        return std::nullopt;
    if (!sequences_[sps_id])
        sequences_[sps_id] = read_sequence(codec_, sets_, sps_id);
    return *sequences_[sps_id];
}

// Drops what has been handed out. What is left is moved only when it is the much smaller part.
inline void AccessUnitReader::compact()
{
    std::uint64_t keep = base_ + buffer_.size();
    if (!ready_.empty())
        keep = ready_.front().begin;
    else if (started_)
        keep = draft_.begin;
    else if (!options_.whole_units)
        keep = base_ + searched_;
    tag_at(keep); // forgets those before
    const auto drop = static_cast<std::size_t>(keep - base_);
    if (drop / 4 < buffer_.size() - drop)
        return;
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(drop));
    base_ = keep;
    searched_ -= searched_ < drop ? searched_ : drop;
}

inline void AccessUnitReader::restart()
{
    library_ = detail::LibraryFeed(codec_, !options_.whole_units);
    sets_.clear();
    seen_.clear();
    sequences_ = {};
    tags_.clear();
    draft_ = {};
    origin_ = base_ + buffer_.size();
    searched_ = buffer_.size();
    opener_ = refused_ = after_refused_ = kNone;
    started_ = any_stored_ = any_picture_ = false;
    status_ = Status::ok;
}

} // namespace nalsmith

#endif
