#include <vexobase/log.h>
#include <vexonetwork/network/event/hello_event.h>

namespace vexonetwork::network::event {

std::string HelloEvent::ToStr() const {
    return BaseEvent::ToStr() + "/ msg:[" + msg + "]";
}

int HelloEvent::ProcessEvent() {
    VEXO_LOG_AT(30, LOG_ERR, "process by hello event");
    return 0;
}

}  // namespace vexonetwork::network::event
