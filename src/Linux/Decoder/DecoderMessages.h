#pragma once

#include "Linux/System/FileDescriptor.h"

#include <cstddef>
#include <cstdint>

namespace keysong {

/// What a program asks of its decoding child; the file that it is about comes along.
struct DecoderRequest {
    enum class Kind : std::uint32_t {
        /// The format and the claimed length of a sound file.
        describeSound,
        /// All of its frames, interleaved, no more than `most` values.
        decodeSound,
        /// All entries of an archive, as `writePackedList` gives them; `most` bytes in all.
        unpackArchive,
    };

    Kind kind = Kind::describeSound;
    std::uint64_t most = 0;
    // Of an archive.
    std::uint64_t largestEntryBytes = 0;
    std::uint64_t mostEntries = 0;
    std::uint64_t longestSeconds = 0;
};

/// What the child answers; the result, if any, comes along as a sealed file in memory.
struct DecoderAnswer {
    /// Zero where the request failed, for the reason in `text`.
    std::uint32_t isGood = 0;
    std::uint32_t channels = 0;
    double sampleRate = 0;
    std::int64_t claimedFrames = 0;
    /// The size of the file in memory.
    std::uint64_t bytes = 0;
    /// Ends in a zero byte.
    char text[256] = {};
};

/// Sends a message with at most one descriptor; -1 for none. False when the other end is gone.
[[nodiscard]] bool sendMessage(int socket, const void* message, std::size_t bytes, int descriptor);

/// Receives a message of exactly this size, and its descriptor if there is one. False when the other end is
/// gone or sends something else. Blocks.
[[nodiscard]] bool receiveMessage(int socket, void* message, std::size_t bytes, FileDescriptor& descriptor);

} // namespace keysong
