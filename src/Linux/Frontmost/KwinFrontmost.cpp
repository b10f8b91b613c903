#include "Linux/Frontmost/KwinFrontmost.h"

#include "Linux/Frontmost/ProcessProgram.h"
#include "Linux/System/BusConnection.h"
#include "Linux/System/FileDescriptor.h"
#include "Shared/NumberText.h"

#include <fcntl.h>

#include <filesystem>
#include <string_view>
#include <system_error>

namespace keysong {

namespace {

constexpr const char* kwinName = "org.kde.KWin";
constexpr const char* scriptName = "com.orlen.keysong.frontmost";
constexpr const char* reportPath = "/com/orlen/keysong/Frontmost";
constexpr const char* reportInterface = "com.orlen.keysong.Frontmost";

/// Plasma 6 calls windows what were clients in Plasma 5, whose texts are byte arrays. Everything is sent as
/// text, for a script's number may arrive as any of several types.
constexpr std::string_view script = R"(
function text(value) { return value ? value.toString() : ""; }
function tell(window) {
    callDBus(RECEIVER, "com.orlen.keysong.Frontmost", "Activated",
             window ? text(window.desktopFileName) : "", window ? text(window.resourceClass) : "",
             window ? text(window.pid) : "");
}
if (workspace.windowActivated) {
    workspace.windowActivated.connect(tell);
    tell(workspace.activeWindow);
} else {
    workspace.clientActivated.connect(tell);
    tell(workspace.activeClient);
}
)";

bool writeFile(const std::filesystem::path& path, std::string_view text) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return file.isOpen() && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

class KwinFrontmost final : public FrontmostSource {
  public:
    explicit KwinFrontmost(const Places& places) : places_(places) {}
    ~KwinFrontmost() override { close(); }

    [[nodiscard]] const char* name() const noexcept override { return "KWin"; }

    void open(EpollRunLoop& loop, Listener& listener) override {
        listener_ = &listener;
        bus_ = BusConnection::open(loop, {}, [this] { listener_->sourceFailed(Failure::notOffered); });
        if (bus_ == nullptr) {
            listener.sourceFailed(Failure::notOffered);
            return;
        }
        owners_ = bus_->match("type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                              "member='NameOwnerChanged',arg0='org.kde.KWin'",
                              on<&KwinFrontmost::handleNameOwnerChanged>, this);
        question_ = bus_->askBus("GetNameOwner", kwinName, on<&KwinFrontmost::handleOwner>, this);
    }

    void close() noexcept override {
        if (bus_ != nullptr && !kwin_.empty()) {
            bus_->sendOnly(unloadCall());
        }
        question_.reset();
        owners_.reset();
        reports_.reset();
        bus_.reset();
        kwin_.clear();
        if (!scriptFile_.empty()) {
            std::error_code ignored;
            std::filesystem::remove(scriptFile_, ignored);
            scriptFile_.clear();
        }
    }

  private:
    template <auto member>
    static constexpr sd_bus_message_handler_t on = &BusHandler<member>::call;

    void giveUp() { listener_->sourceFailed(Failure::notOffered); }

    BusMessage scriptingCall(const char* member) const {
        return bus_->makeCall(kwin_.c_str(), "/Scripting", "org.kde.kwin.Scripting", member);
    }

    BusMessage unloadCall() const {
        BusMessage call = scriptingCall("unloadScript");
        if (call != nullptr) {
            sd_bus_message_append(call.get(), "s", scriptName);
        }
        return call;
    }

    void handleOwner(sd_bus_message* reply) {
        const char* owner = nullptr;
        if (sd_bus_message_is_method_error(reply, nullptr) != 0 ||
            sd_bus_message_read(reply, "s", &owner) < 0 || !writeScript()) {
            giveUp();
            return;
        }
        kwin_ = owner;
        sd_bus_slot* slot = nullptr;
        sd_bus_add_object(bus_->get(), &slot, reportPath, on<&KwinFrontmost::handleReport>, this);
        reports_.reset(slot);
        // A predecessor that crashed leaves its script behind; KWin takes no second one of the same name.
        question_ = bus_->send(unloadCall(), on<&KwinFrontmost::handleUnloaded>, this);
    }

    bool writeScript() {
        const std::filesystem::path runtime(places_.environment("XDG_RUNTIME_DIR").value_or(""));
        const char* ownName = nullptr;
        if (!runtime.is_absolute() || sd_bus_get_unique_name(bus_->get(), &ownName) < 0) {
            return false;
        }
        std::string text(script);
        constexpr std::string_view receiver = "RECEIVER";
        text.replace(text.find(receiver), receiver.size(),
                     "\"" + std::string(ownName) + "\", \"" + reportPath + "\"");
        scriptFile_ = runtime / "keysong-frontmost.js";
        return writeFile(scriptFile_, text);
    }

    void handleUnloaded(sd_bus_message*) {
        BusMessage call = scriptingCall("loadScript");
        if (call != nullptr) {
            sd_bus_message_append(call.get(), "ss", scriptFile_.c_str(), scriptName);
        }
        question_ = bus_->send(std::move(call), on<&KwinFrontmost::handleLoaded>, this);
    }

    void handleLoaded(sd_bus_message* reply) {
        std::int32_t number = -1;
        if (sd_bus_message_is_method_error(reply, nullptr) != 0 ||
            sd_bus_message_read(reply, "i", &number) < 0 || number < 0) {
            giveUp();
            return;
        }
        question_ = bus_->send(scriptingCall("start"), on<&KwinFrontmost::handleStarted>, this);
    }

    void handleStarted(sd_bus_message* reply) {
        question_.reset();
        if (sd_bus_message_is_method_error(reply, nullptr) != 0) {
            giveUp();
        } else {
            listener_->sourceReady();
        }
    }

    bool handleReport(sd_bus_message* message) {
        const char* sender = sd_bus_message_get_sender(message);
        if (sd_bus_message_is_method_call(message, reportInterface, "Activated") <= 0 || sender == nullptr ||
            kwin_ != sender) {
            return false;
        }
        const char* desktopFile = nullptr;
        const char* windowClass = nullptr;
        const char* process = nullptr;
        if (sd_bus_message_read(message, "sss", &desktopFile, &windowClass, &process) < 0) {
            return false;
        }
        WindowIdentity window;
        for (const auto& [text, field] :
             {std::pair(desktopFile, &window.applicationId), std::pair(windowClass, &window.windowClass)}) {
            if (std::string_view(text).size() <= longestWindowText) {
                *field = text;
            }
        }
        window.executable = programOfProcess(parseInteger<std::uint32_t>(process).value_or(0));
        listener_->windowInFront(window == WindowIdentity() ? std::nullopt : std::optional(window));
        if (sd_bus_message_get_expect_reply(message) > 0) {
            sd_bus_reply_method_return(message, "");
        }
        return true;
    }

    void handleNameOwnerChanged(sd_bus_message*) {
        if (!kwin_.empty()) {
            kwin_.clear();
            listener_->sourceFailed(Failure::unreachable);
        }
    }

    const Places& places_;
    Listener* listener_ = nullptr;
    std::unique_ptr<BusConnection> bus_;
    BusSlot owners_;
    BusSlot reports_;
    BusSlot question_;
    /// KWin's own name on the bus while it is there.
    std::string kwin_;
    std::filesystem::path scriptFile_;
};

} // namespace

std::unique_ptr<FrontmostSource> makeKwinFrontmost(const Places& places) {
    return std::make_unique<KwinFrontmost>(places);
}

} // namespace keysong
