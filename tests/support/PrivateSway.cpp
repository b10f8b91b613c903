#include "support/PrivateSway.h"

#include "support/Eventually.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>

namespace keysong::test {

PrivateSway::PrivateSway() {
    folder_.write("config", "xwayland disable\n");
    chmod(folder_.path().c_str(), 0700);
    std::ignore = chown(folder_.path().c_str(), ChildProcess::ordinaryUser(), 0);
}

ChildProcess::Setting PrivateSway::setting() const {
    const std::string folder = folder_.path().string();
    return {{{"HOME", folder},
             {"XDG_RUNTIME_DIR", folder},
             {"SWAYSOCK", folder + "/ipc"},
             {"WAYLAND_DISPLAY", displayName},
             {"DISPLAY", ""},
             {"LC_ALL", "C.UTF-8"}},
            folder + "/log",
            true};
}

bool PrivateSway::start() {
    std::error_code ignored;
    std::filesystem::remove(folder_.path() / "ipc", ignored);
    ChildProcess::Setting setting = this->setting();
    setting.environment["WAYLAND_DISPLAY"] = "";
    setting.environment["WLR_BACKENDS"] = "headless";
    setting.environment["WLR_LIBINPUT_NO_DEVICES"] = "1";
    setting.environment["WLR_RENDERER"] = "pixman";
    sway_.start({"sway", "-c", (folder_.path() / "config").string()}, setting);
    return eventually([this] { return command("nop"); });
}

void PrivateSway::kill() {
    sway_.kill();
    windows_.clear();
}

void PrivateSway::openWindow(const std::string& applicationId) {
    // Not in the folder of the test, which the ordinary user may not be let into.
    windows_.emplace_back().start({"foot", "--config=/dev/null", "--app-id=" + applicationId,
                                   "--working-directory=" + folder_.path().string(), "cat"},
                                  setting());
}

std::string PrivateSway::tree() const {
    ChildProcess::Setting setting = this->setting();
    const auto file = folder_.path() / "tree";
    std::filesystem::remove(file);
    setting.output = file;
    if (ChildProcess::run({"swaymsg", "-t", "get_tree"}, setting) != 0) {
        return {};
    }
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string PrivateSway::display() const {
    return folder_.path() / displayName;
}

bool PrivateSway::command(const std::string& words) const {
    return ChildProcess::run({"swaymsg", words}, setting()) == 0;
}

} // namespace keysong::test
