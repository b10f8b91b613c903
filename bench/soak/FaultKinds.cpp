// What each kind of fault does.

#include "support/Eventually.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <thread>

#include "Faults.h"
#include "PlayProbe.h"

namespace keysong::bench {

using namespace std::chrono_literals;
using test::eventually;
using test::PrivatePipeWire;

namespace {

bool setQuantum(const std::string& frames) {
    return test::ChildProcess::run(
               {"timeout", "10", "pw-metadata", "-n", "settings", "0", "clock.force-quantum", frames}, {}) ==
           0;
}

} // namespace

/// The manager some time after the server, and at times the sinks only after both, as cards come.
void Faults::startServerAndManager() {
    expect(world_.sound().startServer(), "the server did not start");
    const bool sinksAreLate = draw(0, 2) == 0;
    if (sinksAreLate) {
        unplugBoth();
    }
    pause(0, 1000);
    world_.sound().startManager();
    if (sinksAreLate) {
        plugBoth(2000);
    }
}

void Faults::mendWorld() {
    std::printf(", nothing can play: server and manager are started anew");
    world_.sound().killManager();
    world_.sound().killServer();
    expect(world_.sound().startServer(), "the server did not start");
    world_.sound().startManager();
}

void Faults::killServer() {
    happen("server killed", true, Able::probe, [this] {
        if (draw(0, 1) == 0) {
            world_.sound().killManager();
            pause(0, 1000);
        }
        world_.sound().killServer();
        pause(0, 300);
        world_.sound().killManager();
        pause(0, 3000);
        startServerAndManager();
    });
}

void Faults::plugBoth(int latest) {
    const int first = draw(0, 1);
    pause(0, latest);
    expect(PrivatePipeWire::plug(sinks[first]), "the sink did not come");
    pause(0, latest / 4);
    expect(PrivatePipeWire::plug(sinks[1 - first]), "the sink did not come");
}

void Faults::unplugBoth() {
    const int first = draw(0, 1);
    expect(PrivatePipeWire::unplug(sinks[first]) && PrivatePipeWire::unplug(sinks[1 - first]),
           "a sink did not go");
}

/// The cards are the manager's: the server takes them away with it, and its successor brings them again.
void Faults::killManager() {
    happen("manager killed with its cards", true, Able::probe, [this] {
        world_.sound().killManager();
        unplugBoth();
        pause(0, 3000);
        world_.sound().startManager();
        plugBoth(2000);
    });
}

/// Sinks of the server's own stay. WirePlumber 0.4.13 does not get such a sink ready again that was in use,
/// and links nothing at all meanwhile; then the world is mended.
void Faults::killManagerAlone() {
    happen("manager killed, sinks stay", true, Able::probe, [this] {
        world_.sound().killManager();
        pause(0, 3000);
        world_.sound().startManager();
        constexpr std::chrono::seconds patience{4};
        if (!waitUntilPlayable(patience)) {
            mendWorld();
        }
    });
}

void Faults::stopServer() {
    happen("server stopped, goes on", true, Able::probe, [this] {
        world_.sound().pause();
        pause(100, 5000);
        world_.sound().resume();
    });
}

void Faults::stopManager() {
    // The sound goes on without a manager.
    happen("manager stopped, goes on", false, Able::probe, [this] {
        world_.sound().pauseManager();
        pause(100, 5000);
        world_.sound().resumeManager();
    });
}

void Faults::stopBoth() {
    happen("both stopped, go on", true, Able::probe, [this] {
        const bool serverFirst = draw(0, 1) == 0;
        serverFirst ? world_.sound().pause() : world_.sound().pauseManager();
        pause(0, 1000);
        serverFirst ? world_.sound().pauseManager() : world_.sound().pause();
        pause(100, 2500);
        const bool serverGoesFirst = draw(0, 1) == 0;
        serverGoesFirst ? world_.sound().resume() : world_.sound().resumeManager();
        pause(0, 1000);
        serverGoesFirst ? world_.sound().resumeManager() : world_.sound().resume();
    });
}

void Faults::killStoppedServer() {
    happen("server stopped, then killed", true, Able::probe, [this] {
        world_.sound().pause();
        pause(0, 500);
        world_.sound().pauseManager();
        pause(100, 2500);
        world_.sound().killServer();
        pause(0, 500);
        world_.sound().killManager();
        pause(0, 1000);
        startServerAndManager();
    });
}

void Faults::loseSink() {
    const char* sink = sinks[draw(0, 1)];
    happen("a sink goes", true, Able::probe,
           [&] { expect(PrivatePipeWire::unplug(sink), "the sink did not go"); });
    happen("a sink comes", true, Able::probe,
           [&] { expect(PrivatePipeWire::plug(sink), "the sink did not come"); });
}

void Faults::loseAllSinks() {
    happen("all sinks go and come", true, Able::probe, [this] {
        unplugBoth();
        plugBoth(4000);
    });
}

void Faults::changeDefault() {
    happen("default changes", true, Able::probe,
           [this] { expect(PrivatePipeWire::setDefault(sinks[draw(0, 1)]), "the default did not change"); });
}

void Faults::chooseOutput() {
    happen("output chosen", true, Able::probe, [this] {
        const int choice = draw(0, 2);
        expect(world_.control({"output", choice == 2 ? "default" : sinks[choice]}),
               "the output was not taken");
    });
}

void Faults::loseChosenOutput() {
    happen("third sink comes", true, Able::probe,
           [this] { expect(PrivatePipeWire::plug(sinks[2]), "the sink did not come"); });
    happen("third sink chosen", true, Able::probe, [this] {
        expect(world_.control({"output", sinks[2]}), "the output was not taken");
    });
    happen("chosen sink goes", true, Able::probe,
           [this] { expect(PrivatePipeWire::unplug(sinks[2]), "the sink did not go"); });
    happen("output chosen", true, Able::probe, [this] {
        expect(world_.control({"output", "default"}), "the output was not taken");
    });
}

void Faults::slowSinks() {
    happen("sinks slow, then fast", true, Able::probe, [this] {
        expect(setQuantum(draw(0, 1) == 0 ? "1024" : "2048"), "the sinks did not change");
        pause(500, 2000);
        expect(setQuantum("0"), "the sinks did not change");
    });
}

void Faults::changeSet() {
    happen("set changes", false, Able::atOnce, [this] {
        for (int i = draw(1, 4); i > 0; --i) {
            expect(world_.control({"set", sets[draw(0, 2)]}), "the set was not taken");
        }
    });
}

void Faults::openWindows() {
    happen("windows open and close", false, Able::atOnce, [this] {
        expect(world_.control({"settings"}), "the settings were not taken");
        const bool open = eventually([this] { return world_.windows().has_value(); }, 10s);
        expect(open, "the settings did not open");
        pause(500, 1500);
        if (const auto windows = world_.windows()) {
            ::kill(*windows, draw(0, 2) == 0 ? SIGKILL : SIGTERM);
        }
        expect(eventually([this] { return !world_.windows(); }, 10s), "the settings did not close");
    });
}

void Faults::fillDisk() {
    happen("disk of the settings full", false, Able::atOnce, [this] {
        const auto filler = settingsDisk_ / "filler";
        std::ofstream file(filler, std::ios::binary);
        const std::string block(1024, 'x');
        while (file.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
        }
        file.close();
        for (int i = 0; i < 3; ++i) {
            expect(world_.control({"volume", "0." + std::to_string(draw(5, 8))}), "the volume was not taken");
            expect(world_.control({"set", sets[draw(0, 2)]}), "the set was not taken");
            pause(0, 700);
        }
        std::error_code ignored;
        std::filesystem::remove(filler, ignored);
        expect(world_.control({"volume", "0.6"}), "the volume was not taken");
    });
}

void Faults::typeNothing() {
    happen("nobody types for 12 s", false, Able::atOnce, [this] {
        typist_.rest(true);
        std::this_thread::sleep_for(12s);
        typist_.rest(false);
    });
}

void Faults::restart() {
    happen("program ended and started", true, Able::atOnce, [this] {
        if (draw(0, 3) == 0) {
            world_.kill();
        } else {
            expect(world_.quit(), "the program did not end well");
        }
        pause(0, 1000);
        world_.launch();
    });
}

void Faults::restartWithoutServer() {
    happen("program started before the server", true, Able::probe, [this] {
        expect(world_.quit(), "the program did not end well");
        world_.sound().kill();
        pause(0, 500);
        world_.launch();
        pause(0, 3000);
        startServerAndManager();
    });
}

} // namespace keysong::bench
