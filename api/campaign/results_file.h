/// Results files: JSON lines, one for each finished search, that outlive a crash.
///
/// First line    {"optdoe results": 1, "settings": hash, "command": [...], "first_seed", "starts", "shard", "shards",
///               "version", "processor"}: the command is the words that make the problem again, without seed, time
///               and files.
/// Other lines   {"seed", "objective", "rounds", "seconds", "end", "effort", "stop_after", "initial", "settings",
///               "version", "processor"}, and "levels" (row-major) where the search was the best of the file so far.
///               An objective that is not a number is null. A search that was cut counts where the time rules; where
///               a number of starts does, it is still to be made.
/// A line appears whole: it is written at once and flushed to the disk. A last line without its end was being written
/// when the machine or the program died; it is dropped.
#pragma once

#include "api/campaign/campaign.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace optdoe {

/// What all searches of a file have in common.
struct campaign_identity {
    std::vector<std::string> command; ///< words of the command that makes the problem again
    std::uint32_t first_seed = 0;
    std::int64_t starts = 0; ///< 0: as many as the time allowed
    std::int64_t shard = 1;
    std::int64_t shards = 1;

    /// 64 bits of the FNV-1a hash of the words, as 16 hexadecimal digits. Which starts a file holds does not count.
    std::string hash() const;
};

/// A search as one JSON object, with or without its levels, and back: levels then stand in one column.
nlohmann::ordered_json result_json(const search_result& result, bool with_levels);
search_result result_of_json(const nlohmann::ordered_json& line);

/// Arranges the levels of a result that was read as runs of so many factors. Throws input_error, which names `where`
/// they come from, when they are not a whole number of runs.
void arrange_levels(search_result& result, std::size_t factors, const std::string& where);

struct recorded_campaign {
    std::string file;
    campaign_identity identity;
    std::vector<std::uint32_t> seeds;  ///< of the finished searches, in the order of the file
    std::optional<search_result> best; ///< its levels stand in one column: see arrange_levels
    bool truncated = false;            ///< the last line had no end
    std::size_t complete_bytes = 0;
};

/// Reads a results file. Throws input_error `file:line:column: what`.
recorded_campaign read_results(const std::string& file);

/// A results file that is being written.
class results_file {
public:
    /// Begins a new file; throws input_error where it exists with content, or cannot be written.
    results_file(const std::string& file, const campaign_identity& identity);
    /// Goes on with a file that read_results has read; a truncated last line is cut off.
    explicit results_file(const recorded_campaign& recorded);
    ~results_file();
    results_file(const results_file&) = delete;
    results_file& operator=(const results_file&) = delete;

    /// Adds a search. After a failure (a full disk) nothing more is written; `failure` tells why.
    void add(const search_result& result, bool leads);

    /// Why a line could not be written; empty: all were.
    const std::string& failure() const { return failure_; }

private:
    results_file(const std::string& file, const std::string& hash); // opens it, for this process only
    void write_line(const nlohmann::ordered_json& line);

    std::string file_;
    std::string hash_;
    std::string processor_; ///< of this machine
    std::string failure_;
    int descriptor_ = -1;
};

/// The best of several files: throws input_error where their settings differ, a seed stands in two of them, or,
/// unless `incomplete`, starts that were asked for are missing.
search_result merge_results(const std::vector<recorded_campaign>& files, bool incomplete);

} // namespace optdoe
