#include "Shared/PrintableText.h"

#include <gtest/gtest.h>

using keysong::printable;

TEST(PrintableText, WhatATerminalObeysIsWrittenOut) {
    EXPECT_EQ(printable("\x1b[2J\x07\t\x7f"), R"(\x1b[2J\x07\x09\x7f)");
    EXPECT_EQ(printable("two\nlines\r"), R"(two\nlines\x0d)");
    // The same orders as single characters of the C1 range, as UTF-8 and as a lone byte.
    EXPECT_EQ(printable("\xc2\x9b"
                        "31m"),
              R"(\xc2\x9b31m)");
    EXPECT_EQ(printable("\x9b"
                        "31m"),
              R"(\x9b31m)");
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), R"(a\x00b)");
    // A name that reads the other way round.
    EXPECT_EQ(printable("a\xe2\x80\xae"
                        "exe.flac"),
              R"(a\xe2\x80\xaeexe.flac)");
    EXPECT_EQ(printable("\xe2\x81\xa7"), R"(\xe2\x81\xa7)");
}

TEST(PrintableText, TextOfEveryLanguageStays) {
    const std::string text = "Größe · Клавиша · 鍵盤 · مفتاح · می\u200cخواهم · 👩\u200d💻 · \u00a0~";
    EXPECT_EQ(printable(text), text);
}

TEST(PrintableText, BytesThatAreNoUtf8AreWrittenOutOneByOne) {
    EXPECT_EQ(printable("\xe9t\xe9"), R"(\xe9t\xe9)");
    EXPECT_EQ(printable("\xc0\xaf"), R"(\xc0\xaf)");                 // longer than it need be
    EXPECT_EQ(printable("\xe0\x9f\xbf"), R"(\xe0\x9f\xbf)");         // likewise
    EXPECT_EQ(printable("\xed\xa0\x80"), R"(\xed\xa0\x80)");         // half of a pair
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), R"(\xf4\x90\x80\x80)"); // beyond the last
    EXPECT_EQ(printable("ok\xe2\x82"), R"(ok\xe2\x82)");             // cut off
    EXPECT_EQ(printable("\xe2\x82x\xf0\x9f\x92\xbb"), "\\xe2\\x82x\xf0\x9f\x92\xbb");
}
