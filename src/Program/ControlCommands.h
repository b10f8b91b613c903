#pragma once

namespace CLI {
class App;
}

namespace keysong {

/// Adds the commands that speak to the running program. Each prints to standard output and throws
/// `RemoteClientError` when the program does not answer or refuses.
void addControlCommands(CLI::App& app);

} // namespace keysong
