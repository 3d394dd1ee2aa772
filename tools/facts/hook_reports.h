#pragma once

#include <optional>
#include <string>

#include <vexobase/unique_fd.h>

namespace vexonetctl {

/// Begins to listen to the reports of hooks (vexo/hook_report.h).
/// @return a non-blocking descriptor, readable when a report waits; or none, with errno, which is
///         EPERM without CAP_NET_ADMIN
vexobase::UniqueFd OpenHookReports();

/// Takes one report, without waiting.
/// @return its text; "" when what came was no report of root's; nothing, with errno, when none
///         waits (EAGAIN) or reports were lost because nobody took them (ENOBUFS)
std::optional<std::string> TakeHookReport(const vexobase::UniqueFd& socket);

}  // namespace vexonetctl
