#pragma once

#include "Audio/SoundEngine.h"
#include "Linux/Sound/PipeWireOutput.h"
#include "Linux/System/LinuxThreads.h"
#include "Linux/System/MonotonicClock.h"
#include "support/Eventually.h"
#include "support/LogCapture.h"
#include "support/PrivatePipeWire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace keysong::test {

/// The machine's clock, remembering what it answered last: the time that a hit carries.
class RememberingClock final : public Clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const noexcept override {
        const auto time = clock_.now();
        last_ = time.count();
        return time;
    }
    [[nodiscard]] std::int64_t last() const { return last_; }

  private:
    MonotonicClock clock_;
    mutable std::atomic<std::int64_t> last_ = 0;
};

/// The positions of single clicks in a recording.
std::vector<std::int64_t> clicksIn(const std::filesystem::path& file);

/// A private sound server and what is needed to play clicks on it.
class PipeWireFixture : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(server.start()) << "no private PipeWire server"; }

    /// A set whose every sound is one click, without variation.
    std::shared_ptr<const SoundSet> clickSet();
    /// Starts a recorder on a sink's monitor and waits until it records; the file is in the folder.
    ChildProcess startRecording(const std::string& sink, const std::string& name);
    /// Plays hits, and says whether any is heard on a sink.
    [[nodiscard]] bool isHeardOn(const std::string& sink, SoundEngine& engine);

    TempFolder folder;
    PrivatePipeWire server;
    LinuxThreads threads;
    RememberingClock clock;
};

} // namespace keysong::test
