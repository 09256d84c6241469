#ifndef QuillmarshEngine_Debug_h
#define QuillmarshEngine_Debug_h

/** @file
 * @brief Class @ref QuillmarshEngine::Debug, @ref QuillmarshEngine::Warning, @ref QuillmarshEngine::Error
 */

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

/**
 * @brief Line-oriented diagnostic output stream
 *
 * A @ref Debug object builds one line: `Debug{} << "a" << 5 << 2.5f` writes `a 5 2.5` and, when the
 * object is destroyed at the end of the statement, a newline and a flush. Values are separated by
 * one space; @ref nospace suppresses the space before the next value. An object that printed nothing
 * writes nothing.
 *
 * Redirection: constructing a @ref Debug (likewise @ref Warning, @ref Error) with an explicit
 * `std::ostream*` makes that stream the current output of its kind on the calling thread for the
 * lifetime of the object; objects created meanwhile with the default constructor write there, and
 * the destructor restores the previous target, so redirections nest. `nullptr` silences output. The
 * current targets are thread-local: each thread starts at standard output for @ref Debug and
 * standard error for @ref Warning and @ref Error, and a redirection on one thread never affects
 * another. Writing to one `std::ostream` from two threads at once is the caller's concern.
 *
 * Types print through free functions `Debug& operator<<(Debug&, const T&)`; every enum of the
 * library has one that prints `Name::Value`, unknown values as `Name(0x..)`.
 */
class QUILLMARSH_EXPORT Debug {
    public:
        /** @brief Output flags */
        enum class Flag: std::uint8_t {
            NoNewlineAtTheEnd = 1 << 0, /**< Don't write a newline at destruction */
            NoSpace = 1 << 2,           /**< Never separate values with a space */
            Hex = 1 << 7                /**< Print integers in hexadecimal with a `0x` prefix */
        };

        /** @brief Output modifier, see @ref nospace, @ref newline, @ref space, @ref hex */
        typedef void(*Modifier)(Debug&);

        /** @brief Suppress the space before the next value */
        static void nospace(Debug& debug);
        /** @brief Write a newline (and flush); the next value gets no space before it */
        static void newline(Debug& debug);
        /** @brief Write one space, with no automatic spacing around it */
        static void space(Debug& debug);
        /** @brief Print the next integer in hexadecimal with a `0x` prefix */
        static void hex(Debug& debug);

        /** @brief Standard output, the default target of @ref Debug */
        static std::ostream* defaultOutput();
        /** @brief Current target of @ref Debug on the calling thread */
        static std::ostream* output();

        /** @brief Print to the current target */
        explicit Debug(Flag flags = {});

        /**
         * @brief Print to @p output and make it the current target for this object's lifetime
         *
         * `nullptr` silences output of this kind on the calling thread until destruction.
         */
        explicit Debug(std::ostream* output, Flag flags = {});

        Debug(const Debug&) = delete;
        Debug(Debug&&) = delete;
        Debug& operator=(const Debug&) = delete;
        Debug& operator=(Debug&&) = delete;

        /** @brief Writes the pending newline and restores the previous target if redirected */
        ~Debug();

        /** @brief Stream this object writes to, or `nullptr` when silenced */
        std::ostream* stream() const { return _output; }

        /** @brief Apply a modifier */
        Debug& operator<<(Modifier modifier) {
            modifier(*this);
            return *this;
        }

        /**
         * @brief Write one value's text
         *
         * Handles the separating space and marks the line as printed. Printing functions for
         * new types either call this or chain other `operator<<` calls.
         */
        Debug& print(std::string_view text);

        /** @brief Whether the next integer is to be printed in hexadecimal (and clear the request) */
        bool takeHex();

    protected:
        enum class Kind: std::uint8_t { Debug, Warning, Error };
        explicit Debug(Kind kind, Flag flags);
        explicit Debug(Kind kind, std::ostream* output, Flag flags);

    private:
        std::ostream* _output;
        std::ostream* _previousOutput;
        bool _previousSilenced;
        Kind _kind;
        std::uint8_t _flags;
        std::uint8_t _immediateFlags;
        bool _printed;
        bool _redirecting;
};

/**
 * @brief Warning output stream
 *
 * Like @ref Debug, with standard error as the default target and its own thread-local current target.
 */
class QUILLMARSH_EXPORT Warning: public Debug {
    public:
        /** @brief Standard error, the default target of @ref Warning */
        static std::ostream* defaultOutput();
        /** @brief Current target of @ref Warning on the calling thread */
        static std::ostream* output();

        /** @brief Print to the current target */
        explicit Warning(Flag flags = {});
        /** @brief Print to @p output and make it the current target for this object's lifetime */
        explicit Warning(std::ostream* output, Flag flags = {});
};

/**
 * @brief Error output stream
 *
 * Like @ref Debug, with standard error as the default target and its own thread-local current target.
 */
class QUILLMARSH_EXPORT Error: public Debug {
    public:
        /** @brief Standard error, the default target of @ref Error */
        static std::ostream* defaultOutput();
        /** @brief Current target of @ref Error on the calling thread */
        static std::ostream* output();

        /** @brief Print to the current target */
        explicit Error(Flag flags = {});
        /** @brief Print to @p output and make it the current target for this object's lifetime */
        explicit Error(std::ostream* output, Flag flags = {});
};

QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const char* value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, std::string_view value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const std::string& value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const void* value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, std::nullptr_t);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, bool value);
/* Characters print as numbers, as the other integers do */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, char value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, signed char value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, unsigned char value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, short value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, unsigned short value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, int value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, unsigned value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, long value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, unsigned long value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, long long value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, unsigned long long value);
/** Six significant digits, like `%g` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, float value);
/** Fifteen significant digits */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, double value);
/** Eighteen significant digits */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, long double value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, Debug::Flag value);

/* Pointers to anything other than characters print as addresses */
template<class T> inline std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, char>, Debug&> operator<<(Debug& debug, T* value) {
    return debug << static_cast<const void*>(value);
}

/**
 * @brief Printing into a temporary
 *
 * Lets `Debug{} << value` reach the free printing functions, which take an lvalue reference.
 */
template<class T> inline Debug& operator<<(Debug&& debug, T&& value) {
    return static_cast<Debug&>(debug) << std::forward<T>(value);
}

namespace Implementation {
    /* Prints `Name(0x..)` for an enum value no name is known for */
    QUILLMARSH_EXPORT Debug& printUnknownEnum(Debug& debug, const char* enumName, unsigned long long value);
    /* Prints `Name::value` */
    QUILLMARSH_EXPORT Debug& printEnumValue(Debug& debug, const char* enumName, const char* valueName);
}

}

#endif
