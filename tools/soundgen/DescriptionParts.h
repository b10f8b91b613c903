#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "soundgen/Description.h"
#include "soundgen/DescriptionText.h"

namespace keysong::soundgen {

/// The lines of a description with those of every part in the place of its `[include NAME]`. Keeps the texts
/// of the parts that the lines refer to; the description's own text must outlive it.
class DescriptionParts {
  public:
    /// Throws `DescriptionError` for a part that cannot be had, parts within parts more than four deep, and
    /// more than a megabyte in all.
    DescriptionParts(std::string_view text, const PartReader& readPart);
    // The lines refer to the texts.
    DescriptionParts(const DescriptionParts&) = delete;
    DescriptionParts& operator=(const DescriptionParts&) = delete;

    [[nodiscard]] const std::vector<DescriptionLine>& lines() const noexcept { return lines_; }

  private:
    void take(std::string_view text, std::string_view name, int depth);
    void include(const DescriptionLine& head, int depth);

    const PartReader& readPart_;
    std::deque<std::string> texts_;
    std::size_t size_ = 0;
    std::vector<DescriptionLine> lines_;
};

} // namespace keysong::soundgen
