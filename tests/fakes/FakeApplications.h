#pragma once

#include "Platform/InstalledApplications.h"

#include <utility>

namespace keysong::test {

/// The installed applications as a test wants them.
class FakeApplications final : public InstalledApplications {
  public:
    FakeApplications() = default;
    explicit FakeApplications(List applications)
        : applications_(std::make_shared<const List>(std::move(applications))) {}

    [[nodiscard]] std::shared_ptr<const List> list() override { return applications_; }

  private:
    std::shared_ptr<const List> applications_ = std::make_shared<const List>();
};

} // namespace keysong::test
