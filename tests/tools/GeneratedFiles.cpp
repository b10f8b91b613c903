#include "GeneratedFiles.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>

namespace keysong::soundgen {
namespace {

std::string bytesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

} // namespace

std::map<std::string, std::string> bytesOfFolder(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files[entry.path().filename().string()] = bytesOf(entry.path());
    }
    return files;
}

SetDescription builtInDescription(const std::string& id) {
    const std::filesystem::path folder = KEYSONG_SOUND_DESCRIPTIONS;
    return parseDescription(bytesOf(folder / (id + ".set")),
                            [&](std::string_view name) { return std::optional(bytesOf(folder / name)); });
}

Signal readSound(const std::filesystem::path& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_NE(file, nullptr) << path;
    EXPECT_EQ(info.samplerate, 48000) << path;
    EXPECT_EQ(info.channels, 1) << path;
    Signal signal(static_cast<std::size_t>(info.frames));
    EXPECT_EQ(sf_readf_double(file, signal.data(), info.frames), info.frames) << path;
    sf_close(file);
    return signal;
}

double levelOf(const Signal& signal, std::size_t from, std::size_t to) {
    double energy = 0;
    for (std::size_t n = from; n < std::min(to, signal.size()); ++n) {
        energy += signal[n] * signal[n];
    }
    return 10 * std::log10(std::max(energy / static_cast<double>(to - from), 1e-16));
}

double lineOf(const Signal& signal, double frequencyHz) {
    const double feedback = 2 * std::cos(2 * std::numbers::pi * frequencyHz / sampleRate);
    double last = 0;
    double beforeLast = 0;
    for (const double sample : signal) {
        const double now = sample + feedback * last - beforeLast;
        beforeLast = last;
        last = now;
    }
    return last * last + beforeLast * beforeLast - feedback * last * beforeLast;
}

double centroidOf(const Signal& signal) {
    double weighted = 0;
    double total = 0;
    // Every 25 Hz: fine enough for a sum over a decaying sound.
    for (double frequency = 25; frequency < 20000; frequency += 25) {
        const double power = lineOf(signal, frequency);
        weighted += frequency * power;
        total += power;
    }
    return weighted / total;
}

} // namespace keysong::soundgen
