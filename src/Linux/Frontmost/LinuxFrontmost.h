#pragma once

#include "Linux/Frontmost/FrontmostWatcher.h"
#include "Platform/FrontmostApplication.h"
#include "Platform/InstalledApplications.h"
#include "Platform/Places.h"
#include "Platform/Threads.h"
#include "Shared/TaskQueue.h"

#include <memory>

namespace keysong {

/// The application in front of this session, by the best source that it has:
///
/// - in a Wayland session (`WAYLAND_DISPLAY`): the compositor's own list of windows, a script in KWin, the
///   accessibility bus where it is in use, and at last, where there is a `DISPLAY`, the X server inside the
///   session, which knows only X windows;
/// - in an X session (`DISPLAY`): the X window manager.
///
/// One thread of its own ("frontmost") serves the source in use, and looks for it again when it is lost.
/// `mainQueue` runs its tasks on the main thread; it, `threads`, `places` and `applications` outlive the
/// object. A task still in the queue when the object is destroyed does nothing. Where the machine refuses a
/// thread or a descriptor this is logged, and no application is ever in front.
[[nodiscard]] std::unique_ptr<FrontmostApplication>
makeFrontmostApplication(TaskQueue& mainQueue, Threads& threads, const Places& places,
                         InstalledApplications& applications);

/// The same over given sources, from best to least, with given times.
[[nodiscard]] std::unique_ptr<FrontmostApplication>
makeFrontmostApplication(TaskQueue& mainQueue, Threads& threads, FrontmostWatcher::Sources sources,
                         InstalledApplications& applications, FrontmostWatcher::Timing timing);

} // namespace keysong
