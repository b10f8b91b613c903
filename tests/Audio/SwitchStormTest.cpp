#include "support/SwitchStorm.h"

#include "Linux/System/LinuxThreads.h"
#include "Linux/System/MonotonicClock.h"
#include "Virtual/VirtualOutput.h"

#include <gtest/gtest.h>

namespace keysong::test {
namespace {

TEST(SwitchStorm, HitsFromTwoThreadsThroughTwoHundredSwitches) {
    LinuxThreads threads;
    const MonotonicClock clock;
    VirtualOutput output(threads, clock);
    output.devices().replace({{1, "uid-a", "A"}, {2, "uid-b", "B"}}, 1);
    SoundEngine engine(output, clock, threads, RandomSource(3));
    runSwitchStorm(engine, output, {"uid-a", "uid-b"}, 200);
}

} // namespace
} // namespace keysong::test
