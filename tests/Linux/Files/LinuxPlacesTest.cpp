#include "Linux/Files/LinuxPlaces.h"

#include "fakes/FakePlaces.h"
#include "support/ScopedVariable.h"

#include <gtest/gtest.h>

namespace keysong {
namespace {

using test::ScopedVariable;

TEST(LinuxPlaces, DataAndPreferencesLieWhereTheEnvironmentSaysOrInTheHomeFolder) {
    const LinuxPlaces places;
    const ScopedVariable home("HOME", "/home/someone");
    EXPECT_EQ(places.home(), "/home/someone");
    for (const char* const value : {static_cast<const char*>(nullptr), "", "relative/folder", "/folder"}) {
        const ScopedVariable data("XDG_DATA_HOME", value);
        const ScopedVariable config("XDG_CONFIG_HOME", value);
        const bool counts = std::string_view(value == nullptr ? "" : value).starts_with('/');
        EXPECT_EQ(places.userData(), counts ? "/folder" : "/home/someone/.local/share");
        EXPECT_EQ(places.userConfig(), counts ? "/folder" : "/home/someone/.config");
    }
}

TEST(LinuxPlaces, WithoutAHomeVariableTheUserDatabaseIsAsked) {
    const LinuxPlaces places;
    for (const char* const value : {static_cast<const char*>(nullptr), "", "relative"}) {
        const ScopedVariable home("HOME", value);
        EXPECT_TRUE(places.home().empty() || places.home().is_absolute()) << places.home();
    }
    const test::FakePlaces homeless;
    EXPECT_EQ(userBaseFolder(homeless, "XDG_STATE_HOME", ".local/state"), "");
}

TEST(LinuxPlaces, ResourcesLieBesideTheFolderOfTheExecutable) {
    const auto executable = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(LinuxPlaces().resources(), executable.parent_path().parent_path() / "share/keysong");
}

TEST(LinuxPlaces, AnEmptyVariableIsAValue) {
    const ScopedVariable empty("KEYSONG_TEST_VARIABLE", "");
    EXPECT_EQ(LinuxPlaces().environment("KEYSONG_TEST_VARIABLE"), "");
    EXPECT_EQ(LinuxPlaces().environment("KEYSONG_TEST_ABSENT"), std::nullopt);
}

} // namespace
} // namespace keysong
