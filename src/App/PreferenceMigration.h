#pragma once

#include "App/Preferences.h"

#include <nlohmann/json.hpp>

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// Carries the settings and the keystroke count over, once, from the one of the program's earlier names that
/// was used last. What belongs to the earlier names is never changed.
///
/// Main thread; blocks on the disk.
class PreferenceMigration {
  public:
    using Date = DurableFiles::Date;
    /// When a domain was last written; none when that is not known.
    using Modified = std::function<std::optional<Date>(const std::string& domain)>;

    /// The program's own domain.
    static constexpr const char* currentDomain = "com.orlen.keysong";
    /// The domains of the earlier names. Their order decides when nothing else does.
    static constexpr std::array<std::string_view, 4> previousDomains = {
        "com.orlen.clikora", "com.orlen.tolva", "com.orlen.brume", "com.orlen.vimp"};
    /// The keys that are carried over; no other is.
    static constexpr std::array<std::string_view, 11> migratedKeys = {
        "enabled",   "volume",  "setID", "outputUID", "mouse",      "scroll",
        "mutedApps", "spatial", "tone",  "body",      "keysPressed"};

    /// An earlier domain with its whole content.
    struct Candidate {
        std::string name;
        nlohmann::json values;
    };

    /// `domains` outlives the migration.
    explicit PreferenceMigration(const PreferenceDomains& domains) : domains_(domains) {}

    /// Carries over from `previousDomains`, and writes the target at once.
    void run(Preferences& target) const;

    /// Fills the target from the winner among the domains named, unless it was done before, and marks it
    /// as done. A domain that is missing, cannot be read or holds none of `migratedKeys` does not take part.
    void migrateFromOlderNames(Preferences& target, std::span<const std::string_view> candidates,
                               const Modified& modified) const;

    /// When the domain's file was last written.
    [[nodiscard]] std::optional<Date> preferencesModified(const std::string& domain) const;

    /// The candidate written last; of equal dates, or without any, the one with the most keystrokes; then
    /// the first. None of an empty list. Pure.
    [[nodiscard]] static std::optional<Candidate> pickDomain(std::span<const Candidate> candidates,
                                                             const Modified& modified);

    /// Checks the rules in temporary domains, which it removes again, and describes what failed.
    [[nodiscard]] std::vector<std::string> migrationSelfCheck() const;

    /// The self-check's result as it is printed, line by line. Pure.
    [[nodiscard]] static std::string report(std::span<const std::string> failures);

  private:
    void checkEndToEnd(Date now, std::vector<std::string>& failures) const;
    void checkOutcome(std::vector<std::string>& failures) const;
    void checkEmptyHistory(std::vector<std::string>& failures) const;
    /// Stores a whole domain; false, and a line in the log, when that is impossible.
    bool storeDomain(const std::string& domain, const nlohmann::json& values) const;
    void wipeDomain(const std::string& domain) const;

    const PreferenceDomains& domains_;
};

} // namespace keysong
