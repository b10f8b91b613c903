// The program that shows the windows. The resident program starts it; a person who does is passed on there.

#include "App/RemoteControl.h"
#include "Linux/Desktop/LinuxWindowsProgram.h"
#include "Linux/Log/LogSinks.h"
#include "Linux/System/PacketSocket.h"
#include "Linux/System/SpawnedProcess.h"
#include "Linux/System/Utf8Characters.h"
#include "Program/WindowsSession.h"
#include "Shared/Log.h"
#include "Shared/NumberText.h"
#include "UI/Look/ProgramIcon.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QProcess>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <string_view>
#include <thread>

namespace keysong {
namespace {

constexpr int failed = 1;
constexpr int wrongArguments = 2;
/// For the resident program to start.
constexpr std::chrono::milliseconds patience{10'000};
constexpr const char* platformVariable = "QT_QPA_PLATFORM";

bool isSet(const char* variable) {
    return !qEnvironmentVariableIsEmpty(variable);
}

int complain(const char* text) {
    std::fprintf(stderr, "keysong-settings: %s\n", text);
    return failed;
}

/// Has the resident program show them, as a second launch of it does. One that does not run is started.
int passOn(int& count, char** words) {
    const QCoreApplication application(count, words);
    const QDBusConnection connection = QDBusConnection::sessionBus();
    if (!connection.isConnected()) {
        return complain("there is no session bus, by which the settings speak to Keysong");
    }
    const QString program =
        QString::fromStdString(SpawnedProcess::ownProgram("keysong", KEYSONG_PROGRAM_FOLDER).string());
    const auto runs = [&connection] {
        return connection.interface()->isServiceRegistered(RemoteControl::serviceName).value();
    };
    if (!runs()) {
        if (!QProcess::startDetached(program, {})) {
            return complain("Keysong cannot be started");
        }
        const QDeadlineTimer deadline(patience);
        while (!runs() && !deadline.hasExpired()) {
            std::this_thread::sleep_for(patience / 200);
        }
    }
    return QProcess::execute(program, {}) == 0 ? 0 : failed;
}

int showWindows(int& count, char** words, std::unique_ptr<MessageChannel> channel) {
    const bool isChosen = isSet(platformVariable);
    if (!isChosen) {
        // The last takes what a dead display would end with an abort.
        qputenv(platformVariable, isSet("WAYLAND_DISPLAY") ? "wayland;xcb;offscreen" : "xcb;offscreen");
    }
    QApplication application(count, words);
    if (!isChosen) {
        qunsetenv(platformVariable); // not for the programs that this one starts
        if (QGuiApplication::platformName() == QLatin1String("offscreen")) {
            log.notice("the display cannot be opened");
            return failed;
        }
    }
    QGuiApplication::setDesktopFileName(RemoteControl::serviceName);
    // Panels show it as the title of the status item.
    QCoreApplication::setApplicationName("Keysong");
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(programIcon());
    if (!QDBusConnection::sessionBus().isConnected()) {
        return complain("there is no session bus, by which the settings speak to Keysong");
    }
    return WindowsSession(application, std::move(channel)).run();
}

int run(int count, char** words) {
    useUtf8Characters();
    const LinuxPlaces places;
    const auto sink = makeLogSink(places);
    Logger::setSink(sink.get());
    // A server that dies is noticed where it is written to, not by the end of the program.
    std::signal(SIGPIPE, SIG_IGN);
    int toolkitCount = 1;
    if (count == 1) {
        return passOn(toolkitCount, words);
    }
    const std::string_view argument(words[1]);
    const std::string_view expected(LinuxWindowsProgram::argument);
    std::optional<int> descriptor;
    if (count == 2 && argument.starts_with(expected)) {
        descriptor = parseInteger<int>(argument.substr(expected.size()));
    }
    auto channel = descriptor ? PacketSocket::inherited(*descriptor) : nullptr;
    if (channel == nullptr) {
        std::fputs("keysong-settings shows Keysong's settings and takes no arguments.\n", stderr);
        return wrongArguments;
    }
    return showWindows(toolkitCount, words, std::move(channel));
}

} // namespace
} // namespace keysong

int main(int count, char** words) {
    try {
        return keysong::run(count, words);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong-settings: %s\n", error.what());
        return 1;
    }
}
