#include "Linux/Input/LinuxInput.h"

#include "Linux/Input/LibinputSource.h"
#include "fakes/FakeInputSource.h"
#include "fakes/FakePlaces.h"
#include "support/LogCapture.h"
#include "support/PrivateXServer.h"
#include "support/ScopedVariable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keysong {
namespace {

using test::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(LinuxInput, TheEnvironmentLeavesOneSourceOfInput) {
    test::PrivateXServer server;
    ASSERT_TRUE(server.start());
    test::FakePlaces places;
    bool serviceGives = false;
    const auto hasAccess = [&](const char* wish) {
        places.variables["KEYSONG_INPUT"] = wish;
        auto service = std::make_unique<test::FakeInputSource>();
        service->trusted = serviceGives;
        return makeInputSource(places, std::move(service))->hasAccess();
    };
    EXPECT_FALSE(hasAccess("service"));
    serviceGives = true;
    EXPECT_TRUE(hasAccess("service"));
    EXPECT_TRUE(hasAccess(""));
    serviceGives = false;
    const bool hearsDevices = LibinputSource().hasAccess();
    {
        const test::ScopedVariable display("DISPLAY", server.display().c_str());
        EXPECT_TRUE(hasAccess("x11"));
        EXPECT_TRUE(hasAccess(""));
        EXPECT_EQ(hasAccess("devices"), hearsDevices);
        EXPECT_TRUE(hasAccess("wishes"));
        EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(HasSubstr("KEYSONG_INPUT=wishes")));
    }
    const test::ScopedVariable display("DISPLAY", nullptr);
    EXPECT_FALSE(hasAccess("x11"));
    EXPECT_EQ(hasAccess(""), hearsDevices);
}

} // namespace
} // namespace keysong
