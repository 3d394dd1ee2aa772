#pragma once

namespace vexonetd {

/// Removes the temporary files that a killed predecessor left beside the gateway files, and those
/// that killed commands left a minute ago or earlier. To be called while the pid file is held: a
/// living daemon's temporary files look the same.
void RemoveLeftovers();

}  // namespace vexonetd
