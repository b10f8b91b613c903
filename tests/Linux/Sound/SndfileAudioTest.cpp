#include "Linux/Sound/SndfileAudio.h"

#include "Audio/SampleDecoder.h"
#include "Audio/SoundSet.h"
#include "Linux/Decoder/ChildAudioFiles.h"
#include "support/TempFolder.h"
#include "support/WaveFile.h"

#include <gmock/gmock.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace keysong {
namespace {

namespace fs = std::filesystem;
using test::sine;
using test::waveBytes;
using testing::HasSubstr;

constexpr AudioFormat renderFormat{48000, 1};

/// Writes one channel at 48 kHz in a compressed format.
void writeEncoded(const fs::path& path, const std::vector<float>& samples, int format) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 1;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
}

/// Whoever reads a file, in this process or in a child, the same comes of it.
enum class Reader : std::uint8_t { here, child };

class AudioFilesTest : public testing::TestWithParam<Reader> {
  protected:
    /// The text of the error that opening a file ends in.
    [[nodiscard]] std::string openingError(const fs::path& path) const {
        try {
            (void)files_.open(path);
        } catch (const AudioFileError& error) {
            return error.what();
        }
        return "opened";
    }

    SampleRef decode(const fs::path& path) { return SampleDecoder(renderFormat, files_).decode(path); }

    test::TempFolder folder_;
    SndfileAudio direct_;
    DecodingChild child_{KEYSONG_DECODER};
    ChildAudioFiles guarded_{child_, direct_};
    const AudioFiles& files_ =
        GetParam() == Reader::here ? static_cast<const AudioFiles&>(direct_) : guarded_;
};

TEST_P(AudioFilesTest, KnowsAFormatByItsContentWhateverTheName) {
    const std::vector<float> tone = sine(1000, 4800, 48000);
    EXPECT_THAT(decode(folder_.write("wave.raw", waveBytes(tone)))->frames(),
                testing::ElementsAreArray(tone));
    struct Row {
        const char* name;
        int format;
        double tolerance;
    };
    for (const Row& row : {Row{"flac.wav", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 1e-6},
                           Row{"vorbis.vox", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 0.05},
                           Row{"mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 0.05}}) {
        const fs::path path = folder_.path() / row.name;
        writeEncoded(path, tone, row.format);
        const std::vector<float> frames = decode(path)->frames();
        ASSERT_GE(frames.size(), tone.size()) << row.name;
        for (std::size_t frame = 1000; frame < 2000; ++frame) {
            ASSERT_NEAR(frames[frame], tone[frame], row.tolerance) << row.name << " frame " << frame;
        }
    }
    // With its name, the library would take this for headerless samples.
    EXPECT_THAT(openingError(folder_.write("noise.raw", std::string(5000, 'x'))), HasSubstr("noise.raw: "));
}

TEST_P(AudioFilesTest, SaysWhyAFileCannotBeOpenedAndKeepsNoDescriptor) {
    const auto openDescriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    ASSERT_EQ(mkfifo((folder_.path() / "pipe").c_str(), 0600), 0);
    folder_.write("huge", "RIFF");
    fs::resize_file(folder_.path() / "huge", SndfileAudio::largestFileBytes + 1);
    folder_.write("empty", "");
    folder_.write("garbage", "RIFFxxxxWAVE");
    folder_.write("a.wav", waveBytes(sine(1000, 100, 48000)));
    static_cast<void>(decode(folder_.path() / "a.wav"));
    const auto before = openDescriptors();
    const std::vector<std::pair<std::string, const char*>> rows = {
        {"missing", "cannot read missing: No such file or directory"},
        {"pipe", "cannot read pipe: not a regular file"},
        {"huge", "cannot read huge: the file is too large"},
        {"empty", "cannot read empty: "},
        {"garbage", "cannot read garbage: "},
        {std::string("a.wav\0x", 7), "zero byte"},
    };
    for (const auto& [name, text] : rows) {
        EXPECT_THAT(openingError(folder_.path() / name), HasSubstr(text)) << name;
    }
    EXPECT_THAT(openingError(folder_.path()), HasSubstr("it is a folder"));
    files_.rest();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_P(AudioFilesTest, HeadersThatLieEndInAnErrorOrInWhatTheFileHolds) {
    struct Row {
        const char* name;
        std::size_t samples;
        test::WaveHeader header;
        /// Frames of the result; 0 for none.
        std::size_t length;
    };
    for (const Row& row : {
             Row{"no samples", 0, {}, 0},
             Row{"no samples, but a size", 0, {48000, 1, 0xFFFFFFFFU}, 0},
             Row{"too many channels", 65535, {48000, 65535, std::nullopt}, 0},
             Row{"more channels than samples", 3, {48000, 8, std::nullopt}, 0},
             Row{"no channels", 10, {48000, 0, std::nullopt}, 0},
             Row{"one frame a second", 10, {1, 1, std::nullopt}, 0},
             Row{"no rate", 10, {0, 1, std::nullopt}, 0},
             Row{"a rate beyond the signed range", 10, {0xFFFFFFFFU, 1, std::nullopt}, 0},
             Row{"the highest rate", 10, {0x7FFFFFFFU, 1, std::nullopt}, 0},
             Row{"a size of 4 GiB", 10, {48000, 1, 0xFFFFFFFFU}, 10},
             Row{"a size of 2 GiB", 10, {48000, 1, 0x80000000U}, 10},
             Row{"a size too small", 10, {48000, 1, 20}, 5},
         }) {
        const fs::path path = folder_.write("a.wav", waveBytes(std::vector(row.samples, 0.5F), row.header));
        std::size_t length = 0;
        try {
            length = decode(path)->length();
        } catch (const AudioFileError&) {
        } catch (const SoundSetError& error) {
            EXPECT_EQ(error.kind(), SoundSetError::Kind::undecodable);
        }
        EXPECT_EQ(length, row.length) << row.name;
    }
}

TEST_P(AudioFilesTest, DamagedFilesNeverCrash) {
    const std::string whole = waveBytes(sine(1000, 500, 44100), {44100, 1, std::nullopt});
    for (std::size_t at = 0; at < 60; ++at) {
        for (const char value : {'\0', '\x7F', '\xFF'}) {
            std::string damaged = whole;
            damaged[at] = value;
            try {
                for (const float frame : decode(folder_.write("a.wav", damaged))->frames()) {
                    ASSERT_TRUE(std::isfinite(frame));
                }
            } catch (const AudioFileError&) {
            } catch (const SoundSetError&) {
            }
        }
    }
}

TEST_P(AudioFilesTest, ConvertsRateAndChannelsInOneStep) {
    constexpr std::size_t sourceFrames = 44100;
    std::vector<float> stereo;
    for (const float value : sine(1000, sourceFrames, 44100, 0.8)) {
        // The mean of both channels is the tone at half its level.
        stereo.insert(stereo.end(), {value, 0.0F});
    }
    const std::vector<float> frames =
        decode(folder_.write("a.wav", waveBytes(stereo, {44100, 2, std::nullopt})))->frames();
    EXPECT_NEAR(static_cast<double>(frames.size()), 48000.0, 1.0);
    // Against the ideal tone: level, pitch and place in time are all in the residual. The ends, where the
    // tone is cut off, are left out.
    const std::vector<float> ideal = sine(1000, frames.size(), 48000, 0.4);
    double residual = 0;
    for (std::size_t frame = 2000; frame < 46000; ++frame) {
        residual += std::pow(frames[frame] - ideal[frame], 2);
    }
    const double decibels = 10 * std::log10(residual / 44000 / (0.4 * 0.4 / 2));
    RecordProperty("residualDecibels", std::to_string(decibels));
    EXPECT_LT(decibels, -120);
}

TEST_P(AudioFilesTest, AShortSoundKeepsItsLengthAndItsLastFrames) {
    for (const double rate : {8000.0, 22050.0, 44100.0, 96000.0, 192000.0}) {
        for (const std::size_t count : {std::size_t{1}, std::size_t{7}, std::size_t{1000}}) {
            const std::vector<float> level(count, 0.5F);
            const auto converted = files_.convert(level, {rate, 1}, renderFormat, 100'000);
            const double expected = static_cast<double>(count) * 48000 / rate;
            EXPECT_NEAR(static_cast<double>(converted.size()), expected, 1.0) << rate << " Hz, " << count;
            if (count == 1000) {
                EXPECT_NEAR(converted[converted.size() / 2], 0.5, 1e-4) << rate;
                // Not cut off early: the level is still there a few source frames before the end.
                EXPECT_GT(converted[converted.size() * 995 / 1000], 0.3) << rate;
            }
        }
    }
}

TEST_P(AudioFilesTest, MixesChannelsAndHonoursTheCapacity) {
    using testing::ElementsAre;
    const std::vector<float> frames = {1.0F, 0.0F, 0.5F, 0.25F};
    EXPECT_THAT(files_.convert(frames, {48000, 2}, {48000, 1}, 10), ElementsAre(0.5F, 0.375F));
    EXPECT_THAT(files_.convert(frames, {48000, 1}, {48000, 2}, 10),
                ElementsAre(1.0F, 1.0F, 0.0F, 0.0F, 0.5F, 0.5F, 0.25F, 0.25F));
    EXPECT_THAT(files_.convert(frames, {48000, 4}, {48000, 2}, 10), ElementsAre(0.4375F, 0.4375F));
    EXPECT_EQ(files_.convert(frames, {48000, 1}, {48000, 2}, 3).size(), 6U);
    EXPECT_EQ(files_.convert(std::vector(1000, 0.5F), {44100, 1}, {48000, 1}, 100).size(), 100U);
    EXPECT_THROW((void)files_.convert(frames, {1, 1}, renderFormat, 10), AudioFileError);
    EXPECT_THROW((void)files_.convert(frames, {48000, 0}, renderFormat, 10), AudioFileError);
}

INSTANTIATE_TEST_SUITE_P(Readers, AudioFilesTest, testing::Values(Reader::here, Reader::child));

} // namespace
} // namespace keysong
