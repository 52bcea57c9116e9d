// SPDX-License-Identifier: MIT
#include "FailingAllocation.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

AllocationWatch* current = nullptr;

bool Refused(std::size_t size, std::size_t copied = 0)
{
    return current != nullptr && current->Refuse(size, copied);
}

void* Noted(void* block)
{
    if (current != nullptr && block != nullptr)
        current->NoteLive(static_cast<i64>(malloc_usable_size(block)));
    return block;
}

} // namespace

AllocationWatch::Active::Active(AllocationWatch& watch)
{
    current = &watch;
}

AllocationWatch::Active::~Active()
{
    current = nullptr;
}

bool AllocationWatch::Refuse(u64 size, u64 copied)
{
    ++calls_;
    const bool refused =
        (mode_ == Failing::Once && calls_ == n_) || (mode_ == Failing::FromThenOn && calls_ >= n_);
    failures_ += refused ? 1 : 0;
    work_ += refused ? 0 : size + copied;
    largest_ = std::max(largest_, size);
    lastRefused_ = refused ? size : lastRefused_;
    return refused;
}

void AllocationWatch::NoteLive(i64 change)
{
    live_ += change;
    peak_ = std::max(peak_, live_);
}

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size)
{
    return Refused(size) ? nullptr : Noted(__real_malloc(size));
}

// At its peak a block that grows is there twice.
void* __wrap_realloc(void* block, std::size_t size)
{
    const std::size_t held = block != nullptr ? malloc_usable_size(block) : 0;
    if (Refused(size, std::min(held, size)))
        return nullptr;
    void* const grown = Noted(__real_realloc(block, size));
    if (current != nullptr && grown != nullptr)
        current->NoteLive(-static_cast<i64>(held));
    return grown;
}

void __wrap_free(void* block)
{
    if (current != nullptr && block != nullptr)
        current->NoteLive(-static_cast<i64>(malloc_usable_size(block)));
    __real_free(block);
}
}
// NOLINTEND(bugprone-reserved-identifier)

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Refused(size) ? nullptr : Noted(__real_malloc(std::max<std::size_t>(size, 1)));
}

void* operator new(std::size_t size)
{
    if (void* block = operator new(size, std::nothrow))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
