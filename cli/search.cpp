#include "cli/commands.h"

#include "api/requests/prepared_design.h"
#include "api/text/output_file.h"
#include "cli/result.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdio>

namespace cli {

namespace {

void print_remark(std::string text)
{
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end + 1))
        text.insert(end + 1, "optdoe: ");
    std::fprintf(stderr, "optdoe: %s\n", text.c_str());
}

} // namespace

int run_search(const options& o, const design_source& source)
{
    const std::unique_ptr<prepared_design> prepared = prepare(o.request);
    if (o.print_config) {
        nlohmann::ordered_json config = prepared->config();
        config["format"] = resolved_format(o, file_format::csv) == file_format::json ? "json" : "csv";
        write_output("-", config.dump(2) + "\n");
        return exit_done;
    }
    if (!o.quiet)
        for (const std::string& remark : prepared->remarks())
            print_remark(remark);
    const std::optional<finished_campaign> finished = source(o, prepared->problem(), prepared->seed());
    if (!finished)
        return exit_done;
    design_file design = prepared->design_of(finished->best);
    design.name = o.output;
    design.format = resolved_format(o, design.format);
    return deliver(o, design, *finished);
}

} // namespace cli
