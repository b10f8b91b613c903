#pragma once

#include "Linux/Listener/ListenerFacts.h"
#include "Platform/DurableFiles.h"

#include <filesystem>
#include <map>

namespace keysong::listener {

/// The permissions, remembered in a small file of text: a line for the form, then one for each user, number
/// and name. A user whose number has got another name since has no permission. A file that is damaged gives
/// it to nobody and is logged; the next grant replaces it.
class PermissionFile final : public Permissions {
  public:
    /// The name of a user; nothing when there is none.
    using NameOf = std::function<std::optional<std::string>(std::uint32_t)>;

    static constexpr std::size_t mostUsers = 1000;
    static constexpr std::size_t longestFile = 64 * 1024;

    /// Reads the file. `files` outlives this object.
    PermissionFile(const DurableFiles& files, std::filesystem::path file, NameOf nameOf);

    /// A user's name by the machine's user database. Waits for it.
    [[nodiscard]] static std::optional<std::string> nameInDatabase(std::uint32_t user);

    [[nodiscard]] bool isGranted(std::uint32_t user) const override;
    [[nodiscard]] bool grant(std::uint32_t user) override;
    [[nodiscard]] bool revoke(std::uint32_t user) override;

  private:
    using Users = std::map<std::uint32_t, std::string>;

    [[nodiscard]] static std::optional<Users> parsed(const std::string& text);
    /// Writes these and keeps them; false, and nothing changes, when they cannot be written.
    [[nodiscard]] bool keep(Users users);

    const DurableFiles& files_;
    const std::filesystem::path file_;
    const NameOf nameOf_;
    Users users_;
};

} // namespace keysong::listener
