// SPDX-License-Identifier: MIT
// Watches the library's allocations: measures them, and lets chosen ones fail. Works in this program only,
// whose linker wraps malloc() and realloc(); the array forms of new are not seen.
#pragma once

#include "support/Types.h"

enum class Failing { Never, Once, FromThenOn };

class AllocationWatch {
public:
    // Of the allocations to come, lets the one of number `n` fail, counted from 1.
    explicit AllocationWatch(Failing mode = Failing::Never, u64 n = 0) : mode_(mode), n_(n) {}

    // Watches while `call` runs.
    template <typename Call>
    auto During(const Call& call)
    {
        const Active active(*this);
        return call();
    }

    u64 Calls() const { return calls_; }
    u64 Failures() const { return failures_; }
    u64 Work() const { return work_; } // bytes allocated, and bytes copied by growth

    // For the wrapped allocator: notes one call, and tells whether it fails.
    bool Refuse(u64 size, u64 copied);

private:
    struct Active {
        explicit Active(AllocationWatch& watch);
        ~Active();
    };

    Failing mode_;
    u64 n_;
    u64 calls_ = 0;
    u64 failures_ = 0;
    u64 work_ = 0;
};
