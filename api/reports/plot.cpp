#include "api/reports/plot.h"

#include "api/reports/drawing.h"
#include "api/text/errors.h"
#include "api/text/output_file.h"
#include "api/text/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace optdoe {

namespace {

std::string quoted(const std::string& text)
{
    std::string out = "'";
    for (const char c : text) {
        if (c == '\'')
            out += "''";
        else
            out += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return out + "'";
}

/// Feeds the script to gnuplot; returns its exit status, -1 when it could not be started.
int run_gnuplot(const std::string& script)
{
    int ends[2];
    if (pipe(ends) != 0)
        throw input_error(fmt::format("no pipe to gnuplot: {}", std::strerror(errno)));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    std::string name = "gnuplot";
    char* const arguments[] = {name.data(), nullptr};
    pid_t child = -1;
    const int error = posix_spawnp(&child, "gnuplot", &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[0]);
    std::FILE* feed = fdopen(ends[1], "w");
    if (error == 0)
        std::fwrite(script.data(), 1, script.size(), feed);
    std::fclose(feed);
    int status = -1;
    if (error == 0)
        while (waitpid(child, &status, 0) < 0 && errno == EINTR)
            continue;
    return error == 0 ? status : -1;
}

} // namespace

std::string plot_script(const design_file& design, const std::vector<search_trace>& traces,
                        const std::string& terminal, const std::string& output)
{
    const std::size_t k = design.values.columns;
    const int pixels = static_cast<int>(std::clamp<std::size_t>(k * 150, 720, 1800));
    const std::vector<history_point> course = best_course(traces);
    const double strip = course.empty() ? 0.0 : 0.25;
    const double height = pixels / (1.0 - strip);
    std::string script = "set encoding utf8\n$d << EOD\n";
    for (std::size_t i = 0; i < design.values.rows; ++i)
        for (std::size_t j = 0; j < k; ++j)
            script += number_text(design.values.at(i, j)) + (j + 1 < k ? " " : "\n");
    script += "EOD\n";
    if (!course.empty()) {
        script += "$h << EOD\n";
        for (const history_point& point : course)
            script += fmt::format("{} {}\n", number_text(point.seconds), number_text(point.objective));
        script += "EOD\n";
    }
    if (traces.size() > 1) {
        script += "$e << EOD\n";
        for (const search_trace& trace : traces)
            script += fmt::format("{} {}\n", number_text(trace.points.back().seconds),
                                  number_text(trace.points.back().objective));
        script += "EOD\n";
    }
    script +=
        terminal == "pdfcairo"
            ? fmt::format("set terminal pdfcairo noenhanced size {:.2f}in,{:.2f}in\n", pixels / 96.0, height / 96.0)
            : fmt::format("set terminal {} noenhanced size {},{:.0f}\n", terminal, pixels, height);
    script += fmt::format("set output {}\nset multiplot\nunset key\nset tics scale 0.4 font ',8'\n", quoted(output));
    const double side = 0.92 / static_cast<double>(k);
    for (std::size_t r = 0; r < k; ++r) {
        const bounds vertical = drawn_range(design.values, design.factors, r);
        for (std::size_t c = 0; c < k; ++c) {
            const bounds horizontal = drawn_range(design.values, design.factors, c);
            const auto margin = [](const bounds& b) { return (b.high - b.low) * 0.05; };
            const double x = 0.07 + static_cast<double>(c) * side;
            const double y = strip + (1.0 - strip) * (0.06 + static_cast<double>(k - 1 - r) * side);
            script += fmt::format("set lmargin at screen {:.4f}\nset rmargin at screen {:.4f}\nset bmargin at screen "
                                  "{:.4f}\nset tmargin at screen {:.4f}\n",
                                  x, x + side * 0.94, y, y + (1.0 - strip) * side * 0.94);
            script += fmt::format("set xrange [{}:{}]\n", number_text(horizontal.low - margin(horizontal)),
                                  number_text(horizontal.high + margin(horizontal)));
            script +=
                r + 1 == k ? "set xtics format '%g' autofreq rotate by -45\n" : "set xtics format '' autofreq\n";
            script += c == 0 ? "set ytics format '%g' autofreq\n" : "set ytics format '' autofreq\n";
            if (r == c) {
                const factor& f = design.factors[c];
                script += fmt::format(
                    "set yrange [0:1]\nset ytics format '' autofreq\nset label 1 {} at graph 0.5,0.55 center "
                    "noenhanced\n"
                    "plot $d using {}:(0):(0):(0.12) with vectors nohead linecolor rgb '#1d6996'\nunset label 1\n",
                    quoted(f.unit.empty() ? f.name : fmt::format("{} [{}]", f.name, f.unit)), c + 1);
            } else {
                script += fmt::format("set yrange [{}:{}]\nplot $d using {}:{} with points pointtype 7 pointsize "
                                      "0.35 linecolor rgb '#1d6996'\n",
                                      number_text(vertical.low - margin(vertical)),
                                      number_text(vertical.high + margin(vertical)), c + 1, r + 1);
            }
        }
    }
    if (!course.empty())
        script +=
            "set lmargin at screen 0.12\nset rmargin at screen 0.97\nset bmargin at screen 0.06\nset tmargin "
            "at screen 0.22\n"
            "set xrange [*:*]\nset yrange [*:*]\nset xtics format '%g' autofreq norotate\nset ytics format "
            "'%g' autofreq\n"
            "set xlabel 'seconds' offset 0,0.8\nset ylabel 'objective' offset 1\nplot $h using 1:2 with steps "
            "linewidth "
            "1.5 linecolor rgb '#1d6996'" +
            std::string(traces.size() > 1 ? ", $e using 1:2 with points pointtype 7 pointsize 0.3 linecolor rgb "
                                            "'#cc503e'\n"
                                          : "\n");
    return script + "unset multiplot\nunset output\n";
}

void plot(const design_file& design, const std::vector<search_trace>& traces, const std::string& output)
{
    const std::size_t dot = output.rfind('.');
    const std::string ending = dot == std::string::npos ? "" : output.substr(dot + 1);
    const std::string terminal = ending == "svg"   ? "svg"
                                 : ending == "png" ? "pngcairo"
                                 : ending == "pdf" ? "pdfcairo"
                                                   : "";
    if (terminal.empty())
        throw usage_error(fmt::format("--output {}: the name must end in .svg, .png or .pdf", output));
    const std::string temporary = temporary_beside(output);
    const int status = run_gnuplot(plot_script(design, traces, terminal, temporary));
    if (status != 0 || access(temporary.c_str(), R_OK) != 0) {
        unlink(temporary.c_str());
        const bool missing = status == -1 || (WIFEXITED(status) && WEXITSTATUS(status) == 127);
        throw input_error(missing ? "gnuplot is not installed; `optdoe plot` draws with it (package gnuplot-nox). "
                                    "`optdoe make --report` needs no gnuplot"
                                  : fmt::format("gnuplot could not draw {}", output));
    }
    commit_temporary(temporary, output);
}

} // namespace optdoe
