#include <cstdio>
#include <fstream>
#include <string>

#include "soundgen/Description.h"
#include "soundgen/SetWriter.h"

namespace {

/// Reads a file as far as a description may reach and one byte more; false when it cannot be read.
bool readDescription(const char* path, std::string& text) {
    std::ifstream file(path, std::ios::binary);
    text.resize((1U << 20U) + 1);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return file.is_open() && !file.bad();
}

} // namespace

/// keysong-soundgen DESCRIPTION OUTPUT_FOLDER: makes one sound set. Ends with 1 and a line on standard error
/// when something is wrong.
int main(int count, char** arguments) {
    using namespace keysong::soundgen;
    if (count != 3) {
        std::fputs("usage: keysong-soundgen DESCRIPTION OUTPUT_FOLDER\n", stderr);
        return 1;
    }
    std::string text;
    if (!readDescription(arguments[1], text)) {
        std::fprintf(stderr, "%s: cannot be read\n", arguments[1]);
        return 1;
    }
    try {
        writeSet(parseDescription(text), arguments[2]);
        return 0;
    } catch (const DescriptionError& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[1], error.what());
    } catch (const WriteError& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}
