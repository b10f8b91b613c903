#pragma once

#include "Platform/TextForms.h"

namespace keysong {

/// Encodings, composed characters and letter case by ICU. Stateless.
class IcuTextForms final : public TextForms {
  public:
    [[nodiscard]] std::string utf8(std::string_view bytes) const override;
    [[nodiscard]] std::vector<std::string> readings(std::string_view name) const override;
    [[nodiscard]] std::string folded(std::string_view name) const override;
};

} // namespace keysong
