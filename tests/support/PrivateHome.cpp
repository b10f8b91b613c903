#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace keysong::test {

namespace {

/// Keeps each test program, and the programs that it starts, out of the home and away from the desktop of
/// whoever runs it. Ends with the test program.
class PrivateHome final : public testing::EmptyTestEventListener {
  public:
    PrivateHome() {
        if (getenv(ownVariable) != nullptr) {
            return; // a death test's second process, which ends without its destructors
        }
        for (const char* name :
             {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "DISPLAY",
              "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "PIPEWIRE_RUNTIME_DIR", "PIPEWIRE_REMOTE"}) {
            unsetenv(name);
        }
        folder_.emplace();
        const auto runtime = folder_->makeFolder("run");
        std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
        setenv(ownVariable, "1", 1);
        setenv("HOME", folder_->path().c_str(), 1);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    }

  private:
    static constexpr const char* ownVariable = "KEYSONG_TEST_HAS_HOME";

    std::optional<TempFolder> folder_;
};

/// Made before main, so that nothing of a test program reads the person's own first.
[[maybe_unused]] const bool installed = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new PrivateHome); // owned by the framework
    return true;
}();

} // namespace

} // namespace keysong::test
