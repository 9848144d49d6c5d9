// Enumeration-entry texts: names, values and indexes, including the
// deliberate oddities of the format.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <tuple>
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

TEST(EnumEntries, NamesAndValuesOfEveryEntry) {
    const std::pair<const char*, Entries> cases[] = {
        // Implicit values count on from the last one; hexadecimal in any case.
        {"Off\nOn\nAuto", {{"Off", 0}, {"On", 1}, {"Auto", 2}}},
        {"Low:5\nMid\nHigh:0x10\nMax", {{"Low", 5}, {"Mid", 6}, {"High", 16}, {"Max", 17}}},
        {"A:0xfF\nB", {{"A", 255}, {"B", 256}}},
        {"", {}},
        // A final line feed adds nothing; an empty line is an entry; nothing is trimmed.
        {"A\nB\n", {{"A", 0}, {"B", 1}}},
        {"A\n\nB", {{"A", 0}, {"", 1}, {"B", 2}}},
        {":7\nX", {{"", 7}, {"X", 8}}},
        {" a \tb", {{" a \tb", 0}}},
        // What follows a value starts the next entry.
        {"Low:5 \nNext", {{"Low", 5}, {" ", 6}, {"Next", 7}}},
        {"Off\r\nOn:3\r\nX", {{"Off\r", 0}, {"On", 3}, {"\r", 4}, {"X", 5}}},
        {"A:0X1F", {{"A", 0}, {"X1F", 1}}},
        {"A:-3", {{"A", 0}, {"-3", 1}}},
        {"A:12abc", {{"A", 12}, {"abc", 13}}},
        // Malformed values never fail: "0x" without digits keeps the running value.
        {"A:4\nB:0x\nC", {{"A", 4}, {"B", 4}, {"C", 5}}},
        {"A:\nB", {{"A", 0}, {"B", 1}}},
        {"A:0xFFFFFFFF", {{"A", -1}}},
        {"A:2147483647\nB", {{"A", 2147483647}, {"B", -2147483647 - 1}}},
        {"A:99999999999999999999999999", {{"A", -1}}},  // too many digits saturate
    };
    for (const auto& [text, entries] : cases) EXPECT_EQ(walk(text), entries) << '"' << text << '"';
}

// (status, value) of an entry, (status, index) of a value, (status, value, index) of a name.
std::tuple<int, int> value_at(char* text, int entry) {
    int value = -9;
    return {ORN_GetEnumValueFromEntries(text, entry, &value), value};
}
std::tuple<int, int> index_of(char* text, int value) {
    int index = -9;
    return {ORN_GetEnumIndexFromEntries(text, value, &index), index};
}
std::tuple<int, int, int> find(char* text, const char* name) {
    int value = -9, index = -9;
    return {ORN_FindEnumEntry(text, name, &value, &index), value, index};
}

TEST(EnumEntries, IndexValueAndNameLookups) {
    char text[] = "Low:5\nMid\nHigh:0x10\nMax\nMid2:6", empty[] = "", crlf[] = "On\r\nOff";
    EXPECT_EQ(value_at(text, 2), std::make_tuple(ORN_OK, 16));
    EXPECT_EQ(value_at(text, 9), std::make_tuple(ORN_ERROR, 5));  // a miss yields the first entry's value
    EXPECT_EQ(value_at(empty, 0), std::make_tuple(ORN_ERROR, -1));
    EXPECT_EQ(index_of(text, 6), std::make_tuple(ORN_OK, 1));  // the first entry with that value
    EXPECT_EQ(index_of(text, 99), std::make_tuple(ORN_ERROR, 0));
    EXPECT_EQ(find(text, "Max"), std::make_tuple(ORN_OK, 17, 3));
    EXPECT_EQ(find(text, "max"), std::make_tuple(ORN_ERROR, 0, 0));  // case-sensitive
    EXPECT_EQ(std::get<0>(find(text, "Mi")), ORN_ERROR);             // whole names only
    EXPECT_EQ(std::get<0>(find(crlf, "On")), ORN_ERROR);
    EXPECT_EQ(std::get<0>(find(crlf, "On\r")), ORN_OK);
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

    EXPECT_EQ(find(ro, "High"), std::make_tuple(ORN_OK, 16, 2));
    EXPECT_EQ(value_at(ro, 3), std::make_tuple(ORN_OK, 17));
    EXPECT_EQ(index_of(ro, 6), std::make_tuple(ORN_OK, 1));
    munmap(mem, static_cast<size_t>(page));
    EXPECT_EQ(find(const_cast<char*>("A\nB"), "B"), std::make_tuple(ORN_OK, 1, 1));  // a string literal too
}

TEST(EnumEntries, NullArgumentsAreRefused) {
    int value = 0;
    char* cursor = nullptr;
    EXPECT_EQ(ORN_GetEnumEntry(&cursor, nullptr, nullptr, &value), ORN_ERROR);
    EXPECT_EQ(ORN_GetEnumEntry(nullptr, nullptr, nullptr, &value), ORN_ERROR);
    EXPECT_EQ(std::get<0>(find(nullptr, "x")), ORN_ERROR);
    EXPECT_EQ(value_at(nullptr, 0), std::make_tuple(ORN_ERROR, -1));
}

}  // namespace
