// SPDX-License-Identifier: MIT
/// \file
/// SEI messages of any type, put into access units and taken out.
#ifndef NALSMITH_SEI_EDITOR_HPP
#define NALSMITH_SEI_EDITOR_HPP

#include "nalsmith/detail/sei/adder.hpp"
#include "nalsmith/detail/sei/remover.hpp"
#include "nalsmith/sei.hpp"

namespace nalsmith {
inline namespace v1 {

/// Puts SEI messages into access units and takes them out. Every other byte stays as it is. What an editor
/// answers may be handed to it again, as access unit and as payload.
///
/// \code
/// nalsmith::SeiEditor editor(nalsmith::Codec::h265);
/// const std::uint8_t light[] = {0x03, 0xE8, 0x01, 0x90}; // 1000 and 400 candelas per square metre
/// if (const auto changed = editor.add(unit.bytes, 144, {light, sizeof light}))
///     write(*changed);
/// \endcode
class SeiEditor {
public:
    /// For access units of one codec.
    explicit SeiEditor(Codec codec) noexcept : codec_(codec) {}

    /// The access unit with a message put in, in an SEI NAL unit of its own with a start code of four bytes.
    /// Valid until the next add() or remove().
    ///
    /// It comes directly before the first slice (and the H.264 prefix NAL units of that), so after delimiter,
    /// parameter sets and other SEI. Types whose order the standards lay down come before SEI that they have
    /// to precede: type 0 (buffering period) before all other SEI, in H.265 after type 129; there also 129,
    /// 1 and 130 (H.264 7.4.1.2.3; H.265 7.4.2.4.4, D.3.1). A suffix message of H.265 comes after the last
    /// slice and other suffix SEI, before the end of a sequence or stream. H.265 messages get the
    /// TemporalId of the first slice.
    ///
    /// What the payload says is not looked at; nor is whether a message of the type is there. SEI NAL units
    /// that are malformed do no harm.
    ///
    /// \param unit    one access unit
    /// \param type    `payloadType`, any
    /// \param payload the bytes of the message without emulation prevention, any, also none
    /// \param suffix  in a suffix SEI NAL unit
    /// \return none, with status() `no_start_code`: no NAL unit; `no_slice`: no slice; `not_supported`:
    ///         a suffix message in H.264; `too_large`: the answer might not fit 32 bits
    std::optional<BytesView> add(BytesView unit, std::uint32_t type, BytesView payload, bool suffix = false)
    {
        status_ = adder_.add(codec_, unit, type, payload, suffix, next_answer_);
        return answer();
    }

    /// The access unit without the messages of which `which` is true, from prefix and suffix SEI NAL units of
    /// every layer. Where none is, it is the same. Valid until the next add() or remove().
    ///
    /// A NAL unit of which no message stays is left out. One with a message that does not end there, or
    /// without a stop byte, is malformed: it stays as it is, and its messages are not asked about.
    ///
    /// \param unit  one access unit
    /// \param which called with each `const SeiMessage&`, valid during the call; true takes the message out
    /// \return none, with status() `no_start_code`, where there is no start code
    template <typename Predicate>
    std::optional<BytesView> remove(BytesView unit, const Predicate& which)
    {
        status_ = NalUnits(codec_, unit).empty() ? Status::no_start_code : Status::ok;
        if (status_ == Status::ok)
            remover_.remove(
                codec_, unit,
                [&](const detail::SeiPart& part) {
                    detail::assign(message_, part);
                    return static_cast<bool>(which(static_cast<const SeiMessage&>(message_)));
                },
                detail::MalformedSei::stays, next_answer_);
        return answer();
    }

    /// How the last call ended.
    Status status() const noexcept { return status_; }

private:
    std::optional<BytesView> answer() noexcept
    {
        if (status_ != Status::ok)
            return std::nullopt;
        std::swap(answer_, next_answer_);
        return BytesView(answer_);
    }

    Codec codec_;
    detail::SeiAdder adder_;
    detail::SeiRemover remover_;
    SeiMessage message_; // asked about
    Bytes answer_;       // the last one, in which arguments may lie
    Bytes next_answer_;
    Status status_ = Status::ok;
};

} // namespace v1
} // namespace nalsmith

#endif
