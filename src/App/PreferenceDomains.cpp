#include "App/PreferenceDomains.h"

#include "Shared/JsonDocument.h"
#include "Shared/WholeFile.h"

#include <nlohmann/json.hpp>

#include <system_error>
#include <utility>

namespace keysong {

namespace fs = std::filesystem;
using Json = nlohmann::json;

PreferenceDomains::PreferenceDomains(fs::path root, const DurableFiles& files)
    : root_(std::move(root)), files_(files) {
}

fs::path PreferenceDomains::fileOf(const std::string& domain) const {
    return root_.empty() ? fs::path() : root_ / domain / "preferences.json";
}

Json PreferenceDomains::read(const std::string& domain) const {
    return parseJsonObject(readWholeFile(fileOf(domain), largestFileBytes), largestFileBytes);
}

void PreferenceDomains::write(const std::string& domain, const Json& values) const {
    const fs::path file = fileOf(domain);
    if (file.empty()) {
        throw DurableFileError(domain, "there is no folder for preferences");
    }
    // A name from elsewhere that is not well-formed text must not keep all the rest from being stored.
    std::string text = values.dump(4, ' ', false, Json::error_handler_t::replace);
    text += '\n';
    if (text.size() > largestFileBytes) {
        throw DurableFileError(file, "the preferences are too large");
    }
    files_.replace(file, text);
}

std::optional<Json> PreferenceDomains::persistentDomain(const std::string& domain) const {
    try {
        return std::make_optional(read(domain));
    } catch (const FileReadError&) {
        return std::nullopt;
    } catch (const JsonDocumentError&) {
        return std::nullopt;
    }
}

void PreferenceDomains::removePersistentDomain(const std::string& domain) const noexcept {
    const fs::path file = fileOf(domain);
    if (file.empty()) {
        return;
    }
    files_.removeLeftovers(file);
    std::error_code ignored;
    fs::remove(file, ignored);
    fs::remove(file.parent_path(), ignored);
}

std::optional<DurableFiles::Date> PreferenceDomains::modificationDate(const std::string& domain) const {
    return files_.modificationDate(fileOf(domain));
}

} // namespace keysong
