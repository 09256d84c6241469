#ifndef QuillmarshEngine_LoggingScope_h
#define QuillmarshEngine_LoggingScope_h

/** @file
 * @brief Class @ref QuillmarshEngine::LoggingScope
 */

#include <memory>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

struct LoggingScopeInternal;

/**
 * @brief Routes the calling thread's diagnostics into the log for the scope's lifetime
 *
 * While the scope lives, every line printed on this thread through @ref Debug, @ref Warning and
 * @ref Error becomes one @ref log() call with @ref LogLevel::Info, @ref LogLevel::Warning and
 * @ref LogLevel::Error respectively. Lines longer than 32767 characters arrive in pieces of that
 * size; text without a final newline when the scope ends is discarded. Redirections made inside
 * the scope take precedence while they live, and the scope restores the previous targets on
 * destruction. Must be destroyed on the thread that created it, after any redirection made inside
 * it. Costs one allocation of three 32 KiB buffers.
 */
class QUILLMARSH_EXPORT LoggingScope {
    public:
        /** @brief Redirect the calling thread's debug, warning and error output */
        explicit LoggingScope();

        LoggingScope(const LoggingScope&) = delete;
        LoggingScope& operator=(const LoggingScope&) = delete;

        /** @brief Undo the redirections (error, warning, debug), then free the buffers */
        ~LoggingScope();

    private:
        std::unique_ptr<LoggingScopeInternal> _internal;
        Debug _debugRedirect;
        Warning _warningRedirect;
        Error _errorRedirect;
};

}

#endif
