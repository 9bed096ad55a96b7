#include "api/requests/request_options.h"

#include "api/settings/setting_texts.h"
#include "api/settings/settings_by_name.h"
#include "api/text/errors.h"
#include "api/text/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace optdoe {

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double most_runs = 0x1p30;
constexpr double most_rounds = 0x1p40;

/// What a request has beside the settings of the search.
struct own_option {
    const char* name;
    const char* help;
    double low, high; ///< of a whole number; NaN: it is none
    /// `number` is the whole number of the text, where it is one.
    void (*set)(design_request& r, const own_option& self, std::string_view text, std::int64_t number);
    /// The values that set it, for problem_words; null: not of the problem.
    std::vector<std::string> (*values)(const design_request& r) = nullptr;
};

std::vector<std::string> one_value(const std::string& text)
{
    return text.empty() ? std::vector<std::string>{} : std::vector<std::string>{text};
}

template <auto Member>
void set_count(design_request& r, const own_option&, std::string_view text, std::int64_t number)
{
    r.*Member = text.empty() ? std::nullopt : std::optional<std::int64_t>(number);
}

template <auto Member>
void set_text(design_request& r, const own_option&, std::string_view text, std::int64_t)
{
    r.*Member = text;
}

/// One of names that a function knows.
template <class T>
std::optional<T> named(const own_option& self, std::string_view text, std::optional<T> (*find)(std::string_view),
                       const char* names)
{
    const std::optional<T> value = find(text);
    if (!value && !text.empty())
        throw usage_error(fmt::format("--{}: \"{}\" is not one of {}", self.name, text, names));
    return value;
}

void set_shard(design_request& r, const own_option&, std::string_view text, std::int64_t)
{
    if (text.empty()) {
        r.shard = r.shards = 1;
        return;
    }
    const std::size_t slash = text.find('/');
    const auto part = parse_integer(text.substr(0, slash));
    const auto parts = slash == std::string_view::npos ? std::nullopt : parse_integer(text.substr(slash + 1));
    if (!part || !parts || *part < 1 || *parts < *part)
        throw usage_error(fmt::format("--shard: \"{}\" is no part; expected I/M with 1 <= I <= M", text));
    r.shard = *part;
    r.shards = *parts;
}

const own_option own_options[]{
    {"runs", "runs, at least 2", 2, most_runs, set_count<&design_request::rows>},
    {"factors", "factors, at least 1", 1, most_runs, set_count<&design_request::factor_count>},
    {"start", "improve this design instead of a random one", none, none,
     [](design_request& r, const own_option&, std::string_view text, std::int64_t) {
         r.start = {std::string(text), nullptr};
     },
     [](const design_request& r) { return one_value(r.start.name); }},
    {"add", "runs to add, at least 1", 1, most_runs,
     [](design_request& r, const own_option&, std::string_view text, std::int64_t number) {
         r.added = text.empty() ? 0 : number;
     },
     [](const design_request& r) { return one_value(r.added > 0 ? std::to_string(r.added) : ""); }},
    {"balanced", "random start with these level counts, each dividing N", none, none,
     [](design_request& r, const own_option&, std::string_view text, std::int64_t) {
         r.balanced = text.empty() ? std::vector<double>{} : parse_list("--balanced", text);
     },
     [](const design_request& r) { return one_value(list_text(r.balanced)); }},
    {"factor", "a factor with its range, NAME=LOW:HIGH[:UNIT]; once for each factor", none, none,
     [](design_request& r, const own_option&, std::string_view text, std::int64_t) {
         if (text.empty())
             r.factors.clear();
         else
             r.factors.push_back(parse_factor(text));
     },
     [](const design_request& r) {
         std::vector<std::string> texts;
         for (const factor& f : r.factors)
             texts.push_back(factor_text(f));
         return texts;
     }},
    {"bounds", "factors from a CSV file name,low,high[,unit]", none, none,
     [](design_request& r, const own_option&, std::string_view text, std::int64_t) {
         const std::vector<factor> read = read_bounds(std::string(text));
         r.factors.insert(r.factors.begin(), read.begin(), read.end());
     }},
    {"coding", "levels, unit or physical (default: physical with ranges, else levels)", none, none,
     [](design_request& r, const own_option& self, std::string_view text, std::int64_t) {
         if (text == name_of(coding::raw))
             text = "of another program";
         r.code = named(self, text, coding_named, "levels, unit, physical");
     },
     [](const design_request& r) { return one_value(r.code ? std::string(name_of(*r.code)) : ""); }},
    {"placement", "a level's place in the range: centres of cells (default) or ends", none, none,
     [](design_request& r, const own_option& self, std::string_view text, std::int64_t) {
         r.place = named(self, text, placement_named, "centres, ends");
     },
     [](const design_request& r) { return one_value(r.place ? std::string(name_of(*r.place)) : ""); }},
    {"entry-levels", "levels as the Java method returns them: truncated, not rounded", none, none,
     [](design_request& r, const own_option&, std::string_view text, std::int64_t) {
         r.entry_levels = flag_of("--entry-levels", text);
     },
     [](const design_request& r) { return one_value(r.entry_levels ? "true" : ""); }},
    {"seed", "", none, none,
     [](design_request& r, const own_option&, std::string_view text, std::int64_t) {
         const setting& row = setting_of(setting_id::seed);
         r.seed.reset();
         if (!text.empty())
             r.seed =
                 static_cast<std::uint32_t>(whole_number_of(option_name(setting_id::seed), text, row.low, row.high));
     }},
    {"starts", "searches from that many seeds, SEED, SEED + 1, ...; the best one counts", 1, 0x1p32,
     set_count<&design_request::starts>},
    {"jobs", "searches at the same time (default: the cores this process may use)", 1, 4096,
     [](design_request& r, const own_option&, std::string_view, std::int64_t number) {
         r.jobs = static_cast<int>(number);
     }},
    {"effort", "rounds of a search that chooses its methods; --time plans them itself", 1, most_rounds,
     set_count<&design_request::effort>},
    {"stop-after", "end the search after this round, as a stop does; 0: its start", 0, most_rounds,
     set_count<&design_request::stop_after>},
    {"results", "write a JSON line for each finished search", none, none, set_text<&design_request::results>},
    {"resume", "go on from a file of --results, and write it further", none, none, set_text<&design_request::resume>},
    {"shard", "make the I-th of M parts of the starts, as I/M; see merge", none, none, set_shard},
};

std::string plain_name(std::string_view name)
{
    std::string plain(name);
    std::replace(plain.begin(), plain.end(), '_', '-');
    return plain;
}

const own_option* own_option_of(std::string_view name)
{
    const auto found = std::find_if(std::begin(own_options), std::end(own_options),
                                    [&](const own_option& o) { return name == o.name; });
    return found == std::end(own_options) ? nullptr : found;
}

std::optional<setting_id> setting_named(std::string_view name)
{
    for (int id = 0; id < setting_count; ++id)
        if (name == setting_of(static_cast<setting_id>(id)).name && static_cast<setting_id>(id) != setting_id::seed)
            return static_cast<setting_id>(id);
    return std::nullopt;
}

bool is_flag(std::string_view name)
{
    const auto id = setting_named(name);
    return id ? setting_of(*id).kind == setting_kind::flag : name == "entry-levels";
}

std::vector<request_option> listed()
{
    std::vector<request_option> all;
    for (int i = 0; i < setting_count; ++i) {
        const setting& row = setting_of(static_cast<setting_id>(i));
        const bool number = row.kind != setting_kind::choice && row.kind != setting_kind::flag;
        all.push_back({row.name, help_text(row.id), number ? row.low : none, number ? row.high : none,
                       number ? row.fallback : none});
    }
    for (const own_option& o : own_options)
        if (*o.help != '\0')
            all.push_back({o.name, o.help, o.low, o.high, none});
    return all;
}

/// `--name=value`; a flag that is set stands alone.
void add_words(std::vector<std::string>& words, std::string_view name, const std::vector<std::string>& values)
{
    for (const std::string& value : values)
        words.push_back(is_flag(name) ? fmt::format("--{}", name) : fmt::format("--{}={}", name, value));
}

void add_own_words(std::vector<std::string>& words, const design_request& request, const own_option* first,
                   const own_option* last)
{
    for (const own_option* o = first; o != last; ++o)
        if (o->values != nullptr)
            add_words(words, o->name, o->values(request));
}

} // namespace

const std::vector<request_option>& request_options()
{
    static const std::vector<request_option> all = listed();
    return all;
}

const std::string& help_of(std::string_view name)
{
    const auto& all = request_options();
    return std::find_if(all.begin(), all.end(), [&](const request_option& o) { return o.name == name; })->help;
}

void set_option(design_request& request, std::string_view name, std::string_view text)
{
    const std::string plain = plain_name(name);
    if (const auto id = setting_named(plain))
        return set_by_name(request.run, *id, text);
    const own_option* option = own_option_of(plain);
    if (option == nullptr)
        throw usage_error(fmt::format("\"{}\" is no setting", name));
    const bool whole = option->high == option->high && !text.empty();
    option->set(request, *option, text, whole ? whole_number_of("--" + plain, text, option->low, option->high) : 0);
}

std::vector<std::string> problem_words(const design_request& request)
{
    std::vector<std::string> words;
    if (request.old.is_given())
        words = {"augment", request.old.name};
    for (const std::optional<std::int64_t>& size : {request.rows, request.factor_count})
        if (request.rows && size)
            words.push_back(std::to_string(*size));
    const own_option* after_start = own_option_of("factor");
    add_own_words(words, request, std::begin(own_options), after_start);
    for (int i = 0; i < setting_count; ++i) {
        const auto id = static_cast<setting_id>(i);
        if (id != setting_id::time && id != setting_id::seed)
            add_words(words, setting_of(id).name, one_value(text_of(request.run, id)));
    }
    add_own_words(words, request, after_start, std::end(own_options));
    return words;
}

design_request request_of_words(const std::vector<std::string>& words)
{
    design_request request;
    std::vector<std::string> plain;
    for (const std::string& word : words) {
        if (!word.starts_with("--")) {
            plain.push_back(word);
            continue;
        }
        const std::size_t equals = word.find('=');
        set_option(request, std::string_view(word).substr(2, equals - 2),
                   equals == std::string::npos ? "true" : word.substr(equals + 1));
    }
    if (plain.size() == 2 && plain.front() == "augment") {
        request.old.name = plain.back();
        return request;
    }
    if (plain.size() > 2)
        throw usage_error(fmt::format("{} is no command of a design", shell_text(words)));
    for (std::size_t i = 0; i < plain.size(); ++i)
        set_option(request, i == 0 ? "runs" : "factors", plain[i]);
    return request;
}

std::string shell_text(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + shell_quoted(word);
    return text;
}

} // namespace optdoe
