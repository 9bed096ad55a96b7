/// What a design is asked for, as programs and languages put it together.
#pragma once

#include "api/designs/design_file.h"
#include "api/settings/settings.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace optdoe {

/// A design that a request begins with: a file, or one that is at hand.
struct given_design {
    std::string name;                           ///< of the file; "-": standard input, or a design that is in no file
    std::shared_ptr<const design_file> content; ///< null: the file is read when it is needed

    bool is_given() const { return !name.empty(); }
    design_file read() const { return content ? *content : read_design(name); }
};

/// Sizes, factors and settings; unset means the default. Names and ranges of all but the designs stand in
/// request_options.h.
struct design_request {
    std::optional<std::int64_t> rows;         ///< to place; those of `start` where it is given
    std::optional<std::int64_t> factor_count; ///< those of `factors` or `start` where they are given
    std::vector<factor> factors;
    settings run;
    given_design start;           ///< to improve instead of a random design
    given_design old;             ///< whose runs stay as they are: `added` are placed, rows is not read
    std::int64_t added = 0;       ///< at least 1 with `old`
    std::vector<double> balanced; ///< level counts of a random start: one for all factors or one each
    std::optional<coding> code;
    std::optional<placement> place;
    bool entry_levels = false; ///< levels as the Java method returns them
    std::optional<std::uint32_t> seed;

    std::optional<std::int64_t> starts, effort, stop_after; ///< campaigns: see campaign_request
    std::int64_t shard = 1, shards = 1;
    int jobs = 0;        ///< searches at the same time; 0: as many as there are cores
    std::string results; ///< file for a line of each search; may be empty
    std::string resume;  ///< such a file to go on from; may be empty

    std::string typed_command;             ///< by which a person asked for it; empty: it came from a program
    std::vector<std::string> output_words; ///< of the command that repeats it, for its output

    /// True when more than a run of the library is asked for.
    bool is_campaign() const
    {
        return starts || run.seconds || effort || stop_after || jobs > 0 || shards > 1 || !results.empty() ||
               !resume.empty();
    }
};

} // namespace optdoe
