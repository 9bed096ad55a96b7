#include "tests/support/search_run.h"

#include "optdoe/criteria/criterion.h"
#include "optdoe/entry/settings.h"
#include "optdoe/search/level_structure.h"
#include "optdoe/search/search_setup.h"

#include <cstdlib>
#include <vector>

search_run::search_run(const table& start, const std::function<void(run_settings&)>& edit)
    : search_run(start, options{}, edit)
{
}

search_run::search_run(const table& start, const options& how, const std::function<void(run_settings&)>& edit)
    : design(start)
{
    const int k = start.columns();
    const int n = start.rows() - how.fixed_rows;
    reset_settings(k);
    if (edit)
        edit(settings());
    describe_levels(ctx(), design.data(), n, how.fixed_rows, k);
    if (settings_validate(ctx(), k, n) != 0)
        std::abort(); // the test asked for settings that cannot be
    if (how.with_criterion)
        crit_setup(ctx(), design.data(), static_cast<std::uint32_t>(n), static_cast<std::uint32_t>(how.fixed_rows), k,
                   settings().criterion);
    setup_search(ctx(), n, how.fixed_rows, k, settings(), how.seed, &outcome);
}

int draws_since(const run_context* ctx, const rng_state& before)
{
    const auto word = [](const rng_state& s) {
        return s.x0 | static_cast<std::uint64_t>(s.x1) << 16 | static_cast<std::uint64_t>(s.x2) << 32;
    };
    const std::uint64_t now = word(*ctx->rng);
    std::uint64_t x = word(before);
    for (int draws = 0; draws < 1000000; ++draws) {
        if (x == now)
            return draws;
        x = (0x5DEECE66Du * x + 0xBu) & 0xFFFFFFFFFFFFu;
    }
    return -1;
}

bool rank_order_is_in_step(run_context* ctx)
{
    const search_rows& rows = *ctx->rows;
    const double* const* design = crit_copy_design(ctx, nullptr);
    for (std::int32_t j = 0; j < rows.k; ++j) {
        std::vector<bool> seen(static_cast<std::size_t>(rows.total_rows));
        for (std::int32_t r = 0; r < rows.n; ++r) {
            const std::int32_t row = ctx->levels->rank_order[r][j];
            if (row < rows.first_row || row >= rows.total_rows || seen[static_cast<std::size_t>(row)])
                return false;
            seen[static_cast<std::size_t>(row)] = true;
            if (r == 0)
                continue;
            const double step = design[row][j] - design[ctx->levels->rank_order[r - 1][j]][j];
            const bool same_level = ctx->levels->level_index[r][j] == ctx->levels->level_index[r - 1][j];
            if (same_level ? !equal_entries(step, 0.0) : !(step > 0.0))
                return false;
        }
    }
    return true;
}
