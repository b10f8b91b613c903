#pragma once

#include <CLI/CLI.hpp>

namespace keysong {

/// Adds the commands that show, give and take back the right to hear the keyboards. They speak to the
/// listener service.
void addAccessCommands(CLI::App& app);

} // namespace keysong
