#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "soundgen/Description.h"
#include "soundgen/SetWriter.h"

namespace {

/// A file as far as a description may reach and one byte more; nothing when it cannot be read.
std::optional<std::string> readText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text((1U << 20U) + 1, 0);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (!file.is_open() || file.bad()) {
        return std::nullopt;
    }
    return text;
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
    const std::filesystem::path description = arguments[1];
    const auto text = readText(description);
    if (!text) {
        std::fprintf(stderr, "%s: cannot be read\n", arguments[1]);
        return 1;
    }
    try {
        const auto readPart = [&](std::string_view name) {
            return readText(description.parent_path() / name);
        };
        writeSet(parseDescription(*text, readPart), arguments[2]);
        return 0;
    } catch (const DescriptionError& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[1], error.what());
    } catch (const WriteError& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}
