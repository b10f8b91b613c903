#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "Records.h"
#include "Typist.h"
#include "World.h"

namespace keysong::bench {

/// Lets faults happen, one after the other with calm between them, drawn from a seed: the same seed draws the
/// same faults in the same order. Used by one thread, which is the world's.
class Faults {
  public:
    /// Node names of the sinks that come and go; the first two are there at the start.
    static constexpr const char* sinks[] = {"test.sink.a", "test.sink.b", "test.sink.c"};
    /// The identifiers of the sound sets.
    static constexpr const char* sets[] = {"soak-one", "soak-two", "soak-three"};

    /// `settingsDisk` is the folder of a small file system of its own that holds the settings; empty where
    /// there is none, and then it is never filled. `isEnding` says that the run is to end early.
    Faults(World& world, Typist& typist, std::uint64_t seed, std::filesystem::path settingsDisk,
           std::function<bool()> isEnding);

    /// Goes on until this time. The program is ended and started only before `lastRestart`, so that what
    /// comes after is one life whose growth can be measured. With `only`, no other kinds of fault are drawn.
    void runUntil(std::chrono::nanoseconds end, std::chrono::nanoseconds lastRestart,
                  const std::vector<std::string>& only = {});
    /// Notes the program's figures.
    void sample();

    [[nodiscard]] const std::vector<Fault>& faults() const { return faults_; }
    [[nodiscard]] const std::vector<Sample>& samples() const { return samples_; }
    /// What went wrong with a fault itself.
    [[nodiscard]] const std::vector<std::string>& problems() const { return problems_; }
    /// The names of the kinds.
    [[nodiscard]] static std::vector<std::string> kinds();

  private:
    struct Kind;
    static const std::vector<Kind> table;

    enum class Able { probe, atOnce };

    /// One fault: `action` does it and puts everything right again.
    void happen(const std::string& kind, bool mayLose, Able able, const std::function<void()>& action);
    [[nodiscard]] int draw(int least, int most);
    void pause(int least, int most);
    void expect(bool done, const char* what);
    void calm();
    [[nodiscard]] std::int64_t lateHits();

    void killServer();
    void killManager();
    void killManagerAlone();
    void stopServer();
    void stopManager();
    void stopBoth();
    void killStoppedServer();
    void loseSink();
    void loseAllSinks();
    void changeDefault();
    void chooseOutput();
    void loseChosenOutput();
    void slowSinks();
    void changeSet();
    void openWindows();
    void fillDisk();
    void typeNothing();
    void restart();
    void restartWithoutServer();
    void startServerAndManager();
    /// Ends what cannot play any more, which is no fault of the program, and begins with the sinks of the
    /// start.
    void mendWorld();
    void unplugBoth();
    /// Brings both sinks, in any order, the first within this many milliseconds.
    void plugBoth(int latest);

    World& world_;
    Typist& typist_;
    const std::chrono::nanoseconds begin_ = now();
    const std::uint64_t seed_;
    const std::filesystem::path settingsDisk_;
    const std::function<bool()> isEnding_;
    std::mt19937_64 random_;
    std::vector<Fault> faults_;
    std::vector<Sample> samples_;
    std::vector<std::string> problems_;
};

} // namespace keysong::bench
