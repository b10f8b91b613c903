#include "Linux/Input/HeldKeysProbe.h"

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace keysong {

namespace {

FileDescriptor openOnly(const std::string& node, unsigned long eventTypes) {
    FileDescriptor device(open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const input_mask mask{EV_SYN, sizeof eventTypes, reinterpret_cast<std::uintptr_t>(&eventTypes)};
    ioctl(device.get(), EVIOCSMASK, &mask);
    return device;
}

/// Keys and the buttons of mice: not which tool is near a pad, nor that it touches.
bool isPressable(std::uint16_t code) {
    return code < BTN_MISC || (code >= BTN_MOUSE && code < BTN_JOYSTICK) || code >= KEY_OK;
}

KeySet pressable() {
    KeySet keys;
    for (std::uint16_t code = 0; code < KEY_CNT; ++code) {
        keys.set(code, isPressable(code));
    }
    return keys;
}

} // namespace

HeldKeysProbe::HeldKeysProbe(const std::string& node)
    : state_(openOnly(node, 0)), events_(openOnly(node, 1UL << EV_KEY)) {
}

std::optional<KeySet> HeldKeysProbe::look(const Delivered& delivered) const {
    std::array<input_event, 16> events{};
    bool tooMuch = false;
    for (ssize_t size = 0; (size = read(events_.get(), events.data(), sizeof events)) > 0;) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(size) / sizeof(input_event); ++i) {
            const input_event& event = events.at(i);
            tooMuch = tooMuch || (event.type == EV_SYN && event.code == SYN_DROPPED);
            if (event.type == EV_KEY && event.value != 2 && isPressable(event.code)) {
                delivered.key(event.code, event.value != 0);
            }
        }
    }
    explicit_bzero(events.data(), sizeof events); // what was typed shall not stay in memory
    const auto keys = held();
    // Asked after the keys, so that a key which is held and delivered has been read or waits now.
    pollfd waiting{events_.get(), POLLIN, 0};
    if (!keys || poll(&waiting, 1, 0) != 0) {
        return std::nullopt;
    }
    if (tooMuch) {
        delivered.tooMuch(*keys);
    }
    return keys;
}

std::optional<KeySet> HeldKeysProbe::held() const {
    static const KeySet wanted = pressable();
    using Word = unsigned long;
    constexpr std::size_t bitsPerWord = 8 * sizeof(Word);
    std::array<Word, KEY_CNT / bitsPerWord> words{};
    if (ioctl(state_.get(), EVIOCGKEY(sizeof words), words.data()) < 0) {
        return std::nullopt;
    }
    KeySet keys;
    for (std::size_t word = words.size(); word-- > 0;) {
        keys = keys << bitsPerWord | KeySet(words.at(word));
    }
    return keys & wanted;
}

} // namespace keysong
