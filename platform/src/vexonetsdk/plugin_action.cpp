#include <atomic>
#include <csignal>
#include <exception>
#include <thread>

#include <vexobase/log.h>

#include "vexo/hook_runner.h"
#include "vexonetsdk/sdk_s.h"
#include "vlib/error.h"
#include "vlib/plugin_session.h"
#include "vlib/spawn.h"

namespace {

/// Executables that hang hold a thread for 30 s each; a flood of events must not hold thousands.
constexpr int kMostUnawaited = 64;
std::atomic<int> unawaited = 0;

int RunAction(const VLIBPLUGIN& session) {
    const vlib::SavedIdentity elevated;
    return vexoplatform::RunHooks(session.category, session.name, session.arguments);
}

/// While it lives, threads begin with every signal blocked, so that each still reaches those that
/// the process has for it.
class BlockedSignals {
  public:
    BlockedSignals() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &former);
    }
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

  private:
    sigset_t former;
};

/// Runs a copy of the session on a thread of its own, which waits for the executables in the
/// caller's place: none is left a zombie and each has its deadline.
int StartAction(const VLIBPLUGIN& session) {
    if (unawaited.fetch_add(1) >= kMostUnawaited) {
        --unawaited;
        VEXO_LOG(LOG_ERR, "Action [%s/%s] is dropped: %d others have not ended",
                 session.category.c_str(), session.name.c_str(), kMostUnawaited);
        return -1;
    }
    const BlockedSignals blocked;
    try {
        std::thread([copy = session] {
            RunAction(copy);
            --unawaited;
        }).detach();
    } catch (const std::exception& error) {
        --unawaited;
        VEXO_LOG(LOG_ERR, "Action [%s/%s] cannot be started: %s", session.category.c_str(),
                 session.name.c_str(), error.what());
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
    if (VLIBPluginIsHeard(session->category.c_str(), session->name.c_str()) == 0) {
        return 0;
    }
    if ((session->blocking ? RunAction(*session) : StartAction(*session)) != 0) {
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
        return -1;
    }
    return 0;
}

}  // namespace vexonetsdk::sdk_s
