#include "Shared/SoundManifest.h"

#include "Shared/JsonDocument.h"
#include "Shared/NumberText.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>

namespace keysong {

namespace {

using Json = nlohmann::json;
/// Keeps the order in which it was written.
using OrderedJson = nlohmann::ordered_json;

[[noreturn]] void fail(const std::string& where, std::string_view problem) {
    throw SoundManifestError("\"" + where + "\" " + std::string(problem));
}

Json parseDocument(std::string_view bytes) {
    try {
        return parseJsonObject(bytes, SoundManifest::largestFileBytes);
    } catch (const JsonDocumentError& error) {
        throw SoundManifestError(error.what());
    }
}

/// The value of an optional key: null stands for absence.
const Json* find(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found == object.end() || found->is_null() ? nullptr : &*found;
}

const Json& require(const Json& object, const char* key) {
    const Json* value = find(object, key);
    if (value == nullptr) {
        fail(key, "is missing");
    }
    return *value;
}

const Json& requireObject(const Json& value, const std::string& where) {
    if (!value.is_object()) {
        fail(where, "is not an object");
    }
    return value;
}

std::string readString(const Json& value, const std::string& where) {
    if (!value.is_string()) {
        fail(where, "is not a string");
    }
    return value.get<std::string>();
}

/// An identifier or a name: what is shown, sent and stored must not be endless.
std::string readShortString(const Json& object, const char* key) {
    std::string text = readString(require(object, key), key);
    if (text.size() > SoundManifest::longestNameBytes) {
        fail(key, "is longer than " + std::to_string(SoundManifest::longestNameBytes) + " bytes");
    }
    return text;
}

std::int64_t readInteger(const Json& value, const std::string& where) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(INT64_MAX)) {
            fail(where, "is out of range");
        }
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer()) {
        return value.get<std::int64_t>();
    }
    if (!value.is_number()) {
        fail(where, "is not a number");
    }
    // "1.0" and "1e2" are integral, however they are written. 2^63 itself does not fit.
    const auto number = value.get<double>();
    if (std::trunc(number) != number || number < -0x1p63 || number >= 0x1p63) {
        fail(where, "is not an integer");
    }
    return static_cast<std::int64_t>(number);
}

std::optional<float> readFloat(const Json& object, const char* key) {
    const Json* value = find(object, key);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->is_number()) {
        fail(key, "is not a number");
    }
    const auto number = static_cast<float>(value->get<double>());
    if (!std::isfinite(number)) {
        fail(key, "does not fit a 32-bit float");
    }
    return number;
}

std::optional<SoundManifest::FileNames> readNames(const Json& object, const char* key,
                                                  const std::string& where) {
    const Json* value = find(object, key);
    if (value == nullptr) {
        return std::nullopt;
    }
    const std::string here = where + "." + key;
    if (!value->is_array()) {
        fail(here, "is not a list");
    }
    SoundManifest::FileNames names;
    names.reserve(value->size());
    for (const Json& name : *value) {
        if (!name.is_string()) {
            fail(here, "holds something other than a string");
        }
        names.push_back(name.get<std::string>());
    }
    return names;
}

SoundManifest::Pair readPair(const Json& value, const std::string& where) {
    requireObject(value, where);
    return {readNames(value, "down", where), readNames(value, "up", where)};
}

/// A map's entries are values in their own right: a null among them is a value of the wrong type.
std::optional<std::map<std::string, SoundManifest::Pair>> readPairs(const Json& object, const char* key) {
    const Json* value = find(object, key);
    if (value == nullptr) {
        return std::nullopt;
    }
    requireObject(*value, key);
    std::map<std::string, SoundManifest::Pair> pairs;
    for (const auto& [name, pair] : value->items()) {
        pairs.emplace(name, readPair(pair, std::string(key) + "." + name));
    }
    return pairs;
}

std::optional<SoundManifest::Mouse> readMouse(const Json& object) {
    const Json* value = find(object, "mouse");
    if (value == nullptr) {
        return std::nullopt;
    }
    requireObject(*value, "mouse");
    const auto button = [value](const char* key) -> std::optional<SoundManifest::Pair> {
        const Json* pair = find(*value, key);
        return pair == nullptr ? std::nullopt : std::optional(readPair(*pair, std::string("mouse.") + key));
    };
    return SoundManifest::Mouse{button("left"), button("right"), button("other"),
                                readNames(*value, "scroll", "mouse")};
}

OrderedJson written(const SoundManifest::FileNames& names) {
    return names;
}

/// The number as it would be written by hand, and not with all digits that the float's own value has.
double written(float number) {
    const std::string text = shortestText(number);
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

OrderedJson written(const SoundManifest::Pair& pair) {
    OrderedJson object = OrderedJson::object();
    if (pair.down) {
        object["down"] = *pair.down;
    }
    if (pair.up) {
        object["up"] = *pair.up;
    }
    return object;
}

OrderedJson written(const std::map<std::string, SoundManifest::Pair>& pairs) {
    OrderedJson object = OrderedJson::object();
    for (const auto& [name, pair] : pairs) {
        object[name] = written(pair);
    }
    return object;
}

/// Writes a value that may be absent.
template <typename Value>
void put(OrderedJson& object, const char* key, const std::optional<Value>& value) {
    if (value) {
        object[key] = written(*value);
    }
}

/// `fallback` for an absent value, otherwise the value brought into the range.
float limited(std::optional<float> value, float fallback, float lowest, float highest) noexcept {
    if (!value) {
        return fallback;
    }
    // Written so that a value that is not a number becomes the lowest.
    return *value > lowest ? std::fmin(*value, highest) : lowest;
}

} // namespace

SoundManifest SoundManifest::decode(std::string_view bytes) {
    const Json document = parseDocument(bytes);
    SoundManifest manifest;
    manifest.schema = readInteger(require(document, "schema"), "schema");
    manifest.id = readShortString(document, "id");
    manifest.name = readShortString(document, "name");
    manifest.gain = readFloat(document, "gain");
    manifest.pitchVariation = readFloat(document, "pitchVariation");
    manifest.gainVariation = readFloat(document, "gainVariation");
    manifest.defaults = readPair(require(document, "defaults"), "defaults");
    manifest.groups = readPairs(document, "groups");
    manifest.keys = readPairs(document, "keys");
    manifest.mouse = readMouse(document);
    return manifest;
}

std::string SoundManifest::encode() const {
    OrderedJson document;
    document["schema"] = schema;
    document["id"] = id;
    document["name"] = name;
    put(document, "gain", gain);
    put(document, "pitchVariation", pitchVariation);
    put(document, "gainVariation", gainVariation);
    document["defaults"] = written(defaults);
    put(document, "groups", groups);
    put(document, "keys", keys);
    if (mouse) {
        OrderedJson& object = document["mouse"] = OrderedJson::object();
        put(object, "left", mouse->left);
        put(object, "right", mouse->right);
        put(object, "other", mouse->other);
        put(object, "scroll", mouse->scroll);
    }
    return document.dump(2, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

float SoundManifest::effectiveGain() const noexcept {
    return limited(gain, 0.0F, -12.0F, 6.0F);
}

float SoundManifest::effectivePitchVariation() const noexcept {
    return limited(pitchVariation, 0.03F, 0.0F, 0.15F);
}

float SoundManifest::effectiveGainVariation() const noexcept {
    return limited(gainVariation, 1.0F, 0.0F, 6.0F);
}

SoundManifestHead SoundManifestHead::decode(std::string_view bytes) {
    const Json document = parseDocument(bytes);
    return {readShortString(document, "id"), readShortString(document, "name")};
}

std::optional<std::uint8_t> keyCodeFromEntryName(std::string_view name) {
    const auto code = parseInteger<std::int64_t>(name);
    if (!code || *code < 0 || *code > 255) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(*code);
}

} // namespace keysong
