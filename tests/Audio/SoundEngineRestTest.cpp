// When the engine lets its output rest, and what wakes it.
#include "support/EngineFixture.h"

namespace keysong::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class SoundEngineRestTest : public EngineFixture {
  protected:
    void startWithASet(std::size_t frames = 480) {
        engine->load(makeSet("one", {}, frames));
        engine->start();
    }
    /// Whether the output rests after so much time without a period.
    bool restsAfter(std::chrono::nanoseconds time) {
        clock.advance(time);
        engine->restIfUnused();
        return output.isResting();
    }
};

TEST_F(SoundEngineRestTest, TenSecondsWithoutUseAndEverySignOfUseWakes) {
    engine->restIfUnused();
    EXPECT_FALSE(output.isResting()) << "it does not even run";
    startWithASet();
    EXPECT_FALSE(restsAfter(milliseconds(9'999)));
    engine->noteInput();
    EXPECT_FALSE(restsAfter(milliseconds(9'999)));
    EXPECT_TRUE(restsAfter(milliseconds(1)));
    EXPECT_TRUE(engine->isPlaying()) << "to whoever asks it still runs";
    EXPECT_EQ(engine->activeOutputDeviceUid(), "uid-a");

    const std::vector<std::function<void()>> wakers = {
        [&] { engine->noteInput(); },
        [&] { engine->play(SoundEvent::keyDown(0)); },
        [&] { engine->load(makeSet("two")); },
        [&] { engine->setOutputDevice("uid-b", false); },
    };
    for (std::size_t waker = 0; waker < wakers.size(); ++waker) {
        wakers[waker]();
        EXPECT_FALSE(output.isResting()) << waker;
        render(20);
        EXPECT_FALSE(restsAfter(seconds(9))) << waker;
        EXPECT_TRUE(restsAfter(seconds(1))) << waker;
    }
    engine->play(SoundEvent::mouseDown(MouseButton::other));
    EXPECT_TRUE(output.isResting()) << "the set has no sound for it";
}

TEST_F(SoundEngineRestTest, SoonWhereNothingWouldBeHeard) {
    engine->start();
    EXPECT_FALSE(restsAfter(milliseconds(499)));
    EXPECT_TRUE(restsAfter(milliseconds(1))) << "no set";
    engine->noteInput();
    EXPECT_TRUE(output.isResting());
    engine->load(makeSet("one"));
    EXPECT_FALSE(output.isResting());

    engine->setMuted(true);
    engine->noteInput();
    EXPECT_TRUE(restsAfter(milliseconds(500)));
    engine->noteInput();
    engine->play(SoundEvent::keyDown(0));
    EXPECT_TRUE(output.isResting());
    engine->setMuted(false);
    EXPECT_FALSE(restsAfter(seconds(9))) << "whoever turns it on is about to type";

    engine->setListening(false);
    EXPECT_TRUE(restsAfter(milliseconds(0)));
    engine->noteInput();
    EXPECT_TRUE(output.isResting());
    engine->play(SoundEvent::keyDown(0));
    EXPECT_FALSE(output.isResting()) << "a preview needs nobody who listens";
    render(20);
    engine->setListening(true);
    EXPECT_FALSE(restsAfter(seconds(9)));
}

TEST_F(SoundEngineRestTest, NotBeforeTheLastSoundHasEnded) {
    startWithASet(48'000);
    engine->play(SoundEvent::keyDown(0));
    render(4);
    engine->setMuted(true);
    EXPECT_FALSE(restsAfter(seconds(20)));
    render(400);
    EXPECT_TRUE(restsAfter(seconds(1)));
}

// The start may take long, and somebody looks every second.
TEST_F(SoundEngineRestTest, AnOutputThatWasSentToRestWhileItStartedIsAwakeAfterwards) {
    startWithASet();
    output.setConfigurationChangeHandler({});
    output.unplug(1);
    EXPECT_TRUE(restsAfter(seconds(20))) << "the engine does not know yet";
    engine->setOutputDevice("uid-b", true);
    EXPECT_FALSE(output.isResting());
    EXPECT_TRUE(restsAfter(seconds(10)));
}

} // namespace
} // namespace keysong::test
