// SPDX-License-Identifier: MIT
// Streams written as a line of text each, and what is to be found in them.
//
// H.264: access units, of slices between slashes. A slice is D (IDR), I, P or B, in small letters when no
// other refers to it, with its frame_num; without a letter it goes on with the picture of the slice before.
// Then:
//   t b  a top or a bottom field    @n  first_mb_in_slice       ~n  pic_order_cnt_lsb
//   x    operation 5                &n  colour_plane_id         #n  pic_parameter_set_id
//   q    redundant                  !   other data              z   cut after two bytes
//   w    a header of 300 bytes
//   En An Ln  after a recovery point in n frames: exact, approximate, exact with a broken link
// $ is the SPS with other contents, ^ a delimiter, of either codec. Without ~ the order count grows by 2, for
// fields by 1.
//
// H.265: a slice segment is I (IDR), J (IDR_N_LP), C (CRA), A (BLA), T (TRAIL_R), R (RASL_N) or L (RADL_R),
// with its picture order count; then:
//   -n +n  it refers to the picture so many before or after    k-n k+n  only later ones do
//   l m    with the lsb, or the whole count, of a long-term picture that it refers to
//   @n     slice_segment_address      d  dependent             b        of B slices
// E is the end of a sequence.
//
// Expected of each access unit: a letter for the finding, and + when it can be decoded.
#pragma once

#include "LayerStreams.h"

#include "HevcStream.h"

#include <sstream>

namespace layertest {

// A line's access units, so many times.
inline std::string times(int count, const std::string& text)
{
    std::string all;
    while (count-- > 0)
        all += (all.empty() ? "" : " ") + text;
    return all;
}

// A slice as text: its first character, and options of a character with a number.
class SliceText {
public:
    explicit SliceText(const std::string& text) : in_(text) {}

    bool next(char& option, int& number)
    {
        number = 0;
        if (!(in_ >> option))
            return false;
        const int digit = in_.peek();
        if (digit == '-' || digit == '+' ? option == 'k' : digit >= '0' && digit <= '9')
            in_ >> number;
        return true;
    }

private:
    std::istringstream in_;
};

class AvcLine {
public:
    explicit AvcLine(avctest::Sps sps) : sps_(std::move(sps)) { pps_.redundant_pic_cnt_present_flag = 1; }

    ::Bytes sets() const { return sps_ + pps_; }

    ::Bytes unit(const std::string& text)
    {
        if (text == "$") {
            ++sps_.level_idc;
            return sps_;
        }
        ::Bytes bytes;
        std::istringstream slices(text);
        for (std::string slice; std::getline(slices, slice, '/');)
            bytes = bytes + (slice == "^" ? ::Bytes(avctest::Delimiter{}) : read(slice));
        return bytes;
    }

private:
    ::Bytes read(const std::string& text)
    {
        SliceText in(text);
        char option = 0;
        int number = 0;
        ::Bytes before;
        bool redundant = false, cut = false, first = std::isalpha(text[0]) != 0;
        slice_.first_mb_in_slice = 0;
        slice_.sps = sps_;
        slice_.pps = pps_;
        slice_.data = "aa bb cc"_bytes;
        while (in.next(option, number)) {
            const auto value = static_cast<u32>(number);
            if (std::exchange(first, false)) {
                begin(option, value);
                continue;
            }
            switch (option) {
            case 't':
            case 'b':
                slice_.field_pic_flag = 1;
                slice_.bottom_field_flag = option == 'b' ? 1 : 0;
                count_ -= 1;
                break;
            case '@': slice_.first_mb_in_slice = value; break;
            case '~': slice_.pic_order_cnt_lsb = count_ = value; break;
            case '&': slice_.colour_plane_id = value; break;
            case '#': slice_.pps.pic_parameter_set_id = value; break;
            case 'x': reset_ = true; break;
            case 'q': redundant = true; break;
            case 'w': long_ = true; break;
            case '!': slice_.data = "dd ee ff"_bytes; break;
            case 'z': cut = true; break;
            default: before = recovery_point(option, value); break;
            }
        }
        if (text[0] == 'D' && text.find('~') == text.npos)
            slice_.pic_order_cnt_lsb = count_ = 0;
        slice_.references = references(redundant);
        const ::Bytes bytes = slice_;
        return before + (cut ? bytes.From(0, 7) : bytes);
    }

    void begin(char kind, u32 frame_num)
    {
        const char upper = static_cast<char>(std::toupper(kind));
        slice_.nal_unit_type = upper == 'D' ? avctest::kIdr : 1;
        slice_.nal_ref_idc = kind == upper ? 1 : 0;
        slice_.slice_type = upper == 'P' ? 0 : upper == 'B' ? 1 : 2;
        slice_.frame_num = frame_num;
        slice_.field_pic_flag = slice_.bottom_field_flag = 0;
        slice_.idr_pic_id = upper == 'D' ? 0 : 1;
        slice_.pic_order_cnt_lsb = count_ += 2;
        reset_ = long_ = false;
    }

    BitWriter references(bool redundant) const
    {
        BitWriter out;
        out.ue(redundant ? 1 : 0);
        if (slice_.slice_type == 1)
            out.u(1, 1); // direct_spatial_mv_pred_flag
        if (slice_.slice_type != 2)
            out.u(1 + slice_.slice_type, 0).u(1, long_); // nothing overridden, lists as they are
        for (int i = 0; long_ && i < 1200; ++i)
            out.ue(0).ue(0); // modification_of_pic_nums_idc, abs_diff_pic_num_minus1
        if (long_)
            out.ue(3);
        if (slice_.nal_unit_type == avctest::kIdr)
            out.u(2, 0);
        else if (slice_.nal_ref_idc != 0)
            reset_ ? out.u(1, 1).ue(3).ue(0).ue(1).ue(5).ue(0) : out.u(1, 0);
        return out;
    }

    static ::Bytes recovery_point(char kind, u32 frames)
    {
        BitWriter message;
        message.ue(frames).u(1, kind == 'A' ? 0 : 1).u(1, kind == 'L' ? 1 : 0).u(2, 0).TrailingBits();
        const ::Bytes payload = message.Take();
        // After a message of another type.
        return avctest::Nal(6, ::Bytes{0xFF, 6, 0xFF, 1} + ::Bytes(256, 6) +
                                   ::Bytes{6, static_cast<u8>(payload.size())} + payload + "80"_bytes);
    }

    avctest::Sps sps_;
    avctest::Pps pps_;
    avctest::Slice slice_;
    u32 count_ = 0;
    bool reset_ = false, long_ = false;
};

class HevcLine {
public:
    explicit HevcLine(hevctest::Sps sps) : sps_(std::move(sps))
    {
        pps_.dependent_slice_segments_enabled_flag = 1;
    }

    ::Bytes sets() const { return hevctest::Vps{} + sps_ + pps_; }

    ::Bytes unit(const std::string& text)
    {
        if (text == "E")
            return hevctest::Nal(36, {});
        ::Bytes bytes;
        std::istringstream slices(text);
        for (std::string slice; std::getline(slices, slice, '/');)
            bytes = bytes + (slice == "^" ? ::Bytes(hevctest::Delimiter{}) : read(slice));
        return bytes;
    }

private:
    struct Reference {
        int delta = 0;
        bool used = false;
    };

    ::Bytes read(const std::string& text)
    {
        static const std::string kinds = "IJCATRL";
        static constexpr u32 types[] = {hevctest::kIdr,   20, hevctest::kCra, hevctest::kBla, 1,
                                        hevctest::kRaslN, 7};
        SliceText in(text);
        char option = 0;
        int number = 0;
        slice_.first_slice_segment_in_pic_flag = 1;
        slice_.slice_segment_address = slice_.dependent_slice_segment_flag = 0;
        slice_.data = "aa bb cc"_bytes;
        while (in.next(option, number)) {
            switch (option) {
            case '-': references_.push_back({-number, true}); break;
            case '+': references_.push_back({number, true}); break;
            case 'k': references_.push_back({number, false}); break;
            case 'l':
            case 'm': long_term_ = {option, number}; break;
            case '@':
                slice_.slice_segment_address = static_cast<u32>(number);
                slice_.first_slice_segment_in_pic_flag = number == 0 ? 1 : 0;
                break;
            case 'd': slice_.dependent_slice_segment_flag = 1; break;
            case 'b': slice_.slice_type = 0; break;
            case '!': slice_.data = "dd ee ff"_bytes; break;
            default:
                slice_.nal_unit_type = types[kinds.find(option)];
                slice_.slice_type = slice_.nal_unit_type >= 16 ? 2 : 1;
                count_ = number;
                slice_.slice_pic_order_cnt_lsb = static_cast<u32>(number) % 16;
                references_.clear();
                long_term_ = {};
            }
        }
        slice_.sps = sps_;
        slice_.pps = pps_;
        slice_.references =
            slice_.nal_unit_type == hevctest::kIdr || slice_.nal_unit_type == 20 ? BitWriter() : references();
        return slice_;
    }

    BitWriter references() const
    {
        BitWriter out;
        out.u(1, 0); // short_term_ref_pic_set_sps_flag
        std::vector<Reference> sides[2];
        for (const Reference& reference : references_)
            sides[reference.delta < 0 ? 0 : 1].push_back(reference);
        out.ue(sides[0].size()).ue(sides[1].size());
        for (const auto& side : sides)
            for (int last = 0; const Reference& reference : side) {
                out.ue(static_cast<u64>(std::abs(reference.delta - last) - 1)).u(1, reference.used);
                last = reference.delta;
            }
        out.ue(long_term_.first != 0 ? 1 : 0);
        if (long_term_.first != 0) {
            const int count = long_term_.second, cycles = count_ / 16 - count / 16;
            out.u(4, static_cast<u64>(count % 16)).u(1, 1).u(1, long_term_.first == 'm');
            if (long_term_.first == 'm')
                out.ue(static_cast<u64>(cycles));
        }
        return out;
    }

    hevctest::Sps sps_;
    hevctest::Pps pps_;
    hevctest::Slice slice_;
    int count_ = 0;
    std::vector<Reference> references_;
    std::pair<char, int> long_term_;
};

// What is found of one access unit.
inline std::string found_in(const Verdict& verdict)
{
    const char letters[] = "0csgurfmnpx"; // in the order of Finding
    return {letters[static_cast<std::size_t>(verdict.finding)], verdict.decodable ? '+' : '-'};
}

template <typename Line>
void expect_found(const char* what, Line line, const std::string& units, const std::string& expected)
{
    SCOPED_TRACE(what);
    ContinuityChecker checker(std::is_same_v<Line, AvcLine> ? Codec::h264 : Codec::h265);
    checker.add_parameter_sets(line.sets());
    checker.reset(); // which keeps them
    std::istringstream in(units);
    std::string all;
    for (std::string unit; in >> unit;) {
        const std::string is = found_in(checker.check(line.unit(unit)));
        all += unit == "$" ? "" : (all.empty() ? "" : " ") + is;
    }
    EXPECT_EQ(all, expected) << units;
}

} // namespace layertest
