#include "App/PreferenceMigration.h"
#include "Shared/Log.h"

namespace keysong {

namespace {

constexpr const char* oldDomain = "com.orlen.keysong.migrationtest.old";
constexpr const char* staleDomain = "com.orlen.keysong.migrationtest.stale";
constexpr const char* targetDomain = "com.orlen.keysong.migrationtest.target";
constexpr const char* freshDomain = "com.orlen.keysong.migrationtest.fresh";

constexpr std::chrono::seconds aMinute{60};
constexpr std::chrono::seconds aWeek{604800};

/// One date for one domain, and another for all others.
PreferenceMigration::Modified dates(PreferenceMigration::Date now, const std::string& recent) {
    return [now, recent](const std::string& domain) -> std::optional<PreferenceMigration::Date> {
        return now - (domain == recent ? aMinute : aWeek);
    };
}

std::optional<PreferenceMigration::Date> noDates(const std::string&) {
    return std::nullopt;
}

void checkRule(PreferenceMigration::Date now, std::vector<std::string>& failures) {
    const std::vector<PreferenceMigration::Candidate> candidates = {
        {"busier", {{"keysPressed", 108060}, {"setID", "topre"}}},
        {"recent", {{"keysPressed", 0}, {"setID", "deep-clack-4"}}},
    };
    const auto winner = [&](const PreferenceMigration::Modified& modified) {
        const auto picked = PreferenceMigration::pickDomain(candidates, modified);
        return picked ? picked->name : std::string();
    };
    if (winner(dates(now, "recent")) != "recent") {
        failures.emplace_back("a stale but busier domain beat the one last in use");
    }
    if (winner(noDates) != "busier") {
        failures.emplace_back("with no dates, the busier domain did not win the tie");
    }
    if (PreferenceMigration::pickDomain({}, noDates)) {
        failures.emplace_back("an empty candidate list produced a winner");
    }
}

} // namespace

std::vector<std::string> PreferenceMigration::migrationSelfCheck() const {
    const Date now = std::chrono::system_clock::now();
    std::vector<std::string> failures;
    checkRule(now, failures);
    for (const char* const domain : {oldDomain, staleDomain, targetDomain}) {
        wipeDomain(domain);
    }
    // Storing the empty target tells whether it can be opened at all.
    if (storeDomain(targetDomain, nlohmann::json::object())) {
        checkEndToEnd(now, failures);
        checkEmptyHistory(failures);
    } else {
        failures.emplace_back("could not open the scratch target");
    }
    for (const char* const domain : {oldDomain, staleDomain, targetDomain}) {
        wipeDomain(domain);
    }
    return failures;
}

void PreferenceMigration::checkEndToEnd(Date now, std::vector<std::string>& failures) const {
    storeDomain(staleDomain, {{"keysPressed", 108060}, {"volume", 0.9}, {"setID", "topre"}});
    storeDomain(oldDomain, {{"keysPressed", 0}, {"setID", "deep-clack-4"}});
    constexpr std::array<std::string_view, 2> candidates = {staleDomain, oldDomain};
    const Modified modified = dates(now, oldDomain);
    Preferences target(domains_, targetDomain, nullptr);
    migrateFromOlderNames(target, candidates, modified);
    target.flush();
    checkOutcome(failures);

    storeDomain(oldDomain, {{"keysPressed", 7}, {"setID", "alpaca"}});
    migrateFromOlderNames(target, candidates, modified);
    if (target.string("setID") != "deep-clack-4") {
        failures.emplace_back("migration ran a second time");
    }
}

void PreferenceMigration::checkOutcome(std::vector<std::string>& failures) const {
    // Opened again, as the next start of the program would do.
    const Preferences target(domains_, targetDomain, nullptr);
    if (const auto set = target.string("setID"); set != "deep-clack-4") {
        failures.push_back("the wrong domain was copied: setID is " + set.value_or("nil"));
    }
    if (const auto count = target.integer("keysPressed").value_or(0); count != 0) {
        failures.push_back("a count came from a domain that did not win: " + std::to_string(count));
    }
    if (target.contains("volume")) {
        failures.emplace_back("a key was merged in from a domain that did not win");
    }
    if (!target.contains("migratedFrom")) {
        failures.emplace_back("the migrated flag was not written");
    }
}

void PreferenceMigration::checkEmptyHistory(std::vector<std::string>& failures) const {
    wipeDomain(freshDomain);
    {
        Preferences fresh(domains_, freshDomain, nullptr);
        migrateFromOlderNames(fresh, {}, noDates);
    }
    if (!Preferences(domains_, freshDomain, nullptr).contains("migratedFrom")) {
        failures.emplace_back("an empty history did not mark itself migrated");
    }
    wipeDomain(freshDomain);
}

bool PreferenceMigration::storeDomain(const std::string& domain, const nlohmann::json& values) const {
    try {
        domains_.write(domain, values);
        return true;
    } catch (const DurableFileError& error) {
        log.error("the domain %{public}s could not be stored: %s", domain, error.what());
        return false;
    }
}

void PreferenceMigration::wipeDomain(const std::string& domain) const {
    domains_.removePersistentDomain(domain);
}

std::string PreferenceMigration::report(std::span<const std::string> failures) {
    std::string text;
    for (const std::string& failure : failures) {
        text += "FAIL  " + failure + "\n";
    }
    return text + (failures.empty() ? "migrate ok  settings carry across a rename\n" : "migrate FAILED\n");
}

} // namespace keysong
