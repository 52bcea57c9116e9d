// SPDX-License-Identifier: MIT
// Takes SEI messages out of an access unit. Every other byte stays.
#ifndef NALSMITH_DETAIL_SEI_REMOVER_HPP
#define NALSMITH_DETAIL_SEI_REMOVER_HPP

#include "nalsmith/detail/sei/walk.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

enum class MalformedSei { loses_messages, stays }; // an SEI NAL unit that is not sound

class SeiRemover {
public:
    // Writes `unit` to `out` without the messages of which `which` is true. A NAL unit that keeps none is
    // left out; what is no message stays where it is.
    template <typename Predicate>
    void remove(Codec codec, BytesView unit, const Predicate& which, MalformedSei malformed, Bytes& out)
    {
        out.clear();
        const NalUnits nals(codec, unit);
        if (!nals.empty())
            append(out, unit.subview(0, static_cast<std::size_t>(nals.begin()->bytes.data() - unit.data())));
        bool gone = false;
        for (const NalUnit& nal : nals) {
            const bool changed =
                !nal.bare() && !nal.forbidden() && nal.is_sei() && keep_others(nal, which, malformed);
            if (changed && kept_.size() == header_size(codec)) {
                gone = true;
                continue;
            }
            // Without the NAL unit in between the zero would become a part of the start code.
            if (gone && !out.empty() && out.back() == 0 && nal.start_code_size == 3)
                out.push_back(0);
            gone = false;
            if (changed)
                write_kept(nal, out);
            else
                append(out, nal.bytes);
        }
    }

private:
    // Collects what stays after the header, which is escaped with it. False when that is everything. What
    // ends in a zero needs a stop byte, also where there was none: else the zero would come after the NAL
    // unit.
    template <typename Predicate>
    bool keep_others(const NalUnit& nal, const Predicate& which, MalformedSei malformed)
    {
        kept_.clear();
        append(kept_, nal.payload().subview(0, header_size(nal.codec)));
        SeiWalk walk(nal, rbsp_);
        if (malformed == MalformedSei::stays && !walk.sound())
            return false;
        bool changed = false;
        for (SeiPart part; walk.next(part);) {
            if (which(part))
                changed = true;
            else
                append(kept_, part.whole);
        }
        append(kept_, walk.left());
        if (kept_.size() > header_size(nal.codec) && (walk.stopped() || kept_.back() == 0))
            kept_.push_back(kStopByte);
        return changed;
    }

    void write_kept(const NalUnit& nal, Bytes& out) const
    {
        append(out, nal.bytes.subview(0, nal.start_code_size));
        const std::size_t begin = out.size();
        out.resize(begin + kept_.size() + kept_.size() / 2);
        out.resize(begin + escape(kept_.data(), kept_.size(), out.data() + begin, find_zero_pair));
        append(out, nal.bytes.subview(nal.start_code_size + nal.payload().size())); // zeros
    }

    Bytes rbsp_;
    Bytes kept_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
