#include "cluster/worker.h"

#include "api/campaign/cores.h"
#include "api/text/errors.h"
#include "cli/commands.h"
#include "cluster/hand_out.h"
#include "cluster/messages.h"
#include "cluster/problem.h"

#include <mpi.h>

#include <array>
#include <new>

namespace cluster {

namespace {

using clock = optdoe::search_monitor::clock;
using std::chrono::milliseconds;

constexpr milliseconds probe_interval{2};      ///< between two looks for a stop
constexpr milliseconds progress_interval{250}; ///< between two messages of progress

/// Makes one search for rank 0 and sends its result.
void make_search(const optdoe::search_problem& problem, const optdoe::campaign_request& request,
                 const handed_task& handed)
{
    const auto began =
        clock::now() - std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(handed.now));
    optdoe::search_monitor monitor(began, request.seconds, request.is_single());
    clock::time_point last_probe{}, last_progress{};
    bool stopped = false;
    const auto stop = [&] {
        const clock::time_point now = clock::now();
        if (stopped || now - last_probe < probe_interval)
            return stopped;
        last_probe = now;
        stopped = arrived().has_value(); // nothing but a stop comes while a worker searches
        const std::optional<optdoe::running_search> search = monitor.running();
        if (!stopped && search && now - last_progress >= progress_interval) {
            last_progress = now;
            send_record(0, tag::progress, *search);
        }
        return stopped;
    };
    const optdoe::search_result result = monitor.run(problem, handed.task, stop);
    const bytes content =
        encoded(result, optdoe::is_better(result.objective, result.task.seed, handed.best, handed.best_seed));
    send(0, tag::result, content.data(), content.size());
}

std::string host_name()
{
    std::array<char, MPI_MAX_PROCESSOR_NAME> name{};
    int length = 0;
    MPI_Get_processor_name(name.data(), &length);
    return {name.data(), static_cast<std::size_t>(length)};
}

/// The design source of a worker: has none, and searches for rank 0 until it says end.
std::optional<optdoe::finished_campaign> search_for_rank_0(const cli::options& o,
                                                           const optdoe::search_problem& problem, std::uint32_t seed)
{
    const optdoe::campaign_request request = optdoe::requested_campaign(o.request, problem, seed);
    const bytes hello =
        encoded(introduction{host_name(), optdoe::processor_text(), optdoe::identity_of(o.request, request).hash()});
    send(0, tag::hello, hello.data(), hello.size());
    for (;;) {
        const message m = awaited();
        if (m.what == tag::end)
            return std::nullopt;
        if (m.what == tag::task)
            make_search(problem, request, record_of<handed_task>(m));
    }
}

void fail(const std::string& what)
{
    const std::string text = host_name() + ": " + what;
    send(0, tag::failure, text.data(), text.size());
    while (awaited().what != tag::end) {
    }
}

} // namespace

int work(int count, const char* const* arguments)
{
    if (const int code = broadcast(0); code != there_is_work)
        return code;
    try {
        cli::parsed parsed = cli::parse_command_line(count, arguments, "optdoe-mpi");
        if (parsed.exit_code)
            throw optdoe::input_error("the command line is refused");
        parsed.what.quiet = true;
        run_command(parsed.what, search_for_rank_0);
    } catch (const std::bad_alloc&) {
        fail("memory exhausted");
    } catch (const std::exception& error) {
        fail(error.what());
    }
    return optdoe::exit_done;
}

} // namespace cluster
