#include <atomic>
#include <exception>
#include <thread>

#include <vexobase/hook_folder.h>
#include <vexobase/log.h>

#include "vexo/hooks/hook_runner.h"
#include "vexonetsdk/sdk_s.h"
#include "vlib/blocked_signals.h"
#include "vlib/error.h"
#include "vlib/plugin_session.h"
#include "vlib/spawn.h"

namespace {

/// Executables that hang hold a thread for 30 s each; a flood of events must not hold thousands.
constexpr int kMaxUnawaited = 64;
std::atomic<int> unawaited = 0;

int RunAction(const VLIBPLUGIN& session) {
    const vlib::SavedIdentity elevated;
    return vexoplatform::RunHooks(session.category, session.name, session.arguments);
}

/// Gives the place of an action back, however that ends.
class Place {
  public:
    Place() = default;
    ~Place() { --unawaited; }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
};

void LogFailure(const VLIBPLUGIN& session, const char* what, const std::exception& error) {
    VEXO_LOG(LOG_ERR, "Action [%s/%s] %s: %s", session.category.c_str(), session.name.c_str(), what,
             error.what());
}

void RunUnawaited(const VLIBPLUGIN& session) {
    const Place place;
    try {
        RunAction(session);
    } catch (const std::exception& error) {
        LogFailure(session, "has not run to its end", error);
    }
}

/// Runs a copy of the session on a thread of its own, which waits for the executables in the
/// caller's place: none is left a zombie and each has its deadline.
int StartAction(const VLIBPLUGIN& session) {
    if (unawaited.fetch_add(1) >= kMaxUnawaited) {
        --unawaited;
        VEXO_LOG(LOG_ERR, "Action [%s/%s] is dropped: %d others have not ended",
                 session.category.c_str(), session.name.c_str(), kMaxUnawaited);
        return -1;
    }
    const vlib::BlockedSignals blocked;
    try {
        std::thread([copy = session] { RunUnawaited(copy); }).detach();
    } catch (const std::exception& error) {
        --unawaited;
        LogFailure(session, "cannot be started", error);
        return -1;
    }
    return 0;
}

}  // namespace

namespace vexonetsdk::sdk_s {

int VLIBPluginAction_S(VLIBPLUGIN* session) {
    if (session == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    if (!vexobase::MayHaveHooks(session->category.c_str(), session->name.c_str())) {
        return 0;
    }
    if ((session->blocking ? RunAction(*session) : StartAction(*session)) != 0) {
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
        return -1;
    }
    return 0;
}

}  // namespace vexonetsdk::sdk_s
