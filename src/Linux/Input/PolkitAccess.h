#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Linux/System/ServiceThread.h"
#include "Linux/System/SpawnedProcess.h"
#include "Platform/KeyboardAccess.h"
#include "Platform/Threads.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// Runs a helper as root through pkexec, which lets polkit ask for an administrator's password. Nothing of
/// the program itself ever runs as root, and it hands nothing over: the helper serves the user who called
/// pkexec.
class PolkitAccess final : public KeyboardAccess {
  public:
    /// Empty paths stand for what is not installed.
    struct Programs {
        std::filesystem::path pkexec;
        /// "keysong-grant-access".
        std::filesystem::path helper;
    };

    /// pkexec as `PATH` finds it; the helper as it is installed beside the folder of this executable, or in
    /// that folder itself where the program runs from where it was built.
    [[nodiscard]] static Programs installedPrograms();

    /// What it amounts to that pkexec ended with this wait status and began its error output like this.
    [[nodiscard]] static Result resultOf(int status, const std::string& errors);

    /// The queue runs its tasks on the main thread; it and `threads` outlive this object.
    PolkitAccess(TaskQueue& mainQueue, Threads& threads, Programs programs);
    /// Withdraws a question that is still being asked. What runs as root already is left to its end; nothing
    /// waits for it.
    ~PolkitAccess() override;

    /// Whether root alone can change this file, and put another in its place.
    [[nodiscard]] static bool isSafeToRun(const std::filesystem::path& helper);

    [[nodiscard]] Way way() const override { return Way::devices; }
    /// Also false for a helper that others than root could change: it would run as root.
    [[nodiscard]] bool canGrant() const override;
    bool grant(Handler handler) override;
    bool revoke(Handler handler) override;
    [[nodiscard]] std::string command() const override;

  private:
    bool run(std::vector<std::string> arguments, Handler handler);
    /// Starts pkexec with the helper and its arguments. Throws std::system_error.
    void start(const std::vector<std::string>& arguments);
    /// Reads how pkexec ended. Service thread.
    [[nodiscard]] Result collect() const;
    void finish(const Result& result);

    TaskQueue& mainQueue_;
    Threads& threads_;
    const Programs programs_;
    Lifetime lifetime_;
    /// Set while a question is asked.
    Handler handler_;
    // The running pkexec. The main thread sets them before the service thread watches, and after it has
    // ended.
    std::optional<SpawnedProcess> process_;
    FileDescriptor errors_;
    /// Last, so that it ends first. There is one only while pkexec runs.
    std::optional<ServiceThread> service_;
};

} // namespace keysong
