#include "Audio/SoundSet.h"

#include "Audio/SoundSetLoader.h"

namespace keysong {

namespace {

std::string describe(SoundSetError::Kind kind, const std::string& subject) {
    switch (kind) {
    case SoundSetError::Kind::noDefaultDown:
        return "sound set \"" + subject + "\" has no usable defaults.down samples";
    case SoundSetError::Kind::stopped:
        return "loading set \"" + subject + "\" was stopped";
    case SoundSetError::Kind::undecodable:
        break;
    }
    return "could not build a converter for " + subject;
}

std::size_t ordinalOf(MouseButton button) noexcept {
    return static_cast<std::size_t>(button);
}

} // namespace

SoundSetError::SoundSetError(Kind kind, std::string subject)
    : std::runtime_error(describe(kind, subject)), kind_(kind), subject_(std::move(subject)) {
}

std::shared_ptr<const SoundSet> SoundSet::load(const std::filesystem::path& directory,
                                               const AudioFormat& format, const AudioFiles& files,
                                               const std::stop_token& stop) {
    return SoundSetLoader(directory, format, files, stop).load();
}

std::span<const SampleRef> SoundSet::candidates(const SoundEvent& event) const noexcept {
    switch (event.kind()) {
    case SoundEvent::Kind::keyDown:
        return event.keyCode() < keyCount ? *downByKey_[event.keyCode()] : std::span<const SampleRef>();
    case SoundEvent::Kind::keyUp:
        return event.keyCode() < keyCount ? *upByKey_[event.keyCode()] : std::span<const SampleRef>();
    case SoundEvent::Kind::mouseDown:
        return *mouseDown_[ordinalOf(event.button())];
    case SoundEvent::Kind::mouseUp:
        return *mouseUp_[ordinalOf(event.button())];
    case SoundEvent::Kind::scrollTick:
        break;
    }
    return *scroll_;
}

std::vector<std::span<const std::byte>> SoundSet::memory() const {
    std::vector<std::span<const std::byte>> pieces;
    for (const auto& [buffer, name] : fileNames_) {
        pieces.push_back(buffer->memory());
    }
    return pieces;
}

std::span<const SampleRef> SoundSet::candidatesOfGroup(const SoundEvent& event) const noexcept {
    if (!event.isKey() || event.keyCode() >= keyCount) {
        return candidates(event);
    }
    const auto group = static_cast<std::size_t>(keyGroupOf(event.keyCode()));
    return event.kind() == SoundEvent::Kind::keyDown ? *downByGroup_[group] : *upByGroup_[group];
}

std::string_view SoundSet::fileName(const SampleBuffer* buffer) const {
    const auto found = fileNames_.find(buffer);
    return found == fileNames_.end() ? std::string_view() : found->second;
}

} // namespace keysong
