#pragma once

#include "App/Preferences.h"
#include "Linux/Files/LinuxDurableFiles.h"
#include "Shared/WholeFile.h"
#include "fakes/ManualQueue.h"
#include "fakes/WatchedFiles.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <string>

namespace keysong::test {

/// A user's folder of preferences, on a real disk, and a writer whose time the test moves.
class PreferencesFixture : public testing::Test {
  protected:
    /// Gives the domain a file as some other program might have written it.
    std::filesystem::path give(const std::string& text, const std::string& domain = "domain") const {
        return folder_.write(domain + "/preferences.json", text);
    }

    [[nodiscard]] std::string stored(const std::string& domain = "domain") const {
        return readWholeFile(domains_.fileOf(domain), PreferenceDomains::largestFileBytes);
    }

    const TempFolder folder_;
    const LinuxDurableFiles realFiles_{};
    WatchedFiles files_{realFiles_};
    const PreferenceDomains domains_{folder_.path(), files_};
    ManualQueue writer_;
};

} // namespace keysong::test
