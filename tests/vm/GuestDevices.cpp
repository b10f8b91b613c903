// What other programs do to the input devices of a machine: a Bluetooth daemon, a program that types, a key
// remapper, one that revokes. Only ever run in the emulated machine.

#include "Linux/System/FileDescriptor.h"

#include <fcntl.h>
#include <linux/uhid.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "GuestHid.h"

namespace keysong {
namespace {

constexpr useconds_t keyHold = 50'000;

void check(bool succeeded, const char* what) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

FileDescriptor openDevice(const std::string& path, int flags) {
    FileDescriptor device(open(path.c_str(), flags | O_CLOEXEC));
    check(device.isOpen(), path.c_str());
    return device;
}

template <typename Event>
void put(const FileDescriptor& device, const Event& event) {
    check(write(device.get(), &event, sizeof event) == sizeof event, "write");
}

/// The numbers on standard input, one a line, until its end.
template <typename Handler>
void forEachNumber(int base, Handler handler) {
    char line[64];
    while (std::fgets(line, sizeof line, stdin) != nullptr) {
        handler(static_cast<std::uint16_t>(std::strtoul(line, nullptr, base)));
    }
}

/// A Bluetooth LE keyboard, as its daemon makes it. Taps the HID usages that it is told.
void bluetoothKeyboard() {
    static constexpr std::uint8_t descriptor[] = {
        0x05, 0x01, 0x09, 0x06, 0xa1, 0x01,             // generic desktop, keyboard, application
        0x05, 0x07, 0x19, 0x00, 0x29, 0xff,             // key codes 0 to 255
        0x15, 0x00, 0x26, 0xff, 0x00, 0x75, 0x08, 0x95, // as bytes,
        0x06, 0x81, 0x00, 0xc0};                        // six at a time
    const FileDescriptor device = openDevice("/dev/uhid", O_RDWR | O_NONBLOCK);
    uhid_event create{};
    create.type = UHID_CREATE2;
    std::memcpy(create.u.create2.name, "Bluetooth keyboard", sizeof "Bluetooth keyboard");
    std::memcpy(create.u.create2.phys, "aa:bb", sizeof "aa:bb");
    std::copy(std::begin(descriptor), std::end(descriptor), create.u.create2.rd_data);
    create.u.create2.rd_size = sizeof descriptor;
    create.u.create2.bus = BUS_BLUETOOTH;
    create.u.create2.vendor = 1;
    create.u.create2.product = 2;
    put(device, create);
    forEachNumber(16, [&](std::uint16_t usage) {
        for (const auto byte : {static_cast<std::uint8_t>(usage), std::uint8_t{0}}) {
            uhid_event report{};
            report.type = UHID_INPUT2;
            report.u.input2.size = 6;
            report.u.input2.data[0] = byte;
            put(device, report);
            usleep(keyHold);
        }
    });
}

FileDescriptor makeVirtualKeyboard(const char* name) {
    FileDescriptor device = openDevice("/dev/uinput", O_WRONLY);
    ioctl(device.get(), UI_SET_EVBIT, EV_KEY);
    for (int code = KEY_ESC; code < BTN_MISC; ++code) {
        ioctl(device.get(), UI_SET_KEYBIT, code);
    }
    // It poses as hardware as far as uinput allows.
    ioctl(device.get(), UI_SET_PHYS, "usb-0000:00:03.0-1/input0");
    uinput_setup setup{};
    setup.id = {BUS_USB, 0x0627, 0x0001, 0x0111};
    std::strncpy(setup.name, name, sizeof setup.name - 1);
    check(ioctl(device.get(), UI_DEV_SETUP, &setup) == 0, "UI_DEV_SETUP");
    check(ioctl(device.get(), UI_DEV_CREATE) == 0, "UI_DEV_CREATE");
    return device;
}

void putKey(const FileDescriptor& device, std::uint16_t code, std::int32_t value) {
    input_event event{};
    event.type = EV_KEY;
    event.code = code;
    event.value = value;
    put(device, event);
    put(device, input_event{});
}

/// A program that types the Linux key codes that it is told.
void typist() {
    const FileDescriptor device = makeVirtualKeyboard("Typing program");
    forEachNumber(10, [&](std::uint16_t code) {
        for (const int value : {1, 0}) {
            putKey(device, code, value);
            usleep(keyHold);
        }
    });
}

/// A remapper: takes the keyboard for itself and types the next key of the board for each key.
void remapper(const std::string& node) {
    const FileDescriptor output = makeVirtualKeyboard("Remapped keyboard");
    const FileDescriptor input = openDevice(node, O_RDONLY);
    check(ioctl(input.get(), EVIOCGRAB, 1) == 0, "EVIOCGRAB");
    for (input_event event{}; read(input.get(), &event, sizeof event) == sizeof event;) {
        if (event.type == EV_KEY && event.value != 2) {
            putKey(output, static_cast<std::uint16_t>(event.code + 1), event.value);
        }
    }
}

/// A virtual mouse or keyboard with the name and the ids of a device, and all of its keys and axes.
FileDescriptor copyOf(const FileDescriptor& original) {
    FileDescriptor device = openDevice("/dev/uinput", O_WRONLY);
    for (const unsigned type : {unsigned{EV_KEY}, unsigned{EV_REL}}) {
        unsigned long bits[KEY_CNT / (8 * sizeof(unsigned long)) + 1]{};
        ioctl(original.get(), EVIOCGBIT(type, sizeof bits), bits);
        ioctl(device.get(), UI_SET_EVBIT, type);
        for (unsigned code = 0; code < KEY_CNT; ++code) {
            if ((bits[code / (8 * sizeof *bits)] >> code % (8 * sizeof *bits) & 1) != 0) {
                ioctl(device.get(), type == EV_KEY ? UI_SET_KEYBIT : UI_SET_RELBIT, code);
            }
        }
    }
    uinput_setup setup{};
    ioctl(original.get(), EVIOCGID, &setup.id);
    ioctl(original.get(), EVIOCGNAME(sizeof setup.name - 1), setup.name);
    check(ioctl(device.get(), UI_DEV_SETUP, &setup) == 0, "UI_DEV_SETUP");
    check(ioctl(device.get(), UI_DEV_CREATE) == 0, "UI_DEV_CREATE");
    return device;
}

/// A remapper that passes everything on by a copy of the device, but types Escape for Caps Lock, and only
/// when that is let go.
void copier(const std::string& node) {
    const FileDescriptor input = openDevice(node, O_RDONLY);
    const FileDescriptor output = copyOf(input);
    check(ioctl(input.get(), EVIOCGRAB, 1) == 0, "EVIOCGRAB");
    for (input_event event{}; read(input.get(), &event, sizeof event) == sizeof event;) {
        if (event.type != EV_KEY || event.code != KEY_CAPSLOCK) {
            put(output, event);
        } else if (event.value == 0) {
            putKey(output, KEY_ESC, 1);
            putKey(output, KEY_ESC, 0);
        }
    }
}

/// A remapper that grabs a mouse and exchanges its buttons, on a virtual mouse of another name.
void mouseRemapper(const std::string& node) {
    const FileDescriptor input = openDevice(node, O_RDONLY);
    const FileDescriptor output = openDevice("/dev/uinput", O_WRONLY);
    for (const int type : {EV_KEY, EV_REL}) {
        ioctl(output.get(), UI_SET_EVBIT, type);
    }
    for (const int code : {BTN_LEFT, BTN_RIGHT, BTN_MIDDLE}) {
        ioctl(output.get(), UI_SET_KEYBIT, code);
    }
    for (const int code : {REL_X, REL_Y, REL_WHEEL}) {
        ioctl(output.get(), UI_SET_RELBIT, code);
    }
    uinput_setup setup{{BUS_VIRTUAL, 7, 7, 7}, "Remapped mouse", 0};
    check(ioctl(output.get(), UI_DEV_SETUP, &setup) == 0, "UI_DEV_SETUP");
    check(ioctl(output.get(), UI_DEV_CREATE) == 0, "UI_DEV_CREATE");
    check(ioctl(input.get(), EVIOCGRAB, 1) == 0, "EVIOCGRAB");
    for (input_event event{}; read(input.get(), &event, sizeof event) == sizeof event;) {
        if (event.type == EV_KEY && (event.code == BTN_LEFT || event.code == BTN_RIGHT)) {
            event.code = event.code == BTN_LEFT ? BTN_RIGHT : BTN_LEFT;
        }
        if (event.type != EV_MSC && (event.type != EV_REL || event.code != REL_WHEEL_HI_RES)) {
            put(output, event);
        }
    }
}

/// Revokes every input device that another process has open, all at once as that process sees it.
void revoke(pid_t process) {
    const FileDescriptor target(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    check(target.isOpen(), "pidfd_open");
    kill(process, SIGSTOP);
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
        std::error_code gone;
        const auto path = std::filesystem::read_symlink(entry.path(), gone);
        if (path.native().starts_with("/dev/input/event")) {
            const FileDescriptor device(static_cast<int>(
                syscall(SYS_pidfd_getfd, target.get(), std::stoi(entry.path().filename().native()), 0)));
            check(device.isOpen(), "pidfd_getfd");
            check(ioctl(device.get(), EVIOCREVOKE, nullptr) == 0, "EVIOCREVOKE");
            ++count;
        }
    }
    std::printf("revoked %d\n", count);
    kill(process, SIGCONT);
}

/// Prints when the keys of a keyboard went down, in microseconds of the kernel's time.
void listPresses(const std::string& node) {
    const FileDescriptor input = openDevice(node, O_RDONLY);
    int clock = CLOCK_MONOTONIC;
    check(ioctl(input.get(), EVIOCSCLOCKID, &clock) == 0, "EVIOCSCLOCKID");
    for (input_event event{}; read(input.get(), &event, sizeof event) == sizeof event;) {
        if (event.type == EV_KEY && event.value == 1) {
            std::printf("press %lld\n", 1'000'000LL * event.input_event_sec + event.input_event_usec);
        }
    }
}

void run(std::string_view what, const std::string& argument) {
    if (what == "bluetooth") {
        bluetoothKeyboard();
    } else if (what == "type") {
        typist();
    } else if (what == "remap") {
        remapper(argument);
    } else if (what == "copy") {
        copier(argument);
    } else if (what == "remap-mouse") {
        mouseRemapper(argument);
    } else if (what == "hid") {
        beHidDevice(argument);
    } else if (what == "revoke") {
        revoke(std::stoi(argument));
    } else if (what == "presses") {
        listPresses(argument);
    } else {
        throw std::runtime_error("bluetooth | hid KIND | type | remap NODE | copy NODE | remap-mouse NODE | "
                                 "revoke PID | presses NODE");
    }
}

} // namespace
} // namespace keysong

int main(int count, char** words) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    try {
        keysong::run(count > 1 ? words[1] : "", count > 2 ? words[2] : "");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", words[0], error.what());
        return 1;
    }
    return 0;
}
