/// Points and distances of a random design, opened by hand.
#pragma once

#include "optdoe/criteria/undo_log.h"
#include "tests/support/designs.h"
#include "tests/support/test_run.h"

#include <algorithm>
#include <cstdint>
#include <vector>

struct distance_run {
    /// All lines are stored, or those of changed rows only.
    distance_run(int n, int factors, bool all_lines, std::uint64_t seed)
        : weights(static_cast<std::size_t>(factors), 1.0), random{seed}
    {
        d.kind = distance_kind::euclidean;
        d.most_rows_with_all_lines = all_lines ? n : 0;
        undoable_alloc(run.ctx(), d, static_cast<std::uint32_t>(n), 0, factors, weights.data());
        const table design = random_unit_design(n, factors, random);
        for (int r = 0; r < n; ++r)
            for (int k = 0; k < factors; ++k)
                set_point(d, r, k, design[r][k]);
        fill_lines(run.ctx(), d);
        line.resize(static_cast<std::size_t>(d.stride) + 8);
    }
    ~distance_run() { undoable_free(run.ctx(), d); }
    distance_run(const distance_run&) = delete;
    distance_run& operator=(const distance_run&) = delete;

    /// Row r's line as it stands; on a boundary of 64 bytes.
    const double* line_of_row(std::int32_t r) { return line_of(d, r, d.rows, aligned_line()); }

    /// Exchanges two entries and gives both rows lines that are updated by differences, as a criterion does.
    void exchange(std::int32_t a, std::int32_t b, std::int32_t column)
    {
        std::vector<double> lines[2];
        const double* x = column_line(d, column);
        for (const std::int32_t row : {a, b}) {
            const std::int32_t other = row == a ? b : a;
            const double* old = line_of_row(row);
            std::vector<double>& next = lines[row == b];
            next.assign(old, old + d.stride);
            for (std::int32_t r = 0; r < d.rows; ++r)
                if (r != a && r != b)
                    next[static_cast<std::size_t>(r)] +=
                        distance_part(d.kind, x[r] - x[other]) - distance_part(d.kind, x[r] - x[row]);
            for (std::int32_t r = d.rows; r < d.stride; ++r)
                next[static_cast<std::size_t>(r)] = __builtin_inf();
        }
        log_column(d, column);
        for (const std::int32_t row : {a, b})
            log_line(run.ctx(), d, row);
        swap_points(d, a, b, column);
        for (const std::int32_t row : {a, b}) {
            std::copy(lines[row == b].begin(), lines[row == b].end(), aligned_line());
            store_line(run.ctx(), d, row, aligned_line());
        }
    }

    /// Every distance, row by row, with its bits.
    std::vector<double> all_distances()
    {
        std::vector<double> all;
        for (std::int32_t r = 0; r < d.rows; ++r) {
            const double* row = line_of_row(r);
            all.insert(all.end(), row, row + d.rows);
        }
        return all;
    }

    double* aligned_line()
    {
        const auto address = reinterpret_cast<std::uintptr_t>(line.data());
        return line.data() + (64 - address % 64) % 64 / sizeof(double);
    }

    test_run run;
    std::vector<double> weights;
    random_stream random;
    undoable_distances d{};
    std::vector<double> line;
};
