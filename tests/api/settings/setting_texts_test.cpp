#include "api/settings/setting_texts.h"

#include "api/settings/criteria.h"
#include "api/text/errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

using namespace optdoe;

namespace {

std::string content(const std::string& name)
{
    std::ifstream file(CLI_DIR "/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What the manual says of an option of make, in one line without marks; empty when it says nothing.
std::string paragraph_of(const std::string& option)
{
    const std::string manual = content("optdoe.1.scd");
    const std::size_t section = manual.find("\n# OPTIONS OF MAKE\n");
    const std::size_t begin = manual.find("\n*" + option + "*", section);
    if (section == std::string::npos || begin == std::string::npos)
        return "";
    std::string text;
    std::istringstream words(manual.substr(begin, manual.find("\n\n", begin) - begin));
    for (std::string word; words >> word;)
        text += (text.empty() ? "" : " ") + word;
    std::erase_if(text, [](char c) { return c == '*' || c == '_'; });
    return text;
}

bool says(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

} // namespace

TEST(criteria, the_default_comes_first_and_unnamed_ids_are_left_out)
{
    EXPECT_EQ(criterion_names(), (std::vector<std::string>{"phip", "entropy", "cd2", "a2"}));
    EXPECT_EQ(criterion_id("phip"), 1);
    EXPECT_EQ(criterion_id("a2"), 3);
    EXPECT_THROW(criterion_id("maximin"), usage_error);
    EXPECT_EQ(criteria_where(&criterion_facts::reads_distance, true), (std::vector<std::string>{"phip", "entropy"}));
}

TEST(criteria, names_are_enumerated_as_in_a_sentence)
{
    EXPECT_EQ(enumerated({}, "or"), "");
    EXPECT_EQ(enumerated({"a"}, "or"), "a");
    EXPECT_EQ(enumerated({"a", "b"}, "or"), "a or b");
    EXPECT_EQ(enumerated({"a", "b", "c"}, "and"), "a, b and c");
}

TEST(settingtexts, numbers_are_written_plainly)
{
    EXPECT_EQ(plain_number(1e6), "1000000");
    EXPECT_EQ(plain_number(1e8), "100000000");
    EXPECT_EQ(plain_number(1e200), "1e200");
    EXPECT_EQ(plain_number(1e-40), "1e-40");
    EXPECT_EQ(plain_number(-1e20), "-1e20");
    EXPECT_EQ(plain_number(0.0001), "0.0001");
}

TEST(settingtexts, help_tells_readers_range_and_default)
{
    EXPECT_EQ(help_text(setting_id::restarts), "restarts of greedy: 0 .. 500000 (default 30)");
    EXPECT_EQ(help_text(setting_id::pairs), "candidate exchanges a move of threshold: 1 .. N(N-1)/2 (default 50)");
    EXPECT_EQ(help_text(setting_id::exponent),
              "exponent of inverse distances, 0 for plain maximin (phip): 0 .. 100 (default 20)");
    EXPECT_EQ(help_text(setting_id::criterion), "what is minimised: phip (default), entropy, cd2 or a2");
    EXPECT_EQ(help_text(setting_id::scaling),
              "columns during the search: none, range (default; cd2: centres) or centres");
    EXPECT_EQ(help_text(setting_id::target), "stop at this objective: -1e20 .. 1e20 (default -1e20; a2: from 0)");
    EXPECT_EQ(help_text(setting_id::all_pairs), "examine every candidate exchange");
}

TEST(settingtexts, a_choice_has_the_number_that_the_library_reads)
{
    EXPECT_EQ(number_of_choice(setting_id::method, "annealing"), 2);
    EXPECT_EQ(number_of_choice(setting_id::scaling, "none"), 0);
    EXPECT_EQ(number_of_choice(setting_id::distance, "rectangular"), 1);
    EXPECT_EQ(number_of_choice(setting_id::criterion, "cd2"), 2);
    EXPECT_EQ(default_choice(setting_id::distance), "euclidean");
    EXPECT_EQ(default_choice(setting_id::method), "threshold");
    EXPECT_EQ(default_choice(setting_id::criterion), "phip");
}

TEST(settingtexts, the_manual_has_the_range_and_default_of_every_setting)
{
    for (int i = 0; i < setting_count; ++i) {
        const setting& row = setting_of(static_cast<setting_id>(i));
        const std::string text = paragraph_of(option_name(row.id));
        const std::string usual = default_text(row);
        ASSERT_NE(text, "") << row.name;
        if (row.kind == setting_kind::choice) {
            for (const std::string& name : choices_of(row))
                EXPECT_TRUE(says(text, name)) << name << " in: " << text;
            EXPECT_TRUE(says(text, usual + " (default")) << usual << " in: " << text;
        } else if (row.kind != setting_kind::flag) {
            EXPECT_TRUE(says(text, range_text(row))) << range_text(row) << " in: " << text;
            EXPECT_TRUE(says(text, usual + " by default") || says(text, "by default " + usual) ||
                        says(text, "default is " + usual))
                << usual << " in: " << text;
        }
    }
}

TEST(settingtexts, completion_offers_the_names_of_every_choice)
{
    const std::string script = content("optdoe.bash");
    for (int i = 0; i < setting_count; ++i) {
        const setting& row = setting_of(static_cast<setting_id>(i));
        if (row.kind != setting_kind::choice)
            continue;
        const std::string before = "[" + option_name(row.id) + "]=\"";
        const std::size_t begin = script.find(before);
        ASSERT_NE(begin, std::string::npos) << row.name;
        std::istringstream words(
            script.substr(begin + before.size(), script.find('"', begin + before.size()) - begin - before.size()));
        const std::vector<std::string> names{std::istream_iterator<std::string>(words), {}};
        EXPECT_THAT(names, testing::UnorderedElementsAreArray(choices_of(row))) << row.name;
    }
}
