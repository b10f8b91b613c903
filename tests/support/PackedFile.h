#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace keysong::test {

/// An entry of an archive that a test makes: any name in any bytes, and a symbolic link where `isLink`.
struct PackedEntry {
    std::string name;
    std::string content;
    bool isLink = false;
};

enum class Packing : std::uint8_t { zip, sevenZip, tarGzip };

/// Writes an archive with these entries, in this order.
void writePacked(const std::filesystem::path& path, const std::vector<PackedEntry>& entries,
                 Packing packing = Packing::zip);

} // namespace keysong::test
