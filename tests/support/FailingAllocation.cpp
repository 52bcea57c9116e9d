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
    return refused;
}

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);

void* __wrap_malloc(std::size_t size)
{
    return Refused(size) ? nullptr : __real_malloc(size);
}

void* __wrap_realloc(void* block, std::size_t size)
{
    const std::size_t held = block != nullptr ? std::min(malloc_usable_size(block), size) : 0;
    return Refused(size, held) ? nullptr : __real_realloc(block, size);
}
}
// NOLINTEND(bugprone-reserved-identifier)

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Refused(size) ? nullptr : __real_malloc(std::max<std::size_t>(size, 1));
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
