#ifndef QuillmarshEngine_Utils_Result_h
#define QuillmarshEngine_Utils_Result_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::Result
 */

#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Utils {

/** @brief Tag selecting the error alternative of a @ref Result */
struct ErrorTag { explicit ErrorTag() = default; };
/** @brief Tag instance */
inline constexpr ErrorTag ResultError{};

/**
 * @brief Value or error of an operation on untrusted input
 *
 * Parsers return this instead of aborting. Reading the value of an error result aborts with
 * `Result::*(): Accessed value of invalid result`; reading the error of a valid result aborts with
 * `Result::error(): Accessed error of valid result`. Check @ref isValid() (or `bool`) first.
 * Marked `[[nodiscard]]`: a result dropped unread is an error ignored.
 */
template<class T, class E = std::string> class [[nodiscard]] Result {
    public:
        /** @brief Valid result holding @p value */
        /*implicit*/ Result(T value): _data{std::in_place_index<0>, std::move(value)} {}
        /** @brief Error result holding @p error */
        explicit Result(ErrorTag, E error): _data{std::in_place_index<1>, std::move(error)} {}

        /** @brief Error result, @see @ref Result(ErrorTag, E) */
        static Result fail(E error) { return Result{ResultError, std::move(error)}; }

        /** @brief Whether the result holds a value */
        [[nodiscard]] bool isValid() const { return _data.index() == 0; }
        [[nodiscard]] explicit operator bool() const { return isValid(); }

        /** @brief The value; expects a valid result */
        [[nodiscard]] T& operator*() & { checkValue(); return *std::get_if<0>(&_data); }
        [[nodiscard]] const T& operator*() const & { checkValue(); return *std::get_if<0>(&_data); }
        [[nodiscard]] T&& operator*() && { checkValue(); return std::move(*std::get_if<0>(&_data)); }
        T* operator->() { checkValue(); return std::get_if<0>(&_data); }
        const T* operator->() const { checkValue(); return std::get_if<0>(&_data); }
        [[nodiscard]] T& value() & { return **this; }
        [[nodiscard]] const T& value() const & { return **this; }
        [[nodiscard]] T&& value() && { return std::move(**this); }

        /** @brief The error; expects an error result */
        [[nodiscard]] const E& error() const {
            QUILLMARSH_ASSERT(!isValid(), "Result::error(): Accessed error of valid result", {});
            return *std::get_if<1>(&_data);
        }

    private:
        void checkValue() const {
            QUILLMARSH_ASSERT(isValid(), "Result::*(): Accessed value of invalid result", );
        }

        std::variant<T, E> _data;
};

/**
 * @brief Success or error of an operation that has no value to return
 *
 * A default-constructed result is valid. Reading the error of a valid result aborts with
 * `Result::error(): Accessed error of valid result`.
 */
template<class E> class Result<void, E> {
    public:
        /** @brief Valid result */
        /*implicit*/ Result() = default;
        /** @brief Error result holding @p error */
        explicit Result(ErrorTag, E error): _error{std::move(error)} {}

        /** @brief Error result, @see @ref Result(ErrorTag, E) */
        static Result fail(E error) { return Result{ResultError, std::move(error)}; }

        /** @brief Whether the operation succeeded */
        bool isValid() const { return !_error; }
        explicit operator bool() const { return isValid(); }

        /** @brief The error; expects an error result */
        const E& error() const {
            QUILLMARSH_ASSERT(!isValid(), "Result::error(): Accessed error of valid result", {});
            return *_error;
        }

    private:
        std::optional<E> _error;
};

}}

#endif
