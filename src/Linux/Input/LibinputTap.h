#pragma once

#include "Linux/Input/HeldKeysProbe.h"
#include "Linux/Input/InputFolder.h"
#include "Linux/Input/InputTranslator.h"
#include "Linux/Input/KeyboardNodes.h"
#include "Linux/Input/LibinputTouch.h"
#include "Linux/Input/PointerChoices.h"
#include "Linux/Input/RemappedDevices.h"
#include "Linux/Input/UdevInput.h"
#include "Linux/System/FileDescriptor.h"
#include "Platform/InputSource.h"

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct libinput;
struct libinput_device;
struct libinput_event;
struct libinput_interface;

namespace keysong {

class EpollRunLoop;

/// A tap on all input devices of a seat. Each device is opened and closed on its own: when it is plugged in
/// and out, when the right to read it comes and goes, and when it is revoked.
///
/// Made on any thread; from then on used by the thread that serves its run loop.
class LibinputTap final : public InputTap {
  public:
    /// `choices` outlive the tap.
    LibinputTap(EventMask mask, RawEventHandler handler, PointerChoices& choices, std::string seat = "seat0");
    ~LibinputTap() override;
    LibinputTap(const LibinputTap&) = delete;
    LibinputTap& operator=(const LibinputTap&) = delete;

    /// Opens the devices that are there. Once, first of all. False when the machine lacks the means.
    [[nodiscard]] bool open();

    [[nodiscard]] std::unique_ptr<RunLoop> makeRunLoop() override;
    void enable() override;
    [[nodiscard]] bool isEnabled() const override;

  private:
    struct Unref {
        void operator()(libinput_device* device) const noexcept;
    };
    /// Kept alive: libinput lets go of a device that it finds dead.
    using Handle = std::unique_ptr<libinput_device, Unref>;
    struct Device {
        std::string node;
        ino_t inode = 0;
        DeviceOrigin origin = DeviceOrigin::hardware;
        Handle handle;
        /// Name and ids, as one text: remappers copy those of the device that they stand for.
        std::string identity;
        /// For hardware with keys or buttons.
        HeldKeysProbe probe;
        /// libinput found it unplugged or revoked.
        bool isDead = false;
    };
    /// A node that could not be opened, or was taken from the tap.
    struct Withheld {
        ino_t inode = 0;
        bool wasOpen = false;
    };

    static const libinput_interface interface;

    // What libinput asks for.
    int openNode(const char* path);
    void closeNode(int descriptor);
    void dispatchAndReview();

    void watchHangUp(int descriptor, const std::string& node);
    [[nodiscard]] int descriptorOf(const std::string& node) const;
    /// Whether the device is there and not, or no longer, to be read.
    [[nodiscard]] bool isTaken(const Device& device, const NodeState& now) const;

    /// Sees to nodes that something happened to; tells the handler when input was taken from the tap.
    void review(const std::vector<std::string>& nodes);
    /// True when the node was taken from the tap.
    bool reviewNode(const std::string& node);
    void addDevice(const std::string& node, const NodeState& now);
    void removeDevice(const std::string& node);
    /// Hardware that a remapper may have grabbed, or a virtual device that may be its copy.
    void noteForRemapping(Device& device);

    /// Sets the pointers up as is chosen now.
    void configurePointers();
    void configurePointer(const Device& device, const PointerRules& rules) const;

    void dispatch();

    // What comes of an event, in LibinputTapEvents.cpp.
    void handle(libinput_event* event);
    void handleKey(libinput_event* event, libinput_device* device);
    void handlePointer(libinput_event* event, libinput_device* device);
    /// The pointer moves, or a finger or a pen is on a screen.
    void handleMotion(libinput_device* device);
    void button(libinput_device* device, std::uint16_t code, bool pressed, InputTranslator::Time time);
    [[nodiscard]] static InputTranslator::Device keyOf(libinput_device* device);
    [[nodiscard]] static Device& deviceOf(libinput_device* device);
    [[nodiscard]] static DeviceOrigin originOf(libinput_device* device);
    /// The source state of a key or button.
    [[nodiscard]] std::int64_t sourceStateOfKey(libinput_device* device, std::uint16_t code, bool pressed);
    [[nodiscard]] std::int64_t sourceStateOfScroll(libinput_device* device);
    void emit(const RawEvent& event);

    const EventMask mask_;
    const RawEventHandler handler_;
    PointerChoices& choices_;
    const std::string seat_;
    /// Readable when the choices have changed.
    FileDescriptor choicesChanged_;
    InputTranslator translator_;
    RemappedDevices remapped_;
    LibinputTouch touch_;
    InputFolder folder_;
    std::unique_ptr<UdevInput> udev_;
    libinput* libinput_ = nullptr;
    EpollRunLoop* loop_ = nullptr;
    /// By node; the names of nodes are used again, so the inode tells whether a device is still the same.
    std::map<std::string, Device> devices_;
    std::map<std::string, Withheld> withheld_;
    /// The node behind each descriptor that libinput has open.
    std::map<int, std::string> descriptors_;
    int openError_ = 0;
    /// Found dead while events were read; reviewed after that.
    std::vector<std::string> deadNodes_;
    std::chrono::steady_clock::time_point lastMotion_{};
};

} // namespace keysong
