#include "App/Preferences.h"

#include "App/PreferenceValue.h"
#include "Shared/JsonDocument.h"
#include "Shared/Lifetime.h"
#include "Shared/Log.h"
#include "Shared/Mutex.h"
#include "Shared/WholeFile.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace keysong {

using Json = nlohmann::json;

struct Preferences::State {
    State(const PreferenceDomains& itsDomains, std::string itsName, TaskQueue* itsWriter)
        : domains(itsDomains), name(std::move(itsName)), writer(itsWriter) {}

    void load();
    void keepAside(const std::string& reason);
    /// Stores a value, or removes the key, and schedules the write.
    void change(const std::string& key, std::optional<Json> value) KEYSONG_EXCLUDES(mutex);
    /// The conversion to an optional is spelled out, as Json has one to any type, too.
    void put(const std::string& key, Json value) { change(key, std::make_optional(std::move(value))); }
    [[nodiscard]] bool write() KEYSONG_EXCLUDES(writing, mutex);
    [[nodiscard]] bool store(const Json& snapshot) KEYSONG_REQUIRES(writing);
    /// The writer's task: writes, and schedules itself again until there is nothing new.
    void serve() KEYSONG_EXCLUDES(writing, mutex);
    void serveAfter(std::chrono::nanoseconds delay);
    [[nodiscard]] std::string path() const { return domains.fileOf(name).string(); }

    template <typename Value>
    std::optional<Value> get(const std::string& key, std::optional<Value> (*as)(const Json&))
        KEYSONG_EXCLUDES(mutex) {
        const MutexLock lock(mutex);
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : as(*found);
    }

    const PreferenceDomains& domains;
    const std::string name;
    TaskQueue* const writer;

    Mutex mutex;
    Json values KEYSONG_GUARDED_BY(mutex) = Json::object();
    /// Counts the changes; what was written last is up to date when the two are equal.
    std::uint64_t changes KEYSONG_GUARDED_BY(mutex) = 0;
    std::uint64_t written KEYSONG_GUARDED_BY(mutex) = 0;
    /// The writer has a task of this store.
    bool scheduled KEYSONG_GUARDED_BY(mutex) = false;

    /// Held while the file is written; taken before `mutex`.
    Mutex writing;
    /// The file must not be replaced, since it could not be read.
    bool leftAlone KEYSONG_GUARDED_BY(writing) = false;
    /// The last write failed, and that was logged.
    bool failing KEYSONG_GUARDED_BY(writing) = false;

    /// Last, so that it ends first: the writer's tasks may come due later.
    Lifetime lifetime;
};

namespace {

bool isSame(const Json& a, const Json& b) {
    // Numbers compare by value alone, but 1 and 1.0 are read differently.
    return a.is_number_float() == b.is_number_float() && a == b;
}

} // namespace

void Preferences::State::load() {
    const MutexLock writingLock(writing);
    const auto file = domains.fileOf(name);
    if (file.empty()) {
        return;
    }
    domains.files().removeLeftovers(file);
    try {
        Json stored = domains.read(name);
        const MutexLock lock(mutex);
        values = std::move(stored);
    } catch (const FileReadError& error) {
        if (error.kind() == FileReadError::Kind::tooLarge) {
            keepAside(error.what());
        } else if (error.kind() == FileReadError::Kind::unreadable) {
            leftAlone = true;
            log.error("the preferences in %{public}s are left alone: %s", path(), error.what());
        }
    } catch (const JsonDocumentError& error) {
        keepAside(error.what());
    }
}

void Preferences::State::keepAside(const std::string& reason) {
    try {
        const auto aside = domains.files().setAside(domains.fileOf(name));
        log.error("the preferences in %{public}s cannot be used and were kept as %{public}s: %s", path(),
                  aside.string(), reason);
    } catch (const DurableFileError& error) {
        leftAlone = true;
        log.error("the preferences in %{public}s cannot be used and are left alone: %s; %s", path(), reason,
                  error.what());
    }
}

void Preferences::State::change(const std::string& key, std::optional<Json> value) {
    {
        const MutexLock lock(mutex);
        const auto found = values.find(key);
        if (found == values.end() ? !value : value && isSame(*found, *value)) {
            return;
        }
        if (value) {
            values[key] = std::move(*value);
        } else {
            values.erase(found);
        }
        ++changes;
        if (writer == nullptr || std::exchange(scheduled, true)) {
            return;
        }
    }
    serveAfter(std::chrono::nanoseconds(0));
}

void Preferences::State::serveAfter(std::chrono::nanoseconds delay) {
    writer->asyncAfter(delay, lifetime.guarded([this] { serve(); }));
}

void Preferences::State::serve() {
    {
        const MutexLock lock(mutex);
        if (changes == written) {
            scheduled = false;
            return;
        }
    }
    serveAfter(write() ? std::chrono::nanoseconds(writeInterval) : std::chrono::nanoseconds(retryInterval));
}

bool Preferences::State::write() {
    const MutexLock writingLock(writing);
    Json snapshot;
    std::uint64_t changesSeen = 0;
    {
        const MutexLock lock(mutex);
        if (changes == written) {
            return true;
        }
        snapshot = values;
        changesSeen = changes;
    }
    const bool stored = store(snapshot);
    if (stored || leftAlone) {
        const MutexLock lock(mutex);
        written = changesSeen;
    }
    return stored;
}

bool Preferences::State::store(const Json& snapshot) {
    if (leftAlone) {
        if (!std::exchange(failing, true)) {
            log.error("changed preferences are not stored: %{public}s is left alone", path());
        }
        return false;
    }
    try {
        domains.write(name, snapshot);
    } catch (const DurableFileError& error) {
        if (!std::exchange(failing, true)) {
            log.error("the preferences could not be stored in %{public}s: %s", path(), error.what());
        }
        return false;
    }
    if (std::exchange(failing, false)) {
        log.notice("the preferences are stored in %{public}s again", path());
    }
    return true;
}

Preferences::Preferences(const PreferenceDomains& domains, std::string domain, TaskQueue* writer)
    : state_(std::make_unique<State>(domains, std::move(domain), writer)) {
    state_->load();
}

Preferences::~Preferences() {
    flush();
}

bool Preferences::contains(const std::string& key) const {
    const MutexLock lock(state_->mutex);
    return state_->values.contains(key);
}

std::optional<bool> Preferences::boolean(const std::string& key) const {
    return state_->get(key, &asBoolean);
}

std::optional<float> Preferences::number(const std::string& key) const {
    return state_->get(key, &asFloat);
}

std::optional<std::int64_t> Preferences::integer(const std::string& key) const {
    return state_->get(key, &asInteger);
}

std::optional<std::string> Preferences::string(const std::string& key) const {
    return state_->get(key, &asString);
}

std::optional<std::vector<std::string>> Preferences::stringArray(const std::string& key) const {
    return state_->get(key, &asStringArray);
}

void Preferences::setBool(const std::string& key, bool value) {
    state_->put(key, value);
}

void Preferences::setFloat(const std::string& key, float value) {
    if (Json stored = floatValue(value); !stored.is_null()) {
        state_->put(key, std::move(stored));
    }
}

void Preferences::setInteger(const std::string& key, std::int64_t value) {
    state_->put(key, value);
}

void Preferences::setString(const std::string& key, std::optional<std::string> value) {
    if (value) {
        state_->put(key, std::move(*value));
    } else {
        remove(key);
    }
}

void Preferences::setStringArray(const std::string& key, std::vector<std::string> value) {
    state_->put(key, std::move(value));
}

void Preferences::setObject(const std::string& key, const Json& value) {
    state_->put(key, value);
}

void Preferences::remove(const std::string& key) {
    state_->change(key, std::nullopt);
}

bool Preferences::flush() {
    return state_->write();
}

} // namespace keysong
