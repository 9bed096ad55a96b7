/// Module records: plain, zeroed storage outside the tracked list, opened by the entry and closed in reverse order.
#pragma once

#include <cstdlib>
#include <cstring>
#include <type_traits>

/// Fills the slot with a new zeroed record; leaves it null when storage is exhausted.
template <class Record>
void open_plain_record(Record*& slot)
{
    static_assert(std::is_trivially_destructible_v<Record> && std::is_trivially_copyable_v<Record>);
    slot = static_cast<Record*>(std::malloc(sizeof(Record)));
    if (slot != nullptr)
        std::memset(slot, 0, sizeof(Record));
}

/// Frees the record and clears the slot; null does nothing.
template <class Record>
void close_plain_record(Record*& slot)
{
    std::free(slot);
    slot = nullptr;
}
