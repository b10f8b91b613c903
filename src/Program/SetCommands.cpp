#include "Program/SetCommands.h"

#include "Audio/SoundLibrary.h"
#include "Linux/Decoder/ChildArchives.h"
#include "Linux/Files/IcuTextForms.h"
#include "Linux/Files/LinuxPlaces.h"
#include "Linux/Files/LinuxStagedFolders.h"
#include "Linux/Input/KeyCodes.h"
#include "Linux/Sound/SndfileFlacWriter.h"
#include "Packs/PackImporter.h"
#include "Packs/SetCheck.h"
#include "Program/GuardedFiles.h"
#include "Program/RemoteClient.h"
#include "Shared/PrintableText.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace keysong {

namespace {

struct Options {
    std::filesystem::path pack;
    bool replace = false;
    std::filesystem::path set;
};

void print(const std::string& line) {
    std::printf("%s\n", printable(line).c_str());
}

std::string counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void printEntries(const std::string& kind, const std::map<std::string, PackReport::Entry>& entries) {
    for (const auto& [reason, entry] : entries) {
        print("  " + kind + ": " + reason + ", " + std::to_string(entry.count) + " (" + entry.examples + ")");
        if (const std::string advice = adviceFor(reason); !advice.empty()) {
            print("    " + advice);
        }
    }
}

void printResult(const ImportResult& result) {
    print("Imported \"" + result.name + "\" as " + result.id + " from " + result.format + ".");
    print("  " + counted(result.filesCopied, "file") + " taken as they are, " +
          counted(result.filesCut, "file") + " cut from recordings");
    if (result.keysInPack > 0) {
        print("  sounds for " + counted(result.keysInPack, "key") + ", " +
              std::to_string(result.keysOnTheirOwn) + " unlike the rest of their group");
    }
    printEntries("left", result.report.left());
    printEntries("note", result.report.noted());
    print("  in " + result.folder.string());
    print("Use it with: keysongctl set " + result.id);
}

/// The identifiers of all sets but those in the user's own folder.
std::set<std::string> identifiersElsewhere(const std::vector<std::filesystem::path>& libraries) {
    std::set<std::string> ids;
    for (std::size_t index = 1; index < libraries.size(); ++index) {
        for (const SoundSetInfo& set : SoundLibrary::setsIn(libraries[index])) {
            ids.insert(set.id);
        }
    }
    return ids;
}

/// A program that runs hears of new sets a moment after they are there, and later while many come: what is
/// printed must be true when it is read.
void awaitListed(const ImportOutcome& outcome) {
    using namespace std::chrono_literals;
    const auto limit = std::chrono::steady_clock::now() + 8s;
    const auto isListed = [](const std::vector<std::string>& ids, const ImportOutcome& made) {
        return std::ranges::all_of(made.sets, [&ids](const ImportResult& result) {
            return std::ranges::find(ids, result.id) != ids.end();
        });
    };
    try {
        const RemoteClient client;
        while (!isListed(client.setIds(), outcome) && std::chrono::steady_clock::now() < limit) {
            std::this_thread::sleep_for(50ms);
        }
    } catch (const RemoteClientError&) {
        // None runs: the next to start finds them.
    }
}

void runImport(const Options& options) {
    const LinuxPlaces places;
    const GuardedFiles files(places);
    const ChildArchives archives(files.child);
    const SndfileFlacWriter writer;
    const LinuxStagedFolders folders;
    const IcuTextForms forms;
    const auto libraries = SoundLibrary::directories(places);
    if (libraries.empty()) {
        throw PackError("there is no home folder to import into");
    }
    const PackImporter importer(
        {archives, files.audio, writer, folders, forms, soundKeyOf, identifiersElsewhere(libraries)});
    const ImportOutcome outcome = importer.import(options.pack, libraries.front(), options.replace);
    awaitListed(outcome);
    for (const ImportResult& result : outcome.sets) {
        printResult(result);
    }
    for (const std::string& refusal : outcome.refused) {
        print("Not imported: " + refusal);
    }
    if (!outcome.refused.empty()) {
        throw SetHasProblems();
    }
}

void runCheck(const Options& options) {
    const LinuxPlaces places;
    const GuardedFiles files(places);
    const SetCheck check = checkSet(options.set, files.audio);
    for (const std::string& problem : check.problems) {
        print("problem: " + problem);
    }
    for (const std::string& note : check.notes) {
        print("note: " + note);
    }
    if (!check.problems.empty()) {
        print(counted(check.problems.size(), "problem") + ".");
        throw SetHasProblems();
    }
    print("No problems.");
}

} // namespace

void addSetCommands(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    auto* taking = app.add_subcommand("import", "Make a sound set of a pack in another format");
    taking->add_option("pack", options->pack, "A folder, or a zip, 7z or tar archive")->required();
    taking->add_flag("--replace", options->replace,
                     "Take the place of an installed set of the same identifier");
    taking->callback([options] { runImport(*options); });
    auto* check = app.add_subcommand("check", "Say what is wrong with a sound set");
    check->add_option("folder", options->set, "The set's folder")->required();
    check->callback([options] { runCheck(*options); });
}

} // namespace keysong
