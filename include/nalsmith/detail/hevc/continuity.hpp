// SPDX-License-Identifier: MIT
// Whether the pictures of an H.265 stream are all there, and which can be decoded: each says which others it
// refers to. Reordering and temporal layers need no rule of their own.
#ifndef NALSMITH_DETAIL_HEVC_CONTINUITY_HPP
#define NALSMITH_DETAIL_HEVC_CONTINUITY_HPP

#include "nalsmith/detail/hevc/picture.hpp"
#include "nalsmith/detail/hevc/picture_order.hpp"
#include "nalsmith/detail/recent_counts.hpp"
#include "nalsmith/finding.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class HevcContinuity {
public:
    struct Answer {
        Finding finding = Finding::none;
        bool decodable = false;
    };

    // The next picture that is an IRAP picture begins a sequence of its own.
    void end_sequence() noexcept
    {
        fresh_ = true;
        held_.clear();
    }

    Answer judge(const HevcPicture& picture)
    {
        holds_last_ = false;
        const bool starts = picture.irap() && (fresh_ || picture.idr() || picture.bla());
        const std::int64_t count = order_.next(picture, starts);
        if (picture.irap()) {
            entry_count_ = count;
            skips_rasl_ = starts && !picture.idr();
        } else if (!picture.leading()) {
            skips_rasl_ = false; // leading pictures come before the others: a RASL picture from here on is
                                 // that of an IRAP picture that is missing
        }
        if (picture.rasl() && skips_rasl_ && count < entry_count_)
            return {Finding::skipped, false};
        const bool no_start = fresh_ && !picture.irap();
        fresh_ = false;
        if (starts) {
            held_.clear();
            counts_.clear();
        }
        Answer answer = refer(picture, count);
        if (!counts_.add(count))
            answer = {Finding::missing_reference, false};
        if (no_start)
            answer = {Finding::no_start, false};
        held_.push_back({count, answer.decodable});
        holds_last_ = true;
        return answer;
    }

    // The picture judged last has not come whole; or has, after all.
    void lose_last() noexcept { set_last(false); }
    void keep_last() noexcept { set_last(true); }

private:
    struct Held {
        std::int64_t count = 0;
        bool decodable = false;
    };

    void set_last(bool decodable) noexcept
    {
        if (holds_last_)
            held_.back().decodable = decodable;
    }

    // Keeps those that this picture or later ones refer to.
    Answer refer(const HevcPicture& picture, std::int64_t count)
    {
        kept_.clear();
        bool complete = true;
        bool decodable = true;
        const auto use = [&](const Held* held, bool used_now) {
            complete = complete && (held != nullptr || !used_now);
            decodable = decodable && ((held != nullptr && held->decodable) || !used_now);
            if (held != nullptr)
                kept_.push_back(*held);
        };
        const HevcReferenceSet& set = picture.references();
        for (std::size_t i = 0; i < set.count; ++i)
            use(find(count + set.deltas[i].poc, ~std::int64_t{0}), set.deltas[i].used_now);
        for (const HevcLongTerm& entry : picture.long_term) {
            const std::int64_t mask = std::int64_t{picture.max_lsb} - 1;
            const std::int64_t whole =
                entry.has_msb ? count - (count & mask) - std::int64_t{entry.msb_cycle} * picture.max_lsb : 0;
            use(find(whole + entry.lsb, entry.has_msb ? ~std::int64_t{0} : mask), entry.used_now);
        }
        held_.swap(kept_);
        return {complete ? Finding::continuous : Finding::missing_reference, decodable};
    }

    const Held* find(std::int64_t count, std::int64_t mask) const noexcept
    {
        for (const Held& held : held_)
            if ((held.count & mask) == count)
                return &held;
        return nullptr;
    }

    bool fresh_ = true;       // nothing to refer to has come
    bool skips_rasl_ = false; // those of the last IRAP picture, which began a sequence
    bool holds_last_ = false; // the last picture is the last of those held
    std::int64_t entry_count_ = 0;
    HevcPictureOrder order_;
    std::vector<Held> held_; // what may be referred to
    std::vector<Held> kept_; // the same of the next picture, while it is judged
    RecentCounts counts_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
