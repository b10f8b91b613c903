#pragma once

#include "Audio/SoundEngine.h"
#include "Audio/SoundSet.h"
#include "Linux/Files/IcuTextForms.h"
#include "Linux/Files/LinuxStagedFolders.h"
#include "Linux/Files/PackedArchives.h"
#include "Linux/Input/KeyCodes.h"
#include "Linux/Sound/SndfileAudio.h"
#include "Linux/Sound/SndfileFlacWriter.h"
#include "Packs/PackImporter.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/WaveFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keysong::test {

/// Packs that a test writes, imported into a folder of its own with the real services.
class PackFixture : public testing::Test {
  protected:
    /// Blocks of 100 ms at 48 kHz; every frame of block `n` holds (n + 1) / 64.
    static std::string steps(int blocks) {
        std::vector<float> frames;
        for (int block = 0; block < blocks; ++block) {
            frames.insert(frames.end(), 4800, level(block));
        }
        return waveBytes(frames);
    }
    static float level(int block) { return static_cast<float>(block + 1) / 64; }
    /// A short sound that differs by `block` from others.
    static std::string click(int block) { return waveBytes(std::vector<float>(100, level(block))); }

    ImportOutcome importAll(const std::filesystem::path& pack, bool replace = false) const {
        return PackImporter({archives, audio, writer, folders, forms, soundKeyOf, taken})
            .import(pack, sets(), replace);
    }
    /// The same for what is one pack.
    ImportResult import(const std::filesystem::path& pack, bool replace = false) const {
        return importAll(pack, replace).sets.at(0);
    }
    ImportResult importPack() const { return import(folder.path() / "pack"); }
    /// What the import of a bad pack says.
    std::string refusal(const std::filesystem::path& pack) const {
        try {
            static_cast<void>(import(pack));
        } catch (const PackError& error) {
            return error.what();
        }
        return {};
    }

    std::filesystem::path write(const std::string& name, std::string_view content) const {
        return folder.write("pack/" + name, content);
    }
    [[nodiscard]] std::filesystem::path sets() const { return folder.path() / "Sounds"; }
    [[nodiscard]] std::vector<std::string> installed() const {
        std::vector<std::string> names;
        if (std::filesystem::exists(sets())) {
            for (const auto& entry : std::filesystem::directory_iterator(sets())) {
                names.push_back(entry.path().filename().string());
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    void load(const ImportResult& result) {
        set = SoundSet::load(result.folder, SoundEngine::renderFormat, audio);
    }
    /// The levels of the sounds that an event may play, by `level`'s numbers, -1 for silence, and -2 for a
    /// sound that is not the same throughout its first half: a piece may be faded at its end.
    [[nodiscard]] std::vector<int> blocks(const SoundEvent& event) const {
        std::vector<int> found;
        for (const SampleRef& sample : set->candidates(event)) {
            const std::vector<float> frames = sample->frames();
            const float first = frames.front();
            const auto half = frames.begin() + static_cast<std::ptrdiff_t>((frames.size() + 1) / 2);
            const bool even =
                std::all_of(frames.begin(), half, [first](float frame) { return frame == first; });
            found.push_back(even ? static_cast<int>(first * 64) - 1 : -2);
        }
        return found;
    }
    [[nodiscard]] std::size_t length(const SoundEvent& event) const {
        return set->candidates(event).front()->length();
    }

    TempFolder folder;
    PackedArchives archives;
    IcuTextForms forms;
    SndfileAudio audio;
    SndfileFlacWriter writer;
    LinuxStagedFolders folders;
    /// Identifiers of sets elsewhere.
    std::set<std::string> taken;
    std::shared_ptr<const SoundSet> set;
};

} // namespace keysong::test
