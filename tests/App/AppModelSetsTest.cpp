#include "App/ModelFixture.h"

namespace keysong::test {
namespace {

using testing::ElementsAre;

class AppModelSetsTest : public ModelFixture {
  protected:
    void SetUp() override {
        model->bootstrap();
        settle();
        QObject::connect(model.get(), &AppState::availableSetsChanged, [this] { ++listChanges; });
    }
    [[nodiscard]] std::filesystem::path sets() const { return folder.path() / "sounds"; }
    [[nodiscard]] std::vector<std::string> listed() const {
        std::vector<std::string> ids;
        for (const SoundSetInfo& set : model->availableSets()) {
            ids.push_back(set.id);
        }
        return ids;
    }
    void tell(const std::vector<std::filesystem::path>& changed) {
        watcher.changed(changed);
        settle();
    }

    int listChanges = 0;
};

TEST_F(AppModelSetsTest, SetsComeAndGoWhileTheProgramRuns) {
    EXPECT_THAT(watcher.folders, ElementsAre(sets()));
    const auto loaded = engine->set();
    writeSet(sets(), "aardvark", "\"name\":\"aardvark\",");
    tell({sets() / "aardvark"});
    EXPECT_THAT(listed(), ElementsAre("aardvark", "alpha", "beta", "gamma"));
    EXPECT_EQ(model->selectedSetId(), "alpha") << "a newcomer changes no choice";
    EXPECT_EQ(engine->set(), loaded) << "and reloads nothing";
    EXPECT_EQ(listChanges, 1);
    std::filesystem::remove_all(sets() / "beta");
    tell({sets() / "beta"});
    EXPECT_THAT(listed(), ElementsAre("aardvark", "alpha", "gamma"));
    tell({sets() / "gamma/a.wav"});
    EXPECT_EQ(listChanges, 2) << "the same list is no news";
    EXPECT_EQ(engine->set(), loaded);
}

TEST_F(AppModelSetsTest, TheSelectedSetIsLoadedAgainWhenItChanges) {
    const auto first = engine->set();
    tell({sets() / "alpha/a.wav"});
    const auto second = engine->set();
    EXPECT_NE(second, first);
    tell({folder.path()}); // a folder above was moved here with all its sets
    EXPECT_NE(engine->set(), second);
    writeSet(sets(), "alpha", "\"name\":\"Renamed\",\"gain\":3,");
    tell({sets() / "beta/x", sets() / "alpha"});
    EXPECT_EQ(engine->set()->manifest().gain, 3.0F);
    EXPECT_EQ(model->availableSets().back().name, "gamma");
    EXPECT_EQ(listChanges, 1);
    // Half of a set, seen while it is being written: the old one plays on, then the new one.
    folder.write("sounds/alpha/manifest.json", R"({"schema":1,"id":"alpha","name":"A","defaults":{}})");
    tell({sets() / "alpha/manifest.json"});
    EXPECT_EQ(engine->set()->manifest().gain, 3.0F);
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre(testing::StartsWith("sound set alpha failed to load: ")));
    writeSet(sets(), "alpha", "\"gain\":4,");
    tell({sets() / "alpha/manifest.json"});
    EXPECT_EQ(engine->set()->manifest().gain, 4.0F);
}

TEST_F(AppModelSetsTest, ARemovedSelectionFallsBackAndAnEmptyLibraryWaits) {
    std::filesystem::remove_all(sets() / "alpha");
    tell({sets() / "alpha"});
    EXPECT_EQ(model->selectedSetId(), "beta");
    EXPECT_EQ(preferences->string("setID"), "beta");
    EXPECT_EQ(loadedSet(), "beta");
    std::filesystem::remove_all(sets());
    tell({sets()});
    EXPECT_EQ(model->selectedSetId(), "");
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre("no sound sets in " + sets().string()));
    tell({sets()});
    writeSet(sets(), "delta");
    tell({sets() / "delta"});
    EXPECT_EQ(loadedSet(), "delta");
}

TEST_F(AppModelSetsTest, OneSetIsLoadedAtATimeHoweverOftenTheChoiceChanges) {
    for (int change = 0; change < 100; ++change) {
        model->setSelectedSetId(change % 2 == 0 ? "gamma" : "beta");
        EXPECT_EQ(background.size(), 1U);
    }
    const auto first = engine->set();
    background.front()();
    background.pop_front();
    mainQueue.advance({});
    EXPECT_EQ(engine->set(), first) << "what was begun first is wanted no more";
    EXPECT_EQ(background.size(), 1U);
    settle();
    EXPECT_EQ(loadedSet(), "beta");
    EXPECT_TRUE(background.empty());
}

TEST_F(AppModelSetsTest, ReportsThatOvertakeEachOtherLoseNothing) {
    const auto before = engine->set();
    watcher.changed({sets() / "alpha/a.wav"});
    order.meanwhile = [this] {
        order.meanwhile = nullptr;
        writeSet(sets(), "new");
        watcher.changed({sets() / "new"});
        EXPECT_TRUE(background.empty()) << "one list at a time";
    };
    settle();
    EXPECT_NE(engine->set(), before) << "the first report's change counts, though its list is stale";
    EXPECT_EQ(listed().size(), 4U) << "made again, since it was begun too early";
    EXPECT_EQ(listChanges, 1);
    watcher.changed({sets() / "alpha"});
    model.reset();
    EXPECT_EQ(watcher.changed, nullptr);
    settle();
}

} // namespace
} // namespace keysong::test
