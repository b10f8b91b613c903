#pragma once

namespace keysong {

/// What a process of ours may take that reads the files of strangers.
struct DecoderLimits {
    unsigned long memoryBytes = 0;
    unsigned long processorSeconds = 0;
};

/// Takes from the calling process for good whatever reading and computing do not need: from now on it can't
/// open or make a file, make a socket, start a program, look at other processes, change its rights or leave a
/// core. What it has open stays. What is refused fails with "operation not permitted". Call it on the only
/// thread. False when the kernel can't, or what it runs on is not known.
[[nodiscard]] bool lockDownForDecoding(const DecoderLimits& limits);

} // namespace keysong
