// SPDX-License-Identifier: MIT
// The bytes that a reader holds. Of a long run of zeros, as files that were allocated in advance end in, only
// the first are held: a position counts the bytes that are or were held, and the rest is known by number.
#ifndef NALSMITH_DETAIL_READER_HELD_BYTES_HPP
#define NALSMITH_DETAIL_READER_HELD_BYTES_HPP

#include "nalsmith/bytes.hpp"
#include "nalsmith/detail/queue.hpp"
#include "nalsmith/detail/reader/tags.hpp"
#include "nalsmith/detail/start_codes.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class HeldBytes {
public:
    std::uint64_t end() const noexcept { return base_ + bytes_.size(); }
    // What is held of it is the caller's responsibility.
    BytesView view(std::uint64_t begin, std::uint64_t end) const noexcept
    {
        return BytesView(bytes_).subview(static_cast<std::size_t>(begin - base_),
                                         static_cast<std::size_t>(end - begin));
    }
    BytesView all() const noexcept { return bytes_; }

    void push(BytesView piece, std::uint64_t tag)
    {
        if (piece.empty())
            return;
        tags_.mark(end(), tag);
        while (!piece.empty()) {
            const std::size_t zeros = skip_zeros(piece.data(), 0, piece.size());
            extend_zeros(zeros);
            piece = piece.subview(zeros);
            if (piece.empty())
                return;
            if (piece[0] != 1)
                end_zeros();
            zeros_ = 0;
            const std::size_t run = find_long_run(piece);
            append(bytes_, piece.subview(0, run));
            if (run == piece.size())
                zeros_ = zeros_at_end(piece);
            piece = piece.subview(run);
        }
    }

    // No start code follows the zeros at the end.
    void end_zeros()
    {
        const std::size_t held = held_zeros();
        zeros_ = 0;
        if (held <= kMostZeros)
            return;
        bytes_.resize(bytes_.size() - (held - kMostZeros));
        note_left_out(end(), held - kMostZeros);
    }

    // What was brought before `position` is not asked for any more. Moves the rest only when that is the
    // smaller part.
    void forget(std::uint64_t position)
    {
        tags_.at(position);
        const auto drop = static_cast<std::size_t>(position - base_);
        if (drop < bytes_.size() - drop)
            return;
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(drop));
        base_ = position;
    }

    // In order of position: the tag of the byte there.
    std::uint64_t tag_at(std::uint64_t position) { return tags_.at(position); }

    // The zeros left out up to `position` that have not been asked for yet.
    std::uint64_t take_left_out(std::uint64_t position)
    {
        std::uint64_t count = 0;
        for (; !gaps_.empty() && gaps_.front().at <= position; gaps_.pop())
            count += gaps_.front().count;
        return count;
    }

private:
    static constexpr std::size_t kMostZeros = std::size_t{64} << 10;
    static constexpr std::size_t kOfStartCode = 3; // zeros that may belong to the next start code

    struct Gap {
        std::uint64_t at = 0;
        std::uint64_t count = 0;
    };

    std::size_t held_zeros() const noexcept
    {
        return static_cast<std::size_t>(zeros_ < kMostZeros + kOfStartCode ? zeros_
                                                                           : kMostZeros + kOfStartCode);
    }

    // Takes in more zeros, in a run with those at the end.
    void extend_zeros(std::uint64_t count)
    {
        const std::size_t before = held_zeros();
        zeros_ += count;
        const std::size_t more = held_zeros() - before;
        bytes_.resize(bytes_.size() + more);
        if (count != more)
            note_left_out(end() - kOfStartCode, count - more);
    }

    void note_left_out(std::uint64_t at, std::uint64_t count)
    {
        tags_.remove(at, count);
        if (!gaps_.empty() && gaps_.back().at == at)
            gaps_.back().count += count;
        else
            gaps_.push({at, count});
    }

    // The first run of more zeros than are held, in a piece that begins with another byte; the end for none.
    static std::size_t find_long_run(BytesView piece) noexcept
    {
        // Such a run covers two neighbouring ones of these places.
        constexpr std::size_t kStep = kMostZeros / 2;
        for (std::size_t i = kStep; i + kStep < piece.size(); i += kStep) {
            if ((piece[i] | piece[i + kStep]) != 0)
                continue;
            std::size_t begin = i;
            while (piece[begin - 1] == 0)
                --begin;
            if (skip_zeros(piece.data(), i, piece.size()) - begin > kMostZeros)
                return begin;
        }
        return piece.size();
    }

    static std::size_t zeros_at_end(BytesView piece) noexcept
    {
        std::size_t count = 0;
        while (piece[piece.size() - 1 - count] == 0)
            ++count;
        return count;
    }

    Bytes bytes_;
    std::uint64_t base_ = 0;  // position of bytes_[0]
    std::uint64_t zeros_ = 0; // at the end, those left out included
    Queue<Gap> gaps_;
    Tags tags_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
