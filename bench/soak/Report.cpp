#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "Spread.h"
#include "World.h"

namespace keysong::bench {

namespace {

using std::chrono::nanoseconds;

double middle(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

/// All faults of a kind.
struct Row {
    std::size_t times = 0;
    Count count;
    std::int64_t dropped = 0;
    std::vector<double> able;
    std::vector<double> back;
    std::size_t never = 0;
};

void printRow(const char* name, const Count& count) {
    std::printf("%-34s %5s %6zu %6zu %5zu %5zu\n", name, "", count.asked,
                count.asked - count.late - count.lost, count.late, count.lost);
}

void fail(bool& isWell, const std::string& text) {
    std::printf("FAILED: %s\n", text.c_str());
    isWell = false;
}

std::string seconds(nanoseconds time) {
    return std::to_string(milliseconds(time) / 1000).substr(0, 7) + " s";
}

} // namespace

bool printHearing(const Hearing& hearing, const Bounds& bounds, nanoseconds begin) {
    std::map<std::string, Row> rows;
    for (const FaultOutcome& outcome : hearing.faults) {
        Row& row = rows[outcome.wasSilent ? "(silent since an earlier fault)" : outcome.fault->kind];
        ++row.times;
        row.count.asked += outcome.count.asked;
        row.count.late += outcome.count.late;
        row.count.lost += outcome.count.lost;
        row.dropped += outcome.fault->dropped;
        if (outcome.fault->able) {
            row.able.push_back(milliseconds(*outcome.fault->able - outcome.fault->lifted));
        }
        if (outcome.back) {
            row.back.push_back(milliseconds(*outcome.back));
        } else {
            ++row.never;
        }
    }
    std::printf("\n%-34s %5s %6s %6s %5s %5s %8s %15s %15s %6s\n", "during", "times", "asked", "heard",
                "late", "lost", "dropped", "able after, ms", "back after, ms", "never");
    for (const auto& [kind, row] : rows) {
        const auto worst = [](const std::vector<double>& values) {
            return values.empty() ? 0.0 : *std::max_element(values.begin(), values.end());
        };
        std::printf("%-34s %5zu %6zu %6zu %5zu %5zu %8lld %7.0f %7.0f %7.0f %7.0f %6zu\n", kind.c_str(),
                    row.times, row.count.asked, row.count.asked - row.count.late - row.count.lost,
                    row.count.late, row.count.lost, static_cast<long long>(row.dropped), middle(row.able),
                    worst(row.able), middle(row.back), worst(row.back), row.never);
    }
    printRow("no fault", hearing.calm);
    printRow("no fault, the machine stalled", hearing.stalled);
    std::printf("sounds that nobody asked for: %zu\n", hearing.extra);

    bool isWell = true;
    for (const FaultOutcome& outcome : hearing.faults) {
        if (outcome.wasSilent) {
            continue;
        }
        const std::string name = outcome.fault->kind + " at " + seconds(outcome.fault->begin - begin);
        if (!outcome.back) {
            fail(isWell, name + ": the sound was not back when the next began");
        } else if (*outcome.back > bounds.back + outcome.stalled) {
            fail(isWell, name + ": the sound came back after " + seconds(*outcome.back));
        }
        if (!outcome.fault->mayLose && outcome.count.lost > 0) {
            fail(isWell, name + ": sounds were lost, " + std::to_string(outcome.count.lost));
        }
    }
    // What was lost without a longer break is told in one line.
    constexpr std::chrono::milliseconds together{500};
    const auto& lost = hearing.lostWhenCalm;
    for (std::size_t first = 0, end = 0; first < lost.size(); first = end) {
        for (end = first + 1; end < lost.size() && lost[end] - lost[end - 1] < together; ++end) {
        }
        fail(isWell, std::to_string(end - first) + " lost from " + seconds(lost[first] - begin) + " to " +
                         seconds(lost[end - 1] - begin) + " while all was well");
    }
    return isWell;
}

bool printFigures(const std::vector<Sample>& samples, const Bounds& bounds) {
    // The longest life: the one with the most samples.
    std::map<pid_t, std::vector<Sample>> lives;
    for (const Sample& sample : samples) {
        lives[sample.process].push_back(sample);
    }
    if (lives.empty()) {
        return true;
    }
    const auto& life = std::max_element(lives.begin(), lives.end(), [](const auto& a, const auto& b) {
                           return a.second.size() < b.second.size();
                       })->second;
    const ProcessFigures& first = life.front().figures;
    const ProcessFigures& last = life.back().figures;
    const double minutes = milliseconds(life.back().time - life.front().time) / 60'000;
    const auto slope = [&](auto value) {
        std::vector<double> slopes;
        for (std::size_t i = life.size() / 3; i < life.size(); ++i) {
            for (std::size_t j = i + 1; j < life.size(); ++j) {
                slopes.push_back(static_cast<double>(value(life[j].figures) - value(life[i].figures)) *
                                 60'000 / milliseconds(life[j].time - life[i].time));
            }
        }
        return middle(slopes);
    };
    // What is made once, when it is needed for the first time, is no growth.
    const auto grew = [&](auto value) {
        const auto third = static_cast<std::ptrdiff_t>(life.size() / 3);
        const auto less = [&](const Sample& a, const Sample& b) {
            return value(a.figures) < value(b.figures);
        };
        return third > 0 && value(std::min_element(life.end() - third, life.end(), less)->figures) >
                                value(std::max_element(life.begin(), life.end() - third, less)->figures);
    };
    const double perMinute = slope([](const ProcessFigures& figures) { return figures.anonymousKib; });
    const double watched = milliseconds(life.back().time - life[life.size() / 3].time) / 60'000;
    std::printf("\nthe program, %.1f minutes in one life of %zu   %10s %10s %14s\n", minutes, lives.size(),
                "start", "end", "a minute");
    std::printf("%-45s %10lld %10lld %+14.1f\n", "memory of its own, KiB",
                static_cast<long long>(first.anonymousKib), static_cast<long long>(last.anonymousKib),
                perMinute);
    std::printf("%-45s %10lld %10lld\n", "PSS, KiB, less where other programs share",
                static_cast<long long>(first.pssKib), static_cast<long long>(last.pssKib));
    std::printf("%-45s %10d %10d %+14.2f\n", "descriptors", first.descriptors, last.descriptors,
                slope([](const ProcessFigures& figures) { return figures.descriptors; }));
    std::printf("%-45s %10d %10d %+14.2f\n", "threads", first.threads, last.threads,
                slope([](const ProcessFigures& figures) { return figures.threads; }));

    bool isWell = true;
    if (perMinute * watched > static_cast<double>(bounds.growthKib)) {
        fail(isWell, "the memory grows");
    }
    if (grew([](const ProcessFigures& figures) { return figures.descriptors; })) {
        fail(isWell, "there are always more descriptors than before");
    }
    if (grew([](const ProcessFigures& figures) { return figures.threads; })) {
        fail(isWell, "there are always more threads than before");
    }
    return isWell;
}

} // namespace keysong::bench
