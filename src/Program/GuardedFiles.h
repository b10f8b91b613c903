#pragma once

#include "Linux/Decoder/ChildAudioFiles.h"
#include "Linux/Decoder/DecodingChild.h"
#include "Linux/Sound/SndfileAudio.h"
#include "Platform/Places.h"

namespace keysong {

/// How the programs read files: what came with them directly, what strangers made in a child that can do
/// nothing else.
struct GuardedFiles {
    explicit GuardedFiles(const Places& places) : audio(direct, strangers, places.resources()) {}

    SndfileAudio direct;
    DecodingChild child{SpawnedProcess::ownProgram("keysong-decoder", KEYSONG_SERVICE_FOLDER)};
    ChildAudioFiles strangers{child, direct};
    GuardedAudioFiles audio;
};

} // namespace keysong
