#include "api/campaign/results_file.h"

#include "api/campaign/cores.h"
#include "api/runs/engine.h"
#include "api/text/csv_reader.h"
#include "api/text/errors.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace optdoe {

using nlohmann::ordered_json;

namespace {

constexpr const char* mark = "optdoe results";

ordered_json number_or_null(double value) { return std::isnan(value) ? ordered_json(nullptr) : ordered_json(value); }

double number_of(const ordered_json& value)
{
    return value.is_null() ? std::numeric_limits<double>::quiet_NaN() : value.get<double>();
}

end_reason reason_named(const std::string& name)
{
    for (int i = 0; i <= static_cast<int>(end_reason::undefined_objective); ++i)
        if (name_of(static_cast<end_reason>(i)) == name)
            return static_cast<end_reason>(i);
    return end_reason::iteration_limit;
}

campaign_identity identity_of(const ordered_json& line)
{
    campaign_identity identity;
    identity.command = line.at("command").get<std::vector<std::string>>();
    identity.first_seed = line.at("first_seed").get<std::uint32_t>();
    identity.starts = line.at("starts").get<std::int64_t>();
    identity.shard = line.at("shard").get<std::int64_t>();
    identity.shards = line.at("shards").get<std::int64_t>();
    return identity;
}

} // namespace

std::string campaign_identity::hash() const
{
    std::uint64_t h = 0xcbf29ce484222325U;
    for (const std::string& word : command)
        for (const char c : word + '\n')
            h = (h ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    return fmt::format("{:016x}", h);
}

ordered_json result_json(const search_result& result, bool with_levels)
{
    ordered_json line;
    line["seed"] = result.task.seed;
    line["objective"] = number_or_null(result.objective);
    line["rounds"] = result.rounds;
    line["seconds"] = result.seconds;
    line["end"] = end_text(result);
    line["effort"] = result.task.effort;
    line["stop_after"] = result.task.stop_after;
    line["initial"] = number_or_null(result.initial);
    if (with_levels) {
        line["levels"] = result.levels.cells;
        if (!result.entry_levels.empty())
            line["entry_levels"] = result.entry_levels;
    }
    return line;
}

search_result result_of_json(const ordered_json& line)
{
    search_result result;
    result.task = {line.at("seed").get<std::uint32_t>(), line.at("effort").get<std::int64_t>(),
                   line.at("stop_after").get<std::int64_t>()};
    result.objective = number_of(line.at("objective"));
    result.initial = number_of(line.at("initial"));
    result.rounds = line.at("rounds").get<std::int64_t>();
    result.seconds = line.at("seconds").get<double>();
    const std::string end = line.at("end").get<std::string>();
    result.cut = end == "stopped_after_rounds";
    result.reason = reason_named(end);
    if (line.contains("levels")) {
        result.levels.cells = line.at("levels").get<std::vector<double>>();
        result.levels.rows = result.levels.cells.size();
        result.levels.columns = 1;
        result.entry_levels = line.value("entry_levels", std::vector<std::int32_t>{});
    }
    return result;
}

void arrange_levels(search_result& result, std::size_t factors, const std::string& where)
{
    table& levels = result.levels;
    if (levels.cells.size() % factors != 0)
        throw input_error(fmt::format("{}: the levels are no design of {} factors", where, factors));
    levels.rows = levels.cells.size() / factors;
    levels.columns = factors;
}

namespace {

/// The lines of a file; the last may lack its end.
struct line_reader {
    const std::string& content;
    std::size_t at = 0;
    std::size_t number = 0;

    /// The next line without its end; false at the end of the file or before a line that has no end.
    bool next(std::string& line)
    {
        const std::size_t end = content.find('\n', at);
        if (end == std::string::npos)
            return false;
        line = content.substr(at, end - at);
        at = end + 1;
        ++number;
        return true;
    }
};

void read_line(recorded_campaign& recorded, const ordered_json& line, std::size_t number)
{
    if (number == 1) {
        if (!line.is_object() || !line.contains(mark))
            throw input_error("is no results file of optdoe");
        recorded.identity = identity_of(line);
        return;
    }
    if (line.at("settings").get<std::string>() != recorded.identity.hash())
        throw input_error("a search of other settings than those of the first line");
    search_result result = result_of_json(line);
    if (result.cut && recorded.identity.starts > 0)
        return; // one of a number of starts that is still to be made
    recorded.seeds.push_back(result.task.seed);
    if (!result.levels.cells.empty() && is_better(result, recorded.best))
        recorded.best = std::move(result);
}

} // namespace

recorded_campaign read_results(const std::string& file)
{
    const std::string content = read_file(file);
    recorded_campaign recorded;
    recorded.file = file;
    line_reader lines{content};
    for (std::string text; lines.next(text);) {
        try {
            read_line(recorded, ordered_json::parse(text), lines.number);
        } catch (const nlohmann::json::exception&) {
            throw input_error(at_place(file, lines.number, 1, "is no line of a results file"));
        } catch (const input_error& error) {
            throw input_error(at_place(file, lines.number, 1, error.what()));
        }
    }
    if (lines.number == 0)
        throw input_error(at_place(file, 1, 1, "holds no finished search"));
    recorded.complete_bytes = lines.at;
    recorded.truncated = lines.at < content.size();
    return recorded;
}

results_file::results_file(const std::string& file, const campaign_identity& identity)
    : results_file(file, identity.hash())
{
    struct stat state {};
    if (fstat(descriptor_, &state) == 0 && S_ISREG(state.st_mode) && state.st_size > 0)
        throw input_error(fmt::format("{}: exists already; --resume goes on from it", file));
    ordered_json line;
    line[mark] = 1;
    line["settings"] = hash_;
    line["command"] = identity.command;
    line["first_seed"] = identity.first_seed;
    line["starts"] = identity.starts;
    line["shard"] = identity.shard;
    line["shards"] = identity.shards;
    line["version"] = OPTDOE_VERSION;
    line["processor"] = processor_;
    write_line(line);
    if (!failure_.empty())
        throw input_error(failure_);
}

results_file::results_file(const recorded_campaign& recorded) : results_file(recorded.file, recorded.identity.hash())
{
    if (recorded.truncated && ftruncate(descriptor_, static_cast<off_t>(recorded.complete_bytes)) != 0)
        throw input_error(fmt::format("{}: {}", recorded.file, std::strerror(errno)));
}

results_file::~results_file()
{
    if (descriptor_ >= 0)
        close(descriptor_);
}

results_file::results_file(const std::string& file, const std::string& hash)
    : file_(file), hash_(hash), processor_(processor_text())
{
    descriptor_ = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor_ < 0)
        throw input_error(fmt::format("{}: {}", file, std::strerror(errno)));
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        close(descriptor_);
        throw input_error(fmt::format("{}: another run is writing it", file));
    }
}

void results_file::write_line(const ordered_json& line)
{
    const std::string text = line.dump() + "\n";
    const off_t before = lseek(descriptor_, 0, SEEK_END);
    std::size_t written = 0;
    while (written < text.size() && failure_.empty()) {
        const ssize_t count = write(descriptor_, text.data() + written, text.size() - written);
        if (count >= 0)
            written += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            failure_ = fmt::format("{}: {}", file_, std::strerror(errno));
    }
    // A device has nothing to flush, which is no failure.
    if (failure_.empty() && fdatasync(descriptor_) != 0 && errno != EINVAL && errno != EROFS)
        failure_ = fmt::format("{}: {}", file_, std::strerror(errno));
    if (!failure_.empty() && before >= 0 && ftruncate(descriptor_, before) != 0)
        failure_ += ", and half a line stays";
}

void results_file::add(const search_result& result, bool leads)
{
    if (!failure_.empty())
        return;
    ordered_json line = result_json(result, leads);
    line["settings"] = hash_;
    line["version"] = OPTDOE_VERSION;
    line["processor"] = result.processor.empty() ? processor_ : result.processor;
    write_line(line);
}

namespace {

/// Starts of a campaign that no file holds, at most a few of them by seed.
std::string missing_seeds(const campaign_identity& identity, const std::map<std::uint32_t, std::string>& found)
{
    std::vector<std::uint32_t> missing;
    for (std::int64_t i = 0; i < identity.starts; ++i)
        if (const std::uint32_t seed = seed_of_start(identity.first_seed, i); !found.contains(seed))
            missing.push_back(seed);
    if (missing.empty())
        return "";
    const bool more = missing.size() > 5;
    const std::size_t count = missing.size();
    missing.resize(std::min<std::size_t>(count, 5));
    return fmt::format("{} of {} starts are missing (seeds {}{})", count, identity.starts, fmt::join(missing, ", "),
                       more ? ", ..." : "");
}

} // namespace

search_result merge_results(const std::vector<recorded_campaign>& files, bool incomplete)
{
    const recorded_campaign& first = files.front();
    std::map<std::uint32_t, std::string> found;
    std::optional<search_result> best;
    for (const recorded_campaign& file : files) {
        if (file.identity.hash() != first.identity.hash())
            throw input_error(fmt::format("{} and {} are of different settings:\n  optdoe {}\n  optdoe {}",
                                          first.file, file.file, fmt::join(first.identity.command, " "),
                                          fmt::join(file.identity.command, " ")));
        if (file.identity.starts != first.identity.starts ||
            (file.identity.starts > 0 && file.identity.first_seed != first.identity.first_seed))
            throw input_error(fmt::format("{} and {} are of different campaigns: {} starts from seed {}, {} from {}",
                                          first.file, file.file, first.identity.starts, first.identity.first_seed,
                                          file.identity.starts, file.identity.first_seed));
        for (const std::uint32_t seed : file.seeds)
            if (const auto [place, is_new] = found.emplace(seed, file.file); !is_new)
                throw input_error(fmt::format("seed {} stands in {} and in {}", seed, place->second, file.file));
        if (file.best && is_better(*file.best, best))
            best = file.best;
    }
    if (!best)
        throw input_error(fmt::format("{}: holds no finished search", first.file));
    const std::string missing = missing_seeds(first.identity, found);
    if (!missing.empty() && !incomplete)
        throw input_error(missing + "; --resume a file to make them, or take the best of the others by --incomplete");
    return *best;
}

} // namespace optdoe
