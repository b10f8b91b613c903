#pragma once

#include "Platform/FrontmostApplication.h"

#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// What the sleep triggers need of the application model. Main thread.
class SleepModel {
  public:
    virtual ~SleepModel() = default;

    /// The identifiers of the applications in whose presence the program is silent.
    [[nodiscard]] virtual const std::vector<std::string>& mutedApps() const = 0;
    [[nodiscard]] virtual bool isSleeping() const = 0;
    /// Silences the program, or wakes it; called only with a value that differs from `isSleeping`.
    virtual void setSleeping(bool sleeping) = 0;

  protected:
    SleepModel() = default;
    SleepModel(const SleepModel&) = default;
    SleepModel& operator=(const SleepModel&) = default;
};

/// Silences the program while a muted application is in front, typically a video call.
///
/// It only sets the model's `isSleeping`; the model decides what that does to the sound. The model owns the
/// one instance. Main thread.
class SleepTriggers {
  public:
    /// The muted applications of a user who never chose any.
    static const std::vector<std::string>& defaultMutedApps();

    /// Applies the rule at once, and again whenever another application comes to the front. Both outlive the
    /// triggers.
    SleepTriggers(SleepModel& model, FrontmostApplication& frontmost);
    ~SleepTriggers();
    SleepTriggers(const SleepTriggers&) = delete;
    SleepTriggers& operator=(const SleepTriggers&) = delete;

    /// Applies the rule to the application that is in front now. To be called after each change of the
    /// model's `mutedApps`.
    void reevaluate();

  private:
    void apply(const std::optional<std::string>& identifier);

    SleepModel& model_;
    FrontmostApplication& frontmost_;
};

} // namespace keysong
