// SPDX-License-Identifier: MIT
// Access units that come whole: looked at one by one, when they are asked for, and not copied.
#ifndef NALSMITH_DETAIL_READER_WHOLE_UNITS_HPP
#define NALSMITH_DETAIL_READER_WHOLE_UNITS_HPP

#include "nalsmith/access_unit.hpp"
#include "nalsmith/detail/queue.hpp"
#include "nalsmith/detail/reader/stream_sets.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class WholeUnits {
public:
    WholeUnits(Codec codec, bool self_contained) noexcept : codec_(codec), self_contained_(self_contained) {}

    void push(BytesView unit, std::uint64_t tag) { waiting_.push({Kind::unit, unit, tag, {}}); }
    void add_parameter_sets(BytesView sets)
    {
        if (waiting_.empty())
            sets_.add(codec_, sets);
        else
            waiting_.push({Kind::parameter_sets, {}, 0, sets.to_bytes()});
    }
    void end_stream()
    {
        if (waiting_.empty())
            begin_stream();
        else
            waiting_.push({Kind::end_of_stream, {}, 0, {}});
    }

    // The next one, with its bytes and the places of its slices; none when there is none.
    std::optional<Draft> next(BytesView& bytes, std::vector<SlicePlace>& slices)
    {
        std::optional<Draft> unit;
        while (!unit && !waiting_.empty()) {
            const Waiting& waiting = waiting_.front();
            switch (waiting.kind) {
            case Kind::unit:
                bytes = waiting.unit;
                unit = read(waiting.unit, slices);
                unit->tag = waiting.tag;
                break;
            case Kind::parameter_sets: sets_.add(codec_, waiting.sets); break;
            case Kind::end_of_stream: begin_stream(); break;
            }
            waiting_.pop();
        }
        return unit;
    }

    const ParameterSets& parameter_sets() const noexcept { return sets_.all(); }

private:
    enum class Kind : std::uint8_t { unit, parameter_sets, end_of_stream };
    struct Waiting {
        Kind kind = Kind::unit;
        BytesView unit = {};
        std::uint64_t tag = 0;
        Bytes sets = {};
    };

    void begin_stream()
    {
        sets_ = StreamSets();
        position_ = 0;
    }

    Draft read(BytesView bytes, std::vector<SlicePlace>& slices)
    {
        Draft unit;
        slices.clear();
        unit.origin = unit.begin = unit.position = position_;
        unit.end = position_ += bytes.size();
        for (const NalUnit& nal : NalUnits(codec_, bytes)) {
            if (nal.bare() || nal.forbidden())
                continue;
            const auto at = static_cast<std::size_t>(nal.bytes.data() - bytes.data());
            const std::uint64_t begin = unit.begin + at;
            if (nal.is_slice()) {
                slices.push_back({at, at + nal.bytes.size()});
                take_slice(unit, nal);
            } else {
                sets_.take(nal, begin, begin + nal.bytes.size());
            }
        }
        sets_.forget_recovery_point();
        return unit;
    }

    void take_slice(Draft& unit, const NalUnit& nal)
    {
        NalUnit head = nal;
        head.bytes = nal.bytes.subview(0, nal.start_code_size + kSliceHead);
        const SliceVerdict verdict = sets_.look(head);
        if (verdict.readable)
            sets_.describe(unit, head, verdict, self_contained_);
        else
            sets_.forget_recovery_point();
        sets_.end_slice(unit, nal);
    }

    Codec codec_;
    bool self_contained_;
    StreamSets sets_;
    Queue<Waiting> waiting_;
    std::uint64_t position_ = 0;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
