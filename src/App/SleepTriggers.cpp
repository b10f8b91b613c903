#include "App/SleepTriggers.h"

#include "App/AppEquivalents.h"
#include "Shared/Log.h"

#include <algorithm>

namespace keysong {

const std::vector<std::string>& SleepTriggers::defaultMutedApps() {
    static const std::vector<std::string> apps = {"us.zoom.xos", "com.microsoft.teams2",
                                                  "com.apple.FaceTime"};
    return apps;
}

SleepTriggers::SleepTriggers(SleepModel& model, FrontmostApplication& frontmost)
    : model_(model), frontmost_(frontmost) {
    frontmost_.setChangeHandler([this](const std::optional<std::string>& identifier) { apply(identifier); });
    reevaluate();
}

SleepTriggers::~SleepTriggers() {
    frontmost_.setChangeHandler({});
}

void SleepTriggers::reevaluate() {
    apply(frontmost_.current());
}

void SleepTriggers::apply(const std::optional<std::string>& identifier) {
    const bool sleeping = identifier && std::ranges::any_of(model_.mutedApps(), [&](const std::string& app) {
                              return meansApplication(app, *identifier);
                          });
    if (sleeping == model_.isSleeping()) {
        return;
    }
    model_.setSleeping(sleeping);
    log.info("sleep trigger: %s (frontmost %s)", sleeping ? "muted" : "awake",
             identifier.value_or("unknown"));
}

} // namespace keysong
