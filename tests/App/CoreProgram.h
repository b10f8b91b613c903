#pragma once

#include "support/PrivateBus.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

namespace keysong::test {

/// Makes an application without windows or display, once.
inline void makeCoreApplication() {
    static int count = 1;
    static char name[] = "keysong";
    static char* words[] = {name, nullptr};
    static const QCoreApplication application(count, words);
}

/// Makes such an application on a bus of its own. The bus library keeps its connection for the life of the
/// process, so all tests share one bus.
inline PrivateBus& makeBusApplication() {
    static PrivateBus bus;
    static const bool started = bus.start();
    EXPECT_TRUE(started);
    makeCoreApplication();
    return bus;
}

} // namespace keysong::test
