// Status codes and their replaceable messages, through the exported API.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ORNC.h"

namespace {

class StatusMessages : public ::testing::Test {
protected:
    void SetUp() override { ORNCResetErrorMessages(); }
};

struct Expected {
    int code;
    const char* text;
};

const Expected kBase[] = {
    {0, "OK"},
    {-1, "Generic error"},
    {-2, "Out of memory"},
    {-3, "Failed because uninitialized"},
    {-4, "Internal inconsistency"},
    {-6, "Argument out of range"},
    {-7, "Illegal range"},
    {-8, "String is NULL or empty"},
    {-9, "Alpha-numeric name expected"},
    {-10, "String too long"},
    {-11, "Failed to open file for reading"},
    {-12, "Failed to open file for writing"},
    {-13, "Failed to open file for appending"},
    {-14, "Number of available elements exceeded"},
    {-15, "Element already exists"},
    {-16, "Element not found"},
};

const Expected kCamera[] = {
    {-200, "Client could not open device"},
    {-201, "Connect to device failed"},
    {-202, "Client could not open stream"},
    {-203, "Selection of device failed"},
    {-204, "Device not found"},
    {-205, "Parameter is not writeable"},
    {-206, "Parameter type mismatch"},
    {-207, "Parameter write failed"},
    {-208, "Parameter is not readable"},
    {-209, "Parameter has invalid value"},
    {-210, "Wrong type of parameter"},
    {-211, "Parameter read failed"},
    {-212, "Command execute failed"},
    {-213, "Acquistion already started"},
    {-214, "Acquistion not started"},
    {-215, "Acquisition already triggered"},
    {-216, "Wrong acquisition mode"},
    {-217, "IP address invalid"},
    {-218, "Device not connected"},
    {-219, "Parameter is undefined"},
    {-220, "Version number does not match"},
    {-221, "Device not supported"},
    {-222, "Enum entry not found"},
    {-223, "Parameter not available"},
};

TEST_F(StatusMessages, DefaultTextsOfBothCodeSets) {
    for (const Expected& e : kBase) {
        EXPECT_STREQ(ORNGetErrorMessage(e.code), e.text) << e.code;
        EXPECT_STREQ(ORNCGetErrorMessage(e.code), e.text) << e.code;  // repeated under ORNC_
    }
    for (const Expected& e : kCamera) {
        EXPECT_STREQ(ORNCGetErrorMessage(e.code), e.text) << e.code;
        EXPECT_STREQ(ORNGetErrorMessage(e.code), "UNKNOWN") << e.code;  // not a base code
    }
    EXPECT_STREQ(ORNGetErrorMessage(-5), "UNKNOWN");
    EXPECT_STREQ(ORNCGetErrorMessage(-5), "UNKNOWN");
    EXPECT_STREQ(ORNCGetErrorMessage(-224), "UNKNOWN");
    EXPECT_STREQ(ORNCGetErrorMessage(1), "UNKNOWN");
}

TEST(StatusMessagesFirstUse, TablesAreBuiltWithoutAnExplicitReset) {
    // A fresh process: no reset has run (this case does not use the fixture).
    EXPECT_STREQ(ORNCGetErrorMessage(ORNC_OK), "OK");
}

TEST_F(StatusMessages, ReplacementIsPerTableCutTo127CharactersForKnownCodesOnlyAndUndoneByARebuild) {
    EXPECT_EQ(ORNCSetErrorMessage(-3, "camera text"), ORNC_OK);
    EXPECT_STREQ(ORNCGetErrorMessage(-3), "camera text");
    EXPECT_STREQ(ORNGetErrorMessage(-3), "Failed because uninitialized");

    const std::string long_text(200, 'x');
    EXPECT_EQ(ORNSetErrorMessage(-10, long_text.c_str()), ORN_OK);
    EXPECT_EQ(std::string(ORNGetErrorMessage(-10)), std::string(127, 'x'));

    // The returned pointer refers into the table: a later change shows through.
    const char* seen = ORNCGetErrorMessage(-204);
    ORNCSetErrorMessage(-204, "gone");
    EXPECT_STREQ(seen, "gone");

    // Unknown codes cannot be added.
    EXPECT_EQ(ORNSetErrorMessage(-5, "x"), ORN_ERROR);
    EXPECT_EQ(ORNSetErrorMessage(-200, "x"), ORN_ERROR);
    EXPECT_EQ(ORNCSetErrorMessage(-999, "x"), ORNC_ERROR);
    EXPECT_STREQ(ORNGetErrorMessage(-5), "UNKNOWN");

    // Rebuilding the camera table resets the base table too.
    ORNCResetErrorMessages();
    EXPECT_STREQ(ORNCGetErrorMessage(-3), "Failed because uninitialized");
    EXPECT_STREQ(ORNGetErrorMessage(-10), "String too long");
}

TEST_F(StatusMessages, AnEmptyMessageEndsTheTable) {
    ASSERT_EQ(ORNCSetErrorMessage(-205, ""), ORNC_OK);
    EXPECT_STREQ(ORNCGetErrorMessage(-204), "Device not found");
    EXPECT_STREQ(ORNCGetErrorMessage(-205), "UNKNOWN");
    EXPECT_STREQ(ORNCGetErrorMessage(-223), "UNKNOWN");
    // The hidden rows cannot be reached for replacement either.
    EXPECT_EQ(ORNCSetErrorMessage(-206, "back"), ORNC_ERROR);

    // Emptying row 0 leaves an unbuilt table: the next use rebuilds it.
    ASSERT_EQ(ORNSetErrorMessage(0, ""), ORN_OK);
    EXPECT_STREQ(ORNGetErrorMessage(-3), "Failed because uninitialized");
    EXPECT_STREQ(ORNGetErrorMessage(0), "OK");
}

TEST(GenericTables, LookupAndReplacementOnAnApplicationTable) {
    orn_error_msg_entry_t table[ORN_ERROR_TABLE_ROWS];
    std::memset(table, 0, sizeof table);
    EXPECT_STREQ(ORN_GetErrorMessage(table, 0), "INTERNAL");
    EXPECT_EQ(ORN_SetErrorMessage(table, 0, "x"), 1);

    table[0] = {0, "fine"};
    table[1] = {7, "seven"};
    EXPECT_STREQ(ORN_GetErrorMessage(table, 7), "seven");
    EXPECT_STREQ(ORN_GetErrorMessage(table, 8), "UNKNOWN");
    EXPECT_EQ(ORN_SetErrorMessage(table, 7, "SEVEN"), 0);
    EXPECT_STREQ(table[1].msg, "SEVEN");
    EXPECT_EQ(ORN_SetErrorMessage(table, 8, "x"), 1);
    // Rows behind the end marker are never searched.
    table[3] = {9, "behind the marker"};
    EXPECT_STREQ(ORN_GetErrorMessage(table, 9), "UNKNOWN");
}

TEST(GenericTables, CopyAndCheckAgainstAnotherCodeSet) {
    ORNResetErrorMessages();
    orn_error_msg_entry_t defaults[ORN_ERROR_TABLE_ROWS];
    orn_error_msg_entry_t table[ORN_ERROR_TABLE_ROWS];
    std::memset(defaults, 0, sizeof defaults);
    std::memset(table, 0, sizeof table);
    int row = 0;
    for (const Expected& e : kBase) defaults[row++].id = e.code;
    defaults[row] = {-500, "first own code"};

    int copied = -1;
    EXPECT_EQ(ORNCopyAndCheckErrorMessages(table, defaults, &copied), ORN_OK);
    EXPECT_EQ(copied, 16);
    EXPECT_STREQ(table[3].msg, "Failed because uninitialized");
    EXPECT_EQ(table[15].id, -16);
    EXPECT_EQ(table[16].msg[0], '\0');  // the other set's own rows are the caller's job

    // A set that lists the base codes in another order is refused part-way.
    std::memset(table, 0, sizeof table);
    defaults[5].id = -7;
    EXPECT_EQ(ORNCopyAndCheckErrorMessages(table, defaults, &copied), ORN_ERR_INTERNAL);
    EXPECT_EQ(copied, 5);
    defaults[5].id = -6;

    // A set with nothing of its own behind the base rows is inconsistent.
    defaults[16] = {0, ""};
    EXPECT_EQ(ORNCopyAndCheckErrorMessages(table, defaults, &copied), ORN_ERR_INTERNAL);
    EXPECT_EQ(copied, 16);

    // A different first code is refused before anything is written.
    defaults[0].id = 1;
    EXPECT_EQ(ORNCopyAndCheckErrorMessages(table, defaults, &copied), ORN_ERR_INTERNAL);
    EXPECT_EQ(copied, 0);
}

}  // namespace
