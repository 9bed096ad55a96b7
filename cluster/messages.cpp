#include "cluster/messages.h"

#include "api/campaign/results_file.h"
#include "api/text/errors.h"

#include <mpi.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <thread>

namespace cluster {

using nlohmann::ordered_json;

void send(int rank, tag what, const void* content, std::size_t size)
{
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw optdoe::input_error("the design is too large for a message");
    MPI_Send(content, static_cast<int>(size), MPI_BYTE, rank, static_cast<int>(what), MPI_COMM_WORLD);
}

std::optional<message> arrived()
{
    int there = 0;
    MPI_Status status;
    MPI_Iprobe(MPI_ANY_SOURCE, MPI_ANY_TAG, MPI_COMM_WORLD, &there, &status);
    if (there == 0)
        return std::nullopt;
    int size = 0;
    MPI_Get_count(&status, MPI_BYTE, &size);
    message m{status.MPI_SOURCE, static_cast<tag>(status.MPI_TAG), bytes(static_cast<std::size_t>(size))};
    MPI_Recv(m.content.data(), size, MPI_BYTE, m.rank, status.MPI_TAG, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
    return m;
}

void pauses::pause()
{
    std::this_thread::sleep_for(next_);
    next_ = std::min(next_ * 2, std::chrono::microseconds(5000));
}

message awaited()
{
    for (pauses between;; between.pause())
        if (std::optional<message> m = arrived())
            return *std::move(m);
}

bytes encoded(const introduction& hello)
{
    return ordered_json::to_cbor({hello.host, hello.processor, hello.settings});
}

introduction introduction_of(const bytes& content)
{
    const ordered_json list = ordered_json::from_cbor(content);
    return {list.at(0).get<std::string>(), list.at(1).get<std::string>(), list.at(2).get<std::string>()};
}

bytes encoded(const optdoe::search_result& result, bool with_levels)
{
    ordered_json line = optdoe::result_json(result, with_levels);
    line["began"] = result.began;
    ordered_json& course = line["course"] = ordered_json::array();
    for (const optdoe::history_point& point : result.history)
        course.push_back({point.round, point.seconds, point.objective});
    return ordered_json::to_cbor(line);
}

optdoe::search_result result_of(const bytes& content, std::size_t columns)
{
    const ordered_json line = ordered_json::from_cbor(content);
    optdoe::search_result result = optdoe::result_of_json(line);
    optdoe::arrange_levels(result, columns, "a worker's result");
    result.began = line.at("began").get<double>();
    for (const ordered_json& point : line.at("course"))
        result.history.push_back(
            {point.at(0).get<std::int64_t>(), point.at(1).get<double>(), point.at(2).get<double>()});
    return result;
}

} // namespace cluster
