/// A worker of optdoe-mpi: makes the searches that rank 0 hands out. It writes nothing, neither files nor messages.
#pragma once

namespace cluster {

/// From the broadcast of rank 0 to its `end`. What goes wrong here is sent to rank 0.
///   returns the exit code
int work(int count, const char* const* arguments);

} // namespace cluster
