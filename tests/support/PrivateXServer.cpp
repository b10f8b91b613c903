#include "support/PrivateXServer.h"

#include "support/Eventually.h"

#include <filesystem>
#include <fstream>

namespace keysong::test {

PrivateXServer::~PrivateXServer() {
    kill();
    if (!display_.empty()) {
        const std::string number = display_.substr(1);
        std::error_code ignored;
        std::filesystem::remove("/tmp/.X11-unix/X" + number, ignored);
        std::filesystem::remove("/tmp/.X" + number + "-lock", ignored);
    }
}

bool PrivateXServer::start() {
    const auto file = folder_.path() / "display";
    std::filesystem::remove(file);
    server_.start({"/bin/sh", "-c",
                   "exec Xvfb -displayfd 1 -nolisten tcp -noreset -screen 0 " + screen_ +
                       " -ardelay 20 -arinterval 10 " + display_ + " 2>/dev/null"},
                  {{}, file});
    // What the server writes when it is ready: its display number and the end of the line.
    std::string number;
    const bool answers = eventually([&] {
        std::ifstream written(file);
        return std::getline(written, number) && !written.eof();
    });
    display_ = ":" + number;
    return answers;
}

} // namespace keysong::test
