#include "Linux/Frontmost/FrontmostWatcher.h"

#include "Linux/Frontmost/LinuxFrontmost.h"
#include "fakes/FakeApplications.h"
#include "fakes/PumpedQueue.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <future>

namespace keysong {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using Failure = FrontmostSource::Failure;

/// A source that does at each opening what the test has listed, and notes what happens to it.
class ScriptedSource final : public FrontmostSource {
  public:
    using Opening = std::function<void(Listener&)>;

    ScriptedSource(const char* name, std::vector<std::string>& events) : name_(name), events_(events) {}

    [[nodiscard]] const char* name() const noexcept override { return name_; }
    void open(EpollRunLoop&, Listener& listener) override {
        listener_ = &listener;
        events_.push_back(std::string("open ") + name_);
        if (openings.empty()) {
            return;
        }
        const Opening opening = openings.front();
        if (openings.size() > 1) {
            openings.pop_front();
        }
        opening(listener);
    }
    void close() noexcept override {
        if (listener_ != nullptr) {
            listener_ = nullptr;
            events_.push_back(std::string("close ") + name_);
        }
    }
    [[nodiscard]] bool isReachable() const override { return reachable; }

    /// The last one is repeated.
    std::deque<Opening> openings;
    bool reachable = false;

  private:
    const char* name_;
    std::vector<std::string>& events_;
    Listener* listener_ = nullptr;
};

/// A source that is ready and then tells of these windows, "" for none.
ScriptedSource::Opening tellingOf(std::vector<std::string> ids) {
    return [ids = std::move(ids)](FrontmostSource::Listener& listener) {
        listener.sourceReady();
        for (const std::string& id : ids) {
            listener.windowInFront(id.empty() ? std::nullopt : std::optional(WindowIdentity{id, "", "", ""}));
        }
    };
}

void ready(FrontmostSource::Listener& listener) {
    listener.sourceReady();
}
void notOffered(FrontmostSource::Listener& listener) {
    listener.sourceFailed(Failure::notOffered);
}
void unreachable(FrontmostSource::Listener& listener) {
    listener.sourceFailed(Failure::unreachable);
}

/// Runs a watcher over two scripted sources on the test's own thread. Times are such that what a test waits
/// for comes at once, and what it does not want comes never.
struct FrontmostWatcherTest : testing::Test {
    static constexpr milliseconds never{1'000'000};
    std::unique_ptr<EpollRunLoop> loop = EpollRunLoop::make();
    test::FakeApplications applications;
    FrontmostWatcher::Timing timing{never, never, milliseconds(1), milliseconds(2)};
    std::vector<std::string> events;
    FrontmostWatcher::Sources sources;
    ScriptedSource* best = add("best");
    ScriptedSource* other = add("other");

    ScriptedSource* add(const char* name) {
        auto source = std::make_unique<ScriptedSource>(name, events);
        auto* pointer = source.get();
        sources.push_back(std::move(source));
        return pointer;
    }

    /// Until this has been reported so many times.
    void runUntil(const std::string& report, int times = 1) {
        FrontmostWatcher watcher(
            *loop, std::move(sources), applications,
            [&](const auto& identifier, const char* sourceName) {
                events.push_back(identifier.value_or("none") + " by " + sourceName);
                if (std::ranges::count(events, report) == times) {
                    loop->stop();
                }
            },
            timing);
        watcher.start();
        loop->run();
    }
};

TEST_F(FrontmostWatcherTest, GivesUpASourceThatIsNeverReady) {
    timing.opening = milliseconds(1);
    other->openings = {ready};
    runUntil("none by other");
    EXPECT_THAT(events, ElementsAre("open best", "close best", "open other", "none by other", "close other"));
    EXPECT_THAT(test::LogCapture::shared().lines(LogLevel::notice),
                ElementsAre("frontmost application: following other"));
}

TEST_F(FrontmostWatcherTest, TriesAgainFromTheBestWhenAllFailOrOneIsLost) {
    best->openings = {notOffered, unreachable, tellingOf({"app"})};
    other->openings = {notOffered, [](auto& listener) {
                           listener.sourceReady();
                           listener.sourceFailed(Failure::unreachable);
                       }};
    runUntil("app by best");
    EXPECT_THAT(events, ElementsAre("open best", "close best", "open other", "close other", //
                                    "open best", "close best", "open other", "none by other", "close other",
                                    "none by none", //
                                    "open best", "none by best", "app by best", "close best"));
}

TEST_F(FrontmostWatcherTest, LeavesAFallbackWhenABetterSourceAnswersAgain) {
    best->openings = {unreachable, ready};
    best->reachable = true;
    other->openings = {ready};
    runUntil("none by best");
    EXPECT_THAT(events, ElementsAre("open best", "close best", "open other", "none by other", //
                                    "close other", "open best", "none by best", "close best"));
}

TEST_F(FrontmostWatcherTest, ANothingThatStaysIsTold) {
    timing.settling = milliseconds(1);
    best->openings = {tellingOf({"a", ""})};
    runUntil("none by best", 2);
    EXPECT_THAT(events, ElementsAre("open best", "none by best", "a by best", "none by best", "close best"));
}

TEST_F(FrontmostWatcherTest, ANothingBetweenTwoWindowsIsNotToldAndAnUnknownApplicationIsNoneAtOnce) {
    timing.settling = milliseconds(1);
    best->openings = {[](auto& listener) {
        tellingOf({"a", "", "a", "", "b", "b"})(listener);
        listener.windowInFront(WindowIdentity{"", "", "unknown", "/opt/unknown"});
        listener.windowInFront(WindowIdentity{"c", "", "", ""});
    }};
    loop->addTimer(milliseconds(50), milliseconds(0), [this] { loop->stop(); }); // none is told later either
    runUntil("what never comes");
    EXPECT_THAT(events, ElementsAre("open best", "none by best", "a by best", "b by best", "none by best",
                                    "c by best", "close best"));
}

struct FrontmostDelivery : FrontmostWatcherTest {
    test::PlainThreads threads;
    std::vector<std::string> told;
    std::promise<void> allSwitched;

    std::unique_ptr<FrontmostApplication> follow(TaskQueue& queue, std::vector<std::string> ids) {
        best->openings = {[this, ids](auto& listener) {
            tellingOf(ids)(listener);
            allSwitched.set_value();
        }};
        auto frontmost = makeFrontmostApplication(queue, threads, std::move(sources), applications, timing);
        frontmost->setChangeHandler(
            [this](const auto& identifier) { told.push_back(identifier.value_or("none")); });
        return frontmost;
    }
};

TEST_F(FrontmostDelivery, TellsTheNewestOnTheMainThread) {
    test::PumpedQueue queue;
    const auto frontmost = follow(queue, {"a", "b", "a", "b", "c"});
    allSwitched.get_future().wait();
    EXPECT_EQ(frontmost->current(), "c");
    EXPECT_TRUE(told.empty());
    // Nobody served the queue meanwhile: the switches have not piled up in it.
    queue.run();
    EXPECT_THAT(told, ElementsAre("c"));
    EXPECT_EQ(frontmost->sourceName(), "best");
    EXPECT_THAT(threads.labels(), ElementsAre("com.orlen.keysong.frontmost"));
}

TEST_F(FrontmostDelivery, ATaskThatOutlivesTheObjectDoesNothing) {
    test::PumpedQueue queue;
    auto frontmost = follow(queue, {"a"});
    allSwitched.get_future().wait();
    frontmost.reset();
    queue.run();
    EXPECT_TRUE(told.empty());
}

TEST_F(FrontmostDelivery, WithoutAnySourceNothingIsEverInFront) {
    test::PumpedQueue queue;
    const auto frontmost = makeFrontmostApplication(queue, threads, {}, applications, timing);
    EXPECT_EQ(frontmost->current(), std::nullopt);
    EXPECT_EQ(frontmost->sourceName(), "none");
    EXPECT_TRUE(threads.labels().empty());
}

} // namespace
} // namespace keysong
