#include "Audio/EngineState.h"

#include "Audio/KeyPan.h"

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

/// The output rests after this time without use; and much sooner where no use is to be expected.
constexpr std::chrono::seconds idleTime{10};
constexpr std::chrono::milliseconds settlingTime{500};

} // namespace

std::size_t VoiceLanes::laneFor(float pan) noexcept {
    const float x = (pan / KeyPan::stereoWidth + 1.0F) * 0.5F * static_cast<float>(laneCount);
    constexpr float last = laneCount - 1;
    if (x >= last) {
        return laneCount - 1;
    }
    return x > 0.0F ? static_cast<std::size_t>(x) : 0;
}

std::array<float, VoiceLanes::voiceCount> VoiceLanes::pans() noexcept {
    std::array<float, voiceCount> pans{};
    for (std::size_t voice = 0; voice < voiceCount; ++voice) {
        const auto lane = static_cast<float>(voice / voicesPerLane);
        pans[voice] = ((lane + 0.5F) * 0.125F * 2.0F - 1.0F) * KeyPan::stereoWidth;
    }
    return pans;
}

std::optional<Hit> EngineState::resolve(const SoundEvent& event, const Draws& draws, bool verbose) {
    if (!accepts(event)) {
        return std::nullopt;
    }
    const SoundSet& sounds = *set->set;
    const auto candidates = placeless ? sounds.candidatesOfGroup(event) : sounds.candidates(event);
    if (candidates.empty()) {
        return std::nullopt;
    }
    const auto drawn = static_cast<std::size_t>(static_cast<double>(candidates.size()) * draws.pick);
    const SoundManifest& manifest = sounds.manifest();
    Hit hit;
    hit.buffer = candidates[std::min(candidates.size() - 1, drawn)].get();
    hit.voice = takeVoice(event);
    hit.rate = rateBias * (1.0F + manifest.effectivePitchVariation() * draws.pitch);
    hit.gainDecibels = manifest.effectiveGain() + manifest.effectiveGainVariation() * draws.gain;
    hit.volume = std::pow(10.0F, hit.gainDecibels / 20.0F);
    hit.inFlight = &set->inFlight;
    if (verbose) {
        const std::string_view name = sounds.fileName(hit.buffer);
        hit.file = name.empty() ? "?" : name;
    }
    set->inFlight.fetch_add(1, std::memory_order_relaxed);
    ++scheduling;
    return hit;
}

bool EngineState::mayRest(std::chrono::nanoseconds now) const noexcept {
    return running && !resting && scheduling == 0 &&
           now - lastUse >= (expectsHits() ? idleTime : settlingTime);
}

bool EngineState::accepts(const SoundEvent& event) const noexcept {
    if (!running || muted || set == nullptr) {
        return false;
    }
    if (event.isKey()) {
        return true;
    }
    return event.kind() == SoundEvent::Kind::scrollTick ? scrollEnabled : mouseEnabled;
}

std::uint32_t EngineState::takeVoice(const SoundEvent& event) noexcept {
    const float pan = event.isKey() ? KeyPan::pan(event.keyCode()) : 0.0F;
    const std::size_t lane = spatial && !placeless ? VoiceLanes::laneFor(pan) : VoiceLanes::centreLane;
    const std::uint8_t slot = nextInLane[lane];
    nextInLane[lane] = static_cast<std::uint8_t>((slot + 1U) % VoiceLanes::voicesPerLane);
    return static_cast<std::uint32_t>(lane * VoiceLanes::voicesPerLane + slot);
}

} // namespace keysong
