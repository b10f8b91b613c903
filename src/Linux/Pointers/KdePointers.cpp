#include "Linux/Pointers/PointerLists.h"
#include "Linux/Pointers/PointerSource.h"
#include "Linux/System/InotifyEvents.h"
#include "Linux/System/ServiceThread.h"
#include "Shared/WholeFile.h"

#include <utility>

namespace keysong {

namespace {

constexpr std::string_view fileName = "kcminputrc";

class KdePointers final : public PointerSource {
  public:
    KdePointers(std::filesystem::path folder, Threads& threads, PublishRules publish)
        : folder_(std::move(folder)), publish_(std::move(publish)),
          inotify_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
          thread_(threads, {"com.orlen.keysong.pointers", "pointers"}) {
        inotify_add_watch(inotify_.get(), folder_.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE);
        thread_.async([this] {
            if (inotify_.isOpen()) {
                thread_.loop().watch(inotify_.get(), [this] { takeChanges(); });
            }
            read();
        });
    }

  private:
    void takeChanges() {
        bool changed = false;
        takeInotifyEvents(inotify_.get(), [&](int, std::uint32_t mask, std::string_view name) {
            changed = changed || name == fileName || (mask & IN_Q_OVERFLOW) != 0;
        });
        if (changed) {
            read();
        }
    }

    void read() {
        try {
            publish_(kdePointerRules(readWholeFile(folder_ / fileName, longestPointerList)));
        } catch (const FileReadError&) {
            publish_({}); // nobody has chosen anything
        }
    }

    const std::filesystem::path folder_;
    const PublishRules publish_;
    const FileDescriptor inotify_;
    ServiceThread thread_;
};

} // namespace

std::unique_ptr<PointerSource> followKdePointers(std::filesystem::path folder, Threads& threads,
                                                 PublishRules publish) {
    return std::make_unique<KdePointers>(std::move(folder), threads, std::move(publish));
}

} // namespace keysong
