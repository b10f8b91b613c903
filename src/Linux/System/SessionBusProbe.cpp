#include "Linux/System/SessionBusProbe.h"

#include "Linux/System/BriefBus.h"

namespace keysong {

bool sessionBusAnswers(std::chrono::milliseconds limit) {
    return BriefBus(BriefBus::Kind::session, limit).isReady();
}

} // namespace keysong
