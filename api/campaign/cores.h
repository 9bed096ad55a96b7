/// How many processors this process may use.
#pragma once

#include <string>

namespace optdoe {

/// The least of: processors of the affinity mask, and the quota of the control group (cgroup v2 `cpu.max`, v1
/// `cpu.cfs_quota_us`), rounded up. At least 1.
int usable_cores();

/// The quota that a text of `cpu.max` ("200000 100000", "max 100000") grants, rounded up to whole processors; 0:
/// none.
int quota_of(const std::string& cpu_max);

/// The processor as its maker calls it, with whether the C library finds fused multiply-add: its pow, exp and log
/// choose by that, so that the last bits of a result may depend on it.
std::string processor_text();

} // namespace optdoe
