#include "Shared/Log.h"

#include "support/LogCapture.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>

namespace keysong {
namespace {

using test::LogCapture;

TEST(Log, WritesEveryKindOfArgument) {
    const std::string name = "alpha";
    log.info("set %{public}s files=%{public}ld status %{public}d id %{public}u on=%{bool}d, done", name,
             std::numeric_limits<std::int64_t>::min(), -128, 65535U, true);
    ASSERT_EQ(LogCapture::shared().all().size(), 1U);
    const auto line = LogCapture::shared().all().front();
    EXPECT_EQ(line.level, LogLevel::info);
    EXPECT_EQ(line.message, "set alpha files=-9223372036854775808 status -128 id 65535 on=true, done");
    EXPECT_EQ(line.message, line.privateMessage);
}

TEST(Log, HidesPrivateTextAndOnlyThat) {
    // Text that looks like a placeholder is text.
    log.error("%s failed for %{public}s: %s", "%{public}s", "%s", "/home/someone");
    const auto line = LogCapture::shared().all().front();
    EXPECT_EQ(line.message, "<private> failed for %s: <private>");
    EXPECT_EQ(line.privateMessage, "%{public}s failed for %s: /home/someone");
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U);
}

TEST(Log, WithoutASinkMessagesAreDropped) {
    Logger::setSink(nullptr);
    log.error("nobody hears this");
    Logger::setSink(&LogCapture::shared());
    log.notice("somebody hears this");
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice), testing::ElementsAre("somebody hears this"));
    EXPECT_THAT(LogCapture::shared().takeErrors(), testing::IsEmpty());
}

} // namespace
} // namespace keysong
