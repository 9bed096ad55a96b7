/// Snapshots of a symmetric table whose rows are changed few at a time.
///
/// Memory: a journal of up to a quarter of the rows, which grows with what is asked of it; a packed half of the table
/// from the first time that one is needed.
#pragma once

#include "optdoe/run/tracked_storage.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

/// A symmetric table with both halves filled; snapshots cover the cells (i, j) with first <= i or first <= j.
template <class Cell>
struct symmetric_table {
    Cell* const* row;
    std::int32_t size;
    std::int32_t first; ///< 0 .. size-1
};

/// Number of cells of a packed copy: (i, j), first <= i < size, j <= i.
template <class Cell>
std::size_t packed_length(const symmetric_table<Cell>& t)
{
    const auto size = static_cast<std::size_t>(t.size);
    const auto first = static_cast<std::size_t>(t.first);
    return (size + first + 1) * (size - first) / 2;
}

/// Copies the table to a packed half, which is allocated when it is null.
template <class Cell>
void pack_table(run_context* ctx, const symmetric_table<Cell>& t, Cell*& packed)
{
    if (packed == nullptr)
        packed = static_cast<Cell*>(tracked_alloc(ctx, packed_length(t) * sizeof(Cell)));
    Cell* to = packed;
    for (std::int32_t i = t.first; i < t.size; ++i)
        to = std::copy_n(t.row[i], i + 1, to);
}

template <class Cell>
void unpack_table(const symmetric_table<Cell>& t, const Cell* packed)
{
    for (std::int32_t i = t.first; i < t.size; ++i)
        for (std::int32_t j = 0; j <= i; ++j)
            t.row[i][j] = t.row[j][i] = *packed++;
}

inline constexpr std::int32_t least_journal = 16; ///< rows: eight exchanges

/// More rows are sooner copied with all others.
inline std::int32_t most_journal(std::int32_t table_size) { return std::max(least_journal, table_size / 4); }

/// The table as it was when the snapshot was taken: the working table, or the packed half when there is one, with the
/// journaled rows put back from the last to the first.
template <class Cell>
struct table_snapshot {
    Cell* journal;         ///< [capacity x table size]; null before the first row
    std::int32_t* rows;    ///< [capacity] whose rows these are
    std::int32_t capacity; ///< of the journal
    std::int32_t length;   ///< of it in use
    Cell* packed;          ///< null before it is first needed
    bool taken;            ///< nothing is kept before the first snapshot
    bool is_packed;
};

template <class Cell>
void snapshot_take(table_snapshot<Cell>& s)
{
    s.length = 0;
    s.taken = true;
    s.is_packed = false;
}

/// To be called before more than a few rows of the table change.
template <class Cell>
void snapshot_keep_all(run_context* ctx, table_snapshot<Cell>& s, const symmetric_table<Cell>& t)
{
    if (!s.taken || s.is_packed)
        return;
    pack_table(ctx, t, s.packed);
    s.is_packed = true;
}

/// Makes room for `more` rows in the journal.
template <class Cell>
void reserve_journal(run_context* ctx, table_snapshot<Cell>& s, const symmetric_table<Cell>& t, std::int32_t more)
{
    if (s.length + more <= s.capacity)
        return;
    const table_snapshot<Cell> before = s;
    const auto size = static_cast<std::size_t>(t.size);
    const std::int32_t capacity = std::max({least_journal, 2 * s.capacity, s.length + more});
    s.journal = static_cast<Cell*>(tracked_alloc(ctx, static_cast<std::size_t>(capacity) * size * sizeof(Cell)));
    s.rows = static_cast<std::int32_t*>(tracked_alloc(ctx, static_cast<std::size_t>(capacity) * sizeof(*s.rows)));
    s.capacity = capacity;
    if (before.capacity == 0)
        return;
    std::copy_n(before.journal, static_cast<std::size_t>(s.length) * size, s.journal);
    std::copy_n(before.rows, s.length, s.rows);
    tracked_free(ctx, before.journal);
    tracked_free(ctx, before.rows);
}

/// To be called before these rows of the table and their mirror images change.
/// A row that is kept late holds changed cells where an earlier one crosses it; the earlier one is put back after it.
template <class Cell>
void snapshot_keep_rows(run_context* ctx, table_snapshot<Cell>& s, const symmetric_table<Cell>& t, std::int32_t count,
                        const std::int32_t* rows)
{
    if (!s.taken || s.is_packed)
        return;
    if (count > most_journal(t.size) - s.length)
        return snapshot_keep_all(ctx, s, t);
    reserve_journal(ctx, s, t, count);
    const auto size = static_cast<std::size_t>(t.size);
    for (std::int32_t i = 0; i < count; ++i) {
        std::int32_t* const end = s.rows + s.length;
        if (std::find(s.rows, end, rows[i]) != end)
            continue;
        std::copy_n(t.row[rows[i]], size, s.journal + static_cast<std::size_t>(s.length) * size);
        *end = rows[i];
        s.length += 1;
    }
}

/// Puts the table back; the snapshot stays taken.
template <class Cell>
void snapshot_restore(table_snapshot<Cell>& s, const symmetric_table<Cell>& t)
{
    if (s.is_packed)
        unpack_table(t, s.packed);
    s.is_packed = false;
    while (s.length > 0) {
        s.length -= 1;
        const std::int32_t d = s.rows[s.length];
        const Cell* kept = s.journal + static_cast<std::ptrdiff_t>(s.length) * t.size;
        std::copy_n(kept, t.size, t.row[d]);
        for (std::int32_t r = 0; r < t.size; ++r)
            t.row[r][d] = kept[r];
    }
}

template <class Cell>
void snapshot_release(run_context* ctx, table_snapshot<Cell>& s)
{
    for (void* block : {static_cast<void*>(s.journal), static_cast<void*>(s.rows), static_cast<void*>(s.packed)})
        if (block != nullptr)
            tracked_free(ctx, block);
    s = {};
}
