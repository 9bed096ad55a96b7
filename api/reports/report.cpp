#include "api/reports/report.h"

#include "api/reports/drawing.h"
#include "api/text/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace optdoe {

namespace {

constexpr const char* style = R"css(
body { font: 15px/1.5 system-ui, sans-serif; color: #1c2a36; background: #fff; margin: 2rem auto; max-width: 1040px; padding: 0 1rem; }
h1 { font-size: 1.5rem; margin-bottom: 0; } h2 { font-size: 1.15rem; margin-top: 2rem; border-bottom: 1px solid #d5dce2; }
p.lead { margin-top: .2rem; color: #54616d; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; } th, td { padding: .15rem .7rem; border-bottom: 1px solid #e4e9ed; }
th { text-align: left; font-weight: 600; } td.n { text-align: right; } thead th { border-bottom: 2px solid #b8c0c8; }
svg { max-width: 100%; height: auto; } code { background: #eef2f5; padding: .1rem .3rem; overflow-wrap: anywhere; }
.scroll { overflow-x: auto; } @media print { h2 { break-after: avoid; } tr { break-inside: avoid; } }
)css";

std::string shown(double value) { return std::isnan(value) ? "\u2013" : short_text(value); }

std::string quality_table(const evaluation& quality, std::size_t random_designs)
{
    std::string html = fmt::format("<table><thead><tr><th>Measure</th><th>This design</th><th>Mean of {} "
                                   "random</th><th></th></tr></thead><tbody>\n",
                                   random_designs);
    for (const measure& m : quality.measures)
        html += fmt::format("<tr><th>{}</th><td class=\"n\">{}</td><td class=\"n\">{}</td><td>{}</td></tr>\n",
                            html_escaped(m.label), shown(m.value), shown(m.random_mean), html_escaped(m.where));
    return html + "</tbody></table>\n";
}

std::string settings_table(const nlohmann::ordered_json& provenance)
{
    std::string html = "<table><tbody>\n";
    const auto row = [&html](const std::string& key, const nlohmann::ordered_json& value) {
        const std::string text = value.is_string() ? value.get<std::string>()
                                 : value.is_null() ? "from the starting design"
                                                   : value.dump();
        html += fmt::format("<tr><th>{}</th><td>{}</td></tr>\n", html_escaped(key), html_escaped(text));
    };
    for (const auto& [key, value] : provenance.items())
        if (key != "settings" && key != "factors" && key != "command")
            row(key, value);
    for (const auto& [key, value] : provenance.at("settings").items())
        row("--" + key, value);
    return html + "</tbody></table>\n";
}

std::string design_table(const design_file& design)
{
    std::string html = "<div class=\"scroll\"><table><thead><tr><th>Run</th>";
    for (const factor& f : design.factors)
        html +=
            fmt::format("<th>{}{}</th>", html_escaped(f.name),
                        f.unit.empty() || design.code != coding::physical ? "" : " [" + html_escaped(f.unit) + "]");
    html += "</tr></thead><tbody>\n";
    for (std::size_t i = 0; i < design.values.rows; ++i) {
        html += fmt::format("<tr><th>{}</th>", i + 1);
        for (std::size_t j = 0; j < design.values.columns; ++j)
            html += fmt::format("<td class=\"n\">{}</td>", short_text(design.values.at(i, j)));
        html += "</tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

} // namespace

std::string report_page(const design_file& design, const evaluation& quality, std::size_t random_designs,
                        const std::vector<search_trace>& traces)
{
    const nlohmann::ordered_json& provenance = *design.provenance;
    const std::string title =
        fmt::format("Latin hypercube design, {} runs of {} factors", design.values.rows, design.values.columns);
    const std::string drawn = history_svg(traces);
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, "
        "initial-scale=1\">\n<title>{0}</title>\n<style>{1}</style></head>\n<body>\n"
        "<h1>{0}</h1>\n<p class=\"lead\">{2} {3}, seed {4}</p>\n"
        "<h2>Pairs of factors</h2>\n{5}<h2>Quality</h2>\n{6}<h2>Objective against time</h2>\n{7}"
        "<h2>Settings</h2>\n<p>Repeat with <code>{8}</code></p>\n{9}<h2>Design</h2>\n{10}</body></html>\n",
        html_escaped(title), style, html_escaped(provenance.value("program", "")),
        html_escaped(provenance.value("version", "")), provenance.value("seed", 0U),
        pair_matrix_svg(design.values, design.factors), quality_table(quality, random_designs),
        drawn.empty() ? "<p>No course of a search was kept.</p>\n" : drawn,
        html_escaped(provenance.value("command", "")), settings_table(provenance), design_table(design));
}

} // namespace optdoe
