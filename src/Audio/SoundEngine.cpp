#include "Audio/SoundEngine.h"

#include "Audio/ToneControl.h"
#include "Shared/Log.h"
#include "Shared/NumberText.h"
#include "Shared/SerialQueue.h"

#include <algorithm>
#include <iterator>
#include <thread>
#include <utility>

namespace keysong {

namespace {

/// How often replaced sets are looked at while one still sounds.
constexpr std::chrono::milliseconds releaseInterval(250);

/// A time that lies further back was not read from the engine's clock. Everything nearer is believed: what
/// was typed while the machine or the program stood still, and comes in all at once when it goes on, must be
/// known as late, since the mixer drops what is (`Mixer::mostLateNanoseconds`).
constexpr std::chrono::minutes oldestTime(1);

/// When the event happened: as its source says if that can be, otherwise now.
std::chrono::nanoseconds trueTime(std::chrono::nanoseconds told, std::chrono::nanoseconds now) {
    return told > std::chrono::nanoseconds(0) && told <= now && now - told <= oldestTime ? told : now;
}

/// The event as it stands in the play log.
std::string labelOf(const SoundEvent& event) {
    switch (event.kind()) {
    case SoundEvent::Kind::keyDown:
        return "keyDown(" + std::to_string(event.keyCode()) + ")";
    case SoundEvent::Kind::keyUp:
        return "keyUp(" + std::to_string(event.keyCode()) + ")";
    case SoundEvent::Kind::mouseDown:
        return std::string("mouseDown(") + nameOf(event.button()) + ")";
    case SoundEvent::Kind::mouseUp:
        return std::string("mouseUp(") + nameOf(event.button()) + ")";
    case SoundEvent::Kind::scrollTick:
        break;
    }
    return "scrollTick";
}

void logPlay(const SoundEvent& event, const Hit& hit) {
    log.notice("play %{public}s voice=%{public}ld",
               labelOf(event) + " file=" + hit.file + " rate=" + fixedText(hit.rate, 4) +
                   " gainDB=" + fixedText(hit.gainDecibels, 2, true),
               static_cast<std::int64_t>(hit.voice));
}

} // namespace

SoundEngine::SoundEngine(AudioOutput& output, const Clock& clock, Threads& threads,
                         const RandomSource& random, MemoryLock* memory)
    : SoundEngine(output,
                  {clock,
                   std::make_unique<SerialQueue>(
                       threads, ThreadAttributes{"com.orlen.keysong.audio.control", "audio.control"}),
                   [](std::chrono::nanoseconds duration) { std::this_thread::sleep_for(duration); }, memory},
                  random) {
}

SoundEngine::SoundEngine(AudioOutput& output, SoundEngineServices services, const RandomSource& random)
    : output_(output), clock_(services.clock), sleep_(std::move(services.sleep)), memory_(services.memory),
      random_(random), mixer_(VoiceLanes::pans()), retryDelay_(firstRetryDelay),
      control_(std::move(services.control)) {
    output_.setRenderer(&mixer_);
    output_.setConfigurationChangeHandler(lifetime_.guarded([this] { recover(); }));
}

SoundEngine::~SoundEngine() {
    lifetime_.end();
    control_.reset();
    output_.setConfigurationChangeHandler({});
    output_.stop();
    output_.setRenderer(nullptr);
    mixer_.discardAll();
}

void SoundEngine::play(const SoundEvent& event, std::chrono::nanoseconds time) {
    // First of all: the sound is placed a fixed time after this.
    const std::chrono::nanoseconds now = clock_.now();
    const std::chrono::nanoseconds asked = trueTime(time, now);
    const Draws draws = random_.next();
    const bool verbose = verboseLogging();
    std::optional<Hit> hit;
    {
        const MutexLock lock(mutex_);
        hit = state_.resolve(event, draws, verbose);
        if (hit) {
            wake(now);
        }
    }
    if (!hit) {
        return;
    }
    if (!mixer_.schedule({asked.count(), hit->voice, hit->buffer, hit->rate, hit->volume, hit->inFlight})) {
        hit->inFlight->fetch_sub(1, std::memory_order_release);
    }
    {
        const MutexLock lock(mutex_);
        --state_.scheduling;
    }
    if (verbose) {
        logPlay(event, *hit);
    }
}

void SoundEngine::wake(std::chrono::nanoseconds now) {
    state_.lastUse = now;
    if (std::exchange(state_.resting, false)) {
        output_.setResting(false);
    }
}

void SoundEngine::wakeIfHeard() {
    if (state_.expectsHits()) {
        wake(clock_.now());
    }
}

void SoundEngine::noteInput() {
    const MutexLock lock(mutex_);
    wakeIfHeard();
}

void SoundEngine::setListening(bool listening) {
    const MutexLock lock(mutex_);
    state_.listening = listening;
    wakeIfHeard();
}

void SoundEngine::restIfUnused() {
    const std::chrono::nanoseconds now = clock_.now();
    const MutexLock lock(mutex_);
    if (state_.mayRest(now) && mixer_.isSilent()) {
        state_.resting = true;
        // Under the lock, so that a hit cannot wake the output before it rests.
        output_.setResting(true);
    }
}

void SoundEngine::load(std::shared_ptr<const SoundSet> set) {
    const std::string id = set->manifest().id;
    auto loaded = std::make_shared<LoadedSet>(std::move(set), memory_);
    {
        const MutexLock lock(mutex_);
        state_.set.swap(loaded);
        wakeIfHeard();
    }
    log.notice("engine loaded set %{public}s", id);
    if (loaded != nullptr) {
        const MutexLock lock(retiredMutex_);
        retired_.push_back(std::move(loaded));
    }
    releaseRetiredSets();
}

void SoundEngine::releaseRetiredSets() {
    // Emptied after the lock is dropped: freeing a set's samples takes a while.
    std::vector<std::shared_ptr<LoadedSet>> released;
    bool comeBack = false;
    {
        const MutexLock lock(retiredMutex_);
        const auto silent = std::partition(retired_.begin(), retired_.end(), [](const auto& retired) {
            return retired->inFlight.load(std::memory_order_acquire) > 0;
        });
        std::move(silent, retired_.end(), std::back_inserter(released));
        retired_.erase(silent, retired_.end());
        comeBack = !retired_.empty() && !std::exchange(releasePending_, !retired_.empty());
    }
    if (comeBack) {
        control_->asyncAfter(releaseInterval, [this] {
            {
                const MutexLock lock(retiredMutex_);
                releasePending_ = false;
            }
            releaseRetiredSets();
        });
    }
}

void SoundEngine::setVolume(float volume) {
    const float limited = volume > 0.0F ? std::min(volume, 1.0F) : 0.0F;
    // The mixer under the lock too: of two threads, the one that is noted last is heard.
    const MutexLock lock(mutex_);
    state_.volume = limited;
    mixer_.setMasterVolume(limited);
}

bool SoundEngine::isPlaying() const {
    const EngineState state = snapshot();
    return state.running && (state.resting || output_.isRendering());
}

float SoundEngine::volume() const {
    const MutexLock lock(mutex_);
    return state_.volume;
}

void SoundEngine::setMuted(bool muted) {
    const MutexLock lock(mutex_);
    if (std::exchange(state_.muted, muted) && !muted) {
        wakeIfHeard();
    }
}

void SoundEngine::setSpatial(bool spatial) {
    const MutexLock lock(mutex_);
    state_.spatial = spatial;
}

void SoundEngine::setPlaceless(bool placeless) {
    const MutexLock lock(mutex_);
    state_.placeless = placeless;
}

void SoundEngine::setMouseEnabled(bool enabled) {
    const MutexLock lock(mutex_);
    state_.mouseEnabled = enabled;
}

void SoundEngine::setScrollEnabled(bool enabled) {
    const MutexLock lock(mutex_);
    state_.scrollEnabled = enabled;
}

std::shared_ptr<const SoundSet> SoundEngine::set() const {
    const MutexLock lock(mutex_);
    return state_.set != nullptr ? state_.set->set : nullptr;
}

void SoundEngine::setTone(float tone) {
    const float limited = ToneControl::clamped(tone);
    const auto gains = ToneControl::shelves(limited);
    const MutexLock lock(mutex_);
    state_.tone = limited;
    mixer_.setLowShelfGain(gains.low);
    mixer_.setHighShelfGain(gains.high);
    mixer_.setMakeupGain(gains.makeup);
}

float SoundEngine::tone() const {
    const MutexLock lock(mutex_);
    return state_.tone;
}

void SoundEngine::setBody(float body) {
    const float limited = ToneControl::clamped(body);
    const float rate = ToneControl::rate(limited);
    const MutexLock lock(mutex_);
    state_.body = limited;
    state_.rateBias = rate;
}

float SoundEngine::body() const {
    const MutexLock lock(mutex_);
    return state_.body;
}

ShelfReading SoundEngine::shelfGainsForTest() const {
    return {mixer_.lowShelfGain(), mixer_.highShelfGain(), false};
}

EngineState SoundEngine::snapshot() const {
    const MutexLock lock(mutex_);
    return state_;
}

} // namespace keysong
