#pragma once

#include "Audio/SampleDecoder.h"
#include "Audio/SoundSet.h"
#include "Shared/KeyGroup.h"

#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <vector>

namespace keysong {

/// Builds one sound set: reads its manifest, decodes its files and resolves every fallback. Made for one
/// load and thrown away; nothing is shared between loads. One thread, under the rules of `SoundSet::load`.
class SoundSetLoader {
  public:
    /// A set has no more files than these; further names are left out.
    static constexpr std::size_t mostFiles = 4096;

    /// Once `stop` is asked for, `load` ends soon.
    SoundSetLoader(const std::filesystem::path& directory, const AudioFormat& format, const AudioFiles& files,
                   std::stop_token stop = {});

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
    /// The sample of one file, decoded at its first use under any spelling of its name; null when that fails,
    /// which is logged once a name.
    SampleRef loadSample(const std::string& name);
    void leave(const std::string& name, const std::string& reason);

    std::filesystem::path directory_;
    std::stop_token stop_;
    SampleDecoder decoder_;
    std::shared_ptr<SoundSet> set_;
    /// By the shortest spelling.
    std::unordered_map<std::string, SampleRef> samples_;
    std::set<std::string> missing_;
    std::vector<std::string> problems_;
    bool isFull_ = false;
    const SampleListRef empty_ = std::make_shared<const SampleList>();
};

} // namespace keysong
