// SPDX-License-Identifier: MIT
// What is found of one access unit while its pictures are looked at.
#ifndef NALSMITH_DETAIL_UNIT_FINDINGS_HPP
#define NALSMITH_DETAIL_UNIT_FINDINGS_HPP

#include "nalsmith/finding.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class UnitFindings {
public:
    struct Answer {
        Finding finding = Finding::none;
        bool decodable = false;
    };

    void note(Finding finding) noexcept
    {
        if (finding > answer_.finding)
            answer_.finding = finding;
    }
    // A picture of the access unit, or what cannot be read of one.
    void add(bool decodable) noexcept
    {
        answer_.decodable = decodable && (empty_ || answer_.decodable);
        empty_ = false;
    }

    // The access unit ends. One without pictures is worth what came before it.
    Answer take() noexcept
    {
        const Answer answer = answer_;
        answer_.finding = Finding::none;
        empty_ = true;
        return answer;
    }

private:
    Answer answer_;
    bool empty_ = true;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
