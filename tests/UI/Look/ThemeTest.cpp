#include "UI/Look/Theme.h"

#include "support/PrivateBus.h"
#include "support/WidgetProgram.h"

#include <systemd/sd-bus.h>

#include <cstdarg>

namespace keysong::test {
namespace {

[[maybe_unused]] const auto* const program = testing::AddGlobalTestEnvironment(new WidgetProgram);

constexpr const char* settings = "org.freedesktop.portal.Settings";
constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* appearance = "org.freedesktop.appearance";

/// The desktop's portal as far as it tells of settings; it prefers the dark.
class FakeSettingsPortal final {
  public:
    explicit FakeSettingsPortal(PrivateBus::Client bus) : bus_(std::move(bus)) {
        static const sd_bus_vtable table[] = {
            SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Read", "ss", "v", read, SD_BUS_VTABLE_UNPRIVILEGED),
            SD_BUS_VTABLE_END};
        sd_bus_add_object_vtable(bus_.get(), nullptr, path, settings, table, nullptr);
        sd_bus_request_name(bus_.get(), "org.freedesktop.portal.Desktop", 0);
    }
    void process() {
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
    }
    void change(const char* group, const char* signature, ...) {
        va_list values;
        va_start(values, signature);
        sd_bus_message* signal = nullptr;
        sd_bus_message_new_signal(bus_.get(), &signal, path, settings, "SettingChanged");
        sd_bus_message_append(signal, "ss", group, "color-scheme");
        sd_bus_message_open_container(signal, 'v', signature);
        sd_bus_message_appendv(signal, signature, values);
        sd_bus_message_close_container(signal);
        sd_bus_send(bus_.get(), signal, nullptr);
        sd_bus_message_unref(signal);
        va_end(values);
    }

  private:
    static int read(sd_bus_message* call, void*, sd_bus_error*) {
        return sd_bus_reply_method_return(call, "v", "v", "u", 1U); // a variant within a variant
    }

    PrivateBus::Client bus_;
};

TEST(Theme, FollowsTheDesktopsPreferenceWhileItRuns) {
    PrivateBus bus;
    ASSERT_TRUE(bus.start());
    FakeSettingsPortal portal(bus.connect());
    Theme theme(*qApp);
    const auto becomes = [&](Theme::Scheme scheme) {
        const bool isDark = scheme == Theme::Scheme::dark;
        return pumpUntil(
            [&] {
                return theme.scheme() == scheme &&
                       (QApplication::palette().color(QPalette::Window).lightness() < 128) == isDark;
            },
            [&] { portal.process(); });
    };
    EXPECT_TRUE(becomes(Theme::Scheme::dark));
    portal.change(appearance, "u", 2U);
    EXPECT_TRUE(becomes(Theme::Scheme::light));
    portal.change("org.example", "u", 1U); // somebody else's setting of that name
    portal.change(appearance, "s", "no number");
    portal.change(appearance, "u", 1U);
    EXPECT_TRUE(becomes(Theme::Scheme::dark));
    portal.change(appearance, "u", 0U); // no preference: as the platform has it
    EXPECT_TRUE(becomes(Theme::Scheme::light));
}

} // namespace
} // namespace keysong::test
