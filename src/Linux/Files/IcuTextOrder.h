#pragma once

#include "Platform/Places.h"
#include "Platform/TextOrder.h"

#include <memory>
#include <mutex>
#include <string>

namespace keysong {

/// The collation order of the user's language, as ICU knows it. Calls from several threads may overlap.
///
/// ICU's tables take more memory than all sound sets together. Most names are ASCII, whose order in most
/// languages is that of every language and short enough to stand here: ICU's collator is made when two texts
/// are compared that need it.
class IcuTextOrder final : public TextOrder {
  public:
    /// Takes the language from `LC_ALL`, `LC_COLLATE` or `LANG`, the first that is not empty. The "C" and
    /// "POSIX" locales, which would put all upper case before lower case, and unknown languages get ICU's
    /// order for every language.
    explicit IcuTextOrder(const Places& places);
    ~IcuTextOrder() override;

    [[nodiscard]] int compare(std::string_view a, std::string_view b) const override;

  private:
    struct Collator;

    const std::string locale_;
    /// Whether ASCII texts stand in this language as in every other.
    const bool plainAscii_;
    mutable std::once_flag once_;
    mutable std::unique_ptr<const Collator> collator_;
};

} // namespace keysong
