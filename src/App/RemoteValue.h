#pragma once

#include "Audio/OutputDevices.h"
#include "Audio/SoundLibrary.h"

#include <QVariant>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// How a value of the application's state travels over the bus, in both directions. There is one
/// specialisation for each type in `Settings` and `LiveState`:
///
///     static constexpr const char* signature;                     // the type on the bus
///     static QVariant toBus(const Value& value);
///     static std::optional<Value> fromBus(const QVariant& value); // none when it has another type
///
/// Pure. Any thread.
template <typename Value>
struct RemoteValue;

template <>
struct RemoteValue<bool> {
    static constexpr const char* signature = "b";
    static QVariant toBus(bool value);
    static std::optional<bool> fromBus(const QVariant& value);
};

/// With as few digits as a person would write: 0.6, and not the nearest float's 0.60000002384.
template <>
struct RemoteValue<float> {
    static constexpr const char* signature = "d";
    static QVariant toBus(float value);
    static std::optional<float> fromBus(const QVariant& value);
};

template <>
struct RemoteValue<std::int64_t> {
    static constexpr const char* signature = "x";
    static QVariant toBus(std::int64_t value);
    static std::optional<std::int64_t> fromBus(const QVariant& value);
};

template <>
struct RemoteValue<std::string> {
    static constexpr const char* signature = "s";
    static QVariant toBus(const std::string& value);
    static std::optional<std::string> fromBus(const QVariant& value);
};

/// None travels as the empty text.
template <>
struct RemoteValue<std::optional<std::string>> {
    static constexpr const char* signature = "s";
    static QVariant toBus(const std::optional<std::string>& value);
    static std::optional<std::optional<std::string>> fromBus(const QVariant& value);
};

template <>
struct RemoteValue<std::vector<std::string>> {
    static constexpr const char* signature = "as";
    static QVariant toBus(const std::vector<std::string>& value);
    static std::optional<std::vector<std::string>> fromBus(const QVariant& value);
};

/// Without the folders, which mean nothing to another program.
template <>
struct RemoteValue<std::vector<SoundSetInfo>> {
    static constexpr const char* signature = "a(ss)";
    static QVariant toBus(const std::vector<SoundSetInfo>& value);
    static std::optional<std::vector<SoundSetInfo>> fromBus(const QVariant& value);
};

/// Without the numbers, which are valid in one process only.
template <>
struct RemoteValue<std::vector<AudioOutputDevice>> {
    static constexpr const char* signature = "a(ss)";
    static QVariant toBus(const std::vector<AudioOutputDevice>& value);
    static std::optional<std::vector<AudioOutputDevice>> fromBus(const QVariant& value);
};

} // namespace keysong
