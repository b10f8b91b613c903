#pragma once

#include "App/PreferenceDomains.h"
#include "Shared/TaskQueue.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// The settings of one domain: read from its file once, kept in memory, and written back whole,
/// including keys that this version does not know.
///
/// A change goes to the disk on the writer's thread: the first one at once, those that follow together, at
/// most every `writeInterval`. A write that fails is logged once, kept, and tried again every
/// `retryInterval` and at `flush`. A file that holds no preferences is renamed and the program starts with
/// defaults; one that may not be read is never replaced, and changes are then kept in memory only.
///
/// Any thread but the render and event-tap threads. A getter returns none for a value of another type. One
/// process at a time should keep a domain: the last to write wins.
class Preferences {
  public:
    static constexpr std::chrono::milliseconds writeInterval{250};
    static constexpr std::chrono::seconds retryInterval{10};

    /// Reads the domain; blocks on the disk and never fails. Without a writer only `flush` and the
    /// destructor write the file. `domains` and `writer` outlive the store.
    Preferences(const PreferenceDomains& domains, std::string domain, TaskQueue* writer);
    /// Writes what is not written yet.
    ~Preferences();
    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;

    /// Whether anything, of whatever type, is stored under the key.
    [[nodiscard]] bool contains(const std::string& key) const;
    [[nodiscard]] std::optional<bool> boolean(const std::string& key) const;
    /// The file's number, also one written as an integer.
    [[nodiscard]] std::optional<float> number(const std::string& key) const;
    [[nodiscard]] std::optional<std::int64_t> integer(const std::string& key) const;
    [[nodiscard]] std::optional<std::string> string(const std::string& key) const;
    /// A list of strings; none when anything else is in it.
    [[nodiscard]] std::optional<std::vector<std::string>> stringArray(const std::string& key) const;

    /// Setters do nothing when an equal value of the same type is stored.
    void setBool(const std::string& key, bool value);
    /// An infinity, or what is not a number, changes nothing.
    void setFloat(const std::string& key, float value);
    void setInteger(const std::string& key, std::int64_t value);
    /// None removes the key.
    void setString(const std::string& key, std::optional<std::string> value);
    void setStringArray(const std::string& key, std::vector<std::string> value);
    /// Any value that a file can hold, unchanged in type.
    void setObject(const std::string& key, const nlohmann::json& value);
    void remove(const std::string& key);

    /// Writes now, on this thread, what is not written yet: before the program ends. Blocks on the disk.
    /// False when something stays unwritten.
    bool flush();

  private:
    struct State;

    std::unique_ptr<State> state_;
};

} // namespace keysong
