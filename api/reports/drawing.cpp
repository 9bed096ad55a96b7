#include "api/reports/drawing.h"

#include "api/text/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace optdoe {

namespace {

/// Shortens a label that would not fit, by characters of UTF-8.
std::string fitted(const std::string& text, std::size_t most)
{
    std::string out;
    std::size_t count = 0;
    for (const char c : text) {
        count += (c & 0xC0) != 0x80;
        if (count > most)
            return out + "\u2026";
        out += c;
    }
    return out;
}

} // namespace

bounds drawn_range(const table& values, const std::vector<factor>& factors, std::size_t j)
{
    const std::vector<double> column = values.column(j);
    auto [low, high] = std::minmax_element(column.begin(), column.end());
    bounds range{*low, *high};
    if (factors[j].range) {
        const bounds& own = *factors[j].range;
        // Only values in physical units lie in the range; levels have their own.
        if (range.low >= own.low && range.high <= own.high)
            range = own;
    }
    return range.low < range.high ? range : bounds{range.low - 0.5, range.high + 0.5};
}

std::string pair_matrix_svg(const table& values, const std::vector<factor>& factors)
{
    const std::size_t k = values.columns;
    const double cell = std::clamp(960.0 / static_cast<double>(k), 76.0, 200.0);
    const double gap = 6.0;
    const double inner = cell - gap;
    const double pad = inner * 0.06;
    const double left = 44.0;
    const double bottom = 24.0;
    const double size = cell * static_cast<double>(k);
    const double radius = std::clamp(inner / 8.0 / std::max(1.0, static_cast<double>(values.rows) / 50.0), 1.1, 2.6);
    const double font = std::clamp(cell / 8.0, 10.0, 16.0);
    const auto along = [&](double value, const bounds& range) {
        return pad + (value - range.low) / (range.high - range.low) * (inner - 2.0 * pad);
    };

    std::string svg =
        fmt::format("<svg class=\"pairs\" xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 -1 {0:.0f} {1:.0f}\" "
                    "width=\"{0:.0f}\" "
                    "role=\"img\" aria-label=\"Pair matrix of {2} factors\" font-family=\"sans-serif\">\n",
                    left + size, size + bottom, k);
    for (std::size_t r = 0; r < k; ++r) {
        const bounds vertical = drawn_range(values, factors, r);
        for (std::size_t c = 0; c < k; ++c) {
            const bounds horizontal = drawn_range(values, factors, c);
            svg += fmt::format("<g transform=\"translate({:.1f},{:.1f})\"><rect width=\"{:.1f}\" height=\"{:.1f}\" "
                               "fill=\"{}\" stroke=\"#b8c0c8\"/>",
                               left + static_cast<double>(c) * cell, static_cast<double>(r) * cell, inner, inner,
                               r == c ? "#eef2f5" : "#ffffff");
            if (r == c) {
                svg +=
                    fmt::format("<text x=\"{0:.1f}\" y=\"{0:.1f}\" font-size=\"{1:.1f}\" text-anchor=\"middle\" "
                                "fill=\"#1c2a36\" font-weight=\"bold\">{2}</text>",
                                inner / 2.0, font,
                                html_escaped(fitted(factors[c].name, static_cast<std::size_t>(inner / font * 1.7))));
                if (!factors[c].unit.empty())
                    svg += fmt::format(
                        "<text x=\"{:.1f}\" y=\"{:.1f}\" font-size=\"{:.1f}\" text-anchor=\"middle\" "
                        "fill=\"#54616d\">{}</text>",
                        inner / 2.0, inner / 2.0 + font * 1.15, font * 0.8,
                        html_escaped(fitted(factors[c].unit, static_cast<std::size_t>(inner / font * 2.0))));
                svg += "<path stroke=\"#1d6996\" stroke-width=\"0.8\" d=\"";
                for (std::size_t i = 0; i < values.rows; ++i)
                    svg += fmt::format("M{:.1f} {:.1f}v{:.1f}", along(values.at(i, c), horizontal), inner,
                                       -inner * 0.12);
                svg += "\"/>";
            } else {
                svg += "<g fill=\"#1d6996\" fill-opacity=\"0.85\">";
                for (std::size_t i = 0; i < values.rows; ++i)
                    svg += fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"{:.1f}\"/>",
                                       along(values.at(i, c), horizontal), inner - along(values.at(i, r), vertical),
                                       radius);
                svg += "</g>";
            }
            svg += "</g>\n";
        }
        // The ends of each range, once per row at the left and once per column below.
        const double top = static_cast<double>(r) * cell;
        const double start = left + top;
        svg += fmt::format(
            "<g font-size=\"9\" fill=\"#54616d\"><text x=\"{0:.1f}\" y=\"{1:.1f}\" text-anchor=\"end\">{2}</text>"
            "<text x=\"{0:.1f}\" y=\"{3:.1f}\" text-anchor=\"end\">{4}</text>"
            "<text x=\"{5:.1f}\" y=\"{6:.1f}\">{4}</text><text x=\"{7:.1f}\" y=\"{6:.1f}\" "
            "text-anchor=\"end\">{2}</text></g>\n",
            left - 4.0, top + 10.0, fmt::format("{:.4g}", vertical.high), top + inner - 2.0,
            fmt::format("{:.4g}", vertical.low), start, size + 8.0, start + inner);
    }
    return svg + "</svg>\n";
}

namespace {

/// Where the points of courses go.
struct course_frame {
    static constexpr double width = 860.0;
    static constexpr double height = 260.0;
    static constexpr double left = 84.0;
    static constexpr double right = 30.0;
    static constexpr double bottom = 34.0;
    double last;
    double low;
    double span;

    double x(double seconds) const { return left + seconds / last * (width - left - right); }
    double y(double value) const { return 12.0 + (1.0 - (value - low) / span) * (height - bottom - 24.0); }
};

/// A course as the path that holds each objective until it falls.
std::string course_path(const std::vector<history_point>& course, const course_frame& frame, double from)
{
    std::string path = fmt::format("M{:.1f} {:.1f}", frame.x(from), frame.y(course.front().objective));
    double drawn = course.front().objective;
    for (const history_point& point : course) {
        if (point.objective == drawn && &point != &course.back())
            continue;
        path += fmt::format("H{:.1f}V{:.1f}", frame.x(point.seconds), frame.y(point.objective));
        drawn = point.objective;
    }
    return path;
}

/// Each search beside the best: its course where it was kept, and where it ended. At most 2000 of them are drawn.
std::string single_searches(const std::vector<search_trace>& traces, const course_frame& frame)
{
    std::string courses;
    std::string ends;
    const std::size_t step = traces.size() / 2000 + 1;
    for (std::size_t t = 0; t < traces.size(); t += step) {
        const std::vector<history_point>& points = traces[t].points;
        if (points.empty() || std::isnan(points.back().objective))
            continue;
        if (points.size() > 1)
            courses += course_path(points, frame, points.front().seconds);
        ends += fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"2.2\"/>", frame.x(points.back().seconds),
                            frame.y(points.back().objective));
    }
    return fmt::format("<path fill=\"none\" stroke=\"#a9b6c2\" stroke-width=\"0.8\" d=\"{}\"/>\n"
                       "<g fill=\"#cc503e\" fill-opacity=\"0.6\">{}</g>\n",
                       courses, ends);
}

/// Lowest and highest objective of all points.
std::pair<double, double> objectives_between(const std::vector<search_trace>& traces)
{
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const search_trace& trace : traces)
        for (const history_point& point : trace.points) {
            low = std::min(low, std::isnan(point.objective) ? low : point.objective);
            high = std::max(high, std::isnan(point.objective) ? high : point.objective);
        }
    return {low, high};
}

} // namespace

std::string history_svg(const std::vector<search_trace>& traces)
{
    const std::vector<history_point> course = best_course(traces);
    if (course.empty() || (traces.size() == 1 && traces.front().points.size() < 2))
        return "";
    const auto [low, high] = objectives_between(traces);
    const course_frame frame{std::max(course.back().seconds, 1e-3), low, high > low ? high - low : 1.0};

    std::string svg = fmt::format(
        "<svg class=\"history\" xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0:.0f} {1:.0f}\" "
        "width=\"{0:.0f}\" "
        "role=\"img\" aria-label=\"Objective against time\" font-family=\"sans-serif\" font-size=\"11\">\n",
        frame.width, frame.height);
    for (int t = 0; t <= 4; ++t) {
        const double seconds = frame.last * t / 4.0;
        const double value = low + frame.span * t / 4.0;
        svg += fmt::format(
            "<path d=\"M{0:.1f} 12V{1:.1f}M{2:.1f} {3:.1f}H{4:.1f}\" stroke=\"#dde3e8\"/>"
            "<text x=\"{0:.1f}\" y=\"{5:.1f}\" text-anchor=\"middle\" fill=\"#54616d\">{6:.3g} s</text>"
            "<text x=\"{7:.1f}\" y=\"{8:.1f}\" text-anchor=\"end\" fill=\"#54616d\">{9}</text>\n",
            frame.x(seconds), frame.height - frame.bottom, frame.left, frame.y(value), frame.width - frame.right,
            frame.height - frame.bottom + 16.0, seconds, frame.left - 6.0, frame.y(value) + 4.0, short_text(value));
    }
    if (traces.size() > 1)
        svg += single_searches(traces, frame);
    return svg + fmt::format("<path fill=\"none\" stroke=\"#1d6996\" stroke-width=\"1.6\" d=\"{}\"/>\n</svg>\n",
                             course_path(course, frame, 0.0));
}

} // namespace optdoe
