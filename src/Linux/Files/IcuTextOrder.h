#pragma once

#include "Platform/Places.h"
#include "Platform/TextOrder.h"

#include <memory>

namespace keysong {

/// The collation order of the user's language, as ICU knows it. Calls from several threads may overlap.
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
    std::unique_ptr<const Collator> collator_;
};

} // namespace keysong
