#pragma once

#include "App/AppModel.h"
#include "Linux/Files/LinuxDurableFiles.h"
#include "fakes/ByteOrder.h"
#include "fakes/FakeAudioOutput.h"
#include "fakes/FakeFrontmost.h"
#include "fakes/FakeHotkeyRegistrar.h"
#include "fakes/FakeInputSource.h"
#include "fakes/FakePlaces.h"
#include "fakes/ManualClock.h"
#include "fakes/ManualQueue.h"
#include "support/Eventually.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"
#include "support/TestSets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

namespace keysong::test {

class FakeLoginItem final : public LoginItem {
  public:
    bool installed = true;
    Status state = Status::notRegistered;
    bool refuses = false;
    int calls = 0;

    [[nodiscard]] bool isInstalled() const override { return installed; }
    [[nodiscard]] Status status() const override { return state; }
    void registerItem() override { change(Status::enabled); }
    void unregisterItem() override { change(Status::notRegistered); }

  private:
    void change(Status to) {
        ++calls;
        if (refuses) {
            throw LoginItemError("no room");
        }
        state = to;
    }
};

class FakeCaptures final : public CaptureUse {
  public:
    void watch(std::function<void()> changed) override { handler_ = std::move(changed); }
    [[nodiscard]] bool isInUse() const override { return handler_ && inUse_; }
    void use(bool inUse) {
        inUse_ = inUse;
        if (handler_) {
            handler_();
        }
    }

  private:
    bool inUse_ = false;
    std::function<void()> handler_;
};

class FakeFolderWatcher final : public FolderWatcher {
  public:
    std::vector<std::filesystem::path> folders;
    Handler changed;

    void watch(std::vector<std::filesystem::path> watched, Handler handler) override {
        folders = std::move(watched);
        changed = std::move(handler);
    }
};

class FakeWindows final : public AppWindows {
  public:
    int settings = 0;
    int onboarding = 0;

    /// Who asked last.
    Asker asker;
    /// Why nothing can be shown.
    std::string obstacle;

    std::string showSettings(const Asker& from) override {
        ++settings;
        asker = from;
        return obstacle;
    }
    std::string showOnboarding(const Asker&) override {
        ++onboarding;
        return obstacle;
    }
};

/// A model on fakes, with preferences in a folder of its own. The test moves the time; background tasks wait
/// until the test runs them.
class ModelFixture : public testing::Test {
  public:
    ModelFixture() {
        places.userConfigFolder = folder.makeFolder("config");
        places.variables["KEYSONG_SOUNDS_DIR"] = folder.makeFolder("sounds").string();
        for (const char* id : {"alpha", "beta", "gamma"}) {
            writeSet(folder.path() / "sounds", id, "\"name\":\"" + std::string(id) + "\",");
        }
        preferences.emplace(domains, PreferenceMigration::currentDomain, nullptr);
        auto ownControl = std::make_unique<ManualQueue>();
        control = ownControl.get();
        engine = std::make_unique<SoundEngine>(
            output, SoundEngineServices{clock, std::move(ownControl), [](std::chrono::nanoseconds) {}},
            RandomSource(1));
        makeModel();
    }

    /// A model as at a launch, with the preferences as they are.
    void makeModel() {
        model = std::make_unique<AppModel>(
            AppServices{*engine, *usedDevices, input, threads, places, order, files, *preferences, migration,
                        loginItem, *usedHotkeys, frontmost, captures, watcher, windows, mainQueue,
                        [this](std::function<void()> task) { background.push_back(std::move(task)); },
                        [this](const RawEvent&) { ++rawEvents; }});
    }

    /// Runs everything that is due, background tasks and the engine's work on the output included, until the
    /// running model has the list of devices, which is read on a thread of its own.
    void settle() {
        EXPECT_TRUE(eventually([this] {
            runDue();
            return model == nullptr || model->outputDevices() == OutputDevices::all(output.devices());
        }));
    }

    /// Settles, lets so much time pass on the engine's queue and the main thread, and settles again.
    void settleDevices(std::chrono::nanoseconds time) {
        settle();
        control->advance(time);
        mainQueue.advance(time);
        settle();
    }
    /// Whether the chosen device is given up in time; what is asked of the devices is answered on a thread of
    /// their own.
    bool isChoiceGivenUp() {
        return eventually([this] {
            mainQueue.advance(std::chrono::milliseconds(100));
            runDue();
            return !model->outputDeviceUid();
        });
    }

    void runDue() {
        do {
            while (!background.empty()) {
                const auto task = std::move(background.front());
                background.pop_front();
                task();
            }
            control->advance({});
            mainQueue.advance({});
        } while (!background.empty() || control->isDue() || mainQueue.isDue());
    }

    /// Plugs these devices instead of those before.
    void plug(const std::vector<VirtualDevice>& devices) {
        output.devices().replace(devices, 1);
        settle();
    }

    [[nodiscard]] std::string loadedSet() const {
        const auto set = engine->set();
        return set != nullptr ? set->manifest().id : std::string();
    }

    TempFolder folder;
    FakePlaces places;
    LinuxDurableFiles durable;
    PreferenceDomains domains{folder.path() / "config", durable};
    std::optional<Preferences> preferences;
    PreferenceMigration migration{domains};
    FakeAudioOutput output;
    /// What the next model lists devices from.
    AudioDevices* usedDevices = &output.devices();
    ManualClock clock;
    ManualQueue* control = nullptr;
    PlainThreads threads;
    FakeInputSource input;
    ByteOrder order;
    ConstantAudioFiles files;
    FakeLoginItem loginItem;
    FakeHotkeyRegistrar hotkeys;
    /// What the next model registers its hotkeys with.
    HotkeyRegistrar* usedHotkeys = &hotkeys;
    FakeFrontmost frontmost;
    FakeCaptures captures;
    FakeFolderWatcher watcher;
    FakeWindows windows;
    ManualQueue mainQueue;
    std::deque<std::function<void()>> background;
    std::atomic<int> rawEvents = 0;
    std::unique_ptr<SoundEngine> engine;
    std::unique_ptr<AppModel> model;
};

} // namespace keysong::test
