// SPDX-License-Identifier: MIT
/// \file
/// User data in access units: put in, found, stripped.
#ifndef NALSMITH_USER_DATA_HPP
#define NALSMITH_USER_DATA_HPP

#include "nalsmith/handles.hpp"
#include "nalsmith/sei.hpp"

#include <functional>

namespace nalsmith {

/// Carries bytes of the caller's in access units, as AddUserData(), GetUserData() and RemoveUserData() do.
/// Bare start codes, which hold no NAL unit and would hide what is behind them, are left out. What an editor
/// answers may be handed to it again. A NAL unit of one byte that ends the unit behind an SEI NAL unit, and a
/// slice of one byte, get a start code of four bytes.
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
    /// Where there is no memory for the library's handle, the first call says so.
    explicit UserDataEditor(Codec codec) noexcept : codec_(codec), handle_(make_user_data_handle(codec)) {}

    /// The access unit with `data` put in. Valid until the next add() or get().
    std::optional<BytesView> add(BytesView unit, BytesView data)
    {
        if (!accept(unit) || !accept_size(data) || !check_place(unit))
            return std::nullopt;
        unit = apart_from(found_, unit);
        const std::uint8_t nothing = 0;
        return result(found_, [&](const std::uint8_t** out, std::uint32_t* size) {
            return AddUserData(handle_.get(), unit.data(), detail::library_size(unit.size()),
                               data.empty() ? &nothing : data.data(), detail::library_size(data.size()), out,
                               size);
        });
    }

    /// The user data that add() put in; the last, when there are several. None when there is none: then
    /// status() is ok. Valid until the next add() or get().
    std::optional<BytesView> get(BytesView unit)
    {
        if (!accept(unit))
            return std::nullopt;
        return result(found_, [&](const std::uint8_t** out, std::uint32_t* size) {
            return GetUserData(handle_.get(), unit.data(), detail::library_size(unit.size()), out, size);
        });
    }

    /// The access unit without any message of type 5, whoever wrote it. Valid until the next remove().
    std::optional<BytesView> remove(BytesView unit)
    {
        if (!accept(unit))
            return std::nullopt;
        unit = apart_from(removed_, unit);
        return result(removed_, [&](const std::uint8_t** out, std::uint32_t* size) {
            return RemoveUserData(handle_.get(), unit.data(), detail::library_size(unit.size()), out, size);
        });
    }

    /// How the last call ended. `malformed`: an SEI NAL unit in whose messages new ones would not be found,
    /// or lack of memory, which the library does not tell apart.
    Status status() const noexcept { return status_; }

private:
    bool accept(BytesView& unit)
    {
        bool bare = false;
        bool any = false;
        bool behind_sei = false;
        bool unseen = false;
        for (const NalUnit& nal : NalUnits(codec_, unit)) {
            bare = bare || nal.bare();
            any = any || !nal.bare();
            unseen = short_start_code_hides(nal) && (behind_sei || nal.is_slice());
            behind_sei = is_sei(nal);
        }
        status_ = !handle_ ? Status::no_memory : any ? Status::ok : Status::no_start_code;
        if (bare || unseen)
            unit = readable(unit);
        return status_ == Status::ok && accept_size(unit);
    }

    bool is_sei(const NalUnit& nal) const noexcept
    {
        return nal.type() == (codec_ == Codec::h264 ? 6U : 39U);
    }

    // The library takes four such bytes at the end of a buffer for the end of the NAL unit before them.
    static bool short_start_code_hides(const NalUnit& nal) noexcept
    {
        return nal.bytes.size() == 4 && nal.start_code_size == 3;
    }

    BytesView readable(BytesView unit)
    {
        copy_.clear();
        for (const NalUnit& nal : NalUnits(codec_, unit)) {
            if (short_start_code_hides(nal))
                copy_.push_back(0);
            if (!nal.bare())
                append(copy_, nal.bytes);
        }
        return copy_;
    }

    // The library refuses to read from the buffer that it writes to.
    BytesView apart_from(BytesView written, BytesView unit)
    {
        const std::less<const std::uint8_t*> before;
        if (!before(unit.begin(), written.end()) || !before(written.begin(), unit.end()))
            return unit;
        copy_ = unit.to_bytes();
        return copy_;
    }

    bool accept_size(BytesView bytes) noexcept
    {
        status_ = detail::fits_library(bytes.size()) ? Status::ok : Status::too_large;
        return status_ == Status::ok;
    }

    // Without a slice the data would belong to no picture; in the wake of a message that does not end, no one
    // would find it.
    bool check_place(BytesView unit)
    {
        bool sei = false;
        for (const NalUnit& nal : NalUnits(codec_, unit)) {
            if (nal.is_slice())
                return true;
            std::vector<SeiMessage> messages;
            if (!sei && is_sei(nal)) {
                sei = true;
                if (!detail::read_sei_nal(nal, messages)) {
                    status_ = Status::malformed;
                    return false;
                }
            }
        }
        status_ = Status::no_slice;
        return false;
    }

    template <typename Call>
    std::optional<BytesView> result(BytesView& written, const Call& call)
    {
        const std::uint8_t* out = nullptr;
        std::uint32_t size = 0;
        status_ = call(&out, &size) == 0 ? Status::ok : Status::malformed;
        if (status_ != Status::ok || out == nullptr)
            return std::nullopt;
        written = BytesView(out, size);
        return written;
    }

    Codec codec_;
    UserDataHandle handle_;
    Bytes copy_;        // of a unit that cannot be handed on as it is
    BytesView found_;   // what add() or get() answered last
    BytesView removed_; // what remove() answered last
    Status status_ = Status::ok;
};

} // namespace nalsmith

#endif
