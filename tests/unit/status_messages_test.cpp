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

// The default texts: base codes 0 to -16 (-5 is not a code: UNKNOWN), camera codes from -200 down.
const char* const kBase[] = {"OK",
                             "Generic error",
                             "Out of memory",
                             "Failed because uninitialized",
                             "Internal inconsistency",
                             "UNKNOWN",
                             "Argument out of range",
                             "Illegal range",
                             "String is NULL or empty",
                             "Alpha-numeric name expected",
                             "String too long",
                             "Failed to open file for reading",
                             "Failed to open file for writing",
                             "Failed to open file for appending",
                             "Number of available elements exceeded",
                             "Element already exists",
                             "Element not found"};
const char* const kCamera[] = {
    "Client could not open device",  "Connect to device failed",   "Client could not open stream",
    "Selection of device failed",    "Device not found",           "Parameter is not writeable",
    "Parameter type mismatch",       "Parameter write failed",     "Parameter is not readable",
    "Parameter has invalid value",   "Wrong type of parameter",    "Parameter read failed",
    "Command execute failed",        "Acquistion already started", "Acquistion not started",
    "Acquisition already triggered", "Wrong acquisition mode",     "IP address invalid",
    "Device not connected",          "Parameter is undefined",     "Version number does not match",
    "Device not supported",          "Enum entry not found",       "Parameter not available"};

TEST_F(StatusMessages, DefaultTextsOfBothCodeSets) {
    for (int i = 0; i < 17; ++i) {
        EXPECT_STREQ(ORNGetErrorMessage(-i), kBase[i]) << -i;
        EXPECT_STREQ(ORNCGetErrorMessage(-i), kBase[i]) << -i;  // repeated under ORNC_
    }
    for (int i = 0; i < 24; ++i) {
        EXPECT_STREQ(ORNCGetErrorMessage(-200 - i), kCamera[i]) << -200 - i;
        EXPECT_STREQ(ORNGetErrorMessage(-200 - i), "UNKNOWN") << -200 - i;  // not a base code
    }
    EXPECT_STREQ(ORNCGetErrorMessage(-224), "UNKNOWN");
    EXPECT_STREQ(ORNCGetErrorMessage(1), "UNKNOWN");
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
    for (int code = 0; code >= -16; --code) {
        if (code != -5) defaults[row++].id = code;
    }
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
