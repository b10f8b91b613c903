#include "Linux/Files/LinuxPlaces.h"
#include "Linux/Frontmost/AtspiFrontmost.h"
#include "Linux/Frontmost/KwinFrontmost.h"
#include "Shared/WholeFile.h"
#include "support/AccessibleClient.h"
#include "support/FrontmostFollower.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace keysong {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct BusFrontmostTest : testing::Test {
    test::PrivateBus bus;
    LinuxPlaces places;

    void SetUp() override { ASSERT_TRUE(bus.start()); }

    static InstalledApplications::List applications() {
        return {{"org.example.First", "", "", "", "First", true},
                {"this-test", "", "", std::filesystem::canonical("/proc/self/exe").string(), "", true}};
    }
};

/// KWin's part: it takes one script, and calls the receiver that the script names.
class FakeKwin {
  public:
    FakeKwin() : bus_(test::PrivateBus::connect()) {
        static const sd_bus_vtable scripting[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_METHOD("unloadScript", "s", "b", unload, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_METHOD("loadScript", "ss", "i", load, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_METHOD("start", "", "", start, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_VTABLE_END,
        };
        sd_bus_add_object_vtable(bus_.get(), nullptr, "/Scripting", "org.kde.kwin.Scripting", scripting,
                                 this);
        sd_bus_request_name(bus_.get(), "org.kde.KWin", 0);
    }

    void serve() {
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
    }

    /// A window is activated, as the script would tell; `from` may be somebody else.
    void tell(sd_bus* from, const char* desktopFile, const char* windowClass, const char* process) const {
        sd_bus_call_method_async(from, nullptr, receiver.c_str(), "/com/orlen/keysong/Frontmost",
                                 "com.orlen.keysong.Frontmost", "Activated", nullptr, nullptr, "sss",
                                 desktopFile, windowClass, process);
        sd_bus_flush(from);
    }
    void tell(const char* desktopFile, const char* windowClass, const char* process) const {
        tell(bus_.get(), desktopFile, windowClass, process);
    }

    std::string script;
    std::string receiver;
    std::string name;
    std::vector<std::string> calls;

  private:
    static int unload(sd_bus_message* call, void* data, sd_bus_error*) {
        static_cast<FakeKwin*>(data)->calls.emplace_back("unload");
        return sd_bus_reply_method_return(call, "b", 0);
    }
    static int load(sd_bus_message* call, void* data, sd_bus_error*) {
        auto& kwin = *static_cast<FakeKwin*>(data);
        const char* path = nullptr;
        const char* name = nullptr;
        sd_bus_message_read(call, "ss", &path, &name);
        kwin.script = readWholeFile(path, 10'000);
        const std::size_t begin = kwin.script.find("\":") + 1;
        kwin.receiver = kwin.script.substr(begin, kwin.script.find('"', begin) - begin);
        kwin.name = name;
        kwin.calls.emplace_back("load");
        return sd_bus_reply_method_return(call, "i", 3);
    }
    static int start(sd_bus_message* call, void* data, sd_bus_error*) {
        static_cast<FakeKwin*>(data)->calls.emplace_back("start");
        return sd_bus_reply_method_return(call, "");
    }

    test::PrivateBus::Client bus_;
};

TEST_F(BusFrontmostTest, KwinRunsAScriptThatTellsOfWindows) {
    auto kwin = std::make_unique<FakeKwin>();
    auto follower = std::make_unique<test::FrontmostFollower>(makeKwinFrontmost(places), applications());
    const auto hears = [&](const std::string& identifier) {
        return follower->waitUntil([&] { return follower->isLast(identifier); }, [&] { kwin->serve(); });
    };
    ASSERT_TRUE(follower->waitUntil([&] { return kwin->calls.size() == 3; }, [&] { kwin->serve(); }));
    EXPECT_THAT(kwin->calls, ElementsAre("unload", "load", "start"));
    EXPECT_EQ(kwin->name, "com.orlen.keysong.frontmost");
    EXPECT_THAT(kwin->script,
                HasSubstr("callDBus(\"" + kwin->receiver + "\", \"/com/orlen/keysong/Frontmost\""));
    ASSERT_TRUE(follower->follows("KWin"));

    kwin->tell("org.kde.konsole", "konsole", "1");
    EXPECT_TRUE(hears("org.kde.konsole"));
    kwin->tell("", "First", "0");
    EXPECT_TRUE(hears("org.example.First"));
    kwin->tell("", "", std::to_string(getpid()).c_str());
    EXPECT_TRUE(hears("this-test"));
    const auto stranger = test::PrivateBus::connect();
    kwin->tell(stranger.get(), "org.stranger", "", "");
    kwin->tell("", "", "nonsense");
    EXPECT_TRUE(hears("none"));
    EXPECT_THAT(follower->told(), ElementsAre("org.kde.konsole", "org.example.First", "this-test", "none"))
        << "nobody but KWin is listened to";

    // KWin goes and comes back.
    kwin.reset();
    EXPECT_TRUE(follower->follows("none"));
    kwin = std::make_unique<FakeKwin>();
    ASSERT_TRUE(follower->waitUntil([&] { return kwin->calls.size() == 3; }, [&] { kwin->serve(); }));
    kwin->tell("org.kde.konsole", "", "");
    EXPECT_TRUE(hears("org.kde.konsole"));

    // Nothing is left behind.
    follower.reset();
    EXPECT_TRUE(
        test::PumpedQueue().runUntil([&] { return kwin->calls.back() == "unload"; }, [&] { kwin->serve(); }));
    EXPECT_FALSE(std::filesystem::exists(bus.runtimeFolder() / "keysong-frontmost.js"));
}

/// The real accessibility bus, with the test in the part of an application on it.
struct AtspiFrontmostTest : BusFrontmostTest {
    test::ChildProcess accessibility;

    void SetUp() override {
        BusFrontmostTest::SetUp();
        accessibility.start({"/usr/libexec/at-spi-bus-launcher"}, {{{"HOME", bus.runtimeFolder()},
                                                                    {"XDG_CACHE_HOME", bus.runtimeFolder()},
                                                                    {"GSETTINGS_BACKEND", "memory"},
                                                                    {"DISPLAY", ""},
                                                                    {"WAYLAND_DISPLAY", ""}}});
    }

    void TearDown() override {
        // The service ends with the session's bus, and takes along the bus that it has started.
        bus.kill();
        accessibility.wait();
    }

    static int setEnabled(sd_bus* session, bool enabled) {
        return sd_bus_set_property(session, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Status", "IsEnabled",
                                   nullptr, "b", static_cast<int>(enabled));
    }

    /// An event as toolkits send it.
    static void send(const test::PrivateBus::Client& application, const char* event, const char* window) {
        sd_bus_emit_signal(application.get(), window, "org.a11y.atspi.Event.Window", event, "siiva{sv}", "",
                           0, 0, "s", "a title", 0);
        sd_bus_flush(application.get());
    }
};

TEST_F(AtspiFrontmostTest, ListensOnlyWhereAccessibilityIsOn) {
    const auto session = test::PrivateBus::connect();
    test::FrontmostFollower follower(makeAtspiFrontmost(), applications());
    ASSERT_TRUE(follower.waitUntil([&] { return setEnabled(session.get(), false) >= 0; }));
    EXPECT_GE(setEnabled(session.get(), true), 0);
    // The next try finds it.
    ASSERT_TRUE(follower.follows("AT-SPI"));

    const auto application = test::PrivateBus::connect(test::AccessibleClient::addressOfBus());
    ASSERT_NE(application, nullptr);
    send(application, "Activate", "/org/a11y/atspi/accessible/1");
    EXPECT_TRUE(follower.hears("this-test"));
    // A dialog of the same application: the old window's end is not the application's.
    send(application, "Activate", "/org/a11y/atspi/accessible/2");
    send(application, "Deactivate", "/org/a11y/atspi/accessible/1");
    send(application, "Deactivate", "/org/a11y/atspi/accessible/2");
    EXPECT_TRUE(follower.hears("none"));
    {
        const auto second = test::PrivateBus::connect(test::AccessibleClient::addressOfBus());
        send(second, "Activate", "/org/a11y/atspi/accessible/1");
        EXPECT_TRUE(follower.hears("this-test"));
    } // an application that crashes says no goodbye
    EXPECT_TRUE(follower.hears("none"));
    EXPECT_THAT(follower.told(), ElementsAre("this-test", "none", "this-test", "none"));

    // The accessibility bus goes with the session's.
    bus.kill();
    EXPECT_TRUE(follower.follows("none"));
}

TEST_F(AtspiFrontmostTest, NeverSwitchesAccessibilityOn) {
    const auto session = test::PrivateBus::connect();
    ASSERT_TRUE(test::PumpedQueue().runUntil([&] { return setEnabled(session.get(), false) >= 0; }));
    auto loop = EpollRunLoop::make();
    const auto source = makeAtspiFrontmost();
    struct Listener final : FrontmostSource::Listener {
        void sourceReady() override { loop->stop(); }
        void sourceFailed(FrontmostSource::Failure failure) override {
            result = failure;
            loop->stop();
        }
        void windowInFront(std::optional<WindowIdentity>) override {}
        EpollRunLoop* loop = nullptr;
        std::optional<FrontmostSource::Failure> result;
    } listener;
    listener.loop = loop.get();
    source->open(*loop, listener);
    loop->run();
    source->close();
    EXPECT_EQ(listener.result, FrontmostSource::Failure::notOffered);
    int enabled = -1;
    sd_bus_get_property_trivial(session.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Status",
                                "IsEnabled", nullptr, 'b', &enabled);
    EXPECT_EQ(enabled, 0);
}

} // namespace
} // namespace keysong
