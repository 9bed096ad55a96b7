#include "api/campaign/crew.h"

#include "api/campaign/cores.h"
#include "api/runs/memory.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <exception>
#include <system_error>
#include <thread>

namespace optdoe {

namespace {

double since(search_monitor::clock::time_point began)
{
    return std::chrono::duration<double>(search_monitor::clock::now() - began).count();
}

} // namespace

search_result search_monitor::run(const search_problem& problem, const search_task& task,
                                  const std::function<bool()>& stop)
{
    const double started = since(began_);
    std::vector<history_point> course;
    std::int64_t last_round = -1;
    search_result result = run_search(problem, task, [&](const search_progress& p) {
        const double now = since(began_);
        const bool first = course.empty();
        if (!std::isnan(p.best) &&
            (first || p.best < course.back().objective || (every_round_ && p.rounds != last_round))) {
            course.push_back({p.rounds, now, p.best});
            last_round = p.rounds;
        }
        if (!course.empty()) {
            const std::scoped_lock lock(mutex_);
            running_ = {task.seed, p};
        }
        return stop() || (limit_ && now >= *limit_);
    });
    {
        const std::scoped_lock lock(mutex_);
        running_.reset();
    }
    result.began = started;
    result.seconds = since(began_) - started;
    result.history = std::move(course);
    return result;
}

std::optional<running_search> search_monitor::running() const
{
    const std::scoped_lock lock(mutex_);
    return running_;
}

void campaign_watch::learn(double objective, std::uint32_t seed, double now)
{
    if (std::isnan(objective) || objective >= known_.best)
        return;
    known_.best = objective;
    known_.best_seed = seed;
    known_.best_seconds = now;
}

campaign_status campaign_watch::status(const campaign& c, double now, const std::vector<running_search>& running)
{
    if (c.best())
        learn(c.best()->objective, c.best()->task.seed, now);
    known_.seconds = now;
    known_.done = c.done();
    known_.running = static_cast<int>(running.size());
    known_.rounds = 0;
    for (const auto& [seed, reached] : running) {
        known_.rounds += reached.rounds;
        known_.initial = reached.initial;
        learn(reached.best, seed, now);
    }
    return known_;
}

bool take_result(campaign& c, const crew_orders& orders, search_result result)
{
    orders.on_result(result, is_better(result, c.best()));
    c.take(std::move(result));
    return c.has_its_target();
}

namespace {

/// What the threads of a crew share.
struct crew {
    crew(campaign& what, const crew_orders& how) : c(what), orders(how) {}

    campaign& c;
    const crew_orders& orders;
    search_monitor::clock::time_point began = search_monitor::clock::now();
    std::mutex mutex; ///< of the campaign and of what follows
    std::condition_variable ended;
    int at_work = 0;
    std::exception_ptr failure;
    std::atomic<bool> stop{false};
    std::deque<search_monitor> monitors; ///< which other threads point to

    void work(search_monitor& monitor)
    {
        try {
            while (const std::optional<search_task> task = ask())
                deliver(monitor.run(c.problem(), *task, [this] { return stop.load(std::memory_order_relaxed); }));
        } catch (...) {
            const std::scoped_lock lock(mutex);
            failure = failure ? failure : std::current_exception();
            stop = true;
        }
        const std::scoped_lock lock(mutex);
        --at_work;
        ended.notify_one();
    }

    std::optional<search_task> ask()
    {
        const std::scoped_lock lock(mutex);
        // A stop that comes before the first search leaves its start as the result.
        const bool nothing_more = failure || (stop && c.done() > 0);
        return nothing_more ? std::nullopt : c.next(since(began));
    }

    void deliver(search_result result)
    {
        const std::scoped_lock lock(mutex);
        if (take_result(c, orders, std::move(result)))
            stop = true;
    }

    std::vector<running_search> running() const
    {
        std::vector<running_search> all;
        for (const search_monitor& monitor : monitors)
            if (const std::optional<running_search> one = monitor.running())
                all.push_back(*one);
        return all;
    }
};

constexpr std::chrono::milliseconds watch_interval{50};

/// One search after the other on the caller's thread: a small search takes less time than a thread's first steps.
double run_here(campaign& c, const crew_orders& orders)
{
    const search_monitor::clock::time_point began = search_monitor::clock::now();
    search_monitor monitor(began, c.request().seconds, c.request().is_single());
    campaign_watch watch;
    const auto told_to_stop = [&] {
        const std::optional<running_search> one = monitor.running();
        return orders.keep_watch(
            watch.status(c, since(began), one ? std::vector{*one} : std::vector<running_search>{}));
    };
    bool stop = told_to_stop();
    auto last_look = began;
    const auto look = [&] {
        const auto now = search_monitor::clock::now();
        if (!stop && now - last_look >= watch_interval) {
            last_look = now;
            stop = told_to_stop();
        }
        return stop;
    };
    while (!stop || c.done() == 0) {
        const std::optional<search_task> task = c.next(since(began));
        if (!task)
            break;
        stop = take_result(c, orders, monitor.run(c.problem(), *task, look)) || stop;
    }
    told_to_stop();
    return since(began);
}

} // namespace

double run_on_threads(campaign& c, int jobs, const crew_orders& orders)
{
    if (jobs == 1)
        return run_here(c, orders);
    crew all(c, orders);
    for (int j = 0; j < jobs; ++j)
        all.monitors.emplace_back(all.began, c.request().seconds, c.request().is_single());
    std::vector<std::thread> threads;
    campaign_watch watch;
    {
        std::unique_lock lock(all.mutex);
        for (search_monitor& monitor : all.monitors) {
            try {
                threads.emplace_back([&all, &monitor] { all.work(monitor); });
                ++all.at_work;
            } catch (const std::system_error&) { // no more threads to be had: fewer do the same
                if (threads.empty())
                    throw;
                break;
            }
        }
        for (;;) {
            const campaign_status status = watch.status(c, since(all.began), all.running());
            lock.unlock();
            const bool stop = orders.keep_watch(status);
            lock.lock();
            if (stop)
                all.stop = true;
            if (all.at_work == 0)
                break;
            all.ended.wait_for(lock, watch_interval);
        }
    }
    for (std::thread& thread : threads)
        thread.join();
    if (all.failure)
        std::rethrow_exception(all.failure);
    return since(all.began);
}

int jobs_for_cores(const campaign& c, int wanted)
{
    const campaign_request& request = c.request();
    const std::int64_t searches = (request.starts - request.shard) / request.shards + 1;
    if (request.starts > 0 && searches <= 1)
        return 1;
    const std::int64_t jobs = wanted > 0 ? wanted : usable_cores();
    return static_cast<int>(request.starts > 0 ? std::min(searches, jobs) : jobs);
}

int jobs_for(const campaign& c, int wanted)
{
    const campaign_request& request = c.request();
    const int jobs = jobs_for_cores(c, wanted);
    if (jobs == 1)
        return 1;
    const double each = bytes_of_search(c.problem(), request.effort > 0 || request.plans_efforts);
    const double fit = each > 0.0 ? machine_bytes() / each : 1e9;
    return static_cast<int>(std::clamp<double>(fit, 1.0, static_cast<double>(jobs)));
}

} // namespace optdoe
