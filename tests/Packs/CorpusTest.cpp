#include "Shared/WholeFile.h"

#include <gtest/gtest.h>

#include "fuzz/FuzzEntries.h"

namespace keysong {
namespace {

TEST(CorpusTest, EveryInputThatIsKeptRunsThroughItsReader) {
    for (const fuzz::Entry& entry : fuzz::entries()) {
        int inputs = 0;
        for (const auto& file :
             std::filesystem::directory_iterator(std::filesystem::path(KEYSONG_CORPUS) / entry.name)) {
            SCOPED_TRACE(file.path());
            entry.run(readWholeFile(file.path(), 1U << 20U));
            ++inputs;
        }
        EXPECT_GE(inputs, 3) << entry.name;
    }
}

} // namespace
} // namespace keysong
