#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// A manifest that cannot be used: not JSON, a required key missing, or a value of the wrong type.
/// `what()` says what and where.
class SoundManifestError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The decoded content of a sound set's "manifest.json": a plain value.
struct SoundManifest {
    using FileNames = std::vector<std::string>;

    /// Samples for going down and for coming up, each absent on its own.
    struct Pair {
        std::optional<FileNames> down;
        std::optional<FileNames> up;

        friend bool operator==(const Pair&, const Pair&) = default;
    };

    struct Mouse {
        std::optional<Pair> left;
        std::optional<Pair> right;
        std::optional<Pair> other;
        /// One of these is played per scroll notch.
        std::optional<FileNames> scroll;

        friend bool operator==(const Mouse&, const Mouse&) = default;
    };

    /// Format version; kept, not interpreted.
    std::int64_t schema = 0;
    std::string id;
    /// The name shown to the user.
    std::string name;
    /// As written in the file: not limited, see the readers below. Decibels.
    std::optional<float> gain;
    /// As written: a fraction of the playback rate.
    std::optional<float> pitchVariation;
    /// As written: decibels.
    std::optional<float> gainVariation;
    Pair defaults;
    /// By the raw value of a key group; other names are carried and never looked up.
    std::optional<std::map<std::string, Pair>> groups;
    /// By key code in decimal, as written.
    std::optional<std::map<std::string, Pair>> keys;
    std::optional<Mouse> mouse;

    friend bool operator==(const SoundManifest&, const SoundManifest&) = default;

    /// The manifest's name in the set's folder.
    static constexpr const char* fileName = "manifest.json";
    /// No manifest file is read beyond this size: a hundred times what naming a sound for every key takes.
    static constexpr std::size_t largestFileBytes = std::size_t{4} << 20U;

    /// No identifier and no name is longer; a manifest with a longer one is refused.
    static constexpr std::size_t longestNameBytes = 256;

    /// Reads a manifest from the bytes of its file. A value of the wrong type anywhere under the known
    /// keys refuses the whole file, under a group name or key name that means nothing too; other keys are
    /// ignored. Null stands for absence under an optional key, but not among the entries of "groups",
    /// "keys" or a list. Of a key given twice the last counts. Any thread. Throws `SoundManifestError`.
    [[nodiscard]] static SoundManifest decode(std::string_view bytes);

    /// The text of a manifest file with this content, for people to read and change; what is absent is left
    /// out. Bytes that are no UTF-8 are replaced. Any thread.
    [[nodiscard]] std::string encode() const;

    /// The level offset of the whole set in decibels: 0 when absent, limited to -12...6.
    [[nodiscard]] float effectiveGain() const noexcept;
    /// Largest random change of playback rate per hit, a fraction: 0.03 when absent, limited to 0...0.15.
    [[nodiscard]] float effectivePitchVariation() const noexcept;
    /// Largest random change of level per hit in decibels: 1 when absent, limited to 0...6.
    [[nodiscard]] float effectiveGainVariation() const noexcept;
};

/// The part of a manifest that a list of sets needs.
struct SoundManifestHead {
    std::string id;
    std::string name;

    /// Reads only the identifier and the name; every other key is ignored. Throws `SoundManifestError`.
    [[nodiscard]] static SoundManifestHead decode(std::string_view bytes);
};

/// The key code that a "keys" entry's name stands for: a decimal integer from 0 to 255 by the rule of
/// `parseInteger`; none for any other text.
[[nodiscard]] std::optional<std::uint8_t> keyCodeFromEntryName(std::string_view name);

} // namespace keysong
