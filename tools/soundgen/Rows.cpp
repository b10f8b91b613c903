#include "soundgen/Rows.h"

#include <algorithm>
#include <utility>

namespace keysong::soundgen {
namespace {

Sound soundOfRow(const Sound& main, const Row& row) {
    Sound sound = main;
    sound.target.kind = SoundTarget::Kind::row;
    sound.target.name = row.name;
    sound.place.down = row.down;
    sound.adjustments.insert(sound.adjustments.end(), row.adjustments.begin(), row.adjustments.end());
    return sound;
}

} // namespace

Place Sound::placeOf(int variant) const noexcept {
    if (target.kind != SoundTarget::Kind::row) {
        return place;
    }
    return {(variant + 0.5) / variants, place.down};
}

std::string Sound::fileStem() const {
    switch (target.kind) {
    case SoundTarget::Kind::scroll:
        return "scroll";
    case SoundTarget::Kind::mouse:
        return "mouse-" + target.name + "-" + target.direction;
    case SoundTarget::Kind::key:
        return "key-" + target.name + "-" + target.direction;
    case SoundTarget::Kind::row:
        return "main-" + target.name + "-" + target.direction;
    case SoundTarget::Kind::group:
        break;
    }
    return target.name + "-" + target.direction;
}

void spreadOverRows(SetDescription& set) {
    if (set.rows.empty()) {
        return;
    }
    std::vector<Sound> sounds;
    for (Sound& sound : set.sounds) {
        if (sound.target.kind == SoundTarget::Kind::group && sound.target.name == "main") {
            for (const Row& row : set.rows) {
                sounds.push_back(soundOfRow(sound, row));
            }
        } else {
            sounds.push_back(std::move(sound));
        }
    }
    set.sounds = std::move(sounds);
}

int firstNearHit(const Sound& sound, std::size_t key, std::size_t keyCount) noexcept {
    if (sound.near == 0 || sound.near >= sound.variants) {
        return 0;
    }
    const double place = (static_cast<double>(key) + 0.5) / static_cast<double>(keyCount);
    const int first = static_cast<int>(place * sound.variants - sound.near / 2.0 + 0.5);
    return std::clamp(first, 0, sound.variants - sound.near);
}

} // namespace keysong::soundgen
