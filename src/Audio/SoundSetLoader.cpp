#include "Audio/SoundSetLoader.h"

#include "Shared/Log.h"
#include "Shared/WholeFile.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <unordered_set>
#include <utility>

namespace keysong {

namespace {

/// For each group every sample of its keys, once each; the keys' own list where all of them share one.
std::array<SampleListRef, keyGroupCount>
joinedByGroup(const std::array<SampleListRef, SoundSet::keyCount>& byKey) {
    std::array<std::vector<SampleListRef>, keyGroupCount> lists;
    for (std::size_t code = 0; code < byKey.size(); ++code) {
        auto& known = lists[static_cast<std::size_t>(keyGroupOf(static_cast<std::uint16_t>(code)))];
        if (std::ranges::find(known, byKey[code]) == known.end()) {
            known.push_back(byKey[code]);
        }
    }
    std::array<SampleListRef, keyGroupCount> result;
    for (std::size_t group = 0; group < keyGroupCount; ++group) {
        SampleList joined;
        std::unordered_set<SampleRef> seen;
        for (const SampleListRef& list : lists[group]) {
            std::ranges::copy_if(*list, std::back_inserter(joined),
                                 [&](const SampleRef& sample) { return seen.insert(sample).second; });
        }
        result[group] = lists[group].size() == 1 ? lists[group].front()
                                                 : std::make_shared<const SampleList>(std::move(joined));
    }
    return result;
}

/// The same for all spellings of a name in a folder: no "." and "..", no slash too many.
std::string shortestSpelling(const std::string& name) {
    const std::string relative = std::filesystem::path(name).lexically_normal().generic_string();
    return relative.substr(std::min(relative.find_first_not_of('/'), relative.size()));
}

SampleListRef firstOf(const SampleListRef& own, const SampleListRef& group, const SampleListRef& fallback) {
    if (own) {
        return own;
    }
    return group ? group : fallback;
}

} // namespace

SoundSetLoader::SoundSetLoader(const std::filesystem::path& directory, const AudioFormat& format,
                               const AudioFiles& files, std::stop_token stop)
    : directory_(directory), stop_(std::move(stop)), decoder_(format, files, stop_), set_(new SoundSet) {
}

std::shared_ptr<const SoundSet> SoundSetLoader::load() {
    set_->manifest_ = SoundManifest::decode(
        readWholeFile(directory_ / SoundManifest::fileName, SoundManifest::largestFileBytes));
    const std::string& id = set_->manifest_.id;

    // The order of these steps is the order in which files are visited and problems are logged.
    const Lists defaults = loadDefaults();
    loadKeyTables(defaults);
    loadMouse();

    log.notice("loaded set %{public}s files=%{public}ld missing=%{public}ld keyUp=%{public}s", id,
               static_cast<std::int64_t>(samples_.size()), static_cast<std::int64_t>(missing_.size()),
               defaults.up->empty() ? "group/key only" : "yes");
    return std::move(set_);
}

SoundSetLoader::Lists SoundSetLoader::loadDefaults() {
    Lists lists;
    lists.down = loadList(set_->manifest_.defaults.down);
    if (!lists.down) {
        throw SoundSetError(SoundSetError::Kind::noDefaultDown, set_->manifest_.id);
    }
    lists.up = loadList(set_->manifest_.defaults.up);
    if (!lists.up) {
        lists.up = empty_;
    }
    return lists;
}

void SoundSetLoader::loadKeyTables(const Lists& defaults) {
    const auto groups = loadGroups();
    const auto keys = loadKeys();
    for (std::size_t code = 0; code < SoundSet::keyCount; ++code) {
        const Lists& key = keys[code];
        const Lists& group = groups[static_cast<std::size_t>(keyGroupOf(static_cast<std::uint16_t>(code)))];
        set_->downByKey_[code] = firstOf(key.down, group.down, defaults.down);
        set_->upByKey_[code] = firstOf(key.up, group.up, defaults.up);
    }
    set_->downByGroup_ = joinedByGroup(set_->downByKey_);
    set_->upByGroup_ = joinedByGroup(set_->upByKey_);
}

std::array<SoundSetLoader::Lists, keyGroupCount> SoundSetLoader::loadGroups() {
    std::array<Lists, keyGroupCount> lists;
    const auto& entries = set_->manifest_.groups;
    if (!entries) {
        return lists;
    }
    for (const KeyGroup group : allKeyGroups) {
        const auto entry = entries->find(std::string(rawValue(group)));
        if (entry != entries->end()) {
            lists[static_cast<std::size_t>(group)] = loadPair(entry->second);
        }
    }
    return lists;
}

std::array<SoundSetLoader::Lists, SoundSet::keyCount> SoundSetLoader::loadKeys() {
    std::array<Lists, SoundSet::keyCount> lists;
    if (!set_->manifest_.keys) {
        return lists;
    }
    for (const auto& [name, pair] : *set_->manifest_.keys) {
        const auto code = keyCodeFromEntryName(name);
        if (!code) {
            log.error("set %{public}s: ignoring key \"%{public}s\"", set_->manifest_.id, name);
            problems_.push_back("the key \"" + name + "\" is no number from 0 to 255");
            continue;
        }
        // Two entries may name one key ("36" and "036"): a direction that the later one lacks stays.
        const Lists loaded = loadPair(pair);
        Lists& key = lists[*code];
        key.down = loaded.down ? loaded.down : key.down;
        key.up = loaded.up ? loaded.up : key.up;
    }
    return lists;
}

void SoundSetLoader::loadMouse() {
    set_->mouseDown_.fill(empty_);
    set_->mouseUp_.fill(empty_);
    set_->scroll_ = empty_;
    const auto& mouse = set_->manifest_.mouse;
    if (!mouse) {
        return;
    }
    const std::array buttons = {&mouse->left, &mouse->right, &mouse->other};
    static_assert(buttons.size() == SoundSet::buttonCount);
    for (std::size_t ordinal = 0; ordinal < buttons.size(); ++ordinal) {
        const Lists lists = *buttons[ordinal] ? loadPair(**buttons[ordinal]) : Lists{};
        set_->mouseDown_[ordinal] = lists.down ? lists.down : empty_;
        set_->mouseUp_[ordinal] = lists.up ? lists.up : empty_;
    }
    const SampleListRef scroll = loadList(mouse->scroll);
    set_->scroll_ = scroll ? scroll : empty_;
}

SoundSetLoader::Lists SoundSetLoader::loadPair(const SoundManifest::Pair& pair) {
    Lists lists;
    lists.down = loadList(pair.down);
    lists.up = loadList(pair.up);
    return lists;
}

SampleListRef SoundSetLoader::loadList(const std::optional<SoundManifest::FileNames>& names) {
    if (!names) {
        return nullptr;
    }
    SampleList list;
    for (const std::string& name : *names) {
        if (SampleRef sample = loadSample(name)) {
            list.push_back(std::move(sample));
        }
    }
    return list.empty() ? nullptr : std::make_shared<const SampleList>(std::move(list));
}

SampleRef SoundSetLoader::loadSample(const std::string& name) {
    if (stop_.stop_requested()) {
        throw SoundSetError(SoundSetError::Kind::stopped, set_->manifest_.id);
    }
    const std::string shortest = shortestSpelling(name);
    if (const auto known = samples_.find(shortest); known != samples_.end()) {
        return known->second;
    }
    if (!missing_.contains(shortest) && samples_.size() + missing_.size() >= mostFiles) {
        if (!isFull_) {
            leave(name, "a set has no more files than " + std::to_string(mostFiles));
        }
        isFull_ = true;
        return nullptr;
    }
    try {
        // Appended as text: as a path, a name that begins with a slash would leave the folder.
        SampleRef sample = decoder_.decode(directory_.native() + "/" + name);
        samples_.emplace(shortest, sample);
        set_->fileNames_.emplace(sample.get(), name);
        return sample;
    } catch (const std::exception& error) {
        if (stop_.stop_requested()) {
            throw SoundSetError(SoundSetError::Kind::stopped, set_->manifest_.id);
        }
        if (missing_.insert(shortest).second) {
            leave(name, error.what());
        }
        return nullptr;
    }
}

void SoundSetLoader::leave(const std::string& name, const std::string& reason) {
    log.error("set %{public}s: dropping %{public}s: %{public}s", set_->manifest_.id, name, reason);
    problems_.push_back(reason);
}

} // namespace keysong
