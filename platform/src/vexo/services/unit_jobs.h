#pragma once

#include <string>

namespace vexoplatform {

/// Jobs of units for the system manager that nobody waits for. One thread of the library hands
/// them over in the order in which they were queued; it begins with the first job, with every
/// signal blocked, and is never joined. A bus that hangs, which may cost minutes for each job,
/// keeps no caller waiting. What is still queued when the process ends is lost.

/// @param method  of the manager: "StartUnit", "StopUnit", ...; a literal, as it is not copied
/// @return whether it is queued. False, with a log line, when no manager runs, when too many wait
///         or when there can be no thread. What fails later is logged only.
bool QueueUnitJob(const char* method, const std::string& unit);

/// @return the method of the unit's newest job that the manager has not taken yet, or null
const char* PendingUnitJob(const std::string& unit);

}  // namespace vexoplatform
