// SPDX-License-Identifier: MIT
// The start codes in a buffer that grows, found by the library: it does so at the speed of the memory.
#ifndef NALSMITH_DETAIL_START_CODES_HPP
#define NALSMITH_DETAIL_START_CODES_HPP

#include "nalsmith/handles.hpp"
#include "nalsmith/nal_units.hpp"

namespace nalsmith::detail {

class StartCodes {
public:
    // A start code is the same in both codecs. Splitting frames is a function of H.264 handles.
    StartCodes() : splitter_(make_parsing_handle(Codec::h264, 1, 1))
    {
        // With the longest lists that a block can fill the handle has all the memory that it will need, so
        // that a failure means that there is no start code.
        Bytes dense(kBlock + kUnseen);
        for (std::size_t i = 2; i < dense.size(); i += 3)
            dense[i] = 1;
        failed_ = !splitter_ || split(dense).count == 0;
    }

    bool failed() const noexcept { return failed_; }

    // Calls `found` with the place of every start code at `from` and later, except in the last bytes, where
    // it would not be seen. Answers where to go on when there are more bytes.
    template <typename Found>
    std::size_t find(BytesView bytes, std::size_t from, const Found& found)
    {
        while (from + kUnseen < bytes.size()) {
            const BytesView block = bytes.subview(from, kBlock);
            const Split nals = split(block);
            std::size_t next = from + block.size() - kUnseen;
            for (std::uint32_t i = 0; i < nals.count; ++i) {
                const auto at = static_cast<std::size_t>(nals.places[i] - bytes.data());
                const std::size_t behind = at + start_code_size_at(nals.places[i]);
                found(at);
                next = behind > next ? behind : next;
            }
            from = next;
        }
        return from;
    }

private:
    static constexpr std::size_t kBlock = 4096;
    static constexpr std::size_t kUnseen = 4; // the library sees no start code in so many last bytes

    struct Split {
        std::uint32_t count = 0;
        std::uint8_t** places = nullptr;
    };

    Split split(BytesView bytes) noexcept
    {
        Split nals;
        std::uint32_t* sizes = nullptr;
        GetNalFromFrame(splitter_.get(), const_cast<std::uint8_t*>(bytes.data()), library_size(bytes.size()),
                        &nals.count, &nals.places, &sizes); // modifies nothing
        return nals;
    }

    ParsingHandle splitter_;
    bool failed_ = false;
};

} // namespace nalsmith::detail

#endif
