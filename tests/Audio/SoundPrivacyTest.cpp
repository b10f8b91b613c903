#include "Audio/KeyPan.h"
#include "Linux/Sound/SndfileAudio.h"
#include "support/EngineFixture.h"

#include <array>
#include <cstdio>
#include <map>
#include <numbers>
#include <set>

namespace keysong::test {
namespace {

using Key = std::uint16_t;

constexpr Key space = 49;
/// The four rows of letters, figures and signs.
constexpr std::array<Key, 48> letters{50, 18, 19, 20, 21, 23, 22, 26, 28, 25, 29, 27, 24, 12, 13, 14,
                                      15, 17, 16, 32, 34, 31, 35, 33, 30, 42, 0,  1,  2,  3,  5,  4,
                                      38, 40, 37, 41, 39, 10, 6,  7,  8,  9,  11, 45, 46, 43, 47, 44};
constexpr int spaceEvery = 6;
constexpr std::size_t window = 256;

struct Stereo {
    std::vector<float> left;
    std::vector<float> right;
};

/// What can be told of one hit from its sound.
struct Heard {
    std::size_t lane = 0;
    const SampleBuffer* sample = nullptr;
};

/// Where a sound begins within these frames.
std::size_t attackIn(std::span<const float> frames) {
    const auto louder = [](float a, float b) { return std::abs(a) < std::abs(b); };
    const float peak = std::abs(*std::ranges::max_element(frames, louder));
    return static_cast<std::size_t>(
        std::ranges::find_if(frames, [&](float frame) { return std::abs(frame) > 0.2F * peak; }) -
        frames.begin());
}

/// Somebody who has the set, a recording of the two channels and nothing else.
class Eavesdropper {
  public:
    explicit Eavesdropper(const SoundSet& set) {
        std::set<SampleRef> samples;
        for (Key key = 0; key < SoundSet::keyCount; ++key) {
            const auto own = set.candidates(SoundEvent::keyDown(key));
            samples.insert(own.begin(), own.end());
        }
        const float variation = set.manifest().effectivePitchVariation();
        for (const SampleRef& sample : samples) {
            for (int step = -2; step <= 2; ++step) {
                patterns_.push_back(patternOf(*sample, 1 + variation * static_cast<float>(step) / 2));
            }
        }
    }

    /// Where hits begin: where the sound gets much louder within a millisecond.
    static std::vector<std::size_t> onsets(const Stereo& sound) {
        constexpr std::size_t block = 48;
        constexpr std::size_t pause = 40;
        std::vector<std::size_t> result;
        std::vector<float> energy;
        const std::vector<float> both = mono(sound, 0, sound.left.size());
        for (std::size_t at = 0; at + block <= both.size(); at += block) {
            energy.push_back(dot(&both[at], &both[at], block));
        }
        std::size_t last = 0;
        for (std::size_t b = 10; b + 10 < energy.size(); ++b) {
            float before = 1e-4F;
            for (std::size_t i = 1; i <= 10; ++i) {
                before += energy[b - i];
            }
            if (energy[b] > before && b > last + pause) {
                last = b;
                const std::size_t from = (b - 1) * block;
                result.push_back(from + attackIn(std::span(both).subspan(from, 3 * block)));
            }
        }
        return result;
    }

    [[nodiscard]] Heard listen(const Stereo& sound, std::size_t onset) const {
        constexpr std::size_t lag = 12;
        const std::vector<float> both = mono(sound, onset - lag, window + 2 * lag);
        float best = 0;
        Heard heard;
        for (std::size_t at = 0; at <= 2 * lag; ++at) {
            const float norm = std::sqrt(dot(&both[at], &both[at], window));
            for (const Pattern& pattern : patterns_) {
                const float likeness = dot(&both[at], pattern.frames.data(), window) / norm;
                if (likeness > best) {
                    best = likeness;
                    heard.sample = pattern.sample;
                }
            }
        }
        const float left = std::sqrt(dot(&sound.left[onset], &sound.left[onset], window));
        const float right = std::sqrt(dot(&sound.right[onset], &sound.right[onset], window));
        heard.lane = VoiceLanes::laneFor(std::atan2(right, left) * 4 / std::numbers::pi_v<float> - 1);
        return heard;
    }

  private:
    struct Pattern {
        const SampleBuffer* sample;
        /// Of energy 1.
        std::vector<float> frames;
    };

    static std::vector<float> mono(const Stereo& sound, std::size_t from, std::size_t count) {
        std::vector<float> sum(count);
        for (std::size_t i = 0; i < count; ++i) {
            sum[i] = sound.left[from + i] + sound.right[from + i];
        }
        return sum;
    }
    static float dot(const float* a, const float* b, std::size_t count) {
        float sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            sum += a[i] * b[i];
        }
        return sum;
    }
    static Pattern patternOf(const SampleBuffer& sample, float rate) {
        const std::vector<float> whole = sample.frames();
        std::vector<float> frames;
        for (std::size_t i = 0; i < 3 * window; ++i) {
            const float position = static_cast<float>(i) * rate;
            const auto at = static_cast<std::size_t>(position);
            const float part = position - static_cast<float>(at);
            frames.push_back(at + 1 < whole.size() ? whole[at] * (1 - part) + whole[at + 1] * part : 0);
        }
        const std::size_t attack = attackIn(std::span(frames).first(2 * window));
        frames.erase(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(attack));
        frames.resize(window);
        const float norm = std::sqrt(dot(frames.data(), frames.data(), window));
        std::ranges::transform(frames, frames.begin(), [&](float frame) { return frame / norm; });
        return {&sample, frames};
    }

    std::vector<Pattern> patterns_;
};

/// How much of a text came out.
struct Outcome {
    /// Shares of all presses: onset found; key among those that would sound so; key guessed by the board and
    /// the set; key guessed by what was learned from another text.
    double found = 0;
    double amongCandidates = 0;
    double guessed = 0;
    double learned = 0;
    /// Keys that would sound so, on average.
    double candidates = 0;
};

class SoundPrivacyTest : public EngineFixture {
  protected:
    void SetUp() override {
        set = SoundSet::load(std::string(KEYSONG_BUILT_SOUNDS) + "/Sounds/holy-panda",
                             SoundEngine::renderFormat, SndfileAudio());
        engine->load(set);
        engine->start();
    }
    /// A text without sense: all letters alike.
    static std::vector<Key> someText(std::size_t length, std::uint64_t seed) {
        RandomSource random(seed);
        std::vector<Key> text;
        while (text.size() < length) {
            const double pick = random.next().pick;
            text.push_back(text.size() % spaceEvery == 0
                               ? space
                               : letters[static_cast<std::size_t>(pick * letters.size())]);
        }
        return text;
    }
    /// What is heard of each press; nothing where no onset is near it.
    std::vector<std::optional<Heard>> overhear(const std::vector<Key>& text) {
        constexpr int held = 34;
        constexpr int between = 30;
        Stereo sound;
        const auto record = [&](int periods) {
            for (int i = 0; i < periods; ++i) {
                render(1);
                sound.left.insert(sound.left.end(), output.left.begin(), output.left.end());
                sound.right.insert(sound.right.end(), output.right.begin(), output.right.end());
            }
        };
        record(between);
        std::vector<std::size_t> presses;
        for (const Key key : text) {
            presses.push_back(sound.left.size());
            engine->play(SoundEvent::keyDown(key));
            record(held);
            engine->play(SoundEvent::keyUp(key));
            record(between);
        }
        record(between);
        const Eavesdropper ear(*set);
        const auto onsets = Eavesdropper::onsets(sound);
        std::vector<std::optional<Heard>> result;
        for (const std::size_t press : presses) {
            const auto onset = std::ranges::lower_bound(onsets, press);
            result.push_back(onset != onsets.end() && *onset < press + 960
                                 ? std::optional(ear.listen(sound, *onset))
                                 : std::nullopt);
        }
        return result;
    }
    /// The keys that sound so when every hit has its place.
    [[nodiscard]] std::vector<Key> keysThatSound(const Heard& heard) const {
        std::vector<Key> keys{letters.begin(), letters.end()};
        keys.push_back(space);
        std::erase_if(keys, [&](Key key) {
            const auto own = set->candidates(SoundEvent::keyDown(key));
            return VoiceLanes::laneFor(KeyPan::pan(key)) != heard.lane ||
                   std::ranges::find(own, heard.sample, &SampleRef::get) == own.end();
        });
        return keys;
    }

    Outcome attack(const char* name) {
        const auto known = someText(800, 1);
        const auto secret = someText(400, 2);
        const auto fromKnown = overhear(known);
        const auto fromSecret = overhear(secret);
        std::map<Key, std::map<std::size_t, double>> lanes;
        std::map<Key, std::map<const SampleBuffer*, double>> samples;
        std::map<Key, double> counts;
        for (std::size_t i = 0; i < known.size(); ++i) {
            if (fromKnown[i]) {
                ++counts[known[i]];
                ++lanes[known[i]][fromKnown[i]->lane];
                ++samples[known[i]][fromKnown[i]->sample];
            }
        }
        const auto mostLikely = [&](const Heard& heard) {
            const auto likelihood = [&](const auto& entry) {
                const auto& [key, count] = entry;
                return (lanes[key][heard.lane] + 0.1) * (samples[key][heard.sample] + 0.1) / count;
            };
            return std::ranges::max_element(counts, {}, likelihood)->first;
        };
        Outcome outcome;
        const double share = 1.0 / static_cast<double>(secret.size());
        for (std::size_t i = 0; i < secret.size(); ++i) {
            if (!fromSecret[i]) {
                continue;
            }
            outcome.found += share;
            const auto keys = keysThatSound(*fromSecret[i]);
            outcome.candidates += share * static_cast<double>(keys.size());
            if (std::ranges::find(keys, secret[i]) != keys.end()) {
                outcome.amongCandidates += share;
                outcome.guessed += share / static_cast<double>(keys.size());
            }
            outcome.learned += mostLikely(*fromSecret[i]) == secret[i] ? share : 0;
        }
        std::printf("%-14s onsets %.3f  candidates %.2f  holding the key %.3f  right by the board %.3f  "
                    "right by learning %.3f\n",
                    name, outcome.found, outcome.candidates, outcome.amongCandidates, outcome.guessed,
                    outcome.learned);
        return outcome;
    }

    std::shared_ptr<const SoundSet> set;
};

TEST_F(SoundPrivacyTest, WithoutPlaceTheSoundTellsNoMoreThanTheGroupsOfKeys) {
    // Who only tells letters from the space bar is right this often.
    constexpr double spaces = 1.0 / spaceEvery;
    constexpr double byGroup = spaces + (1 - spaces) / letters.size();
    std::printf("%-14s right %.3f\n", "groups alone", byGroup);
    const Outcome placed = attack("with place");
    EXPECT_GT(placed.found, 0.98);
    EXPECT_GT(placed.amongCandidates, 0.9);
    EXPECT_LT(placed.candidates, 2.5);
    EXPECT_GT(placed.guessed, 0.5);
    EXPECT_GT(placed.learned, 0.4);

    engine->setPlaceless(true);
    const Outcome placeless = attack("without place");
    EXPECT_GT(placeless.found, 0.98) << "or the rest says nothing";
    EXPECT_LT(placeless.guessed, byGroup + 0.02);
    EXPECT_LT(placeless.learned, byGroup + 0.02);
}

} // namespace
} // namespace keysong::test
