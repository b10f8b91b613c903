#include "support/PrivateXServer.h"

#include "support/Eventually.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace keysong::test {

PrivateXServer::~PrivateXServer() {
    kill();
    if (!display_.empty()) {
        std::error_code ignored;
        std::filesystem::remove("/tmp/.X11-unix/X" + display_.substr(1), ignored);
        std::filesystem::remove(lockFile(), ignored);
    }
}

std::string PrivateXServer::lockFile() const {
    return "/tmp/.X" + display_.substr(1) + "-lock";
}

void PrivateXServer::kill() {
    server_.kill();
    if (!display_.empty()) {
        // Until it starts again nobody else may take its number: this process, which lives, holds the lock.
        std::array<char, 12> owner{};
        std::snprintf(owner.data(), owner.size(), "%10d\n", static_cast<int>(getpid()));
        std::filesystem::remove(lockFile()); // which may only be read
        std::ofstream(lockFile()) << owner.data();
    }
}

bool PrivateXServer::start() {
    const auto file = folder_.path() / "display";
    std::filesystem::remove(file);
    if (!display_.empty()) {
        std::filesystem::remove(lockFile());
    }
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
