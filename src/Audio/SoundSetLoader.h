#pragma once

#include "Audio/SampleDecoder.h"
#include "Audio/SoundSet.h"
#include "Shared/KeyGroup.h"

#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace keysong {

/// Builds one sound set: reads its manifest, decodes its files and resolves every fallback. Made for one
/// load and thrown away; nothing is shared between loads. One thread, under the rules of `SoundSet::load`.
class SoundSetLoader {
  public:
    SoundSetLoader(const std::filesystem::path& directory, const AudioFormat& format,
                   const AudioFiles& files);

    /// Call once; errors as for `SoundSet::load`.
    [[nodiscard]] std::shared_ptr<const SoundSet> load();

    /// What `load` left out, in words, in the order in which it met it; each was logged too.
    [[nodiscard]] const std::vector<std::string>& problems() const noexcept { return problems_; }

  private:
    /// The lists of one key, group or button; null where it has none of its own.
    struct Lists {
        SampleListRef down;
        SampleListRef up;
    };

    Lists loadDefaults();
    /// Fills the tables by key and those by group.
    void loadKeyTables(const Lists& defaults);
    std::array<Lists, keyGroupCount> loadGroups();
    std::array<Lists, SoundSet::keyCount> loadKeys();
    void loadMouse();

    Lists loadPair(const SoundManifest::Pair& pair);
    /// The samples of the files that could be decoded, in the order written; null when there is none.
    SampleListRef loadList(const std::optional<SoundManifest::FileNames>& names);
    /// The sample of one file, decoded at its first use; null when that fails, which is logged once a name.
    SampleRef loadSample(const std::string& name);

    std::filesystem::path directory_;
    SampleDecoder decoder_;
    std::shared_ptr<SoundSet> set_;
    std::unordered_map<std::string, SampleRef> samples_;
    std::set<std::string> missing_;
    std::vector<std::string> problems_;
    const SampleListRef empty_ = std::make_shared<const SampleList>();
};

} // namespace keysong
