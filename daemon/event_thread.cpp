#include "event_thread.h"

#include <pthread.h>

#include <exception>

#include <vexobase/log.h>

namespace vexonetd {
namespace {

void Follow(vexonetwork::NetworkEventEmitter& emitter) {
    try {
        emitter.Start();
    } catch (const std::exception& error) {
        VEXO_LOG(LOG_ERR, "Kernel events are no longer followed: %.200s", error.what());
    }
}

}  // namespace

EventThread::EventThread(vexonetwork::network::module::GatewayFollower* gateways)
    : emitter(gateways) {
    emitter.Initialize();
    thread = std::thread([this] { Follow(emitter); });
    ::pthread_setname_np(thread.native_handle(), "kernel-events");
}

EventThread::~EventThread() {
    emitter.Stop();
    thread.join();
}

}  // namespace vexonetd
