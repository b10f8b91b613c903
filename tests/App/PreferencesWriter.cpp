// Stores ever new preferences in the domain "killed" below the folder named, and says on standard output
// which it has stored, until it is killed.

#include "App/Preferences.h"
#include "Linux/Files/LinuxDurableFiles.h"

#include <unistd.h>

int main(int, char** words) {
    const keysong::LinuxDurableFiles files;
    const keysong::PreferenceDomains domains(words[1], files);
    keysong::Preferences preferences(domains, "killed", nullptr);
    for (std::int64_t number = preferences.integer("number").value_or(0) + 1;; ++number) {
        preferences.setInteger("number", number);
        preferences.setString("padding", std::string(static_cast<std::size_t>(number * 997 % 20'000), 'x'));
        if (!preferences.flush() || write(STDOUT_FILENO, &number, sizeof number) != sizeof number) {
            return 1;
        }
    }
}
