#include "soundgen/SetWriter.h"

#include <nlohmann/json.hpp>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>

#include "soundgen/Random.h"
#include "soundgen/Rows.h"
#include "soundgen/SoundRenderer.h"

namespace keysong::soundgen {
namespace {

using Json = nlohmann::ordered_json;

std::string fileName(const Sound& sound, int variant) {
    return sound.fileStem() + "-" + std::to_string(variant + 1) + ".flac";
}

/// Where the manifest lists the files of a sound.
Json& listOf(Json& manifest, const SoundTarget& target) {
    switch (target.kind) {
    case SoundTarget::Kind::scroll:
        return manifest["mouse"]["scroll"];
    case SoundTarget::Kind::mouse:
        return manifest["mouse"][target.name][target.direction];
    case SoundTarget::Kind::key:
        return manifest["keys"][target.name][target.direction];
    case SoundTarget::Kind::row:
        // A main key without a row may have a hit of any.
        return manifest["defaults"][target.direction];
    case SoundTarget::Kind::group:
        break;
    }
    // The sound of the main keys is what every other key falls back to.
    return target.name == "main" ? manifest["defaults"][target.direction]
                                 : manifest["groups"][target.name][target.direction];
}

/// Gives each key of a sound's row the hits that lie nearest to it.
void listKeysOfRow(Json& manifest, const SetDescription& set, const Sound& sound) {
    const auto row = std::find_if(set.rows.begin(), set.rows.end(),
                                  [&](const Row& other) { return other.name == sound.target.name; });
    const int count = sound.near == 0 ? sound.variants : std::min(sound.near, sound.variants);
    for (std::size_t i = 0; i < row->keys.size(); ++i) {
        Json& list = manifest["keys"][std::to_string(row->keys[i])][sound.target.direction];
        const int first = firstNearHit(sound, i, row->keys.size());
        for (int variant = first; variant < first + count; ++variant) {
            list.push_back(fileName(sound, variant));
        }
    }
}

/// Decimal text of a fraction written in a description, without the tail of its binary form.
double rounded(double value) {
    return std::round(value * 1e4) / 1e4;
}

/// A signal in 16 bits. Noise of a step's size (triangular dither) is added first, so that a tail dies away
/// into even noise and not into a coarse copy of itself. Silence stays silence.
std::vector<short> dithered(const Signal& signal, Random random) {
    constexpr double silence = 0.01;
    std::vector<short> samples(signal.size());
    std::transform(signal.begin(), signal.end(), samples.begin(), [&random](double sample) {
        const double steps = sample * 32767;
        const double noise = random.stray();
        return std::abs(steps) < silence ? short{0} : static_cast<short>(std::lround(steps + noise));
    });
    return samples;
}

/// `seed` is the set's.
void writeSound(const Signal& signal, std::uint64_t seed, const std::filesystem::path& path) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(sampleRate);
    info.channels = 1;
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(path.c_str(), SFM_WRITE, &info), sf_close);
    if (!file) {
        throw WriteError(path.string() + ": " + sf_strerror(nullptr));
    }
    const std::vector<short> samples = dithered(signal, Random(seed, path.filename().string(), 0));
    const auto count = static_cast<sf_count_t>(samples.size());
    if (sf_writef_short(file.get(), samples.data(), count) != count) {
        throw WriteError(path.string() + ": " + sf_strerror(file.get()));
    }
    // The encoder writes its last block only now.
    if (const int error = sf_close(file.release()); error != 0) {
        throw WriteError(path.string() + ": " + sf_error_number(error));
    }
}

} // namespace

std::string manifestText(const SetDescription& set) {
    Json manifest;
    manifest["schema"] = 1;
    manifest["id"] = set.id;
    manifest["name"] = set.name;
    manifest["gain"] = rounded(set.gainDb);
    manifest["pitchVariation"] = rounded(set.pitchVariation);
    manifest["gainVariation"] = rounded(set.gainVariationDb);
    manifest["defaults"] = Json::object();
    for (const Sound& sound : set.sounds) {
        Json& list = listOf(manifest, sound.target);
        for (int variant = 0; variant < sound.variants; ++variant) {
            list.push_back(fileName(sound, variant));
        }
        if (sound.target.kind == SoundTarget::Kind::row) {
            listKeysOfRow(manifest, set, sound);
        }
    }
    return manifest.dump(2) + "\n";
}

void writeSet(const SetDescription& set, const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw WriteError(folder.string() + ": " + error.message());
    }
    SoundRenderer renderer(set);
    for (const Sound& sound : set.sounds) {
        int variant = 0;
        for (const Signal& signal : renderer.render(sound)) {
            writeSound(signal, set.seed, folder / fileName(sound, variant++));
        }
    }
    const auto path = folder / "manifest.json";
    std::ofstream file(path, std::ios::binary);
    file << manifestText(set);
    file.close();
    if (!file) {
        throw WriteError(path.string() + ": cannot be written");
    }
}

} // namespace keysong::soundgen
