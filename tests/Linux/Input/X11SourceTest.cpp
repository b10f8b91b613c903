#include "Linux/Input/X11Source.h"

#include "Input/EventDecoder.h"
#include "Input/EventTap.h"
#include "Input/InputDevTest.h"
#include "Linux/System/LinuxThreads.h"
#include "support/Eventually.h"
#include "support/LogCapture.h"
#include "support/PrivateXServer.h"
#include "support/TempFolder.h"
#include "support/XTestClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <filesystem>
#include <mutex>
#include <thread>

namespace keysong {
namespace {

namespace fs = std::filesystem;
using test::LogCapture;
using test::XTestClient;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr EventMask everything = ~EventMask{0};
constexpr std::chrono::seconds patience{20};

/// Descriptors that this process has open.
std::ptrdiff_t openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

/// A tap served by a thread of its own, which keeps what it hears and enables the tap as often as it must.
class Listener {
  public:
    explicit Listener(X11Source source)
        : tap_(source.createTap(everything, [this](const RawEvent& event) { take(event); })) {
        if (tap_ == nullptr) {
            throw std::runtime_error("no tap");
        }
        loop_ = tap_->makeRunLoop();
        loop_->addTimer(std::chrono::milliseconds(5), std::chrono::milliseconds(5), [this] { keepAlive(); });
        thread_ = std::thread([this] { loop_->run(); });
    }
    ~Listener() {
        loop_->stop();
        thread_.join();
    }

    /// What was heard since the last call. An injected key, whose place in the order is certain, ends it.
    std::vector<RawEvent> heard(const XTestClient& client) {
        client.tap(XTestClient::injected, KEY_F12);
        constexpr std::int64_t lastCode = 111;
        waitUntil([&] {
            return !events_.empty() && events_.back().type == RawEventType::keyUp &&
                   events_.back().keycode == lastCode;
        });
        const std::lock_guard lock(mutex_);
        auto events = std::exchange(events_, {});
        events.resize(events.size() < 2 ? 0 : events.size() - 2);
        return events;
    }
    /// The same as the program would hear it.
    std::vector<std::string> sounds(const XTestClient& client) {
        std::vector<std::string> sounds;
        for (const RawEvent& event : heard(client)) {
            if (const auto sound = decoder_.decode(event.type, event)) {
                sounds.push_back(InputDevTest::describe(sound));
            }
        }
        return sounds;
    }

    void waitForNotice() {
        waitUntil([&] { return notices_ > 0; });
    }
    void waitUntilEnabled() {
        waitUntil([&] { return enabled_; });
    }

  private:
    void take(const RawEvent& event) {
        const std::lock_guard lock(mutex_);
        if (event.type == RawEventType::tapDisabledByUserInput) {
            ++notices_;
            enabled_ = false;
        } else {
            events_.push_back(event);
        }
    }

    void keepAlive() {
        if (!tap_->isEnabled()) {
            tap_->enable();
        }
        const std::lock_guard lock(mutex_);
        enabled_ = tap_->isEnabled();
    }

    template <typename Condition>
    void waitUntil(Condition condition) {
        EXPECT_TRUE(test::eventually([&] {
            const std::lock_guard lock(mutex_);
            return condition();
        })) << "waited in vain";
    }

    std::mutex mutex_;
    std::vector<RawEvent> events_;
    int notices_ = 0;
    bool enabled_ = false;
    EventDecoder decoder_;
    std::unique_ptr<InputTap> tap_;
    std::unique_ptr<RunLoop> loop_;
    std::thread thread_;
};

class X11SourceTest : public testing::Test {
  protected:
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        if (server == nullptr) {
            server = std::make_unique<test::PrivateXServer>();
        }
        if (!server->isRunning()) {
            restartServer();
        }
    }

    /// A server that knows nothing of the tests before.
    static void restartServer() {
        server->kill();
        ASSERT_TRUE(server->start()) << "Xvfb does not start";
    }

    /// A kernel device's entry in a sysfs of the test's own.
    void addToSysfs(const std::string& event, const std::string& device) const {
        const auto target = folder.makeFolder("devices/" + device + "/" + event);
        fs::create_directories(folder.path() / "class");
        fs::create_directory_symlink(target, folder.path() / "class" / event);
    }

    /// What the kernel would say of the device that the entry belongs to.
    void describeInSysfs(const std::string& event, const std::string& bus, const std::string& phys) const {
        folder.write("class/" + event + "/device/id/bustype", bus + "\n");
        folder.write("class/" + event + "/device/phys", phys + "\n");
    }

    static inline std::unique_ptr<test::PrivateXServer> server;
    test::TempFolder folder;
};

TEST_F(X11SourceTest, HardwareSoundsAndInjectedInputDoesNot) {
    const XTestClient client(server->display());
    const auto keyboard = client.deviceNamed("Xvfb keyboard");
    const auto mouse = client.deviceNamed("Xvfb mouse");
    Listener listener{X11Source(server->display())};

    const auto act = [&client](XTestClient::DeviceId keys, XTestClient::DeviceId buttons) {
        client.tap(keys, KEY_A);
        client.key(keys, KEY_S, true);
        client.key(keys, KEY_S, true); // as a driver does that repeats a held key
        client.tap(keys, KEY_S);
        for (const int number : {1, 2, 3}) {
            client.button(buttons, number, true);
            client.button(buttons, number, false);
        }
    };
    act(keyboard, mouse);
    EXPECT_THAT(listener.sounds(client),
                ElementsAre("keyDown 0 [main]", "keyUp 0 [main]", "keyDown 1 [main]", "keyUp 1 [main]",
                            "mouseDown left", "mouseUp left", "mouseDown other", "mouseUp other",
                            "mouseDown right", "mouseUp right"));
    act(XTestClient::injected, XTestClient::injected);
    EXPECT_THAT(listener.sounds(client), IsEmpty());
}

TEST_F(X11SourceTest, RawEventsCarryFlagsOriginAndDirection) {
    const XTestClient client(server->display());
    const auto keyboard = client.deviceNamed("Xvfb keyboard");
    Listener listener{X11Source(server->display())};

    client.key(keyboard, KEY_RIGHTALT, true);
    client.tap(XTestClient::injected, KEY_A);
    client.key(keyboard, KEY_RIGHTALT, false);
    // Xvfb's own mouse has no wheel; the device of the injectors has one.
    for (const int number : {4, 5, 6, 7, 9}) {
        client.button(XTestClient::injected, number, true);
        client.button(XTestClient::injected, number, false);
    }
    const auto events = listener.heard(client);
    ASSERT_EQ(events.size(), 8U);
    EXPECT_EQ(events[0].type, RawEventType::keyDown);
    EXPECT_EQ(events[0].keycode, 61);
    EXPECT_EQ(events[0].flags, nonCoalescedFlag | optionFlag | rightOptionFlag);
    EXPECT_EQ(events[1].type, RawEventType::keyDown);
    EXPECT_EQ(events[1].sourceState, softwareSourceState);
    EXPECT_EQ(events[1].flags, std::uint64_t{nonCoalescedFlag})
        << "the hardware's modifier is not software's";
    EXPECT_EQ(events[3].flags, std::uint64_t{nonCoalescedFlag});
    EXPECT_EQ(events[4].lineDelta, -1);
    EXPECT_EQ(events[5].lineDelta, 1);
    EXPECT_EQ(events[6].type, RawEventType::otherMouseDown) << "a sideways notch is nothing";
    EXPECT_EQ(events[7].type, RawEventType::otherMouseUp);
}

TEST_F(X11SourceTest, AGrabHidesNothingAndAHeldKeyDoesNotRepeat) {
    const XTestClient client(server->display());
    const auto keyboard = client.deviceNamed("Xvfb keyboard");
    Listener listener{X11Source(server->display())};

    client.grabKeyboard();
    client.key(keyboard, KEY_A, true);
    ASSERT_TRUE(client.receivesPresses(5)) << "the server does not repeat";
    client.key(keyboard, KEY_A, false);
    EXPECT_THAT(listener.sounds(client), ElementsAre("keyDown 0 [main]", "keyUp 0 [main]"));
}

TEST_F(X11SourceTest, VirtualKernelDevicesAreSoftware) {
    const std::string pci = "pci0000:00/0000:00:14.0/usb1/1-1/input/input7";
    addToSysfs("event1007", pci);
    addToSysfs("event1008", "virtual/input/input8");
    addToSysfs("event1009", "virtual/misc/uhid/0005:1234:5678.0001/input/input9");
    addToSysfs("event1010", "virtual/input/input10");
    describeInSysfs("event1010", "0019", "wmi/input0"); // a vendor's hot keys
    addToSysfs("event1011", "virtual/input/input11");
    describeInSysfs("event1011", "0003", "usb-0000:00:14.0-1/input0"); // a program's, which can say so
    addToSysfs("mice", "virtual/input");
    const XTestClient client(server->display());
    const auto keyboard = client.deviceNamed("Xvfb keyboard");
    const X11Source source(server->display(), folder.path() / "class");
    const std::pair<const char*, bool> rows[] = {{"/dev/input/event1007", true},
                                                 {"/dev/input/event1008", false},
                                                 {"/dev/input/event1009", true},
                                                 {"/dev/input/event1010", true},
                                                 {"/dev/input/event1011", false},
                                                 {"/dev/input/event1099", true},
                                                 {"/dev/input/mice", true},
                                                 {"../../class/event1008", false},
                                                 {"event", true},
                                                 {"", true}};
    for (const auto& [node, hardware] : rows) {
        client.setNode(keyboard, node);
        Listener listener(source);
        client.tap(keyboard, KEY_A);
        EXPECT_EQ(listener.sounds(client).size(), hardware ? 2U : 0U) << node;
    }
}

TEST_F(X11SourceTest, DevicesAreLookedAtAgainWhenTheyChange) {
    addToSysfs("event1008", "virtual/input/input8");
    const XTestClient client(server->display());
    const auto keyboard = client.deviceNamed("Xvfb keyboard");
    Listener listener(X11Source(server->display(), folder.path() / "class"));

    client.key(keyboard, KEY_LEFTSHIFT, true);
    client.addMaster("hot");
    client.tap(client.deviceNamed("hot XTEST keyboard"), KEY_A);
    EXPECT_THAT(listener.sounds(client), ElementsAre("keyDown 56 [modifier]"))
        << "a new device injects, and Shift of another is still held";

    client.setEnabled(keyboard, false);
    EXPECT_THAT(listener.sounds(client), ElementsAre("keyUp 56 [modifier]")) << "an unplugged one lets go";
    client.setNode(keyboard, "/dev/input/event1008");
    client.setEnabled(keyboard, true);
    client.tap(keyboard, KEY_A);
    EXPECT_THAT(listener.sounds(client), IsEmpty()) << "it came back as a virtual one";

    client.setEnabled(keyboard, false);
    client.setNode(keyboard, "");
    client.setEnabled(keyboard, true);
    client.tap(keyboard, KEY_A);
    EXPECT_EQ(listener.sounds(client).size(), 2U);
}

TEST_F(X11SourceTest, ALostServerIsToldAtOnceAndLeavesNoDescriptor) {
    X11Source source(server->display());
    const auto before = openDescriptors();
    std::unique_ptr<RunLoop> loop;
    std::unique_ptr<InputTap> tap;
    std::vector<RawEventType> told;
    tap = source.createTap(everything, [&](const RawEvent& event) {
        told.push_back(event.type);
        EXPECT_FALSE(tap->isEnabled());
        tap->enable(); // as the owner does when it is told
        EXPECT_FALSE(tap->isEnabled());
        loop->stop();
    });
    ASSERT_NE(tap, nullptr);
    loop = tap->makeRunLoop();
    EXPECT_TRUE(tap->isEnabled());
    EXPECT_GT(openDescriptors(), before);
    loop->addTimer(patience, patience, [&] { loop->stop(); });

    // A change of devices still waits: the dead server is asked about it in vain.
    XTestClient(server->display()).addMaster("late");
    server->kill();
    loop->run();
    EXPECT_THAT(told, ElementsAre(RawEventType::tapDisabledByUserInput));
    loop.reset();
    EXPECT_EQ(openDescriptors(), before) << "the tap itself still lives";
}

TEST_F(X11SourceTest, AServerThatComesBackIsHeardAgain) {
    Listener listener{X11Source(server->display())};
    listener.waitUntilEnabled();
    const auto before = openDescriptors();
    {
        const XTestClient client(server->display());
        client.key(client.deviceNamed("Xvfb keyboard"), KEY_LEFTSHIFT, true);
        EXPECT_THAT(listener.sounds(client), ElementsAre("keyDown 56 [modifier]"));
    }
    server->kill();
    listener.waitForNotice();
    restartServer();
    listener.waitUntilEnabled();
    EXPECT_EQ(openDescriptors(), before);

    const XTestClient client(server->display());
    client.tap(client.deviceNamed("Xvfb keyboard"), KEY_A);
    const auto events = listener.heard(client);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].sourceState, hardwareSourceState);
    EXPECT_EQ(events[0].flags, std::uint64_t{nonCoalescedFlag}) << "what was held before is forgotten";
}

TEST_F(X11SourceTest, WithoutAUsableServerNoTapStartsAndTheLogSaysWhy) {
    unsetenv("DISPLAY");
    struct Row {
        std::string display;
        const char* reason;
        std::function<void(const XTestClient&)> prepare;
    };
    const Row rows[] = {{"", "no display is named", {}},
                        {"nonsense", "no display is named", {}},
                        {server->display() + ".9", "does not answer", {}},
                        {":59000", "does not answer", {}},
                        {server->display(), "inside a Wayland session",
                         [](const XTestClient& client) { client.addMonitor("XWAYLAND3"); }},
                        {server->display(), "inside a Wayland session",
                         [](const XTestClient& client) { client.addMaster("xwayland-keyboard:17"); }}};
    LinuxThreads threads;
    for (const Row& row : rows) {
        if (row.prepare) {
            restartServer();
            row.prepare(XTestClient(server->display()));
        }
        const auto before = openDescriptors();
        X11Source source(row.display);
        EXPECT_FALSE(source.hasAccess()) << row.display;
        EventTap tap(source, threads, [](SoundEvent, std::chrono::nanoseconds) {});
        try {
            tap.start();
            ADD_FAILURE() << "a tap on " << row.display;
        } catch (const EventTapError& error) {
            EXPECT_EQ(error.kind(), EventTapError::Kind::notTrusted);
        }
        EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice).back(), HasSubstr(row.reason))
            << row.display;
        EXPECT_EQ(openDescriptors(), before);
    }
    server->kill(); // no other test is to find what this one left there
}

} // namespace
} // namespace keysong
