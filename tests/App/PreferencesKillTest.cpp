#include "App/PreferenceDomains.h"
#include "App/Preferences.h"
#include "Linux/Files/LinuxDurableFiles.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>
#include <vector>

namespace keysong {
namespace {

namespace fs = std::filesystem;

/// Lets a writer begin, kills it after `delay`, and returns the last number that it said it had stored; 0
/// when it said nothing.
std::int64_t storedWhenKilled(const fs::path& root, std::chrono::microseconds delay) {
    const fs::path said = root / "said";
    fs::remove(said);
    test::ChildProcess writer;
    writer.start({KEYSONG_PREFERENCES_WRITER, root.string()}, {{}, said.string()});
    std::int64_t number = 0;
    if (test::eventually([&] { return fs::exists(said) && fs::file_size(said) >= sizeof number; })) {
        std::this_thread::sleep_for(delay); // the kill comes at a moment of no meaning to the writer
    }
    writer.kill();
    std::ifstream numbers(said, std::ios::binary);
    while (numbers.read(reinterpret_cast<char*>(&number), sizeof number)) {
    }
    return number;
}

std::size_t filesIn(const fs::path& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

/// Kills so many writers of one folder, one after the other; returns how many of them were writing.
int killWriters(int kills, unsigned seed) {
    const test::TempFolder folder;
    const LinuxDurableFiles files{};
    const PreferenceDomains domains(folder.path(), files);
    const auto domainFolder = domains.fileOf("killed").parent_path();
    std::minstd_rand random(seed);
    std::uniform_int_distribution<int> microseconds(0, 3000);
    int writing = 0;
    for (int round = 0; round < kills; ++round) {
        const std::int64_t said =
            storedWhenKilled(folder.path(), std::chrono::microseconds(microseconds(random)));
        EXPECT_GT(said, 0) << "the writer did not begin";
        const auto values = domains.persistentDomain("killed");
        if (!values) {
            ADD_FAILURE() << "torn or lost after " << said;
            return writing;
        }
        const auto number = values->at("number").get<std::int64_t>();
        EXPECT_TRUE(number == said || number == said + 1) << number << " after " << said;
        EXPECT_EQ(values->at("padding").get<std::string>().size(),
                  static_cast<std::size_t>(number * 997 % 20'000));
        writing += filesIn(domainFolder) > 1 ? 1 : 0;
        const Preferences reopened(domains, "killed", nullptr);
        EXPECT_EQ(filesIn(domainFolder), 1U) << "what a killed writer left is still there";
    }
    return writing;
}

TEST(PreferencesKill, AThousandKilledWritersTearAndLoseNothing) {
    constexpr int lanes = 4; // they wait for the disk most of the time
    constexpr int killsInLane = 250;
    std::atomic<int> writing = 0;
    std::vector<std::thread> killers;
    for (unsigned lane = 1; lane <= lanes; ++lane) {
        killers.emplace_back([&writing, lane] { writing += killWriters(killsInLane, lane); });
    }
    for (std::thread& killer : killers) {
        killer.join();
    }
    std::printf("%d of %d writers were killed while they wrote\n", writing.load(), lanes * killsInLane);
    EXPECT_GT(writing, 0) << "no kill met a write: the test shows nothing";
}

} // namespace
} // namespace keysong
