#include "GuestHid.h"

#include "Linux/System/FileDescriptor.h"

#include <fcntl.h>
#include <linux/input.h>
#include <linux/uhid.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace keysong {

namespace {

using Bytes = std::vector<std::uint8_t>;

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// Two coordinates of 16 bits, to these largest values, which are so many hundredths of a centimetre.
Bytes place(std::uint16_t x, std::uint16_t width, std::uint16_t y, std::uint16_t height) {
    const auto low = [](std::uint16_t number) { return static_cast<std::uint8_t>(number & 0xFF); };
    const auto high = [](std::uint16_t number) { return static_cast<std::uint8_t>(number >> 8); };
    return {0x05,        0x01,         0x55, 0x0e, 0x65, 0x11, 0x15, 0x00,   0x35,    0x00,
            0x75,        0x10,         0x95, 0x01, 0x09, 0x30, 0x26, low(x), high(x), 0x46,
            low(width),  high(width),  0x81, 0x02, 0x09, 0x31, 0x26, low(y), high(y), 0x46,
            low(height), high(height), 0x81, 0x02, 0x45, 0x00, 0x55, 0x00,   0x65,    0x00};
}

/// A finger: whether it touches, its number and its place.
Bytes finger(const Bytes& itsPlace) {
    Bytes bytes = {0x05, 0x0d, 0x09, 0x22, 0xa1, 0x02, 0x09, 0x42, 0x15, 0x00, 0x25,
                   0x01, 0x75, 0x01, 0x95, 0x01, 0x81, 0x02, 0x95, 0x07, 0x81, 0x03,
                   0x09, 0x51, 0x25, 0x0f, 0x75, 0x08, 0x95, 0x01, 0x81, 0x02};
    append(bytes, itsPlace);
    bytes.push_back(0xc0);
    return bytes;
}

/// How many fingers there are in this report, and may be.
const Bytes count = {0x05, 0x0d, 0x09, 0x54, 0x25, 0x0f, 0x75, 0x08, 0x95, 0x01, 0x81, 0x02,
                     0x85, 0x02, 0x09, 0x55, 0x25, 0x0f, 0x75, 0x08, 0x95, 0x01, 0xb1, 0x02};

Bytes descriptorOf(const std::string& kind) {
    Bytes bytes;
    if (kind == "touchscreen") {
        bytes = {0x05, 0x0d, 0x09, 0x04, 0xa1, 0x01, 0x85, 0x01};
        append(bytes, finger(place(3000, 3000, 2000, 2000)));
        append(bytes, count);
    } else if (kind == "touchpad") {
        bytes = {0x05, 0x0d, 0x09, 0x05, 0xa1, 0x01, 0x85, 0x01};
        append(bytes, finger(place(3000, 1000, 1800, 600)));
        append(bytes, finger(place(3000, 1000, 1800, 600)));
        // The button below the pad.
        append(bytes, {0x05, 0x09, 0x09, 0x01, 0x15, 0x00, 0x25, 0x01, 0x75, 0x01, 0x95, 0x01, 0x81, 0x02,
                       0x95, 0x07, 0x81, 0x03});
        append(bytes, count);
    } else if (kind == "pen") {
        // The tip, a button, whether it is near, another button.
        bytes = {0x05, 0x0d, 0x09, 0x02, 0xa1, 0x01, 0x85, 0x01, 0x09, 0x20, 0xa1, 0x00,
                 0x09, 0x42, 0x09, 0x44, 0x09, 0x32, 0x09, 0x5a, 0x15, 0x00, 0x25, 0x01,
                 0x75, 0x01, 0x95, 0x04, 0x81, 0x02, 0x95, 0x04, 0x81, 0x03};
        append(bytes, place(3000, 3000, 2000, 2000));
        append(bytes, {0x05, 0x0d, 0x09, 0x30, 0x26, 0xff, 0x03, 0x75, 0x10, 0x95, 0x01, 0x81, 0x02, 0xc0});
    } else {
        throw std::runtime_error("hid touchpad | touchscreen | pen");
    }
    bytes.push_back(0xc0);
    return bytes;
}

void put(const FileDescriptor& device, const uhid_event& event) {
    if (write(device.get(), &event, sizeof event) != sizeof event) {
        throw std::system_error(errno, std::generic_category(), "uhid");
    }
}

/// Tells the kernel that no other reports are kept, which it would wait for.
void answer(const FileDescriptor& device) {
    uhid_event event{};
    if (read(device.get(), &event, sizeof event) <= 0) {
        return;
    }
    uhid_event reply{};
    if (event.type == UHID_GET_REPORT) {
        reply.type = UHID_GET_REPORT_REPLY;
        reply.u.get_report_reply.id = event.u.get_report.id;
        reply.u.get_report_reply.err = EIO;
        put(device, reply);
    } else if (event.type == UHID_SET_REPORT) {
        reply.type = UHID_SET_REPORT_REPLY;
        reply.u.set_report_reply.id = event.u.set_report.id;
        put(device, reply);
    }
}

void report(const FileDescriptor& device, const std::string& line) {
    uhid_event event{};
    event.type = UHID_INPUT2;
    std::istringstream words(line);
    for (unsigned byte = 0; words >> std::hex >> byte;) {
        event.u.input2.data[event.u.input2.size++] = static_cast<std::uint8_t>(byte);
    }
    put(device, event);
}

} // namespace

void beHidDevice(const std::string& kind) {
    const Bytes descriptor = descriptorOf(kind);
    const FileDescriptor device(open("/dev/uhid", O_RDWR | O_CLOEXEC));
    uhid_event create{};
    create.type = UHID_CREATE2;
    std::snprintf(reinterpret_cast<char*>(create.u.create2.name), sizeof create.u.create2.name, "A %s",
                  kind.c_str());
    std::copy(descriptor.begin(), descriptor.end(), create.u.create2.rd_data);
    create.u.create2.rd_size = static_cast<std::uint16_t>(descriptor.size());
    create.u.create2.bus = BUS_USB;
    create.u.create2.vendor = 0x1234;
    create.u.create2.product = 0x5678;
    put(device, create);
    std::string text;
    for (std::array<pollfd, 2> waiting{{{device.get(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
         poll(waiting.data(), waiting.size(), -1) > 0;) {
        if ((waiting[0].revents & POLLIN) != 0) {
            answer(device);
        }
        if (waiting[1].revents != 0) {
            std::array<char, 1024> part{};
            const ssize_t size = read(STDIN_FILENO, part.data(), part.size());
            if (size <= 0) {
                return;
            }
            text.append(part.data(), static_cast<std::size_t>(size));
            for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos;) {
                report(device, text.substr(0, end));
                text.erase(0, end + 1);
            }
        }
    }
}

} // namespace keysong
