#include "Linux/Sound/PipeWireCaptures.h"

#include "fakes/ManualQueue.h"
#include "support/PipeWireFixture.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace keysong::test {
namespace {

using Command = std::vector<std::string>;

/// A recorder with these properties; where it records nothing else, the default output's monitor.
Command recorder(const std::string& properties, const std::string& rate = "48000") {
    return {"pw-record", "--rate", rate, "-P", "{ stream.capture.sink = true " + properties + " }",
            "/dev/null"};
}

bool runs(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

/// Whether a link leads to the node.
bool isLinked(const std::string& node) {
    return runs("pw-link -l | grep -q -- '-> " + node + ":'");
}

class PipeWireCapturesTest : public PipeWireFixture {
  protected:
    void SetUp() override {
        PipeWireFixture::SetUp();
        captures.watch([this] { ++changes; });
        ASSERT_TRUE(PrivatePipeWire::plugMicrophone("test.microphone"));
    }
    bool becomes(bool inUse) {
        return eventually([&] {
            mainQueue.advance({});
            return captures.isInUse() == inUse;
        });
    }

    ManualQueue mainQueue;
    PipeWireCaptures captures{mainQueue};
    int changes = 0;
};

TEST_F(PipeWireCapturesTest, WhoeverTakesTheWholeSoundOfAMicrophoneOrAnOutputIsNoticed) {
    for (const Command& command : {Command{"pw-record", "--target", "test.microphone", "/dev/null"},
                                   recorder(""), recorder("stream.monitor = true"), recorder("", "8000")}) {
        SCOPED_TRACE(testing::PrintToString(command));
        ChildProcess program;
        program.start(command, {});
        EXPECT_TRUE(becomes(true));
        program.interrupt();
        EXPECT_TRUE(becomes(false));
    }
    EXPECT_EQ(changes, 8);

    ChildProcess last;
    last.start(recorder(""), {});
    EXPECT_TRUE(becomes(true));
    server.kill();
    EXPECT_TRUE(becomes(false));
    ASSERT_TRUE(server.start());
    ChildProcess next;
    next.start(recorder(""), {});
    EXPECT_TRUE(becomes(true)) << "also on the next server";
    captures.watch({});
    EXPECT_FALSE(captures.isInUse());
}

TEST_F(PipeWireCapturesTest, WhoeverTakesTheProgramsOwnStreamIsNoticed) {
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.start();
    ChildProcess program;
    program.start({"pw-record", "--target", "0", "-P", "{ node.name = taker }", "/dev/null"}, {});
    EXPECT_TRUE(eventually([] { return runs("pw-link keysong:output_FL taker:input_FL"); }));
    EXPECT_TRUE(becomes(true));
    program.interrupt();
    EXPECT_TRUE(becomes(false));
}

TEST_F(PipeWireCapturesTest, MetersAndWhatPassesTheSoundOnAreNoCaptures) {
    Command effect = recorder("node.name = effect");
    effect.insert(effect.begin() + 1, {"--media-category", "Filter"});
    for (const auto& [node, command] :
         {std::pair{"meter", recorder("stream.monitor = true node.name = meter", "25")},
          {"input.loop", {"pw-loopback", "--name", "loop", "-i", "{ stream.capture.sink = true }"}},
          {"effect", effect}}) {
        SCOPED_TRACE(node);
        ChildProcess program;
        program.start(command, {});
        ASSERT_TRUE(eventually([&, name = node] { return isLinked(name); }));
        const int before = changes;
        // Whoever captures at the same time is told of later, and leaves the other one behind.
        ChildProcess capture = PrivatePipeWire::recordMicrophone("test.microphone");
        EXPECT_TRUE(becomes(true));
        capture.interrupt();
        EXPECT_TRUE(becomes(false));
        EXPECT_EQ(changes, before + 2);
        program.interrupt();
        EXPECT_TRUE(eventually([&, name = node] { return !isLinked(name); }));
        EXPECT_EQ(changes, before + 2);
    }
    EXPECT_EQ(changes, 6) << "not for a moment either";
}

} // namespace
} // namespace keysong::test
