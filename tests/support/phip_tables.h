/// A run of phi-p in either form of storing lines, and its tables bit by bit.
#pragma once

#include "optdoe/criteria/phip/phip_state.h"
#include "tests/support/phip_run.h"

#include <cstdint>
#include <vector>

struct phip_tables_run : phip_run {
    /// The exponent is 20. All lines are stored, or those of changed rows only.
    phip_tables_run(const table& start, bool all_lines, distance_kind kind = distance_kind::euclidean)
        : phip_run(start, none, kind == distance_kind::euclidean ? none : rectangular)
    {
        if (all_lines)
            return;
        crit_release(ctx());
        state().distances.most_rows_with_all_lines = 0;
        crit_setup(ctx(), design.data(), static_cast<std::uint32_t>(design.rows()), 0, design.columns(),
                   settings().criterion);
    }

    phip_state& state() { return *(*this)->phip; }
    double entry(std::int32_t r, std::int32_t column) { return state().distances.points[r][column]; }
    double swap(std::int32_t column, std::int32_t a, std::int32_t b)
    {
        return crit_apply_swaps(ctx(), column, 1, &a, &b);
    }

    /// A re-arrangement of three rows in a ring.
    double try_ring(std::int32_t column, std::int32_t a, std::int32_t b, std::int32_t c)
    {
        const std::int32_t rows_dst[] = {a, b, c};
        const std::int32_t rows_src[] = {b, c, a};
        return crit_try_moves(ctx(), column, 3, rows_dst, rows_src);
    }
};

inline void append_bits(std::vector<std::uint64_t>& to, const double* from, std::int32_t count)
{
    for (std::int32_t i = 0; i < count; ++i)
        to.push_back(bits_of(from[i]));
}

/// Points, lines, list of changed rows and version.
inline std::vector<std::uint64_t> points_and_lines(phip_state& s)
{
    const pair_distances& d = s.distances;
    std::vector<std::uint64_t> all{d.version};
    for (std::int32_t r = 0; r < d.rows; ++r) {
        append_bits(all, d.points[r], d.factors);
        append_bits(all, line_of(d, r, d.rows, s.line), d.rows);
    }
    all.insert(all.end(), d.changed, d.changed + d.changed_count);
    return all;
}

/// Row totals, rows on the grid and versions.
inline std::vector<std::uint64_t> totals_of(const phip_state& s)
{
    const term_totals& t = s.totals;
    const rows_on_grid& kept = t.triangle.kept;
    std::vector<std::uint64_t> all{t.rows_as_of, t.triangle_as_of};
    for (const double* line : {t.row_total, t.row_upper, kept.limit, kept.sum, kept.ties})
        append_bits(all, line, s.distances.rows);
    return all;
}
