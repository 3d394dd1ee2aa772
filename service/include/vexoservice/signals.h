#pragma once

#include <vexobase/unique_fd.h>

namespace vexoservice {

/// The signals that end a service, SIGTERM, SIGINT and SIGHUP, as a descriptor that becomes
/// readable, so that they are handled by its loop like everything else. To be taken before the
/// first thread starts: threads inherit the mask that keeps the signals from ending the process.
///
/// SIGPIPE is ignored from then on: a bus or a log that went away is an error of the call that
/// meets it.
/// @return the non-blocking signalfd, or none with errno
vexobase::UniqueFd TakeSignals();

/// Takes a signal and logs which one ends the service, and whose it is.
/// @return whether there was one
bool TakeSignal(int signals);

}  // namespace vexoservice
