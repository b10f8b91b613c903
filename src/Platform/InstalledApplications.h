#pragma once

#include <memory>
#include <string>
#include <vector>

namespace keysong {

/// One application that is installed on this machine. Texts are as the application wrote them; unknown ones
/// are empty.
struct InstalledApplication {
    /// The bundle identifier: the desktop file's id without ".desktop".
    std::string id;
    /// The name to show a person, in the user's language; the id where there is none.
    std::string name;
    /// The name of a themed icon, or the path of a picture.
    std::string icon;
    /// The program that is started: a path, or a name to be looked up.
    std::string program;
    /// The window class by which the application's windows are known.
    std::string startupClass;
    /// False for one that asks not to be offered to people: a helper, a file handler.
    bool isListed = true;
};

/// The applications that are installed. Any thread but the render and the event-tap thread.
class InstalledApplications {
  public:
    using List = std::vector<InstalledApplication>;

    virtual ~InstalledApplications() = default;

    /// All of them, in no particular order; one that its user removed is not among them. Reads the disk where
    /// something was installed or removed since the last call. Never null.
    [[nodiscard]] virtual std::shared_ptr<const List> list() = 0;

  protected:
    InstalledApplications() = default;
    InstalledApplications(const InstalledApplications&) = default;
    InstalledApplications& operator=(const InstalledApplications&) = default;
};

} // namespace keysong
