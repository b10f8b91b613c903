#include "Linux/System/Utf8Characters.h"

#include <langinfo.h>

#include <clocale>
#include <cstdlib>
#include <string_view>

namespace keysong {

void useUtf8Characters() {
    std::setlocale(LC_CTYPE, "");
    if (std::string_view(nl_langinfo(CODESET)) == "UTF-8") {
        return;
    }
    const char* all = std::getenv("LC_ALL");
    const bool overrides = all != nullptr && *all != '\0';
    setenv(overrides ? "LC_ALL" : "LC_CTYPE", "C.UTF-8", 1);
    std::setlocale(LC_CTYPE, "");
}

} // namespace keysong
