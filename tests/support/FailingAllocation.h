// SPDX-License-Identifier: MIT
// Watches the library's allocations: measures them, and lets chosen ones fail. Works in this program only,
// whose linker wraps malloc(), realloc() and free(); the array forms of new are not seen.
#pragma once

#include "support/Types.h"

using namespace nalsmith_internal;

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

    // From now on none fails.
    void Calm() { mode_ = Failing::Never; }

    u64 Calls() const { return calls_; }
    u64 Failures() const { return failures_; }
    u64 Work() const { return work_; } // bytes allocated, and bytes copied by growth
    u64 Largest() const { return largest_; }
    u64 LastRefused() const { return lastRefused_; }
    // Bytes allocated and not freed, all while watching: now, and at most.
    i64 Live() const { return live_; }
    i64 Peak() const { return peak_; }

    // For the wrapped allocator: notes one call, and tells whether it fails.
    bool Refuse(u64 size, u64 copied);
    void NoteLive(i64 change);

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
    u64 largest_ = 0;
    u64 lastRefused_ = 0;
    i64 live_ = 0;
    i64 peak_ = 0;
};
