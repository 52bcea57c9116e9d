// SPDX-License-Identifier: MIT
// Tables of parameter-set records by id. An id comes from the stream: one beyond the table is not stored and
// not found.
#pragma once

#include "support/Memory.h"

#include <cstring>

namespace nalsmith_internal::records {

template <typename Record, std::size_t kEntries>
const Record* Find(Record* const (&table)[kEntries], u32 id)
{
    return id < kEntries ? table[id] : nullptr;
}

// Keeps a copy under `id`. Without memory a new entry stays empty, so that what depends on it is refused.
template <typename Record, std::size_t kEntries>
void Store(Record* (&table)[kEntries], u32 id, const Record& record)
{
    if (id >= kEntries)
        return;
    Record*& entry = table[id];
    if (entry == nullptr)
        entry = memory::Allocate<Record>(1);
    if (entry != nullptr)
        *entry = record;
}

template <typename Record, std::size_t kEntries>
void Clear(Record* (&table)[kEntries])
{
    for (Record*& entry : table)
        memory::Free(entry);
}

} // namespace nalsmith_internal::records
