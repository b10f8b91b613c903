#pragma once

#include "support/PrivateBus.h"

#include <sys/resource.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace keysong::test {

/// RealtimeKit, or the portal's service of the same members, on the private bus. It grants by word only.
/// Everything is set before `serve` and read after the object that asked has its answer.
class FakeRealtimeKit {
  public:
    struct Request {
        std::string member;
        std::uint64_t process;
        std::uint64_t thread;
        std::int32_t value;
    };

    /// Takes the name, but answers nothing before `serve`.
    FakeRealtimeKit(const char* name, const char* path, const char* interface);
    ~FakeRealtimeKit();
    FakeRealtimeKit(const FakeRealtimeKit&) = delete;
    FakeRealtimeKit& operator=(const FakeRealtimeKit&) = delete;

    void serve();

    bool grantsRealtime = true;
    bool grantsNice = true;
    /// The properties.
    struct Limits {
        FakeRealtimeKit* owner;
        std::int64_t longestMicroseconds = 200'000;
        std::int32_t highestPriority = 20;
        std::int32_t lowestNiceLevel = -15;
    } limits{this};
    std::vector<Request> requests;
    /// The process's limit when real time was asked for.
    rlimit limitThen{};

  private:
    static int onRealtime(sd_bus_message* message, void* limits, sd_bus_error*);
    static int onNice(sd_bus_message* message, void* limits, sd_bus_error*);
    int answer(sd_bus_message* message, char type, bool grants);

    PrivateBus::Client bus_;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

} // namespace keysong::test
