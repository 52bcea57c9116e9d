// SPDX-License-Identifier: MIT
// Where access units begin, by the library's own handles: each NAL unit is handed to one that tests whether a
// slice can be read, and to one that tells when a picture begins. The C++ layer decides the same by itself.
#pragma once

#include <nalsmith/nalsmith.hpp>

#include <algorithm>
#include <vector>

namespace unitmodel {

using namespace nalsmith;

struct Unit {
    std::size_t begin = 0;
    std::size_t end = 0;
    bool picture = false;
    bool key = false;
    bool reference = false;

    bool operator==(const Unit&) const = default;
};

class Model {
public:
    explicit Model(Codec codec) : codec_(codec) {}

    // All units of a stream.
    std::vector<Unit> cut(BytesView stream)
    {
        bool first = true;
        for (const NalUnit& nal : NalUnits(codec_, stream)) {
            at_ = static_cast<std::size_t>(nal.bytes.data() - stream.data());
            if (first)
                unit_.begin = at_;
            first = false;
            if (nal.bare() || nal.forbidden())
                continue;
            if (nal.is_slice())
                slice(nal);
            else if (nal.role() == NalRole::opener)
                opener(nal);
        }
        if (!first)
            end(stream.size());
        return units_;
    }

private:
    enum class State { open, refused, picture };
    static constexpr std::size_t kNone = SIZE_MAX;

    // What stays with what came before, where nothing came before, is by itself.
    void open()
    {
        if (state_ == State::open && !opened_ && at_ != unit_.begin)
            end(at_);
        opened_ = true;
    }

    void opener(const NalUnit& nal)
    {
        open();
        feed(nal, SIZE_MAX);
        if (state_ == State::refused)
            end(at_);
        else if (state_ == State::picture && opener_ == kNone)
            opener_ = at_;
    }

    void slice(const NalUnit& nal)
    {
        open();
        const bool readable = is_readable(nal);
        const bool library_begins = feed(nal, detail::kSliceHead);
        const Bytes head = unescaped_head(nal);
        const bool first_segment = codec_ == Codec::h265 && head.size() > 2 && (head[2] & 0x80) != 0;
        const bool begins = codec_ == Codec::h265 ? first_segment : library_begins;
        if (state_ == State::picture && (begins || !readable))
            end(opener_ != kNone ? opener_ : at_);
        else if (state_ == State::refused && (readable || first_segment))
            end(at_);
        opener_ = kNone;
        state_ = readable ? State::picture : State::refused;
        unit_.picture = readable;
        unit_.key = unit_.key || (readable && nal.is_key_slice());
        unit_.reference = unit_.reference || (readable && nal.is_reference());
    }

    void end(std::size_t at)
    {
        unit_.end = at;
        units_.push_back(unit_);
        unit_ = {at, at};
        state_ = State::open;
        opener_ = kNone;
    }

    // The library never reads the parameter sets of later slice segments: they are asked for as if they were
    // the first.
    bool is_readable(const NalUnit& nal) const
    {
        Bytes piece = head_of(nal, detail::kSliceHead);
        if (codec_ == Codec::h265) {
            constexpr std::size_t kStartCode = 4;
            Bytes head = unescaped_head(nal);
            const std::uint8_t pps_0 = detail::is_hevc_irap(nal.type()) ? 0x20 : 0x40; // past the end
            const bool short_of_id = head.size() < 3;
            head.resize(std::max<std::size_t>(head.size(), 3));
            head[2] |= short_of_id ? 0x80 | pps_0 : 0x80;
            piece.resize(kStartCode + 2 * head.size());
            piece.resize(kStartCode + detail::escape(head.data(), head.size(), piece.data() + kStartCode,
                                                     detail::find_zero_pair));
        }
        VideoInfoEx verdict = {};
        return VideoSampleTest(test_.get(), piece.data(), detail::library_size(piece.size()), &verdict) == 0;
    }

    bool feed(const NalUnit& nal, std::size_t most) const
    {
        const Bytes piece = head_of(nal, most);
        VideoInfo info = {};
        VideoInfoEx verdict = {};
        if (nal.is_parameter_set())
            VideoSampleTest(test_.get(), piece.data(), detail::library_size(piece.size()), &verdict);
        ParseVideoParams(reader_.get(), piece.data(), detail::library_size(piece.size()), &info);
        return info.frameAvailable != 0;
    }

    static Bytes unescaped_head(const NalUnit& nal)
    {
        const BytesView stored = nal.bytes.subview(nal.start_code_size, detail::kSliceHead);
        Bytes head(stored.size());
        head.resize(detail::unescape(stored.data(), stored.size(), head.data(), detail::find_zero_pair));
        return head;
    }

    // With a start code of four bytes, so that a NAL unit of a single byte is seen, too.
    static Bytes head_of(const NalUnit& nal, std::size_t most)
    {
        Bytes piece = {0, 0, 0, 1};
        append(piece, nal.bytes.subview(nal.start_code_size, most));
        return piece;
    }

    Codec codec_;
    ParsingHandle reader_ = make_parsing_handle(codec_, 2, 1);
    ParsingHandle test_ = make_parsing_handle(codec_, 1, 1);
    std::vector<Unit> units_;
    Unit unit_;
    State state_ = State::open;
    bool opened_ = false;
    std::size_t at_ = 0;
    std::size_t opener_ = kNone;
};

} // namespace unitmodel
