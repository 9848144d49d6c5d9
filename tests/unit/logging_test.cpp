// The logger through its exported functions: masks, level words, the three
// sinks with their line formats, file handling and concurrent use.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "ORNBase.h"
#include "log_capture.h"
#include "run_program.h"
#include "temp_dir.h"

namespace {

const std::string kStamp = R"(\d{4}:\d{2}:\d{2} \d{2}:\d{2}:\d{2}\.\d{3,4})";

class Logging : public ::testing::Test {
protected:
    void TearDown() override {
        // Back to the initial logger state for the next case.
        ORNLogSetExternal(nullptr);
        ORNLogSetFilename("");
        ORNLogStart(1);
        ORNLogStop();
        ORNLogSetLevel(0);
        ORNLogSetCategory(ORN_LOGCAT_MASK_ALL);
    }
    const orntest::TempWorkDir work_;  // removed with the log files after TearDown
    const std::string dir_ = work_.path();
};

TEST_F(Logging, NothingIsWrittenInTheInitialStateThenMasksDecideWhatIs) {
    EXPECT_FALSE(ORNDoLog(ORN_LOGLVL_FATAL, ORN_LOGCAT_MISC));
    testing::internal::CaptureStdout();
    ORNLog(ORN_LOGLVL_FATAL, ORN_LOGCAT_MISC, "hidden");
    // Written without consulting the masks; console output is on by default.
    ORNLogMsg(ORN_LOGLVL_FATAL, ORN_LOGCAT_MISC, "direct");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "FATAL: direct\n");

    ASSERT_EQ(ORNLogStart(0), ORN_OK);
    EXPECT_FALSE(ORNDoLog(ORN_LOGLVL_ERROR, ORN_LOGCAT_MISC));  // level mask still 0
    ORNLogSetLevel(ORN_LOGLVL_MASK_WARN);
    EXPECT_TRUE(ORNDoLog(ORN_LOGLVL_ERROR, ORN_LOGCAT_MISC));
    EXPECT_TRUE(ORNDoLog(ORN_LOGLVL_WARN, ORN_LOGCAT_CONNECT));
    EXPECT_FALSE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_CONNECT));

    ORNLogSetLevel(ORN_LOGLVL_MASK_INFO);
    EXPECT_FALSE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_QUEUE));  // queue lies outside MASK_ALL
    ORNLogSetCategory(ORN_LOGCAT_MASK_ALLXL);
    EXPECT_TRUE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_QUEUE));
    ORNLogSetCategory(ORN_LOGCAT_PARAM);
    EXPECT_FALSE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC));

    ORNLogStop();
    EXPECT_FALSE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_PARAM));
}

TEST_F(Logging, LevelWordIsTheHighestBitPresent) {
    const orntest::LogCapture log;
    const std::pair<int, const char*> cases[] = {{1, "INFO"},    {2, "WARNING"}, {3, "WARNING"}, {4, "ERROR"},
                                                 {6, "ERROR"},   {8, "SEVERE"},  {16, "FATAL"},  {31, "FATAL"},
                                                 {0, "UNKNOWN"}, {32, "UNKNOWN"}};
    for (const auto& c : cases) ORNLogMsg(c.first, ORN_LOGCAT_MISC, "m");
    const std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), std::size(cases));
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_match(lines[i], std::regex(kStamp + "\t" + cases[i].second + ": m"))) << lines[i];
    }
}

// A file's lines are stamped, appended and flushed after every line (read
// here before the file is closed); the console's have no stamp.
TEST_F(Logging, FileAndConsoleLinesCarryLongMessagesInFullAndTheConsoleFollowsTheSwitch) {
    const std::string path = dir_ + "/a.log";
    const std::string long_message(5000, 'z');
    ASSERT_TRUE(orntest::write_file(path, "earlier\n"));
    ORNLogSetLevel(ORN_LOGLVL_MASK_ALL);
    ASSERT_EQ(ORNLogStartFilename(path.c_str(), 1), ORN_OK);
    testing::internal::CaptureStdout();
    ORNLog(ORN_LOGLVL_WARN, ORN_LOGCAT_MISC, "on the console");
    ORNLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, long_message.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WARNING: on the console\nINFO: " + long_message + "\n");
    const std::string content = orntest::read_file(path);
    EXPECT_TRUE(std::regex_match(content, std::regex("earlier\n" + kStamp + "\tWARNING: on the console\n" + kStamp +
                                                     "\tINFO: " + long_message + "\n")))
        << content;

    ASSERT_EQ(ORNLogStart(0), ORN_OK);
    testing::internal::CaptureStdout();
    ORNLog(ORN_LOGLVL_ERROR, ORN_LOGCAT_MISC, "quiet");
    ORNLog(ORN_LOGLVL_FATAL, ORN_LOGCAT_MISC, "fatal always shows");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "FATAL: fatal always shows\n");
}

TEST_F(Logging, ExternalSinkGetsOneLineWithoutNewlineAndAnOverflowNotice) {
    const orntest::LogCapture log;  // every level, started without a file
    ORNLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, std::string(4000, 'a').c_str());
    ORNLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, std::string(4001, 'b').c_str());
    ORNLogSetExternal(nullptr);
    ORNLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, "after removal");

    const std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(kStamp + "\tINFO: a{4000}")));
    EXPECT_EQ(lines[1], "INFO: Message exceeds internal buffer size\n");
}

TEST_F(Logging, FileThatCannotBeOpenedLeavesLoggingOnAndRenamingAnOpenFileStopsLogging) {
    ORNLogSetLevel(ORN_LOGLVL_MASK_ALL);
    EXPECT_EQ(ORNLogStartFilename((dir_ + "/missing-dir/x.log").c_str(), 0), ORN_ERR_OPEN_FILE_APPEND);
    EXPECT_TRUE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC));
    static int delivered = 0;
    ORNLogSetExternal([](const char*) { ++delivered; });
    ORNLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, "still logged");
    EXPECT_EQ(delivered, 1);
    ORNLogSetExternal(nullptr);

    const std::string a = dir_ + "/a.log";
    const std::string b = dir_ + "/b.log";
    ASSERT_EQ(ORNLogStartFilename(a.c_str(), 0), ORN_OK);
    ORNLogSetFilename(a.c_str());  // the same name: nothing happens
    EXPECT_TRUE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC));

    ORNLogSetFilename(b.c_str());
    EXPECT_FALSE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC));
    ASSERT_EQ(ORNLogStart(0), ORN_OK);  // a new start opens the new name
    ORNLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC, "into b");
    EXPECT_NE(orntest::read_file(b).find("into b"), std::string::npos);
    EXPECT_EQ(orntest::read_file(a).find("into b"), std::string::npos);

    // Without an open file a rename only stores the name.
    ORNLogStop();
    ASSERT_EQ(ORNLogStartFilename("", 0), ORN_OK);
    ORNLogSetFilename(a.c_str());
    EXPECT_TRUE(ORNDoLog(ORN_LOGLVL_INFO, ORN_LOGCAT_MISC));
}

TEST_F(Logging, TimeStampFormatAndSmallBuffers) {
    char text[64];
    std::memset(text, 'x', sizeof text);
    ORNTimeToString(text, 0);
    EXPECT_EQ(text[0], 'x');
    ORNTimeToString(text, 31);
    EXPECT_STREQ(text, "");
    ORNTimeToString(text, 32);
    EXPECT_TRUE(std::regex_match(text, std::regex(kStamp))) << text;
    ORNTimeToString(nullptr, 64);  // refused, no crash
}

TEST_F(Logging, ConcurrentWritersAndReconfigurationKeepEveryLineWhole) {
    const std::string path = dir_ + "/a.log";
    ORNLogSetLevel(ORN_LOGLVL_MASK_ALL);
    ASSERT_EQ(ORNLogStartFilename(path.c_str(), 0), ORN_OK);
    const auto sink = +[](const char*) {};
    ORNLogSetExternal(sink);

    constexpr int kWriters = 3, kLines = 300;
    std::vector<std::thread> writers;
    for (int t = 0; t < kWriters; ++t) {
        writers.emplace_back([t] {
            char text[64];
            for (int i = 0; i < kLines; ++i) {
                std::snprintf(text, sizeof text, "writer %d line %d", t, i);
                ORNLog(ORN_LOGLVL_INFO, ORN_LOGCAT_DATATRANSFER, text);
            }
        });
    }
    // Meanwhile the application reconfigures the logger.
    for (int i = 0; i < 50; ++i) {
        ORNLogSetLevel(i % 2 ? ORN_LOGLVL_MASK_INFO : ORN_LOGLVL_MASK_ALL);
        ORNLogSetExternal(i % 3 ? sink : nullptr);
        if (i % 10 == 0) ORNLogStartFilename(path.c_str(), 0);
    }
    for (std::thread& w : writers) w.join();
    ORNLogStop();

    // Every level set lets INFO through, and a restart appends: no line is lost.
    const std::vector<std::string> lines = orntest::lines_of(orntest::read_file(path));
    EXPECT_EQ(lines.size(), size_t{kWriters * kLines});
    const std::regex whole(kStamp + R"(\tINFO: writer \d line \d+)");
    for (const std::string& line : lines) EXPECT_TRUE(std::regex_match(line, whole)) << line;
}

}  // namespace
