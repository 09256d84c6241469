#include "QuillmarshEngine/LoggingScope.h"

#include <ostream>

#include "QuillmarshEngine/LineCallbackBuffer.h"
#include "QuillmarshEngine/Logging.h"

namespace QuillmarshEngine {

/* The three line buffers, each feeding log() with its level, and the streams writing into them */
struct LoggingScopeInternal {
    LineCallbackBuffer _debugBuffer{[](std::string_view line, void*) { log(LogLevel::Info, line); }};
    LineCallbackBuffer _warningBuffer{[](std::string_view line, void*) { log(LogLevel::Warning, line); }};
    LineCallbackBuffer _errorBuffer{[](std::string_view line, void*) { log(LogLevel::Error, line); }};
    std::ostream _debugStream{&_debugBuffer};
    std::ostream _warningStream{&_warningBuffer};
    std::ostream _errorStream{&_errorBuffer};
};

/* Members are constructed in declaration order (buffers, then the debug, warning and error
   redirections) and destroyed in reverse, so the redirections are undone before the buffers go */
LoggingScope::LoggingScope(): _internal{new LoggingScopeInternal}, _debugRedirect{&_internal->_debugStream}, _warningRedirect{&_internal->_warningStream}, _errorRedirect{&_internal->_errorStream} {}

LoggingScope::~LoggingScope() = default;

}
