#include "tests/support/criterion_twins.h"

#include "optdoe/criteria/a2/a2.h"
#include "optdoe/criteria/cd2/cd2.h"
#include "optdoe/criteria/criterion.h"
#include "optdoe/criteria/entropy/entropy.h"
#include "optdoe/criteria/phip/phip_state.h"
#include "optdoe/numeric/index_sort.h"

criterion_twins::criterion_twins(const table& design, const twin_case& how)
    : design_(design), how_(how), weights_(how.weights)
{
    if (weights_.empty())
        weights_.assign(static_cast<std::size_t>(design.columns()), 1.0);
    if (how_.levels.empty())
        how_.levels.assign(static_cast<std::size_t>(design.columns()), design.rows());
    optdoe_plain_library()->slots_open(&plain_, plain_host_.env(), plain_host_.self());
}

criterion_twins::~criterion_twins() { optdoe_plain_library()->slots_close(&plain_); }

void criterion_twins::use_variant(instruction_set set)
{
    const auto at = static_cast<std::size_t>(set);
    switch (how_.criterion_id) {
    case 0: fast()->entropy->kernels = entropy_kernel_variants[at]; break;
    case 1:
        fast()->phip->terms.kernels = phip_kernel_variants[at];
        fast()->phip->distances.kernels = distance_kernel_variants[at];
        fast()->phip->totals.triangle.kernels = ordered_sum_kernel_variants[at];
        break;
    case 2: fast()->cd2->kernels = cd2_kernel_variants[at]; break;
    default: fast()->a2->kernels = a2_kernel_variants[at]; break;
    }
}

void criterion_twins::setup()
{
    static int setups = 0;
    if (how_.criterion_id == 1 && ++setups % 2 == 0)
        fast()->phip->distances.most_rows_with_all_lines = 0; // the form for many rows
    criterion_options options{};
    options.criterion_id = static_cast<std::int8_t>(how_.criterion_id);
    options.factor_weights = weights_.data();
    options.params.param_count_1 = static_cast<std::int32_t>(how_.params_1.size());
    options.params.param_count_2 = static_cast<std::int32_t>(how_.params_2.size());
    options.params.param_list_1 = how_.params_1.empty() ? nullptr : how_.params_1.data();
    options.params.param_list_2 = how_.params_2.empty() ? nullptr : how_.params_2.data();
    const auto fixed = static_cast<std::uint32_t>(how_.fixed_rows);
    const std::uint32_t free = static_cast<std::uint32_t>(design_.rows()) - fixed;
    fast()->criterion->in_force = fast_ops_ = &criterion_for(options);
    plain_ops_ = &optdoe_plain_library()->criterion_for(options);
    fast_ops_->setup(fast(), design_.data(), free, fixed, design_.columns(), options, how_.levels.data());
    plain_ops_->setup(plain(), design_.data(), free, fixed, design_.columns(), options, how_.levels.data());
}

criterion_twins::best criterion_twins::fast_best_swap(int column, const std::vector<std::int32_t>& a,
                                                      const std::vector<std::int32_t>& b)
{
    best found{};
    found.position =
        crit_best_swap(fast(), column, static_cast<std::int32_t>(a.size()), a.data(), b.data(), &found.value);
    return found;
}

criterion_twins::best criterion_twins::plain_best_swap(int column, const std::vector<std::int32_t>& a,
                                                       const std::vector<std::int32_t>& b)
{
    std::vector<double> values;
    std::vector<std::int32_t> order(a.size());
    for (std::size_t t = 0; t < a.size(); ++t)
        values.push_back(plain_ops_->try_swap(plain(), column, a[t], b[t]));
    indexx_double(fast(), static_cast<std::uint32_t>(a.size()), values.data(), order.data());
    return {order[0], values[static_cast<std::size_t>(order[0])]};
}
