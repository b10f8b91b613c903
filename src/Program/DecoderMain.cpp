// keysong-decoder: reads the sound files and archives of strangers for the other programs, which start it.

#include "Linux/Decoder/DecoderService.h"
#include "Linux/System/SpawnedProcess.h"
#include "Linux/System/Utf8Characters.h"

#include <unistd.h>

int main() {
    // For the names in archives.
    keysong::useUtf8Characters();
    // At once: what else runs at a program's end may want what it no longer has.
    _exit(keysong::serveDecoding(keysong::SpawnedProcess::inheritedDescriptor));
}
