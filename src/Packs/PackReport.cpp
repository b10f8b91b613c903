#include "Packs/PackReport.h"

#include <algorithm>
#include <iterator>

namespace keysong {

namespace {

struct AdviceRow {
    const char* reason;
    const char* advice;
};

constexpr AdviceRow adviceRows[] = {
    {"a sound file that is not in the pack", "put the file there, or correct its name in the configuration"},
    {"a file that cannot be read as sound", "convert it to WAV, FLAC, Ogg or MP3 under the same name"},
    {"a file that is empty or too long for a sound", "cut it with a sound editor"},
    {"a file that cannot be unpacked", "the archive is damaged: get it again"},
    {"a file that is too large", "unpack the archive, make the file smaller and import the folder"},
    {"an encrypted file in the archive", "unpack the archive with its password and import the folder"},
    {"a pack within the pack", "unpack it and import it by itself"},
    {"a link that leads out of the pack", "put the file itself there"},
    {"a piece that lies outside the recording", "correct the times in the configuration"},
    {"a piece that begins after its sound did", "let it begin earlier, or each press loses its attack"},
    {"a piece that ends while its sound rings", "let it end later, or live with the fade that it was given"},
    {"a configuration that is not used", "remove or correct it where it belongs to the pack"},
};

void add(std::map<std::string, PackReport::Entry>& entries, const std::string& reason,
         const std::string& what) {
    constexpr std::size_t mostExamples = 3;
    PackReport::Entry& entry = entries[reason];
    ++entry.count;
    if (entry.count <= mostExamples) {
        entry.examples += (entry.count > 1 ? ", " : "") + printable(what);
    } else if (entry.count == mostExamples + 1) {
        entry.examples += ", ...";
    }
}

} // namespace

void PackReport::leave(const std::string& reason, const std::string& what) {
    add(left_, reason, what);
}

void PackReport::note(const std::string& remark, const std::string& what) {
    add(noted_, remark, what);
}

std::string adviceFor(const std::string& reason) {
    const auto* const row = std::find_if(std::begin(adviceRows), std::end(adviceRows),
                                         [&](const AdviceRow& r) { return reason == r.reason; });
    return row == std::end(adviceRows) ? std::string() : row->advice;
}

std::string printable(const std::string& text) {
    constexpr std::size_t longest = 120;
    constexpr unsigned char continuation = 0x80;
    std::string result;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        // Not in the middle of a character of several bytes.
        if (result.size() >= longest && (code & 0xC0U) != continuation) {
            return result + "...";
        }
        if (result.size() >= 2 * longest) {
            return result; // no UTF-8
        }
        result += code < 0x20 || code == 0x7F ? '?' : character;
    }
    return result;
}

} // namespace keysong
