#include "Packs/PackValues.h"

#include "Shared/NumberText.h"

#include <cmath>

namespace keysong {

namespace {

using Json = nlohmann::json;

/// So many sounds stand for each other at most.
constexpr int mostVariants = 32;

/// The names that a pattern such as "NAME{0-4}.mp3" stands for; the name itself when it is none.
std::vector<std::string> expanded(const std::string& name) {
    const std::size_t open = name.find('{');
    const std::size_t dash = name.find('-', open == std::string::npos ? name.size() : open);
    const std::size_t close = name.find('}', dash == std::string::npos ? name.size() : dash);
    if (close == std::string::npos) {
        return {name};
    }
    const auto first = parseInteger<int>(name.substr(open + 1, dash - open - 1));
    const auto last = parseInteger<int>(name.substr(dash + 1, close - dash - 1));
    if (!first || !last || *first < 0 || *last < *first || *last - *first >= mostVariants) {
        return {name};
    }
    std::vector<std::string> names;
    for (int number = *first;; ++number) {
        names.push_back(name.substr(0, open) + std::to_string(number) + name.substr(close + 1));
        if (number == *last) {
            return names;
        }
    }
}

/// A number, or a text that is one.
std::optional<double> numberIn(const Json& value) {
    std::optional<double> number;
    if (value.is_number()) {
        number = value.get<double>();
    } else if (value.is_string()) {
        number = parseFloat(value.get<std::string>());
    }
    return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<ClipRange> checked(double start, double length) {
    constexpr double longestMs = 24.0 * 3600 * 1000;
    const bool usable = start >= 0 && start <= longestMs && length > 0 && length <= longestMs;
    return usable ? std::optional(ClipRange{start, length}) : std::nullopt;
}

std::optional<std::pair<double, double>> twoNumbers(const Json& value) {
    if (!value.is_array() || value.size() < 2) {
        return std::nullopt;
    }
    const auto first = numberIn(value[0]);
    const auto second = numberIn(value[1]);
    return first && second ? std::optional(std::pair(*first, *second)) : std::nullopt;
}

} // namespace

const Json& valueAt(const Json& object, const char* key) {
    static const Json absent;
    if (!object.is_object()) {
        return absent;
    }
    const auto found = object.find(key);
    return found == object.end() ? absent : *found;
}

std::string textAt(const Json& object, const char* key) {
    const Json& value = valueAt(object, key);
    if (value.is_string()) {
        return value.get<std::string>();
    }
    return value.is_number() ? value.dump() : std::string();
}

std::vector<Clip> namedFiles(const Json& value, const PackReading& reading, const std::string& entry) {
    std::vector<Clip> clips;
    if (value.is_array()) {
        int count = 0;
        for (const Json& one : value) {
            if (!one.is_string()) {
                reading.report.leave("a sound that is no file name", entry + ": " + one.type_name());
            } else if (++count > mostVariants) {
                reading.report.leave("one sound too many for a key", entry + ": " + one.get<std::string>());
            } else {
                const auto more = namedFiles(one, reading, entry);
                clips.insert(clips.end(), more.begin(), more.end());
            }
        }
        return clips;
    }
    if (!value.is_string()) {
        if (!value.is_null()) {
            reading.report.leave("a sound that is no file name", entry + ": " + value.type_name());
        }
        return clips;
    }
    for (const std::string& name : expanded(value.get<std::string>())) {
        if (auto clip = namedFile(name, reading, entry)) {
            clips.push_back(std::move(*clip));
        }
    }
    return clips;
}

std::optional<Clip> namedFile(const std::string& name, const PackReading& reading, const std::string& entry) {
    if (auto found = reading.files.findSound(name)) {
        return Clip{std::move(*found), std::nullopt};
    }
    if (!name.empty()) {
        // Of a file that was refused, it is said at the file's own name why.
        reading.report.leave("a sound file that " + reading.files.whyMissing(name), entry + ": " + name);
    }
    return std::nullopt;
}

std::optional<ClipRange> rangeFromLength(const Json& value) {
    const auto numbers = twoNumbers(value);
    return numbers ? checked(numbers->first, numbers->second) : std::nullopt;
}

std::optional<ClipRange> rangeFromEnd(const Json& value) {
    const auto numbers = twoNumbers(value);
    return numbers ? checked(numbers->first, numbers->second - numbers->first) : std::nullopt;
}

} // namespace keysong
