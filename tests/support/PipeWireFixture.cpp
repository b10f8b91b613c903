#include "support/PipeWireFixture.h"

#include "Linux/Sound/SndfileAudio.h"
#include "support/WaveFile.h"

#include <cmath>
#include <thread>

namespace keysong::test {

using std::chrono::milliseconds;

std::vector<std::int64_t> clicksIn(const std::filesystem::path& file) {
    const auto reader = SndfileAudio().open(file);
    std::vector<float> frames(static_cast<std::size_t>(reader->lengthFrames()) * reader->format().channels);
    frames.resize(reader->read(frames) * reader->format().channels);
    std::vector<std::int64_t> positions;
    for (std::size_t i = 0; i < frames.size() / 2; ++i) {
        if (std::abs(frames[2 * i]) > 0.1F) {
            positions.push_back(static_cast<std::int64_t>(i));
        }
    }
    return positions;
}

std::shared_ptr<const SoundSet> PipeWireFixture::clickSet() {
    std::vector<float> click(8, 0.0F);
    click[0] = 0.9F;
    folder.write("click/click.wav", waveBytes(click, {}));
    folder.write("click/manifest.json",
                 R"({"schema":1,"id":"click","name":"Click","pitchVariation":0,"gainVariation":0,)"
                 R"("defaults":{"down":["click.wav"]}})");
    return SoundSet::load(folder.path() / "click", SoundEngine::renderFormat, SndfileAudio());
}

ChildProcess PipeWireFixture::startRecording(const std::string& sink, const std::string& name) {
    const auto file = folder.path() / name;
    ChildProcess recorder = PrivatePipeWire::record(sink, file.string());
    EXPECT_TRUE(eventually(
        [&] { return std::filesystem::exists(file) && std::filesystem::file_size(file) > 20'000; }));
    return recorder;
}

bool PipeWireFixture::isHeardOn(const std::string& sink, SoundEngine& engine) {
    // A recorder that starves on a busy machine loses clicks. What is silent stays silent at every attempt.
    bool heard = false;
    for (int attempt = 0; attempt < 5 && !heard; ++attempt) {
        ChildProcess recorder = startRecording(sink, "heard.wav");
        for (int i = 0; i < 3; ++i) {
            engine.play(SoundEvent::keyDown(0));
            std::this_thread::sleep_for(milliseconds(50));
        }
        std::this_thread::sleep_for(milliseconds(150));
        recorder.interrupt();
        heard = !clicksIn(folder.path() / "heard.wav").empty();
        std::filesystem::remove(folder.path() / "heard.wav");
    }
    return heard;
}

} // namespace keysong::test
