#ifndef QuillmarshEngine_Logging_h
#define QuillmarshEngine_Logging_h

/** @file
 * @brief Enum @ref QuillmarshEngine::LogLevel, functions @ref QuillmarshEngine::log(),
 *      @ref QuillmarshEngine::openLogFile(), @ref QuillmarshEngine::setLogCallback() and friends
 *
 * The process-wide logging sink. Every line is stamped with the local date and time, prefixed by
 * its level, written to standard output (@ref LogLevel::Info) or standard error (warnings and
 * errors) and flushed, appended to the log file when one is open, and handed to the host's
 * callback when one is set.
 *
 * Thread safety: @ref log() takes no lock; each line is one write to the console stream, so lines
 * from different threads do not interleave. The callback and the log file are plain process-wide
 * values read without synchronisation: set them before other threads start logging.
 */

#include <cstdint>
#include <string_view>
#include <utility>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

/** @brief Level of a log line */
enum class LogLevel: int {
    Info = 0,       /**< No prefix, standard output */
    Warning = 1,    /**< Prefix `[warn]`, standard error */
    Error = 2       /**< Prefix `[error]`, standard error */
};

/** @brief Prints `LogLevel::Info` etc. */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, LogLevel value);

/**
 * @brief Host log callback
 *
 * Receives one line without its trailing newline (the view is null-terminated) and the user data
 * given to @ref setLogCallback(). Called on the thread that logged.
 */
typedef void(*LogCallback)(std::string_view line, void* userData);

/**
 * @brief Set the host log callback
 *
 * Stores both values; a null @p callback disables the callback.
 */
QUILLMARSH_EXPORT void setLogCallback(LogCallback callback, void* userData);

/** @brief The callback and user data as stored by @ref setLogCallback() */
QUILLMARSH_EXPORT std::pair<LogCallback, void*> getLogCallback();

/**
 * @brief Open a new log file in @p directory
 *
 * Creates `<directory>/QuillmarshEditor-<year>-<MM>-<DD>-<hh>-<mm>-<ss>.log` from the current local
 * time, truncating an existing file of that name, and makes it the log file. A log file opened
 * earlier is replaced but not closed (it is closed by the C library at process exit). The file is
 * written without a flush per line and closed by @ref closeLogFile(), which runs at process exit.
 * When the file cannot be created, prints `Could not create log file <path>` on the @ref Error
 * stream and leaves no log file open.
 */
QUILLMARSH_EXPORT void openLogFile(std::string_view directory);

/** @brief Close the log file, if any; calling it again is harmless */
QUILLMARSH_EXPORT void closeLogFile();

/** @brief Whether a log file is open */
QUILLMARSH_EXPORT bool isLogFileOpen();

/**
 * @brief Emit one log line
 *
 * Formats `[YYYY-MM-DD hh:mm:ss.mmm]<prefix> <message>` and a newline. The date and time in whole
 * seconds and the milliseconds come from two independent clock reads, so near a second boundary
 * the milliseconds may belong to the next second. Writes the line to the console stream of the
 * level and flushes it, then to the log file, then hands it without its newline to the callback.
 * Console and file write errors are ignored. A level outside the three is logged as an error.
 */
QUILLMARSH_EXPORT void log(LogLevel level, std::string_view message);

/**
 * @brief Name the calling thread
 *
 * Passes the name to the POSIX thread-naming call. The system keeps at most 15 characters of a
 * thread name, so longer names are cut to their first 15 characters.
 */
QUILLMARSH_EXPORT void setCurrentThreadName(std::string_view name);

}

#endif
