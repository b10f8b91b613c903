#pragma once

#include "Audio/SoundSet.h"
#include "fakes/FakeAudioFiles.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace keysong::test {

/// Every file is a mono recording at 48 kHz that holds 0.5 throughout, whatever is on the disk.
struct ConstantAudioFiles final : FakeAudioFiles {
    explicit ConstantAudioFiles(std::size_t frames = 480) {
        others = File{{48000, 1}, std::vector<float>(frames, 0.5F), std::nullopt};
        convertible = false;
    }
};

/// Writes a set's folder: three files for keys going down, one for keys coming up, one for the left
/// button and one for scrolling; `extra` is further manifest text, such as "\"gain\":3,".
inline std::filesystem::path writeSet(const std::filesystem::path& parent, const std::string& id,
                                      const std::string& extra = {}) {
    const auto directory = parent / id;
    std::filesystem::create_directories(directory);
    for (const char* name : {"a.wav", "b.wav", "c.wav", "up.wav", "left.wav", "scroll.wav"}) {
        std::ofstream(directory / name) << "audio";
    }
    std::ofstream(directory / "manifest.json")
        << "{\"schema\":1,\"id\":\"" << id << "\",\"name\":\"Name\"," << extra
        << "\"defaults\":{\"down\":[\"a.wav\",\"b.wav\",\"c.wav\"],\"up\":[\"up.wav\"]},"
           "\"mouse\":{\"left\":{\"down\":[\"left.wav\"]},\"scroll\":[\"scroll.wav\"]}}";
    return directory;
}

/// A set as `writeSet` writes it, loaded.
inline std::shared_ptr<const SoundSet> makeSet(const std::string& id, const std::string& extra = {},
                                               std::size_t frames = 480) {
    const TempFolder folder;
    return SoundSet::load(writeSet(folder.path(), id, extra), {48000, 1}, ConstantAudioFiles(frames));
}

} // namespace keysong::test
