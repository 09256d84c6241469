#include "QuillmarshEngine/Logging.h"

#include <pthread.h>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "QuillmarshEngine/Utils/Clock.h"

namespace QuillmarshEngine {

namespace {

/* Process-wide and deliberately unlocked: the host sets them before other threads log */
LogCallback _logCallback = nullptr;
void* _logCallbackUserData = nullptr;
std::FILE* logFile = nullptr;

constexpr const char* LevelPrefixes[3]{"", "[warn]", "[error]"};

std::tm localNow() {
    const std::time_t now = std::time(nullptr);
    std::tm broken{};
    localtime_r(&now, &broken);
    return broken;
}

}

Debug& operator<<(Debug& debug, LogLevel value) {
    switch(value) {
        case LogLevel::Info: return Implementation::printEnumValue(debug, "LogLevel", "Info");
        case LogLevel::Warning: return Implementation::printEnumValue(debug, "LogLevel", "Warning");
        case LogLevel::Error: return Implementation::printEnumValue(debug, "LogLevel", "Error");
    }
    return Implementation::printUnknownEnum(debug, "LogLevel", unsigned(value));
}

void setLogCallback(LogCallback callback, void* userData) {
    _logCallback = callback;
    _logCallbackUserData = userData;
}

std::pair<LogCallback, void*> getLogCallback() {
    return {_logCallback, _logCallbackUserData};
}

void openLogFile(std::string_view directory) {
    const std::tm t = localNow();
    char name[64];
    const int nameSize = std::snprintf(name, sizeof(name), "/QuillmarshEditor-%d-%02d-%02d-%02d-%02d-%02d.log",
        t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
    std::string path;
    path.reserve(directory.size() + std::size_t(nameSize));
    path.append(directory);
    path.append(name, std::size_t(nameSize));

    /* The handle opened earlier, if any, is replaced without closing it; the C library flushes
       and closes it at exit */
    logFile = std::fopen(path.c_str(), "wb");
    if(!logFile) {
        Error{} << "Could not create log file" << path;
        return;
    }

    static bool closeRegistered = false;
    if(!closeRegistered) {
        std::atexit(closeLogFile);
        closeRegistered = true;
    }
}

void closeLogFile() {
    std::FILE* file = logFile;
    logFile = nullptr;
    if(file) std::fclose(file);
}

bool isLogFileOpen() { return logFile != nullptr; }

void log(LogLevel level, std::string_view message) {
    /* Two independent reads, deliberately not reconciled */
    const std::tm t = localNow();
    const long long nanoseconds = Utils::Clock::wallNow();
    const int milliseconds = int((nanoseconds%1000000000 + 1000000000)%1000000000/1000000);

    const int levelIndex = int(level) >= 0 && int(level) < 3 ? int(level) : 2;
    const char* const prefix = LevelPrefixes[levelIndex];

    char stamp[96];
    const int stampSize = std::snprintf(stamp, sizeof(stamp), "[%d-%02d-%02d %02d:%02d:%02d.%03d]%s ",
        t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, milliseconds, prefix);

    std::string line;
    line.reserve(std::size_t(stampSize) + message.size() + 1);
    line.append(stamp, std::size_t(stampSize));
    line.append(message);
    line.push_back('\n');

    /* One write per line, so that the C library's stream lock keeps lines whole */
    std::FILE* const console = levelIndex == 0 ? stdout : stderr;
    std::fwrite(line.data(), 1, line.size(), console);
    std::fflush(console);

    if(std::FILE* const file = logFile)
        std::fwrite(line.data(), 1, line.size(), file);

    if(const LogCallback callback = _logCallback) {
        line.back() = '\0';
        callback({line.data(), line.size() - 1}, _logCallbackUserData);
    }
}

void setCurrentThreadName(std::string_view name) {
    /* The system limit is 16 bytes with the terminator */
    char buffer[16];
    const std::size_t size = name.size() < sizeof(buffer) - 1 ? name.size() : sizeof(buffer) - 1;
    name.copy(buffer, size);
    buffer[size] = '\0';
    pthread_setname_np(pthread_self(), buffer);
}

}
