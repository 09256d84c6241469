#include <pthread.h>
#include <unistd.h>
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/LineCallbackBuffer.h"
#include "QuillmarshEngine/Logging.h"
#include "QuillmarshEngine/LoggingScope.h"

namespace QuillmarshEngine { namespace {

struct Captured {
    std::vector<std::string> lines;
    std::vector<bool> terminated;
};

void capture(std::string_view line, void* userData) {
    Captured& c = *static_cast<Captured*>(userData);
    c.lines.emplace_back(line);
    c.terminated.push_back(line.data()[line.size()] == '\0');
}

/* Installs the capturing callback for one test and restores the previous one */
struct CallbackGuard {
    explicit CallbackGuard(Captured& captured): previous{getLogCallback()} {
        setLogCallback(capture, &captured);
    }
    ~CallbackGuard() { setLogCallback(previous.first, previous.second); }
    std::pair<LogCallback, void*> previous;
};

std::string stampOf(const std::tm& t) {
    char buffer[96];
    std::snprintf(buffer, sizeof(buffer), "[%d-%02d-%02d %02d:%02d:%02d.", t.tm_year + 1900,
        t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
    return buffer;
}

std::tm now() {
    const std::time_t time = std::time(nullptr);
    std::tm t{};
    localtime_r(&time, &t);
    return t;
}

/* Whether text matches pattern, in which '#' stands for one digit and anything else for itself */
bool matches(std::string_view text, std::string_view pattern) {
    if(text.size() != pattern.size()) return false;
    for(std::size_t i = 0; i != text.size(); ++i) {
        if(pattern[i] == '#' ? text[i] < '0' || text[i] > '9' : text[i] != pattern[i]) return false;
    }
    return true;
}

/* Matches the stamp's fields against the local time read before and after the call */
void expectStamp(const std::string& line, const std::string& before, const std::string& after) {
    const std::string seconds = line.substr(0, before.size());
    EXPECT_TRUE(seconds == before || seconds == after) << line;
    EXPECT_TRUE(matches(std::string_view{line}.substr(0, 25), "[####-##-## ##:##:##.###]")) << line;
}

TEST(LoggingTest, lineFormatPerLevel) {
    Captured captured;
    CallbackGuard guard{captured};

    const std::string before = stampOf(now());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    log(LogLevel::Info, "text");
    log(LogLevel::Warning, "careful now");
    log(LogLevel::Error, "broken");
    log(LogLevel::Info, "");
    log(LogLevel::Warning, "");
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    const std::string after = stampOf(now());

    ASSERT_EQ(captured.lines.size(), 5u);
    const char* const tails[]{"] text", "][warn] careful now", "][error] broken", "] ", "][warn] "};
    for(std::size_t i = 0; i != 5; ++i) {
        SCOPED_TRACE(i);
        const std::string& line = captured.lines[i];
        expectStamp(line, before, after);
        /* Everything after the three millisecond digits */
        EXPECT_EQ(line.substr(before.size() + 3), tails[i]);
        EXPECT_TRUE(captured.terminated[i]);
    }

    /* Info goes to standard output, the rest to standard error, each with its newline */
    EXPECT_EQ(out, captured.lines[0] + "\n" + captured.lines[3] + "\n");
    EXPECT_EQ(err, captured.lines[1] + "\n" + captured.lines[2] + "\n" + captured.lines[4] + "\n");
}

TEST(LoggingTest, callbackSetGetAndDisable) {
    const std::pair<LogCallback, void*> previous = getLogCallback();
    int userData;
    setLogCallback(capture, &userData);
    EXPECT_EQ(getLogCallback().first, capture);
    EXPECT_EQ(getLogCallback().second, &userData);

    /* With no callback and no file a warning reaches standard error only */
    setLogCallback(nullptr, nullptr);
    EXPECT_EQ(getLogCallback().first, nullptr);
    EXPECT_EQ(getLogCallback().second, nullptr);
    ASSERT_FALSE(isLogFileOpen());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    log(LogLevel::Warning, "only here");
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(out, "");
    EXPECT_TRUE(matches(err, "[####-##-## ##:##:##.###][warn] only here\n")) << err;

    setLogCallback(previous.first, previous.second);
}

class LogFileTest: public testing::Test {
    protected:
        void SetUp() override {
            _directory = std::filesystem::temp_directory_path()/("QuillmarshLoggingTest-" + std::to_string(::getpid()));
            std::filesystem::remove_all(_directory);
            std::filesystem::create_directories(_directory);
        }
        void TearDown() override {
            closeLogFile();
            std::filesystem::remove_all(_directory);
        }
        std::filesystem::path _directory;
};

TEST_F(LogFileTest, nameContentsAndClose) {
    Captured captured;
    CallbackGuard guard{captured};

    const std::string before = stampOf(now());
    openLogFile(_directory.string());
    ASSERT_TRUE(isLogFileOpen());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    log(LogLevel::Info, "first");
    log(LogLevel::Error, "second");
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    const std::string after = stampOf(now());
    closeLogFile();
    EXPECT_FALSE(isLogFileOpen());
    /* Closing twice is harmless */
    closeLogFile();

    std::vector<std::filesystem::path> files;
    for(const auto& entry: std::filesystem::directory_iterator{_directory}) files.push_back(entry.path());
    ASSERT_EQ(files.size(), 1u);
    const std::string name = files[0].filename().string();
    EXPECT_TRUE(matches(name, "QuillmarshEditor-####-##-##-##-##-##.log")) << name;
    /* The name is built from the local time of the open call */
    auto nameOf = [](std::string stamp) {
        stamp = stamp.substr(1, 19);
        std::replace(stamp.begin(), stamp.end(), ' ', '-');
        std::replace(stamp.begin(), stamp.end(), ':', '-');
        return "QuillmarshEditor-" + stamp + ".log";
    };
    EXPECT_TRUE(name == nameOf(before) || name == nameOf(after)) << name;

    std::ifstream file{files[0], std::ios::binary};
    std::stringstream contents;
    contents << file.rdbuf();
    ASSERT_EQ(captured.lines.size(), 2u);
    EXPECT_EQ(contents.str(), captured.lines[0] + "\n" + captured.lines[1] + "\n");

    /* After closing, lines reach the console and the callback only */
    testing::internal::CaptureStdout();
    log(LogLevel::Info, "third");
    testing::internal::GetCapturedStdout();
    std::ifstream again{files[0], std::ios::binary};
    std::stringstream contentsAgain;
    contentsAgain << again.rdbuf();
    EXPECT_EQ(contentsAgain.str(), contents.str());
}

TEST_F(LogFileTest, missingDirectory) {
    const std::string missing = (_directory/"does"/"not"/"exist").string();
    std::ostringstream out;
    {
        Error redirect{&out};
        openLogFile(missing);
    }
    EXPECT_FALSE(isLogFileOpen());
    EXPECT_TRUE(matches(out.str(), "Could not create log file " + missing + "/QuillmarshEditor-####-##-##-##-##-##.log\n")) << out.str();

    /* Inside a scope the message becomes an error log line */
    Captured captured;
    CallbackGuard guard{captured};
    testing::internal::CaptureStderr();
    {
        LoggingScope scope;
        openLogFile(missing);
    }
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(captured.lines.size(), 1u);
    EXPECT_NE(captured.lines[0].find("][error] Could not create log file " + missing + "/QuillmarshEditor-"), std::string::npos) << captured.lines[0];
    EXPECT_FALSE(isLogFileOpen());
}

TEST(LineCallbackBufferTest, splitsLines) {
    Captured captured;
    LineCallbackBuffer buffer{capture, &captured};
    std::ostream stream{&buffer};
    stream << "a\nbc\n\n" << 42 << std::endl;
    stream << "tail";
    EXPECT_EQ(buffer.size(), 4u);
    ASSERT_EQ(captured.lines.size(), 4u);
    EXPECT_EQ(captured.lines[0], "a");
    EXPECT_EQ(captured.lines[1], "bc");
    EXPECT_EQ(captured.lines[2], "");
    EXPECT_EQ(captured.lines[3], "42");
    for(bool terminated: captured.terminated) EXPECT_TRUE(terminated);
}

TEST(LineCallbackBufferTest, overlongLineInPieces) {
    Captured captured;
    {
        LineCallbackBuffer buffer{capture, &captured};
        std::ostream stream{&buffer};
        /* Exactly one piece's worth, then one more full piece plus one character, then a tail
           that is never terminated */
        stream << std::string(LineCallbackBuffer::MaxLineSize, 'a');
        ASSERT_EQ(captured.lines.size(), 1u);
        EXPECT_EQ(buffer.size(), 0u);
        stream << '\n';
        stream << std::string(2*LineCallbackBuffer::MaxLineSize + 1, 'b') << '\n';
        stream << "dropped";
    }
    ASSERT_EQ(captured.lines.size(), 5u);
    EXPECT_EQ(captured.lines[0], std::string(32767, 'a'));
    /* The newline right after a full piece ends an empty line */
    EXPECT_EQ(captured.lines[1], "");
    EXPECT_EQ(captured.lines[2].size(), 32767u);
    EXPECT_EQ(captured.lines[3].size(), 32767u);
    EXPECT_EQ(captured.lines[4], "b");
}

TEST(LineCallbackBufferDeathTest, nullCallback) {
    EXPECT_DEATH(LineCallbackBuffer{nullptr}, "^LineCallbackBuffer::LineCallbackBuffer\\(\\): the callback is null\n$");
}

TEST(LoggingScopeTest, streamsBecomeLogLines) {
    Captured captured;
    CallbackGuard guard{captured};
    std::ostringstream before;
    Debug outer{&before};

    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        LoggingScope scope;
        Debug{} << "value" << 5;
        Warning{} << "low on" << 2.5f;
        Error{} << "failed";
        Debug{} << "two" << Debug::newline << "lines";
        /* A redirection inside the scope takes precedence while it lives */
        std::ostringstream inner;
        {
            Debug redirect{&inner};
            Debug{} << "not logged";
        }
        EXPECT_EQ(inner.str(), "not logged\n");
        /* A line without its newline is dropped with the scope */
        Debug{Debug::Flag::NoNewlineAtTheEnd} << "unterminated";
    }
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();

    ASSERT_EQ(captured.lines.size(), 5u);
    const char* const tails[]{"] value 5", "][warn] low on 2.5", "][error] failed", "] two", "] lines"};
    for(std::size_t i = 0; i != 5; ++i) {
        SCOPED_TRACE(i);
        const std::size_t bracket = captured.lines[i].find(']');
        ASSERT_NE(bracket, std::string::npos);
        EXPECT_EQ(captured.lines[i].substr(bracket), tails[i]);
    }
    EXPECT_EQ(out, captured.lines[0] + "\n" + captured.lines[3] + "\n" + captured.lines[4] + "\n");
    EXPECT_EQ(err, captured.lines[1] + "\n" + captured.lines[2] + "\n");

    /* The previous target is back */
    Debug{} << "after";
    EXPECT_EQ(before.str(), "after\n");
}

TEST(LoggingScopeTest, overlongLine) {
    Captured captured;
    CallbackGuard guard{captured};
    testing::internal::CaptureStdout();
    {
        LoggingScope scope;
        Debug{} << std::string(40000, 'x');
    }
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(captured.lines.size(), 2u);
    /* The stamp with the empty prefix is 26 characters and a space */
    EXPECT_EQ(captured.lines[0].size(), 26u + 32767u);
    EXPECT_EQ(captured.lines[1].size(), 26u + 7233u);
    EXPECT_EQ(captured.lines[1].substr(26), std::string(7233, 'x'));
}

TEST(LoggingTest, threadName) {
    std::thread thread{[] {
        char name[16];
        setCurrentThreadName("Named");
        pthread_getname_np(pthread_self(), name, sizeof(name));
        EXPECT_STREQ(name, "Named");
        /* Cut to what the system keeps */
        setCurrentThreadName(std::string_view{"A rather long thread name", 25});
        pthread_getname_np(pthread_self(), name, sizeof(name));
        EXPECT_STREQ(name, "A rather long t");
    }};
    thread.join();
}

TEST(LoggingTest, printLevel) {
    std::ostringstream out;
    Debug{&out} << LogLevel::Info << LogLevel::Warning << LogLevel::Error << LogLevel(7);
    EXPECT_EQ(out.str(), "LogLevel::Info LogLevel::Warning LogLevel::Error LogLevel(0x7)\n");
}

}}
