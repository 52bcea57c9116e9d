// SPDX-License-Identifier: MIT
#include "DataText.h"

namespace host {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPadding = '=';

struct Utf8Form {
    std::uint32_t mask; // of the lead byte's marking bits
    std::uint32_t mark;
    std::size_t size;
    std::uint32_t least; // no smaller character is written in so many bytes
};

constexpr Utf8Form kUtf8Forms[] = {
    {0x80, 0x00, 1, 0x00}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

struct Character {
    std::uint32_t code;
    std::size_t size;
};

// The character that `bytes` begins with; none when that is not UTF-8.
std::optional<Character> ReadUtf8(nalsmith::BytesView bytes)
{
    for (const Utf8Form& form : kUtf8Forms) {
        if ((bytes[0] & form.mask) != form.mark)
            continue;
        if (bytes.size() < form.size)
            return std::nullopt;
        std::uint32_t code = bytes[0] & ~form.mask;
        for (std::size_t i = 1; i < form.size; ++i) {
            if ((bytes[i] & 0xC0) != 0x80)
                return std::nullopt;
            code = code << 6 | (bytes[i] & 0x3FU);
        }
        const bool surrogate = code >= 0xD800 && code < 0xE000;
        if (code < form.least || code > 0x10FFFF || surrogate)
            return std::nullopt;
        return Character{code, form.size};
    }
    return std::nullopt;
}

bool IsControl(std::uint32_t code)
{
    return code < ' ' || (code >= 0x7F && code < 0xA0);
}

// Marks, embeddings, overrides and isolates of bidirectional text.
bool IsDirection(std::uint32_t code)
{
    return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

} // namespace

bool IsPrintableText(nalsmith::BytesView bytes)
{
    while (!bytes.empty()) {
        const auto character = ReadUtf8(bytes);
        if (!character || IsControl(character->code))
            return false;
        bytes = bytes.subview(character->size);
    }
    return true;
}

std::string Printable(std::string_view text)
{
    std::string printable;
    nalsmith::BytesView bytes(text.data(), text.size());
    while (!bytes.empty()) {
        const auto character = ReadUtf8(bytes);
        const std::size_t size = character ? character->size : 1;
        if (!character || IsControl(character->code) || IsDirection(character->code))
            printable += '?';
        else
            printable.append(reinterpret_cast<const char*>(bytes.data()), size);
        bytes = bytes.subview(size);
    }
    return printable;
}

std::string EncodeBase64(nalsmith::BytesView bytes)
{
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::uint32_t group = 0;
        for (std::size_t i = at; i < at + 3; ++i)
            group = group << 8 | (i < bytes.size() ? bytes[i] : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += at + i <= bytes.size() ? kDigits[group >> (18 - 6 * i) & 63] : kPadding;
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text)
{
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == kPadding)
        ++padding;
    text.remove_suffix(padding);

    std::vector<std::uint8_t> bytes;
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char digit : text) {
        const std::size_t value = kDigits.find(digit);
        if (value == std::string_view::npos)
            return std::nullopt;
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count < 8)
            continue;
        count -= 8;
        bytes.push_back(static_cast<std::uint8_t>(bits >> count));
        bits &= (1U << count) - 1;
    }
    return bits == 0 ? std::optional(bytes) : std::nullopt; // bits of no byte have to be 0
}

} // namespace host
