/// What rank 0 and the workers of optdoe-mpi tell each other, through MPI's C interface.
///
/// Before all, rank 0 broadcasts whether there is work (hand_out.h). Then:
///
///   worker          rank 0
///   hello     ->              machine and settings, once its problem stands
///             <-    task      a search, after the hello and after each result, as long as there is one
///   progress  ->              from time to time
///             <-    stop      cut the search; it may have ended already
///   result    ->              of a search, cut or not
///   failure   ->              a sentence; the worker takes no more tasks
///             <-    end       leave; always the last
///
/// All ranks run one program on machines of one kind: records travel as their bytes.
#pragma once

#include "api/campaign/search_task.h"

#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace cluster {

enum class tag : int { hello, task, progress, result, failure, stop, end };

using bytes = std::vector<std::uint8_t>;

struct message {
    int rank; ///< that sent it
    tag what;
    bytes content;
};

/// A search for a worker.
struct handed_task {
    optdoe::search_task task;
    double now = 0.0; ///< seconds since the campaign began
    /// The best so far; a result that is not better needs no levels. With these numbers every result is better.
    double best = std::numeric_limits<double>::quiet_NaN();
    std::uint32_t best_seed = std::numeric_limits<std::uint32_t>::max();
};

/// What a worker says of itself.
struct introduction {
    std::string host, processor;
    std::string settings; ///< hash of the words that make the problem
};

void send(int rank, tag what, const void* content = nullptr, std::size_t size = 0);

/// A message that has arrived, from any rank.
std::optional<message> arrived();

/// Pauses between looks for messages, which leave the processor to others: short at first, as an answer mostly comes
/// at once, then each twice as long as the one before, up to 5 ms.
class pauses {
public:
    void pause();

private:
    std::chrono::microseconds next_{50};
};

/// Waits for a message.
message awaited();

bytes encoded(const introduction& hello);
introduction introduction_of(const bytes& content);

/// A result as CBOR, numbers to the last bit.
bytes encoded(const optdoe::search_result& result, bool with_levels);
optdoe::search_result result_of(const bytes& content, std::size_t columns);

template <class T>
requires std::is_trivially_copyable_v<T>
void send_record(int rank, tag what, const T& record) { send(rank, what, &record, sizeof record); }

template <class T>
requires std::is_trivially_copyable_v<T> T record_of(const message& m)
{
    T record;
    std::memcpy(&record, m.content.data(), sizeof record);
    return record;
}

} // namespace cluster
