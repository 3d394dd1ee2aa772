#pragma once

namespace vexonetwork::utils {

/// The file /tmp/.net_link_is_processing holds the pid of the process that is delivering a link
/// event to the platform, so that other programs can wait for its end. Failures are only logged.
void SetNetLinkIsProcessing();
void UnsetNetLinkIsProcessing();

/// Whether the file names a process that lives.
bool IsNetLinkProcessing();

}  // namespace vexonetwork::utils
