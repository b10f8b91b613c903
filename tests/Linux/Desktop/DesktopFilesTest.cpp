#include "Linux/Desktop/DesktopFiles.h"

#include "Linux/Desktop/DesktopEntry.h"
#include "Linux/Frontmost/WindowIdentity.h"
#include "fakes/FakePlaces.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>

namespace keysong {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

const std::vector<std::string> german = {"de_AT", "de"};

TEST(DesktopEntry, ReadsWhatIsNeededAndPassesOverTheRest) {
    const auto entry =
        parseDesktopEntry("\xEF\xBB\xBF# comment\r\n"
                          "Name=before any group\r\n"
                          "[Other]\r\nName=another group\r\n"
                          "[Desktop Entry]\r\n"
                          "Type = Application\r\n"
                          "nonsense\r\n=nothing\r\n#Name=no\r\n"
                          "Name=Editor\r\nName=twice\r\nName[fr]=Editeur\r\nName[de]=Text\\sund\\\\\r\n"
                          "Icon=editor\r\nStartupWMClass=Edit\r\nNoDisplay=true\r\n"
                          "Exec=\"/opt/my editor/edit\" --file %U\r\n"
                          "[Desktop Action new]\r\nName=New\r\nExec=other\r\n",
                          german);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "Text und\\");
    EXPECT_EQ(entry->icon, "editor");
    EXPECT_EQ(entry->program, "/opt/my editor/edit");
    EXPECT_EQ(entry->startupClass, "Edit");
    EXPECT_TRUE(entry->noDisplay);
    EXPECT_FALSE(entry->hidden);
}

TEST(DesktopEntry, TellsApplicationsFromOtherThings) {
    const std::pair<const char*, bool> rows[] = {
        {"", false},
        {"Name=x\nType=Application\n", false},
        {"[Desktop Entry]\nType=Link\nURL=https://example.org\n", false},
        {"[Desktop Entry]\nType=Directory\n", false},
        {"[Desktop Entry]\nHidden=true", true},
        {"[Desktop Entry]\nType=Application\nName", true},
        {"[Desktop Entry", false},
    };
    for (const auto& [text, isApplication] : rows) {
        EXPECT_EQ(parseDesktopEntry(text, german).has_value(), isApplication) << text;
    }
    // A byte of zero and bytes that are no text do no harm.
    using namespace std::string_literals;
    const std::string bytes = "[Desktop Entry]\nName=a\0b\xFF\xFE\nExec=\\"s;
    EXPECT_TRUE(parseDesktopEntry(bytes, german));
}

TEST(DesktopEntry, FindsTheProgramOfACommandLine) {
    const std::pair<const char*, const char*> rows[] = {
        {"zoom %U", "zoom"},
        {"/usr/bin/zoom", "/usr/bin/zoom"},
        {"env A=1 B=\"2 3\" /usr/bin/zoom %U", "/usr/bin/zoom"},
        {"/usr/bin/env -i zoom", "zoom"},
        {"env A=1", ""},
        {"  \"/opt/a b/run\" x", "/opt/a b/run"},
        {"\"unfinished", "unfinished"},
        {"", ""},
    };
    for (const auto& [command, program] : rows) {
        const auto entry = parseDesktopEntry("[Desktop Entry]\nExec=" + std::string(command), german);
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->program, program) << command;
    }
}

TEST(DesktopEntry, PrefersTheUsersLanguages) {
    test::FakePlaces places;
    places.variables = {{"LANG", "de_AT.UTF-8@euro"}};
    EXPECT_THAT(desktopLanguages(places), ElementsAre("de_AT@euro", "de_AT", "de@euro", "de"));
    places.variables["LC_MESSAGES"] = "fr_FR";
    EXPECT_THAT(desktopLanguages(places), ElementsAre("fr_FR", "fr"));
    places.variables["LANGUAGE"] = "en:nl_BE";
    EXPECT_THAT(desktopLanguages(places), ElementsAre("en", "nl_BE", "nl", "fr_FR", "fr"));
    places.variables["LC_ALL"] = "C.UTF-8";
    EXPECT_THAT(desktopLanguages(places), ElementsAre());
    const auto entry =
        parseDesktopEntry("[Desktop Entry]\nName[de]=zwei\nName=drei\nName[de_AT]=eins\nName[x=\n", german);
    EXPECT_EQ(entry->name, "eins");
}

struct DesktopFilesTest : testing::Test {
    test::TempFolder folder;
    std::filesystem::path user = folder.makeFolder("user");
    std::filesystem::path system = folder.makeFolder("system");
    DesktopFiles files{{user, folder.path() / "missing", system}, {}};

    void add(const std::string& path, const std::string& keys) const {
        folder.write(path, "[Desktop Entry]\nType=Application\n" + keys);
    }

    std::vector<std::string> ids() {
        std::vector<std::string> result;
        for (const InstalledApplication& application : *files.list()) {
            result.push_back(application.id);
        }
        return result;
    }
};

TEST_F(DesktopFilesTest, TheFirstFileOfAnIdCounts) {
    add("user/editor.desktop", "Name=Mine\nNoDisplay=true\n");
    add("system/editor.desktop", "Name=Theirs\n");
    add("user/removed.desktop", "Hidden=true\n");
    add("system/removed.desktop", "Name=Removed\n");
    add("system/kde/more/ark.desktop", "Icon=ark\nExec=ark %U\nStartupWMClass=Ark\n");
    folder.write("system/list.txt", "[Desktop Entry]\n");
    folder.write("system/.desktop", "[Desktop Entry]\n");
    std::filesystem::create_symlink("nowhere", system / "broken.desktop");
    std::filesystem::create_directory_symlink(system, system / "loop");
    folder.write("system/huge.desktop", "[Desktop Entry]\n" + std::string(600'000, '#'));

    const auto list = files.list();
    std::vector<std::string> names;
    for (const InstalledApplication& application : *list) {
        if (application.id.find("loop-") == std::string::npos) {
            names.push_back(application.id + "=" + application.name);
        }
    }
    EXPECT_THAT(names, UnorderedElementsAre("editor=Mine", "kde-more-ark=kde-more-ark"));
    EXPECT_LT(list->size(), 30U); // the loop is not followed without end
    const auto& ark = *std::ranges::find(*list, "kde-more-ark", &InstalledApplication::id);
    EXPECT_THAT((std::vector{ark.icon, ark.program, ark.startupClass}), ElementsAre("ark", "ark", "Ark"));
    EXPECT_TRUE(ark.isListed);
    EXPECT_FALSE(std::ranges::find(*list, "editor", &InstalledApplication::id)->isListed);
}

TEST_F(DesktopFilesTest, ReadsAgainOnlyWhenAFolderHasChanged) {
    add("system/a.desktop", "Name=A\n");
    add("system/sub/b.desktop", "Name=B\n");
    const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    for (const auto& path : {user, system, system / "sub"}) {
        std::filesystem::last_write_time(path, longAgo);
    }
    const auto before = files.list();
    EXPECT_EQ(before->size(), 2U);
    EXPECT_EQ(files.list(), before);

    add("system/sub/c.desktop", "Name=C\n");
    EXPECT_THAT(ids(), UnorderedElementsAre("a", "sub-b", "sub-c"));
    // Within the same tick of the file system's clock.
    const auto tick = std::filesystem::last_write_time(system / "sub");
    add("system/sub/d.desktop", "Name=D\n");
    std::filesystem::last_write_time(system / "sub", tick);
    EXPECT_THAT(ids(), UnorderedElementsAre("a", "sub-b", "sub-c", "sub-d"));
    // A folder that was not there comes, and one goes.
    add("missing/e.desktop", "Name=E\n");
    std::filesystem::remove_all(system);
    EXPECT_THAT(ids(), ElementsAre("e"));
}

TEST(DesktopFilesFolders, FollowTheEnvironmentAndKnowTheExports) {
    test::FakePlaces places;
    places.userDataFolder = "/home/u/.local/share";
    const DesktopFiles standard(places);
    EXPECT_THAT(standard.folders(), ElementsAre("/home/u/.local/share/applications",
                                                "/usr/local/share/applications", "/usr/share/applications",
                                                "/home/u/.local/share/flatpak/exports/share/applications",
                                                "/var/lib/flatpak/exports/share/applications",
                                                "/var/lib/snapd/desktop/applications"));
    places.variables["XDG_DATA_DIRS"] = "/a/:relative::/var/lib/snapd/desktop:/a";
    const DesktopFiles named(places);
    EXPECT_THAT(named.folders(), ElementsAre("/home/u/.local/share/applications", "/a/applications",
                                             "/var/lib/snapd/desktop/applications",
                                             "/home/u/.local/share/flatpak/exports/share/applications",
                                             "/var/lib/flatpak/exports/share/applications"));
}

TEST(WindowIdentity, LeadsToTheInstalledApplication) {
    test::TempFolder folder;
    folder.write("opt/call", "");
    std::filesystem::create_symlink("call", folder.path() / "opt/link");
    const std::string realProgram = std::filesystem::canonical(folder.path() / "opt/call").string();
    const InstalledApplications::List applications = {
        {"helper", "", "", "", "Zoom Class", false},
        {"Zoom", "", "", "/opt/zoom/ZoomLauncher", "Zoom Class", true},
        {"org.kde.dolphin", "", "", "dolphin", "", true},
        {"org.one.notes", "", "", "flatpak", "", true},
        {"org.two.notes", "", "", "python3", "", true},
        {"call", "", "", (folder.path() / "opt/link").string(), "", true},
        {"office-writer", "", "", "soffice", "", true},
        {"office-calc", "", "", "soffice", "", true},
        {"firefox-esr", "", "", "/usr/bin/firefox-esr", "", true},
        {"visual-studio", "", "", "", "", true},
    };
    struct Row {
        const char* what;
        WindowIdentity window;
        std::optional<std::string> application;
    };
    const Row rows[] = {
        {"its id", {"org.kde.dolphin", "", "", ""}, "org.kde.dolphin"},
        {"the class, the offered one first", {"", "Zoom Class", "", ""}, "Zoom"},
        {"the class in other letters", {"", "zoom class", "", ""}, "Zoom"},
        {"the last part of an id", {"", "Dolphin", "", ""}, "org.kde.dolphin"},
        {"a last part that two share", {"", "notes", "", ""}, "notes"},
        {"the instance where the class says nothing", {"", "unknown", "zoom class", ""}, "Zoom"},
        {"a class with blanks", {"", "Visual Studio", "", ""}, "visual-studio"},
        {"an id before the program", {"Zoom", "", "", realProgram}, "Zoom"},
        {"a program through a link", {"", "unknown", "", realProgram}, "call"},
        {"a program by its name", {"", "", "", "/usr/lib/firefox-esr/firefox-esr"}, "firefox-esr"},
        {"a program that two start", {"", "", "", "/usr/lib/soffice"}, std::nullopt},
        {"an interpreter", {"", "", "", "/usr/bin/python3"}, std::nullopt},
        {"an unknown id is taken at its word", {"org.new.App", "", "", "/opt/new"}, "org.new.App"},
        {"an unknown class too", {"", "New", "new", "/opt/new"}, "New"},
        {"an instance alone is not", {"", "", "new", "/opt/new"}, std::nullopt},
        {"nothing at all", {}, std::nullopt},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(applicationOf(row.window, applications), row.application) << row.what;
    }
    EXPECT_EQ(applicationOf({"x", "y", "z", "/w"}, {}), "x");
}

} // namespace
} // namespace keysong
