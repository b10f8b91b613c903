#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace keysong::test {

/// An entry of an archive that a test makes: any name, and a symbolic link where `isLink`.
struct ZipEntry {
    std::string name;
    std::string content;
    bool isLink = false;
};

/// Writes a zip archive with these entries, in this order.
void writeZip(const std::filesystem::path& path, const std::vector<ZipEntry>& entries);

} // namespace keysong::test
