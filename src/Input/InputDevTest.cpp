#include "Input/InputDevTest.h"

#include "Input/DecoderSelfCheck.h"
#include "Input/EventTap.h"
#include "Shared/KeyGroup.h"
#include "Shared/Mutex.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <set>

namespace keysong {

namespace {

/// The raw event types that were announced already; shared by the main and the tap thread.
class SeenTypes {
  public:
    /// True the first time a type is seen.
    bool insert(RawEventType type) KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return types_.insert(static_cast<std::uint32_t>(type)).second;
    }

  private:
    Mutex mutex_;
    std::set<std::uint32_t> types_ KEYSONG_GUARDED_BY(mutex_);
};

void printRaw(SeenTypes& seen, const RawEvent& event) {
    const auto state = event.integerField(RawEventField::sourceState);
    const auto process = event.integerField(RawEventField::sourceProcess);
    const std::string facts = std::to_string(static_cast<std::uint32_t>(event.type)) +
                              " state=" + std::to_string(state) + " pid=" + std::to_string(process);
    if (seen.insert(event.type)) {
        std::printf("raw type %s\n", facts.c_str());
    }
    if (state != hardwareSourceState) {
        std::printf("dropped as synthetic: type %s\n", facts.c_str());
    }
}

std::string describeKey(const char* word, std::uint16_t code) {
    return word + std::to_string(code) + " [" + std::string(rawValue(keyGroupOf(code))) + "]";
}

} // namespace

std::string InputDevTest::describe(const std::optional<SoundEvent>& event) {
    if (!event) {
        return "nil";
    }
    switch (event->kind()) {
    case SoundEvent::Kind::keyDown:
        return describeKey("keyDown ", event->keyCode());
    case SoundEvent::Kind::keyUp:
        return describeKey("keyUp ", event->keyCode());
    case SoundEvent::Kind::mouseDown:
        return std::string("mouseDown ") + nameOf(event->button());
    case SoundEvent::Kind::mouseUp:
        return std::string("mouseUp ") + nameOf(event->button());
    case SoundEvent::Kind::scrollTick:
        break;
    }
    return "scrollTick";
}

bool InputDevTest::selfCheck() {
    return DecoderSelfCheck().run();
}

int InputDevTest::run(std::span<const std::string_view> arguments) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const bool passed = selfCheck();
    if (std::find(arguments.begin(), arguments.end(), "selftest") != arguments.end()) {
        return passed ? 0 : 1;
    }
    if (!source_.hasAccess()) {
        std::puts("\nNot trusted. The live tap needs Accessibility.\n"
                  "  System Settings > Privacy & Security > Accessibility, then add and enable Keysong.\n"
                  "  Run this from the signed bundle, not from .build: "
                  "dist/keysong.app/Contents/MacOS/keysong --input-test");
        return 1;
    }
    SeenTypes seen;
    EventTap tap(source_, threads_,
                 [](SoundEvent event, std::chrono::nanoseconds) { std::puts(describe(event).c_str()); });
    tap.onRawEvent = [&seen](const RawEvent& event) { printRaw(seen, event); };
    try {
        tap.start();
    } catch (const EventTapError& error) {
        std::printf("tap failed to start: %s\n", error.what());
        return 1;
    }
    std::puts("listening. ctrl-c to stop.");
    // The tap's thread does the rest; an interrupt ends the process.
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable never;
    never.wait(lock, [] { return false; });
    return 0;
}

} // namespace keysong
