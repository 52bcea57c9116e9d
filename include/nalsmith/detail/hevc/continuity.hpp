// SPDX-License-Identifier: MIT
// Whether the pictures of an H.265 stream are all there, and which can be decoded: each says which others it
// refers to. Reordering and temporal layers need no rule of their own.
#ifndef NALSMITH_DETAIL_HEVC_CONTINUITY_HPP
#define NALSMITH_DETAIL_HEVC_CONTINUITY_HPP

#include "nalsmith/detail/hevc/picture.hpp"
#include "nalsmith/detail/hevc/picture_order.hpp"
#include "nalsmith/detail/recent_counts.hpp"
#include "nalsmith/finding.hpp"

#include <utility>

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
        entered_ = began_ = false;
        held_.clear();
    }

    Answer judge(const HevcPicture& picture)
    {
        holds_last_ = false;
        const bool starts = picture.irap() && (!entered_ || picture.idr() || picture.bla());
        const std::int64_t count = order_.next(picture, starts);
        if (picture.irap())
            enter(picture, starts, count);
        else if (!picture.leading())
            ++trailing_;
        const bool no_start = !entered_ && !std::exchange(began_, true);
        if (picture.rasl() && skips_rasl_ && leads(count))
            return {Finding::skipped, false};
        if (starts) {
            held_.clear();
            counts_.clear();
        }
        Answer answer = refer(picture, count);
        if (picture.radl() && !leads(count))
            answer = {Finding::missing_reference, false}; // what it refers to by chance is not meant
        if (!counts_.add(count))
            answer = repeat(picture, count);
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
        bool kept = false; // while a picture is judged: it or later ones refer to this one
    };

    void enter(const HevcPicture& picture, bool starts, std::int64_t count) noexcept
    {
        entered_ = true;
        entry_count_ = count;
        trailing_ = 0;
        skips_rasl_ = starts && !picture.idr();
        has_leading_ = !picture.without_leading();
    }

    // A leading picture can be one of the last IRAP picture: they come before the others, but for the other
    // field of the IRAP picture, and are output before it. If not, another IRAP picture is missing.
    bool leads(std::int64_t count) const noexcept
    {
        return has_leading_ && trailing_ <= 1 && count < entry_count_;
    }

    // An order count comes again: an IRAP picture is missing, and nothing that is held is meant by what
    // follows.
    Answer repeat(const HevcPicture& picture, std::int64_t count) noexcept
    {
        for (Held& held : held_)
            held.decodable = false;
        counts_.clear();
        counts_.add(count);
        return {Finding::missing_reference, picture.irap()};
    }

    void set_last(bool decodable) noexcept
    {
        if (holds_last_)
            held_.back().decodable = decodable;
    }

    // Keeps those that this picture or later ones refer to.
    Answer refer(const HevcPicture& picture, std::int64_t count)
    {
        bool complete = true;
        bool decodable = true;
        const auto use = [&](Held* held, bool used_now) {
            complete = complete && (held != nullptr || !used_now);
            decodable = decodable && ((held != nullptr && held->decodable) || !used_now);
            if (held != nullptr)
                held->kept = true;
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
        forget_others();
        return {complete ? Finding::continuous : Finding::missing_reference, decodable};
    }

    void forget_others()
    {
        std::size_t kept = 0;
        for (const Held& held : held_)
            if (held.kept)
                held_[kept++] = {held.count, held.decodable};
        held_.resize(kept);
    }

    Held* find(std::int64_t count, std::int64_t mask) noexcept
    {
        for (Held& held : held_)
            if ((held.count & mask) == count)
                return &held;
        return nullptr;
    }

    bool entered_ = false;     // an IRAP picture has come
    bool began_ = false;       // any picture
    bool skips_rasl_ = false;  // those of the last IRAP picture, which began a sequence
    bool has_leading_ = false; // the last IRAP picture may
    bool holds_last_ = false;  // the last picture is the last of those held
    unsigned trailing_ = 0;    // pictures after the last IRAP picture
    std::int64_t entry_count_ = 0;
    HevcPictureOrder order_;
    std::vector<Held> held_; // what may be referred to
    RecentCounts counts_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
