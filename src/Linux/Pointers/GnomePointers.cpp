#include "Linux/Pointers/PointerSource.h"

#include <gio/gio.h>

#include <string_view>
#include <thread>
#include <utility>

namespace keysong {

namespace {

struct Unref {
    void operator()(GSettings* settings) const { g_object_unref(settings); }
    void operator()(GSource* source) const { g_source_unref(source); }
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
    void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
};
template <typename Object>
using Ref = std::unique_ptr<Object, Unref>;

/// One of the desktop's groups of settings; empty where it is not installed. What a group lacks has no value.
class SettingsGroup {
  public:
    SettingsGroup(const char* name, GCallback changed, void* data) {
        GSettingsSchemaSource* source = g_settings_schema_source_get_default();
        schema_.reset(source == nullptr ? nullptr : g_settings_schema_source_lookup(source, name, TRUE));
        if (schema_ != nullptr) {
            settings_.reset(g_settings_new(name));
            g_signal_connect_swapped(settings_.get(), "changed", changed, data);
        }
    }

    /// Also makes the desktop tell of this one's changes: only what was read is told of.
    [[nodiscard]] std::optional<bool> flag(const char* key) const {
        return has(key, G_VARIANT_TYPE_BOOLEAN)
                   ? std::optional(g_settings_get_boolean(settings_.get(), key) != 0)
                   : std::nullopt;
    }
    [[nodiscard]] std::string word(const char* key) const {
        if (!has(key, G_VARIANT_TYPE_STRING)) {
            return {};
        }
        const std::unique_ptr<char, decltype(&g_free)> text(g_settings_get_string(settings_.get(), key),
                                                            g_free);
        return text.get();
    }

  private:
    [[nodiscard]] bool has(const char* key, const GVariantType* type) const {
        if (settings_ == nullptr || g_settings_schema_has_key(schema_.get(), key) == 0) {
            return false;
        }
        GSettingsSchemaKey* found = g_settings_schema_get_key(schema_.get(), key);
        const bool fits = g_variant_type_equal(g_settings_schema_key_get_value_type(found), type) != 0;
        g_settings_schema_key_unref(found);
        return fits;
    }

    Ref<GSettingsSchema> schema_;
    Ref<GSettings> settings_;
};

/// GSettings is the desktop's own library: it knows the defaults of the system and of the distribution, and
/// where the user's choices lie. It needs a main loop of GLib's on the thread that follows them.
class GnomePointers final : public PointerSource {
  public:
    GnomePointers(Threads& threads, PublishRules publish)
        : publish_(std::move(publish)), context_(g_main_context_new()),
          loop_(g_main_loop_new(context_.get(), FALSE)),
          thread_(threads.start({"com.orlen.keysong.pointers", "pointers"}, [this] { run(); })) {}
    ~GnomePointers() override {
        // By the loop itself: before it runs there would be nothing to end.
        const Ref<GSource> end(g_idle_source_new());
        g_source_set_callback(
            end.get(),
            [](gpointer loop) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(loop));
                return G_SOURCE_REMOVE;
            },
            loop_.get(), nullptr);
        g_source_attach(end.get(), context_.get());
        thread_.join();
    }
    GnomePointers(const GnomePointers&) = delete;
    GnomePointers& operator=(const GnomePointers&) = delete;

  private:
    struct Groups {
        SettingsGroup touchpad;
        SettingsGroup mouse;
    };

    void run() {
        g_main_context_push_thread_default(context_.get());
        {
            const GCallback changed = G_CALLBACK(&GnomePointers::publishRules);
            const Groups groups{{"org.gnome.desktop.peripherals.touchpad", changed, this},
                                {"org.gnome.desktop.peripherals.mouse", changed, this}};
            groups_ = &groups;
            publishRules(this);
            g_main_loop_run(loop_.get());
            groups_ = nullptr;
        }
        g_main_context_pop_thread_default(context_.get());
    }

    static void publishRules(GnomePointers* self) {
        const SettingsGroup& touchpad = self->groups_->touchpad;
        const SettingsGroup& mouse = self->groups_->mouse;
        PointerRule mice{.kind = PointerRule::Kind::mouse};
        mice.settings.leftHanded = mouse.flag("left-handed");
        mice.settings.middleEmulation = mouse.flag("middle-click-emulation");
        PointerRule pads{.kind = PointerRule::Kind::touchpad};
        const std::string hand = touchpad.word("left-handed");
        pads.settings.leftHanded = hand == "left"    ? std::optional(true)
                                   : hand == "right" ? std::optional(false)
                                                     : mice.settings.leftHanded; // "mouse"
        pads.settings.enabled = touchpad.word("send-events") != "disabled";
        pads.settings.tap = touchpad.flag("tap-to-click");
        pads.settings.middleEmulation = touchpad.flag("middle-click-emulation");
        pads.settings.tapButtons = touchpad.word("tap-button-map") == "lmr" ? TapButtons::leftMiddleRight
                                                                            : TapButtons::leftRightMiddle;
        pads.settings.clickMethod = clickMethodOf(touchpad.word("click-method"));
        self->publish_({mice, pads});
    }

    /// Nothing for "default", which is the device's.
    static std::optional<ClickMethod> clickMethodOf(std::string_view word) {
        return word == "fingers" ? std::optional(ClickMethod::fingers)
               : word == "areas" ? std::optional(ClickMethod::areas)
               : word == "none"  ? std::optional(ClickMethod::none)
                                 : std::nullopt;
    }

    const PublishRules publish_;
    const Ref<GMainContext> context_;
    const Ref<GMainLoop> loop_;
    /// Lives on the thread.
    const Groups* groups_ = nullptr;
    std::thread thread_;
};

} // namespace

std::unique_ptr<PointerSource> followGnomePointers(Threads& threads, PublishRules publish) {
    return std::make_unique<GnomePointers>(threads, std::move(publish));
}

} // namespace keysong
