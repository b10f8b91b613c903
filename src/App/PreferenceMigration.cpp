#include "App/PreferenceMigration.h"

#include "App/PreferenceValue.h"
#include "App/Stats.h"
#include "Shared/Log.h"

#include <algorithm>
#include <utility>

namespace keysong {

namespace {

/// Present, with whatever value, once the migration has run.
constexpr const char* migratedFlag = "migratedFrom";

std::int64_t keystrokes(const PreferenceMigration::Candidate& candidate) {
    const auto found = candidate.values.find(Stats::key);
    return found == candidate.values.end() ? 0 : asInteger(*found).value_or(0);
}

} // namespace

void PreferenceMigration::run(Preferences& target) const {
    migrateFromOlderNames(target, previousDomains,
                          [this](const std::string& domain) { return preferencesModified(domain); });
    target.flush();
}

void PreferenceMigration::migrateFromOlderNames(Preferences& target,
                                                std::span<const std::string_view> candidates,
                                                const Modified& modified) const {
    if (target.contains(migratedFlag)) {
        return;
    }
    std::vector<Candidate> found;
    for (const std::string_view name : candidates) {
        auto values = domains_.persistentDomain(std::string(name));
        if (values && std::any_of(migratedKeys.begin(), migratedKeys.end(),
                                  [&values](std::string_view key) { return values->contains(key); })) {
            found.push_back({std::string(name), std::move(*values)});
        }
    }
    const auto winner = pickDomain(found, modified);
    if (winner) {
        for (const std::string_view key : migratedKeys) {
            if (const auto value = winner->values.find(key); value != winner->values.end()) {
                target.setObject(std::string(key), *value);
            }
        }
    }
    target.setBool(migratedFlag, true);
    if (winner) {
        log.notice("carried %{public}ld keystrokes and every setting over from %{public}s",
                   keystrokes(*winner), winner->name);
    }
}

std::optional<PreferenceMigration::Date>
PreferenceMigration::preferencesModified(const std::string& domain) const {
    return domains_.modificationDate(domain);
}

std::optional<PreferenceMigration::Candidate>
PreferenceMigration::pickDomain(std::span<const Candidate> candidates, const Modified& modified) {
    // A missing date compares as earlier than any other.
    using Rank = std::pair<std::optional<Date>, std::int64_t>;
    const Candidate* best = nullptr;
    Rank bestRank;
    for (const Candidate& candidate : candidates) {
        Rank rank{modified(candidate.name), keystrokes(candidate)};
        if (best == nullptr || bestRank < rank) {
            best = &candidate;
            bestRank = rank;
        }
    }
    return best == nullptr ? std::nullopt : std::optional(*best);
}

} // namespace keysong
