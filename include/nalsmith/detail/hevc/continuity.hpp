// SPDX-License-Identifier: MIT
// Whether the pictures of an H.265 stream are all there: each says which others it refers to. Reordering and
// temporal layers need no rule of their own.
#ifndef NALSMITH_DETAIL_HEVC_CONTINUITY_HPP
#define NALSMITH_DETAIL_HEVC_CONTINUITY_HPP

#include "nalsmith/detail/hevc/picture.hpp"
#include "nalsmith/detail/recent_counts.hpp"
#include "nalsmith/detail/rules.hpp"
#include "nalsmith/finding.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class HevcContinuity {
public:
    // The next picture that is an IRAP picture begins a sequence of its own.
    void end_sequence() noexcept { fresh_ = true; }

    Finding judge(const HevcPicture& picture)
    {
        const bool starts = picture.irap() && (fresh_ || picture.idr() || picture.bla());
        if (picture.irap())
            skip_rasl_ = starts;
        if (picture.rasl() && skip_rasl_)
            return Finding::skipped;
        const bool no_start = fresh_ && !picture.irap();
        fresh_ = false;
        const std::int64_t msb = starts ? 0 : pic_order_cnt_msb(picture.lsb, picture.max_lsb, lsb_, msb_);
        const std::int64_t count = msb + picture.lsb;
        if (starts) {
            held_.clear();
            counts_.clear();
        }
        bool complete = hold_referred(picture, count);
        complete = counts_.add(count) && complete;
        held_.push_back(count);
        if (picture.counts_for_poc()) {
            lsb_ = picture.lsb;
            msb_ = msb;
        }
        return no_start ? Finding::no_start : complete ? Finding::continuous : Finding::missing_reference;
    }

private:
    // Keeps those that this picture or later ones refer to. False when one that it refers to is missing.
    bool hold_referred(const HevcPicture& picture, std::int64_t count)
    {
        std::vector<std::int64_t> kept;
        bool complete = true;
        for (std::size_t i = 0; i < picture.set.count; ++i) {
            const HevcDelta& delta = picture.set.deltas[i];
            const bool found = keep(count + delta.poc, ~std::int64_t{0}, kept);
            complete = complete && (found || !delta.used_now);
        }
        for (const HevcLongTerm& entry : picture.long_term) {
            const std::int64_t mask = std::int64_t{picture.max_lsb} - 1;
            const std::int64_t whole =
                entry.has_msb ? count - (count & mask) - std::int64_t{entry.msb_cycle} * picture.max_lsb : 0;
            const bool found = keep(whole + entry.lsb, entry.has_msb ? ~std::int64_t{0} : mask, kept);
            complete = complete && (found || !entry.used_now);
        }
        held_ = std::move(kept);
        return complete;
    }

    bool keep(std::int64_t count, std::int64_t mask, std::vector<std::int64_t>& kept) const
    {
        for (const std::int64_t held : held_)
            if ((held & mask) == count) {
                kept.push_back(held);
                return true;
            }
        return false;
    }

    bool fresh_ = true;      // nothing to refer to has come
    bool skip_rasl_ = false; // the last IRAP picture began a sequence
    std::uint32_t lsb_ = 0;
    std::int64_t msb_ = 0;
    std::vector<std::int64_t> held_; // picture order counts of what may be referred to
    RecentCounts counts_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
