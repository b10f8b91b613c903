#include "Program/ControlCommands.h"

#include "App/RemoteTypes.h"
#include "Program/CommandNumbers.h"
#include "Program/RemoteClient.h"

#include <cstdio>
#include <memory>

namespace keysong {

namespace {

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

/// What the options of the control commands are read into; it lives as long as their callbacks.
struct Options {
    bool json = false;
    bool reset = false;
    std::optional<float> volume;
    std::optional<float> tone;
    std::optional<float> body;
    std::string set;
    std::string output;
    std::string preview;
};

QVariant text(const std::string& value) {
    return QString::fromStdString(value);
}

QVariant number(float value) {
    // As it was written, and not the float's own digits.
    return QString::fromStdString(shortestText(value)).toDouble();
}

void addSwitches(CLI::App& app, const std::shared_ptr<Options>& options) {
    auto* status = app.add_subcommand("status", "What the program is doing");
    status->add_flag("--json", options->json, "Every property, as JSON");
    status->callback([options] { print(RemoteClient().status(options->json)); });
    app.add_subcommand("toggle", "Turn the sound on or off")->callback([] {
        print(RemoteClient().call("Toggle").toBool() ? "on\n" : "off\n");
    });
    app.add_subcommand("on", "Turn the sound on")->callback([] { RemoteClient().set("Enabled", true); });
    app.add_subcommand("off", "Turn the sound off")->callback([] { RemoteClient().set("Enabled", false); });
    app.add_subcommand("settings", "Show the settings")->callback([] { RemoteClient().showSettings(); });
    app.add_subcommand("quit", "End the program")->callback([] { RemoteClient().call("Quit"); });
    auto* stats = app.add_subcommand("stats", "How many keys were pressed");
    stats->add_flag("--reset", options->reset, "Start again from 0");
    stats->callback([options] {
        const RemoteClient client;
        if (options->reset) {
            client.call("ResetStatistics");
        }
        print(client.stats());
    });
}

void addSounds(CLI::App& app, const std::shared_ptr<Options>& options) {
    auto* volume = app.add_subcommand("volume", "Show or set the volume");
    addNumber(*volume, "level", options->volume, "From 0 to 1", between(0, 1));
    volume->callback([options] {
        const RemoteClient client;
        if (options->volume) {
            client.set("Volume", number(*options->volume));
        } else {
            print(QString::number(client.number("Volume")).toStdString() + '\n');
        }
    });
    auto* tone = app.add_subcommand("tone", "Set tone and body");
    addNumber(*tone, "tone", options->tone, "From -1, deep, to 1, sharp", between(-1, 1))->required();
    addNumber(*tone, "body", options->body, "From -1, slow and deep, to 1, fast and bright", between(-1, 1))
        ->required();
    tone->callback([options] {
        const RemoteClient client;
        client.set("Tone", number(*options->tone));
        client.set("Body", number(*options->body));
    });
    app.add_subcommand("sets", "List the sound sets; * marks the one in use")->callback([] {
        print(RemoteClient().sets());
    });
    auto* set = app.add_subcommand("set", "Use a sound set");
    set->add_option("id", options->set, "The set's identifier")->required();
    set->callback([options] { RemoteClient().set("SetId", text(options->set)); });
    auto* preview = app.add_subcommand("preview", "Use a sound set and play a phrase with it");
    preview->add_option("id", options->preview, "The set's identifier; without one the set in use");
    preview->callback([options] {
        const RemoteClient client;
        client.call("Preview", {text(options->preview.empty() ? client.text("SetId") : options->preview)});
    });
    auto* output = app.add_subcommand("output", "List the sound outputs, or use one");
    output->add_option("uid", options->output, "The output's identifier, or \"default\"");
    output->callback([options] {
        const RemoteClient client;
        if (options->output.empty()) {
            print(client.outputs());
        } else {
            client.set("OutputUid", text(options->output == "default" ? "" : options->output));
        }
    });
}

} // namespace

void addControlCommands(CLI::App& app) {
    registerRemoteTypes();
    const auto options = std::make_shared<Options>();
    addSwitches(app, options);
    addSounds(app, options);
}

} // namespace keysong
