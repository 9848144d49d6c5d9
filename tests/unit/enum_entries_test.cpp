// Enumeration-entry texts: names, values and indexes, including the
// deliberate oddities of the format.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ORNBase.h"

namespace {

// Every entry of a text as (name, value), walked with ORN_GetEnumEntry.
std::vector<std::pair<std::string, int>> walk(const std::string& text) {
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    std::vector<std::pair<std::string, int>> entries;
    char* cursor = buffer.data();
    char* name = nullptr;
    size_t len = 0;
    int value = -1;
    while (ORN_GetEnumEntry(&cursor, &name, &len, &value) == ORN_OK) {
        entries.emplace_back(std::string(name, len), value);
        if (entries.size() > text.size() + 1) break;  // cannot loop forever
    }
    EXPECT_EQ(std::string(buffer.data()), text) << "the text must be left unchanged";
    return entries;
}

using Entries = std::vector<std::pair<std::string, int>>;

TEST(EnumEntries, ImplicitAndExplicitValues) {
    EXPECT_EQ(walk("Off\nOn\nAuto"), (Entries{{"Off", 0}, {"On", 1}, {"Auto", 2}}));
    EXPECT_EQ(walk("Low:5\nMid\nHigh:0x10\nMax"), (Entries{{"Low", 5}, {"Mid", 6}, {"High", 16}, {"Max", 17}}));
    EXPECT_EQ(walk("A:0xfF\nB"), (Entries{{"A", 255}, {"B", 256}}));
    EXPECT_EQ(walk(""), Entries{});
}

TEST(EnumEntries, LineStructure) {
    EXPECT_EQ(walk("A\nB\n"), (Entries{{"A", 0}, {"B", 1}}));  // a final line feed adds nothing
    EXPECT_EQ(walk("A\n\nB"), (Entries{{"A", 0}, {"", 1}, {"B", 2}}));
    EXPECT_EQ(walk(":7\nX"), (Entries{{"", 7}, {"X", 8}}));
    // Nothing is trimmed: blanks and tabs belong to the name.
    EXPECT_EQ(walk(" a \tb"), (Entries{{" a \tb", 0}}));
}

TEST(EnumEntries, WhatFollowsAValueStartsTheNextEntry) {
    EXPECT_EQ(walk("Low:5 \nNext"), (Entries{{"Low", 5}, {" ", 6}, {"Next", 7}}));
    EXPECT_EQ(walk("Off\r\nOn:3\r\nX"), (Entries{{"Off\r", 0}, {"On", 3}, {"\r", 4}, {"X", 5}}));
    EXPECT_EQ(walk("A:0X1F"), (Entries{{"A", 0}, {"X1F", 1}}));
    EXPECT_EQ(walk("A:-3"), (Entries{{"A", 0}, {"-3", 1}}));
    EXPECT_EQ(walk("A:12abc"), (Entries{{"A", 12}, {"abc", 13}}));
}

TEST(EnumEntries, MalformedValuesNeverFail) {
    // "0x" without digits converts nothing: the running value stays.
    EXPECT_EQ(walk("A:4\nB:0x\nC"), (Entries{{"A", 4}, {"B", 4}, {"C", 5}}));
    EXPECT_EQ(walk("A:\nB"), (Entries{{"A", 0}, {"B", 1}}));
    EXPECT_EQ(walk("A:0xFFFFFFFF"), (Entries{{"A", -1}}));
    EXPECT_EQ(walk("A:2147483647\nB"), (Entries{{"A", 2147483647}, {"B", -2147483647 - 1}}));
    // Far too many digits saturate instead of overflowing.
    EXPECT_EQ(walk("A:99999999999999999999999999")[0].second, -1);
}

TEST(EnumEntries, IndexValueAndNameLookups) {
    char text[] = "Low:5\nMid\nHigh:0x10\nMax\nMid2:6";
    int value = 0, index = 0;

    EXPECT_EQ(ORN_GetEnumValueFromEntries(text, 2, &value), ORN_OK);
    EXPECT_EQ(value, 16);
    value = 0;
    EXPECT_EQ(ORN_GetEnumValueFromEntries(text, 9, &value), ORN_ERROR);
    EXPECT_EQ(value, 5);  // a miss yields the first entry's value
    char empty[] = "";
    EXPECT_EQ(ORN_GetEnumValueFromEntries(empty, 0, &value), ORN_ERROR);
    EXPECT_EQ(value, -1);

    EXPECT_EQ(ORN_GetEnumIndexFromEntries(text, 6, &index), ORN_OK);
    EXPECT_EQ(index, 1);  // the first entry with that value
    index = 7;
    EXPECT_EQ(ORN_GetEnumIndexFromEntries(text, 99, &index), ORN_ERROR);
    EXPECT_EQ(index, 0);

    EXPECT_EQ(ORN_FindEnumEntry(text, "Max", &value, &index), ORN_OK);
    EXPECT_EQ(value, 17);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(ORN_FindEnumEntry(text, "max", &value, &index), ORN_ERROR);  // case-sensitive
    EXPECT_EQ(value, 0);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(ORN_FindEnumEntry(text, "Mi", &value, &index), ORN_ERROR);  // whole names only

    char crlf[] = "On\r\nOff";
    EXPECT_EQ(ORN_FindEnumEntry(crlf, "On", &value, &index), ORN_ERROR);
    EXPECT_EQ(ORN_FindEnumEntry(crlf, "On\r", &value, &index), ORN_OK);
}

TEST(EnumEntries, ReadOnlyTextsAreParsedWithoutWriting) {
    // A page that faults on any write: the parser must only read.
    const long page = sysconf(_SC_PAGESIZE);
    void* mem = mmap(nullptr, static_cast<size_t>(page), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mem, MAP_FAILED);
    const char text[] = "Low:5\nMid\nHigh:0x10\nMax";
    std::memcpy(mem, text, sizeof text);
    ASSERT_EQ(mprotect(mem, static_cast<size_t>(page), PROT_READ), 0);
    char* ro = static_cast<char*>(mem);

    int value = 0, index = 0;
    EXPECT_EQ(ORN_FindEnumEntry(ro, "High", &value, &index), ORN_OK);
    EXPECT_EQ(value, 16);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(ORN_GetEnumValueFromEntries(ro, 3, &value), ORN_OK);
    EXPECT_EQ(value, 17);
    EXPECT_EQ(ORN_GetEnumIndexFromEntries(ro, 6, &index), ORN_OK);
    EXPECT_EQ(index, 1);
    munmap(mem, static_cast<size_t>(page));

    // A string literal works too.
    EXPECT_EQ(ORN_FindEnumEntry(const_cast<char*>("A\nB"), "B", &value, &index), ORN_OK);
    EXPECT_EQ(value, 1);
}

TEST(EnumEntries, NullArgumentsAreRefused) {
    int value = 0, index = 0;
    char* cursor = nullptr;
    EXPECT_EQ(ORN_GetEnumEntry(&cursor, nullptr, nullptr, &value), ORN_ERROR);
    EXPECT_EQ(ORN_GetEnumEntry(nullptr, nullptr, nullptr, &value), ORN_ERROR);
    EXPECT_EQ(ORN_FindEnumEntry(nullptr, "x", &value, &index), ORN_ERROR);
    EXPECT_EQ(ORN_GetEnumValueFromEntries(nullptr, 0, &value), ORN_ERROR);
    EXPECT_EQ(value, -1);
}

}  // namespace
