#include "Linux/Frontmost/X11Frontmost.h"

#include "Linux/System/Xcb.h"
#include "support/ChildProcess.h"
#include "support/FrontmostFollower.h"
#include "support/PrivateXServer.h"

#include <gmock/gmock.h>
#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <string_view>

namespace keysong {
namespace {

using testing::ElementsAre;

/// A program with one window, on a connection of its own.
class WindowedClient {
  public:
    explicit WindowedClient(const std::string& display, std::string_view instanceAndClass = {})
        : connection_(connectXcb(display.c_str(), nullptr)) {
        xcb_create_window(client_, XCB_COPY_FROM_PARENT, window_, root_, 0, 0, 40, 40, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        if (!instanceAndClass.empty()) {
            setClass(instanceAndClass);
        }
    }

    void setText(xcb_atom_t property, std::string_view text) {
        xcb_change_property(client_, XCB_PROP_MODE_REPLACE, window_, property, XCB_ATOM_STRING, 8,
                            static_cast<std::uint32_t>(text.size()), text.data());
        xcb_flush(client_);
    }
    void setClass(std::string_view instanceAndClass) { setText(XCB_ATOM_WM_CLASS, instanceAndClass); }

    /// Says that the window belongs to the test's own process.
    void setProcess() {
        const auto process = static_cast<std::uint32_t>(getpid());
        xcb_change_property(client_, XCB_PROP_MODE_REPLACE, window_, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL,
                            32, 1, &process);
    }

    void show() {
        xcb_map_window(client_, window_);
        xcb_flush(client_);
    }

    /// Asks the window manager to bring the window to the front, as a task bar does.
    void activate() {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window_;
        message.type = atom("_NET_ACTIVE_WINDOW");
        message.data.data32[0] = 2;
        xcb_send_event(client_, 0, root_,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(client_);
    }

    void setActiveOnRoot(std::uint32_t window) {
        xcb_change_property(client_, XCB_PROP_MODE_REPLACE, root_, atom("_NET_ACTIVE_WINDOW"),
                            XCB_ATOM_WINDOW, 32, 1, &window);
        xcb_flush(client_);
    }

    /// Returns once the server has seen to all before.
    xcb_atom_t atom(std::string_view name) {
        const auto request =
            xcb_intern_atom(client_, 0, static_cast<std::uint16_t>(name.size()), name.data());
        const auto reply = xcbRef(xcb_intern_atom_reply(client_, request, nullptr));
        return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
    }

    [[nodiscard]] xcb_window_t window() const { return window_; }

  private:
    const XcbConnection connection_;
    xcb_connection_t* const client_ = connection_.get();
    const xcb_window_t window_ = xcb_generate_id(client_);
    const xcb_window_t root_ = rootWindow(client_, 0);
};

constexpr std::string_view firstClass("first-window\0First", 18);
constexpr std::string_view secondClass("second-window\0Second", 20);

struct X11FrontmostTest : testing::Test {
    test::PrivateXServer server;
    test::ChildProcess manager;

    void SetUp() override {
        ASSERT_TRUE(server.start());
        setenv("DISPLAY", server.display().c_str(), 1);
    }
    void TearDown() override { unsetenv("DISPLAY"); }

    void startManager() { manager.start({"openbox", "--sm-disable"}, {}); }

    /// Asks for the window to come to the front until it is heard: a manager that is only starting does not
    /// listen yet.
    static bool bringsToFront(test::FrontmostFollower& follower, WindowedClient& client,
                              const std::string& identifier) {
        return follower.waitUntil([&] { return follower.isLast(identifier); }, [&] { client.activate(); });
    }

    static InstalledApplications::List applications() {
        return {{"org.example.First", "", "", "", "First", true},
                {"second", "", "", "", "", true},
                {"this-test", "", "", std::filesystem::canonical("/proc/self/exe").string(), "", true}};
    }
};

TEST_F(X11FrontmostTest, FollowsWindowsThroughSwitchesAndDeathsOfManagerAndServerToo) {
    startManager();
    test::FrontmostFollower follower(makeX11Frontmost(), applications());
    ASSERT_TRUE(follower.follows("X11"));
    {
        WindowedClient first(server.display(), firstClass);
        first.show();
        ASSERT_TRUE(bringsToFront(follower, first, "org.example.First"));
        {
            WindowedClient second(server.display(), secondClass);
            second.show();
            second.activate();
            ASSERT_TRUE(follower.hears("second"));
            first.activate();
            ASSERT_TRUE(follower.hears("org.example.First"));
            second.activate();
            ASSERT_TRUE(follower.hears("second"));
        } // the window goes with its client, and the manager falls back on the one before
        ASSERT_TRUE(follower.hears("org.example.First"));
        // No switch has let a "none" through.
        EXPECT_THAT(follower.told(), ElementsAre("org.example.First", "second", "org.example.First", "second",
                                                 "org.example.First"));
        startManager();
        WindowedClient second(server.display(), secondClass);
        second.show();
        ASSERT_TRUE(bringsToFront(follower, second, "second"));
        server.kill();
        ASSERT_TRUE(follower.hears("none"));
        ASSERT_TRUE(follower.follows("none"));
    }
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(follower.follows("X11"));
    startManager();
    WindowedClient again(server.display(), firstClass);
    again.show();
    EXPECT_TRUE(bringsToFront(follower, again, "org.example.First"));
}

TEST_F(X11FrontmostTest, KnowsAWindowByWhatItHasAndWhenItHasIt) {
    // Without a manager the test plays its part.
    WindowedClient client(server.display());
    WindowedClient other(server.display());
    test::FrontmostFollower follower(makeX11Frontmost(), applications());
    ASSERT_TRUE(follower.follows("X11"));

    client.setText(client.atom("_GTK_APPLICATION_ID"), "org.example.Unheard");
    client.setClass(firstClass);
    client.setActiveOnRoot(client.window());
    EXPECT_TRUE(follower.hears("org.example.First")) << "the class is installed, the id is not";

    other.setActiveOnRoot(other.window());
    EXPECT_TRUE(follower.hears("none")) << "a window without any name";
    other.setClass(secondClass);
    EXPECT_TRUE(follower.hears("second")) << "which gets its name late";

    WindowedClient third(server.display());
    third.setProcess();
    third.setActiveOnRoot(third.window());
    EXPECT_TRUE(follower.hears("this-test")) << "by its process";

    WindowedClient unpacked(server.display(), std::string_view("zoom\0zoom", 9));
    unpacked.setActiveOnRoot(unpacked.window());
    EXPECT_TRUE(follower.hears("zoom")) << "a program without a desktop file, by its class";

    other.setClass(std::string(5000, 'x')); // no reasonable name
    other.setActiveOnRoot(0x7FFFFFFF);      // and no window at all
    EXPECT_TRUE(follower.hears("none"));
    client.setActiveOnRoot(client.window());
    EXPECT_TRUE(follower.hears("org.example.First"));
}

TEST_F(X11FrontmostTest, AFloodOfSwitchesEndsWithTheLastOne) {
    WindowedClient first(server.display(), firstClass);
    WindowedClient second(server.display(), secondClass);
    test::FrontmostFollower follower(makeX11Frontmost(), applications());
    ASSERT_TRUE(follower.follows("X11"));
    for (int i = 0; i < 5'000; ++i) {
        first.setActiveOnRoot(i % 2 == 0 ? first.window() : second.window());
    }
    first.setActiveOnRoot(first.window());
    first.setActiveOnRoot(second.window());
    first.atom("_NET_ACTIVE_WINDOW");
    EXPECT_TRUE(follower.hears("second"));
}

} // namespace
} // namespace keysong
