#include "cluster/hand_out.h"

#include "api/text/errors.h"
#include "cluster/messages.h"

#include <fmt/format.h>
#include <mpi.h>

#include <algorithm>
#include <cstdio>

namespace cluster {

namespace {

using clock = optdoe::search_monitor::clock;

constexpr std::chrono::milliseconds watch_interval{50};
constexpr std::chrono::seconds patience{10}; ///< for searches to end after a worker has failed

struct worker {
    /// starting: no hello yet; searching: has a task; resting: has none and gets none.
    enum class state { starting, searching, resting } is = state::starting;
    introduction self;
    std::optional<optdoe::running_search> search; ///< as last told
};

/// One campaign on its way.
struct coordination {
    optdoe::campaign& c;
    const optdoe::crew_orders& orders;
    const std::string& settings;
    bool quiet;
    std::vector<worker> workers; ///< by rank; 0 has none and rests
    clock::time_point began = clock::now();
    bool stopping = false;
    bool told_of_processors = false;
    std::string failure{}; ///< of the first worker that failed; empty: none
    clock::time_point failed{};
    pauses between{};

    double now() const { return std::chrono::duration<double>(clock::now() - began).count(); }

    bool at_rest() const
    {
        return std::all_of(workers.begin(), workers.end(),
                           [](const worker& w) { return w.is == worker::state::resting; });
    }

    void stop()
    {
        stopping = true;
        for (std::size_t rank = 1; rank < workers.size(); ++rank)
            if (workers[rank].is == worker::state::searching)
                send(static_cast<int>(rank), tag::stop);
    }

    void fail(int rank, const std::string& what)
    {
        workers[static_cast<std::size_t>(rank)].is = worker::state::resting;
        if (failure.empty()) {
            failure = fmt::format("rank {} on {}", rank, what);
            failed = clock::now();
            stop();
        }
    }

    void give_work(int rank)
    {
        worker& w = workers[static_cast<std::size_t>(rank)];
        const double time = now();
        const std::optional<optdoe::search_task> task = stopping ? std::nullopt : c.next(time);
        w.search.reset();
        w.is = task ? worker::state::searching : worker::state::resting;
        if (!task)
            return;
        handed_task handed{*task, time};
        if (c.best()) {
            handed.best = c.best()->objective;
            handed.best_seed = c.best()->task.seed;
        }
        send_record(rank, tag::task, handed);
    }

    void welcome(int rank, introduction self)
    {
        if (self.settings != settings)
            return fail(rank, self.host + ": was started with other options than rank 0");
        worker& w = workers[static_cast<std::size_t>(rank)];
        w.self = std::move(self);
        const auto other = std::find_if(workers.begin(), workers.end(), [&](const worker& v) {
            return !v.self.processor.empty() && v.self.processor != w.self.processor;
        });
        if (other != workers.end() && !told_of_processors && !quiet) {
            told_of_processors = true;
            std::fprintf(stderr,
                         "optdoe-mpi: warning: %s has a %s, %s a %s: the same search may differ in last digits\n",
                         w.self.host.c_str(), w.self.processor.c_str(), other->self.host.c_str(),
                         other->self.processor.c_str());
        }
        give_work(rank);
    }

    void take(const message& m)
    {
        switch (m.what) {
        case tag::hello: return welcome(m.rank, introduction_of(m.content));
        case tag::progress:
            workers[static_cast<std::size_t>(m.rank)].search = record_of<optdoe::running_search>(m);
            return;
        case tag::failure: return fail(m.rank, std::string(m.content.begin(), m.content.end()));
        default: break;
        }
        optdoe::search_result result = result_of(m.content, static_cast<std::size_t>(c.problem().factors));
        result.processor = workers[static_cast<std::size_t>(m.rank)].self.processor;
        if (take_result(c, orders, std::move(result)) && !stopping)
            stop();
        give_work(m.rank);
    }

    std::vector<optdoe::running_search> running() const
    {
        std::vector<optdoe::running_search> all;
        for (const worker& w : workers)
            if (w.search)
                all.push_back(*w.search);
        return all;
    }

    /// Takes what has arrived, or pauses; goes on for no longer than keeps the watch in time.
    void listen()
    {
        const clock::time_point until = clock::now() + watch_interval;
        std::optional<message> m = arrived();
        if (m)
            between = {};
        else
            between.pause();
        while (m) {
            take(*m);
            m = clock::now() < until ? arrived() : std::nullopt;
        }
    }

    /// A worker that does not come to its next round must not keep a failed campaign for ever.
    void end_all_if_stuck() const
    {
        if (failure.empty() || clock::now() - failed < patience)
            return;
        std::fprintf(stderr, "optdoe-mpi: %s\n", failure.c_str());
        MPI_Abort(MPI_COMM_WORLD, optdoe::exit_failed);
    }
};

} // namespace

int broadcast(int code)
{
    MPI_Bcast(&code, 1, MPI_INT, 0, MPI_COMM_WORLD);
    return code;
}

double hand_out::run(optdoe::campaign& c, const optdoe::crew_orders& orders, const std::string& settings, bool quiet)
{
    broadcast(there_is_work);
    phase_ = phase::at_work;
    coordination all{c, orders, settings, quiet, std::vector<worker>(static_cast<std::size_t>(workers_) + 1)};
    all.workers.front().is = worker::state::resting;
    optdoe::campaign_watch watch;
    clock::time_point watched = all.began;
    while (!all.at_rest()) {
        all.listen();
        all.end_all_if_stuck();
        if (clock::now() - watched < watch_interval)
            continue;
        watched = clock::now();
        if (orders.keep_watch(watch.status(c, all.now(), all.running())) && !all.stopping)
            all.stop();
    }
    phase_ = phase::at_rest;
    if (!all.failure.empty())
        throw optdoe::input_error(all.failure);
    return all.now();
}

void hand_out::leave(int code)
{
    switch (phase_) {
    case phase::before: broadcast(code); break;
    case phase::at_work: MPI_Abort(MPI_COMM_WORLD, code); break;
    case phase::at_rest:
        for (int rank = 1; rank <= workers_; ++rank)
            send(rank, tag::end);
    }
}

} // namespace cluster
