// SPDX-License-Identifier: MIT
/// \file
/// User data in access units, under any UUID: put in, found, stripped.
#ifndef NALSMITH_USER_DATA_HPP
#define NALSMITH_USER_DATA_HPP

#include "nalsmith/handles.hpp"
#include "nalsmith/sei_editor.hpp"

#include <algorithm>

namespace nalsmith {
inline namespace v1 {

/// Carries bytes of the caller's in access units, as AddUserData(), GetUserData() and RemoveUserData() do, or
/// under a UUID of the caller's choice. What an editor answers may be handed to it again. add() without a
/// UUID leaves out bare start codes, which hold no NAL unit and would hide what comes after them; a NAL unit
/// of one byte that ends the unit after an SEI NAL unit, and a slice of one byte, get a start code of four
/// bytes there.
///
/// \code
/// nalsmith::UserDataEditor editor(nalsmith::Codec::h265);
/// if (const auto changed = editor.add(unit.bytes, metadata))
///     write(*changed);
/// else
///     complain(to_string(editor.status()));
/// \endcode
class UserDataEditor {
public:
    /// Whose the messages are that add() makes without another: the library's own.
    static constexpr Uuid uuid = {0x99, 0xAE, 0xD3, 0x1B, 0xB8, 0x94, 0x4B, 0x97,
                                  0xAD, 0x39, 0xFB, 0x4E, 0xD5, 0x90, 0x2B, 0xA1};

    /// Where there is no memory for the library's handle, the first call says so.
    explicit UserDataEditor(Codec codec) noexcept : codec_(codec), handle_(make_user_data_handle(codec)) {}

    /// The access unit with `data` put in. Valid until the next add() or get().
    std::optional<BytesView> add(BytesView unit, BytesView data)
    {
        if (!accept(unit) || !accept_size(data) || !check_place(unit))
            return std::nullopt;
        unit = apart_from(found_, unit);
        const std::uint8_t nothing = 0;
        return result([&](const std::uint8_t** out, std::uint32_t* size) {
            const bool added = AddUserData(handle_.get(), unit.data(), detail::library_size(unit.size()),
                                           data.empty() ? &nothing : data.data(),
                                           detail::library_size(data.size()), out, size) == 0;
            return added ? Status::ok : fits_together(unit, data) ? Status::no_memory : Status::too_large;
        });
    }

    /// The user data that add() put in; the last, when there are several. None when there is none: then
    /// status() is ok. Valid until the next add() or get().
    std::optional<BytesView> get(BytesView unit)
    {
        if (!accept(unit))
            return std::nullopt;
        return result([&](const std::uint8_t** out, std::uint32_t* size) {
            return GetUserData(handle_.get(), unit.data(), detail::library_size(unit.size()), out, size) == 0
                       ? Status::ok
                       : Status::no_memory;
        });
    }

    /// The access unit with `data` put in under a UUID, in a message of its own: SeiEditor::add() of type 5,
    /// with the place and the statuses that it has. Valid until the next add() with a UUID.
    std::optional<BytesView> add(BytesView unit, const Uuid& whose, BytesView data)
    {
        status_ = fits_together(unit, data) ? Status::ok : Status::too_large;
        if (status_ != Status::ok)
            return std::nullopt;
        payload_.assign(whose.begin(), whose.end());
        append(payload_, data);
        const auto added = sei_editor_.add(unit, kUserDataUnregistered, payload_);
        status_ = sei_editor_.status();
        return added;
    }

    /// The data under a UUID, from prefix or suffix SEI of the base layer; the last, when there are several.
    /// None when there is none: then status() is ok. Valid until the next get() with a UUID.
    std::optional<BytesView> get(BytesView unit, const Uuid& whose)
    {
        status_ = NalUnits(codec_, unit).empty() ? Status::no_start_code : Status::ok;
        bool found = false;
        detail::for_each_sei(codec_, unit, rbsp_, [&](const detail::SeiPart& part) {
            if (!is_from(part, whose))
                return;
            const BytesView data = part.payload.subview(whose.size());
            next_data_.assign(data.begin(), data.end());
            found = true;
        });
        if (!found)
            return std::nullopt;
        std::swap(data_, next_data_); // the unit may lie in what was answered last
        return BytesView(data_);
    }

    /// The access unit without any message of type 5, whoever wrote it, from prefix and suffix SEI NAL units
    /// alike. Everything else stays as it is, what is no message in an SEI NAL unit included. Valid until the
    /// next remove().
    std::optional<BytesView> remove(BytesView unit)
    {
        return strip(unit, [](const detail::SeiPart& part) { return part.type == kUserDataUnregistered; });
    }

    /// The same without the messages of type 5 that have this UUID.
    std::optional<BytesView> remove(BytesView unit, const Uuid& whose)
    {
        return strip(unit, [&](const detail::SeiPart& part) { return is_from(part, whose); });
    }

    /// How the last call ended. `malformed`: an SEI NAL unit in whose messages new ones would not be found.
    Status status() const noexcept { return status_; }

private:
    static bool is_from(const detail::SeiPart& part, const Uuid& whose) noexcept
    {
        return detail::uuid_of(part.type, part.payload) == whose;
    }

    template <typename Predicate>
    std::optional<BytesView> strip(BytesView unit, const Predicate& which)
    {
        status_ = NalUnits(codec_, unit).empty() ? Status::no_start_code : Status::ok;
        if (status_ != Status::ok)
            return std::nullopt;
        remover_.remove(codec_, unit, which, detail::MalformedSei::loses_messages,
                        next_removed_); // the unit may lie in what was answered last
        std::swap(removed_, next_removed_);
        return BytesView(removed_);
    }

    bool accept(BytesView& unit)
    {
        if (!accept_size(unit))
            return false;
        bool bare = false;
        bool any = false;
        bool after_sei = false;
        bool unseen = false;
        for (const NalUnit& nal : NalUnits(codec_, unit)) {
            bare = bare || nal.bare();
            any = any || !nal.bare();
            unseen = short_start_code_hides(nal) && (after_sei || nal.is_slice());
            after_sei = takes_user_data(nal);
        }
        status_ = !handle_ ? Status::no_memory : any ? Status::ok : Status::no_start_code;
        if (bare || unseen)
            unit = readable(unit);
        return status_ == Status::ok && accept_size(unit);
    }

    static bool takes_user_data(const NalUnit& nal) noexcept { return nal.is_sei() && !nal.is_suffix_sei(); }

    // The library takes four such bytes at the end of a buffer for the end of the NAL unit before them.
    static bool short_start_code_hides(const NalUnit& nal) noexcept
    {
        return nal.bytes.size() == 4 && nal.start_code_size == 3;
    }

    BytesView readable(BytesView unit)
    {
        Bytes copy;
        for (const NalUnit& nal : NalUnits(codec_, unit)) {
            if (short_start_code_hides(nal))
                copy.push_back(0);
            if (!nal.bare())
                append(copy, nal.bytes);
        }
        copy_ = std::move(copy);
        return copy_;
    }

    // The library refuses to read from the buffer that it writes to.
    BytesView apart_from(BytesView written, BytesView unit)
    {
        if (!detail::overlap(unit, written))
            return unit;
        copy_ = unit.to_bytes();
        return copy_;
    }

    bool accept_size(BytesView bytes) noexcept
    {
        status_ = detail::fits_library(bytes.size()) ? Status::ok : Status::too_large;
        return status_ == Status::ok;
    }

    static bool fits_together(BytesView unit, BytesView data) noexcept
    {
        return detail::SeiAdder::fits(unit.size(), kUserDataUnregistered,
                                      sizeof(Uuid) + std::uint64_t{data.size()});
    }

    // Without a slice the data would belong to no picture; in the wake of a message that does not end, no one
    // would find it. Every SEI NAL unit has to have a stop byte, also those to which nothing is added.
    bool check_place(BytesView unit)
    {
        bool slice = false;
        bool sei = false;
        for (const NalUnit& nal : NalUnits(codec_, unit)) {
            slice = slice || nal.is_slice();
            if (!takes_user_data(nal))
                continue;
            if (!has_stop_byte(nal) || (!slice && !sei && !detail::SeiWalk(nal, rbsp_).sound())) {
                status_ = Status::malformed;
                return false;
            }
            sei = true;
        }
        status_ = slice ? Status::ok : Status::no_slice;
        return slice;
    }

    static bool has_stop_byte(const NalUnit& nal) noexcept
    {
        const BytesView stored = nal.bytes.subview(nal.start_code_size + detail::header_size(nal.codec));
        return std::find(stored.begin(), stored.end(), detail::kStopByte) != stored.end();
    }

    template <typename Call>
    std::optional<BytesView> result(const Call& call)
    {
        const std::uint8_t* out = nullptr;
        std::uint32_t size = 0;
        status_ = call(&out, &size);
        if (status_ != Status::ok || out == nullptr)
            return std::nullopt;
        found_ = BytesView(out, size);
        return found_;
    }

    Codec codec_;
    UserDataHandle handle_;
    SeiEditor sei_editor_{codec_};
    detail::SeiRemover remover_;
    Bytes rbsp_;         // of the SEI NAL unit looked at
    Bytes copy_;         // of a unit that cannot be handed on as it is
    Bytes removed_;      // what remove() answered last
    Bytes next_removed_; // what it answers next
    Bytes payload_;      // of the message to be put in
    Bytes data_;         // what get() with a UUID answered last
    Bytes next_data_;    // what it answers next
    BytesView found_;    // what add() or get() without one answered last
    Status status_ = Status::ok;
};

} // namespace v1
} // namespace nalsmith

#endif
