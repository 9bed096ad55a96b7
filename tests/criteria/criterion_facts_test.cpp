#include "optdoe/criteria/criterion_facts.h"

#include "optdoe/criteria/criterion.h"
#include "tests/support/search_run.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

namespace {

/// The objective of a start under criterion `id` with these parameter lists (empty: none given).
double value_under(int id, const table& start, const std::vector<double>& list_1 = {},
                   const std::vector<double>& list_2 = {})
{
    search_run run(start, [&](run_settings& s) {
        s.criterion.criterion_id = static_cast<std::int8_t>(id);
        s.criterion.criterion_function = 0;
        s.criterion.params.param_count_1 = static_cast<std::int32_t>(list_1.size());
        s.criterion.params.param_list_1 = list_1.data();
        s.criterion.params.param_count_2 = static_cast<std::int32_t>(list_2.size());
        s.criterion.params.param_list_2 = list_2.data();
    });
    return crit_value(run.ctx());
}

table start_of(int seed)
{
    random_stream random{static_cast<std::uint32_t>(seed)};
    return random_unit_design(9, 3, random);
}

} // namespace

TEST(criterionfacts, names_are_different_and_id_4_has_none)
{
    ASSERT_EQ(criterion_id_count, 5);
    std::set<std::string> names;
    for (int id = 0; id < 4; ++id)
        names.insert(criterion_name(id));
    EXPECT_EQ(names, (std::set<std::string>{"a2", "cd2", "entropy", "phip"}));
    EXPECT_EQ(criterion_name(4), nullptr);
}

TEST(criterionfacts, a_criterion_reads_the_parameters_that_its_facts_name)
{
    const table start = start_of(1);
    for (int id = 0; id < criterion_id_count; ++id) {
        const criterion_facts& facts = criterion_facts_of(id);
        const double plain = value_under(id, start, {2.0, 2.0, 2.0});
        EXPECT_EQ(value_under(id, start, {9.0, 2.0, 2.0}) != plain, facts.reads_exponent || facts.reads_theta) << id;
        EXPECT_EQ(value_under(id, start, {2.0, 9.0, 2.0}) != plain, facts.reads_theta) << id;
        EXPECT_EQ(value_under(id, start, {2.0, 2.0, 2.0}, {1.0}) != plain, facts.reads_distance) << id;
        EXPECT_FALSE(facts.reads_exponent && facts.reads_theta) << id << ": both are list 1";
    }
}

TEST(criterionfacts, latin_hypercubes_are_all_alike_to_a_criterion_of_balanced_columns)
{
    for (int id = 0; id < criterion_id_count; ++id)
        EXPECT_EQ(value_under(id, start_of(1)) == value_under(id, start_of(2)),
                  criterion_facts_of(id).needs_balanced_columns)
            << id;
}

TEST(criterionfacts, a_settings_block_takes_what_the_facts_tell)
{
    const table start = start_of(1);
    for (int id = 0; id < criterion_id_count; ++id) {
        const criterion_facts& facts = criterion_facts_of(id);
        search_run run(start, [id](run_settings& s) {
            s.criterion.criterion_id = static_cast<std::int8_t>(id);
            s.criterion.criterion_function = 0;
            s.criterion.criterion_threshold = -2.0;
            s.factor_counts[0] = 3;
        });
        EXPECT_EQ(run.settings().criterion.criterion_threshold, facts.target_is_not_negative ? 0.0 : -2.0) << id;
        EXPECT_EQ(run.settings().factor_counts[0], facts.has_level_groups ? 3 : 1) << id;
        EXPECT_EQ(run.settings().scaling_mode, facts.scaling < 0 ? 1 : facts.scaling) << id;
    }
}

TEST(criterionfacts, only_the_a2_criterion_and_named_functions_can_refuse)
{
    test_run run; // without a level structure
    criterion_options options{};
    options.criterion_function = unset_byte;
    for (int id = 0; id < criterion_id_count; ++id) {
        const criterion_facts& facts = criterion_facts_of(id);
        EXPECT_EQ(facts.refusal != nullptr && facts.refusal(run.ctx(), options) != nullptr, id >= 3) << id;
    }
}
