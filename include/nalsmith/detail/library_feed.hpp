// SPDX-License-Identifier: MIT
// What the library says about the NAL units of a stream, one by one. Of slices it is shown the head alone,
// since it reads no more of them: the bytes of the stream stay with the caller.
#ifndef NALSMITH_DETAIL_LIBRARY_FEED_HPP
#define NALSMITH_DETAIL_LIBRARY_FEED_HPP

#include "nalsmith/handles.hpp"
#include "nalsmith/nal_units.hpp"

#include <array>

namespace nalsmith::detail {

class LibraryFeed {
public:
    struct Answer {
        bool known = false;     // the parameter sets of the slice are
        bool completed = false; // the slice begins another picture than the one before
        bool key = false;       // the access unit completed is a key access unit
    };

    // Without `assemble` no access unit is ever completed.
    LibraryFeed(Codec codec, bool assemble) noexcept : test_(make_parsing_handle(codec, 1, 1))
    {
        if (assemble)
            reader_ = make_parsing_handle(codec, 2, 1024);
        failed_ = !test_ || (assemble && !reader_);
    }

    // Lack of memory, now or before.
    bool failed() const noexcept { return failed_; }

    // The slice tests with a handle of its own: a test on the reading handle would disturb it.
    Answer slice(const NalUnit& nal) noexcept
    {
        const BytesView piece = head_of(nal, kSliceBytes);
        VideoInfoEx verdict = {};
        Answer answer;
        answer.known =
            !failed_ && VideoSampleTest(test_.get(), piece.data(), library_size(piece.size()), &verdict) == 0;
        const VideoInfo info = read(piece);
        answer.completed = info.frameAvailable != 0;
        answer.key = info.keyFrame != 0;
        return answer;
    }

    void parameter_set(const NalUnit& nal) noexcept
    {
        const BytesView piece = nal.bytes.size() > kUnseenBytes ? nal.bytes : head_of(nal, kSliceBytes);
        VideoInfoEx verdict = {};
        if (!failed_)
            VideoSampleTest(test_.get(), piece.data(), library_size(piece.size()), &verdict);
        read(piece);
    }

    // Only its type counts.
    void opener(const NalUnit& nal) noexcept { read(head_of(nal, kOpenerBytes)); }

    // The last access unit.
    Answer flush() noexcept
    {
        VideoInfo info = {};
        if (reader_ && ParseVideoParams(reader_.get(), nullptr, 0, &info) != 0)
            failed_ = true;
        return {false, info.frameAvailable != 0, info.keyFrame != 0};
    }

private:
    static constexpr std::size_t kUnseenBytes = 4; // the library sees no NAL unit in so few
    static constexpr std::size_t kStartCode = 4;
    static constexpr std::size_t kOpenerBytes = 4;
    // Four times what the library looks at first; within the standards' field widths no header is as long.
    static constexpr std::size_t kSliceBytes = 256;

    // Behind a start code of four bytes, so that a NAL unit of a single byte is seen, too.
    BytesView head_of(const NalUnit& nal, std::size_t most) noexcept
    {
        const BytesView payload = nal.bytes.subview(nal.start_code_size, most);
        std::memcpy(head_.data() + kStartCode, payload.data(), payload.size());
        return {head_.data(), kStartCode + payload.size()};
    }

    VideoInfo read(BytesView piece) noexcept
    {
        VideoInfo info = {};
        if (reader_ && ParseVideoParams(reader_.get(), piece.data(), library_size(piece.size()), &info) != 0)
            failed_ = true;
        return info;
    }

    ParsingHandle reader_;
    ParsingHandle test_;
    std::array<std::uint8_t, kStartCode + kSliceBytes> head_ = {0, 0, 0, 1};
    bool failed_ = false;
};

} // namespace nalsmith::detail

#endif
