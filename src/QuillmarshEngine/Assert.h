#ifndef QuillmarshEngine_Assert_h
#define QuillmarshEngine_Assert_h

/** @file
 * @brief Contract-violation and warning macros
 *
 * The only place the library aborts. Two message forms exist:
 *
 * - caller misuse, @ref QUILLMARSH_ASSERT: a `Debug`-style message chain that starts with
 *   `Class::function(): ` and a sentence, e.g.
 *   `QUILLMARSH_ASSERT(id < _capacity, "SceneGraph::addObjectUnsafe(): capacity exhausted", {});`
 * - the library's own bugs, @ref QUILLMARSH_INTERNAL_ASSERT: `Assertion <expression> failed at
 *   <path>:<line>`, with the path relative to the library's source root and without the file extension (`Data/SceneGraph:88`);
 *   @ref QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE prints `Reached unreachable code at <path>:<line>`.
 *
 * The line is printed to the default @ref QuillmarshEngine::Error target (standard error), never to
 * a redirected one, so that a redirection cannot swallow the reason of an abort; then the process
 * aborts. Recoverable conditions use @ref QUILLMARSH_WARNING, which prints to the current
 * @ref QuillmarshEngine::Warning target and continues.
 */

#include <string_view>

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Implementation {

/* Path of a source file relative to the library's source root and without its extension:
   everything after the last "QuillmarshEngine/" in __FILE__ (or the whole path when it does not
   contain one) up to the file name's last dot, so "src/QuillmarshEngine/Data/SceneGraph.cpp"
   gives "Data/SceneGraph" */
QUILLMARSH_EXPORT std::string_view sourcePath(const char* file);

/* Flushes and aborts. The only call of std::abort() in the library. */
[[noreturn]] QUILLMARSH_EXPORT void abort();

[[noreturn]] QUILLMARSH_EXPORT void internalAssertionFailed(const char* expression, const char* file, int line);
[[noreturn]] QUILLMARSH_EXPORT void unreachable(const char* file, int line);

}}

/**
 * @brief Assert a precondition of the caller
 *
 * When @p condition is false, prints @p message (a chain of values separated by `<<`) on one line
 * and aborts. @p returnValue is accepted for symmetry with the call sites and never used.
 */
#define QUILLMARSH_ASSERT(condition, message, returnValue)                  \
    do {                                                                    \
        if(!(condition)) [[unlikely]] {                                     \
            {                                                               \
                ::QuillmarshEngine::Error _quillmarshError{                 \
                    ::QuillmarshEngine::Error::defaultOutput()};            \
                _quillmarshError << message;                                \
            }                                                               \
            ::QuillmarshEngine::Implementation::abort();                    \
        }                                                                   \
    } while(false)

/**
 * @brief Abort with a caller-misuse message unconditionally
 */
#define QUILLMARSH_ASSERT_UNREACHABLE(message, returnValue)                 \
    do {                                                                    \
        {                                                                   \
            ::QuillmarshEngine::Error _quillmarshError{                     \
                ::QuillmarshEngine::Error::defaultOutput()};                \
            _quillmarshError << message;                                    \
        }                                                                   \
        ::QuillmarshEngine::Implementation::abort();                        \
    } while(false)

/**
 * @brief Assert an invariant of the library itself
 *
 * Prints `Assertion <condition> failed at <path>:<line>` and aborts.
 */
#define QUILLMARSH_INTERNAL_ASSERT(condition)                               \
    do {                                                                    \
        if(!(condition)) [[unlikely]]                                       \
            ::QuillmarshEngine::Implementation::internalAssertionFailed(    \
                #condition, __FILE__, __LINE__);                            \
    } while(false)

/**
 * @brief Assert an invariant of the library, reporting a fixed source line
 *
 * Like @ref QUILLMARSH_INTERNAL_ASSERT, but the message names @p line instead of the line the
 * macro stands on. Used for the few assertions whose complete message, line included, is part of
 * the library's documented behaviour and must not move when code above it changes.
 */
#define QUILLMARSH_INTERNAL_ASSERT_AT_LINE(condition, line)                 \
    do {                                                                    \
        if(!(condition)) [[unlikely]]                                       \
            ::QuillmarshEngine::Implementation::internalAssertionFailed(    \
                #condition, __FILE__, line);                                \
    } while(false)

/**
 * @brief Assert an invariant of the library, reporting a fixed source location
 *
 * Like @ref QUILLMARSH_INTERNAL_ASSERT_AT_LINE, but the message names @p path (relative to the
 * library's source root, without extension) instead of the file the macro stands in. For the
 * documented messages whose code has since moved to another file.
 */
#define QUILLMARSH_INTERNAL_ASSERT_AT(condition, path, line)                \
    do {                                                                    \
        if(!(condition)) [[unlikely]]                                       \
            ::QuillmarshEngine::Implementation::internalAssertionFailed(    \
                #condition, path, line);                                    \
    } while(false)

/**
 * @brief Assert an invariant of the library, evaluating @p call always
 */
#define QUILLMARSH_INTERNAL_ASSERT_OUTPUT(call) QUILLMARSH_INTERNAL_ASSERT(call)

/**
 * @brief Mark code the library never reaches
 *
 * Prints `Reached unreachable code at <path>:<line>` and aborts.
 */
#define QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE()                            \
    ::QuillmarshEngine::Implementation::unreachable(__FILE__, __LINE__)

/**
 * @brief Mark code the library never reaches, reporting a fixed source line
 *
 * Like @ref QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE, but the message names @p line, see
 * @ref QUILLMARSH_INTERNAL_ASSERT_AT_LINE.
 */
#define QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE_AT_LINE(line)                \
    ::QuillmarshEngine::Implementation::unreachable(__FILE__, line)

/**
 * @brief Print a recoverable warning and continue
 *
 * The message has the same form as in @ref QUILLMARSH_ASSERT.
 */
#define QUILLMARSH_WARNING(message)                                         \
    do {                                                                    \
        ::QuillmarshEngine::Warning{} << message;                           \
    } while(false)

#endif
