#pragma once

namespace keysong {

/// Has this process, and those that it starts, take text for UTF-8 where the environment names no such
/// character set, as on a machine whose language nobody has chosen. The toolkit would do the same, but print
/// a paragraph about it. Before any other thread and before the toolkit.
void useUtf8Characters();

} // namespace keysong
