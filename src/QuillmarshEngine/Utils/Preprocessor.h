#ifndef QuillmarshEngine_Utils_Preprocessor_h
#define QuillmarshEngine_Utils_Preprocessor_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::Preprocessor, functions @ref QuillmarshEngine::Utils::isGLSLNumber(), @ref QuillmarshEngine::Utils::parseNumberSafe()
 */

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "QuillmarshEngine/Utils/Result.h"
#include "QuillmarshEngine/Utils/StringWriter.h"

namespace QuillmarshEngine { namespace Utils {

class Token;

/**
 * @brief Whether @p text is a GLSL integer literal as the preprocessor reads it
 *
 * False for empty text. One leading `-` and then one trailing `u` or `i` are stripped; true when
 * nothing is left (so `u`, `i` and `-` count) or when only decimal digits are left.
 */
QUILLMARSH_EXPORT bool isGLSLNumber(std::string_view text);

/**
 * @brief Decimal integer value of @p text, 0 when it is not one
 *
 * An optional leading `-` negates; the digits accumulate with wrap-around in the unsigned type of
 * @p T. Empty text and text with any other character give 0; never fails.
 */
template<class T> T parseNumberSafe(std::string_view text) {
    static_assert(std::is_integral_v<T>, "parseNumberSafe() parses integers only");
    using U = std::make_unsigned_t<T>;
    bool negative = false;
    std::size_t i = 0;
    if(!text.empty() && text[0] == '-') {
        negative = true;
        i = 1;
    }
    U value = 0;
    for(; i != text.size(); ++i) {
        const char c = text[i];
        if(c < '0' || c > '9') return T(0);
        value = U(value*U(10) + U(c - '0'));
    }
    return T(negative ? U(U(0) - value) : value);
}

/**
 * @brief Preprocessor for shader sources
 *
 * Evaluates `#if`, `#ifdef`, `#ifndef`, `#elif`, `#else` and `#endif`, records object-like
 * `#define`s, drops the branches not taken and, with expansion on, replaces defined identifiers in
 * the kept text by their expansion. Every other directive line (`#version`, `#extension`, `#line`,
 * `#include`, `#undef`, `#pragma`, function-like `#define`s, anything unknown) is copied as it
 * stands, for the driver's own preprocessor. There is no arithmetic in expressions: a scalar is
 * `defined(X)`, `!x`, `-x`, a number, an identifier or a parenthesized expression, one comparison
 * may follow, and `&&` / `||` have equal precedence and group to the right.
 *
 * Sources are views: symbols keep views of their values into the source, so a source given as a
 * view must outlive the preprocessor, while a @ref std::string given by value is kept alive by it.
 * At most 31 conditionals nest; expressions and expansions nest at most
 * @ref MaxNestingDepth levels.
 *
 * Failure: the first error of a source prints one line on the @ref Error stream, marks the
 * preprocessor invalid and stops processing; the previous output stays and later sources are
 * ignored; @ref errorLine() tells where the error was. A bad `#if` / `#elif` expression is
 * recoverable: it prints a warning and the branch is not taken. A conditional still open at the
 * end of a source leaves the output as processed and prints the warning
 * `Preprocessor: unterminated #if at end of source`. A second `#else` in one group toggles the
 * branch again. Not thread-safe.
 */
class QUILLMARSH_EXPORT Preprocessor {
    public:
        /** @brief A recorded object-like define */
        struct Symbol {
            /** Value text, a view into a source; empty for a define without a value */
            std::string_view value;
            /** Numeric value, set when the value is one number token */
            std::int32_t number = 0;
            /** Whether @ref number is set */
            bool hasNumber = false;
        };

        /** @brief Deepest nesting of expressions and of define expansions */
        static constexpr int MaxNestingDepth = 256;

        /** @brief Deepest nesting of conditionals */
        static constexpr int MaxBranchDepth = 31;

        /** @brief Constructor; with @p expand set, defined identifiers in kept text are expanded */
        explicit Preprocessor(bool expand = false);

        Preprocessor(const Preprocessor&) = delete;
        Preprocessor& operator=(const Preprocessor&) = delete;
        ~Preprocessor();

        /**
         * @brief Process one source
         *
         * On success @ref output() becomes the processed text of @p source and the symbols it
         * defined stay defined for later sources. On error the preprocessor becomes invalid and the
         * output keeps its previous content. Does nothing once invalid. @p source must stay alive
         * as long as the preprocessor, see @ref operator<<(std::string).
         */
        Preprocessor& operator<<(std::string_view source);

        /** @brief Take @p source over, keep it alive and process it */
        Preprocessor& operator<<(std::string source);

        /** @brief Process a zero-terminated source, see @ref operator<<(std::string_view) */
        Preprocessor& operator<<(const char* source) { return *this << std::string_view{source}; }

        /**
         * @brief Process one source one character or one word at a time
         *
         * Same contract and result as @ref operator<<(std::string_view), which copies runs of
         * ordinary text at once. Slower; kept as the plain reference the faster loop is tested
         * against.
         */
        Preprocessor& processReference(std::string_view source);

        /** @brief Whether no error happened so far */
        [[nodiscard]] bool isValid() const { return _valid; }

        /**
         * @brief Line of the first error in the source it happened in, counted from 1
         *
         * 0 while there was none, and for an error that has no place in a source (a failed
         * @ref expandIdentifier() called from outside, @ref setInvalid()). The message printed
         * for the error is unchanged; this is its place beside it.
         */
        [[nodiscard]] std::uint32_t errorLine() const { return _errorLine; }

        /** @brief Processed text of the last source that succeeded */
        [[nodiscard]] std::string_view output() const { return _output.view(); }

        /** @brief Whether @p name is defined */
        [[nodiscard]] bool isDefined(std::string_view name) const;

        /** @brief The symbol of @p name, or null when it is not defined */
        [[nodiscard]] const Symbol* symbol(std::string_view name) const;

        /**
         * @brief Value of the identifier @p name
         *
         * A number gives itself, a define its numeric value or the value of its expansion as an
         * expression. Empty when @p name is not defined or does not evaluate to a value.
         */
        std::optional<std::int32_t> resolveValue(std::string_view name);

        /**
         * @brief Expansion of @p name
         *
         * @p name itself when it is not defined; its value text as it stands when expansion is
         * off; otherwise the value with every defined word expanded in turn, pieces separated by
         * one space where the value had whitespace. A name already being expanded stays as it
         * stands. When the expansion nests too deeply or grows too large, the preprocessor is
         * marked invalid with a message and @p name comes back.
         */
        std::string expandIdentifier(std::string_view name);

        /** @brief Print @p message on the @ref Error stream and mark the preprocessor invalid */
        void setInvalid(std::string_view message);

    private:
        struct StringHash {
            using is_transparent = void;
            std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
        };

        enum class Expansion: std::uint8_t { Ok, TooDeep, TooLarge };

        QUILLMARSH_LOCAL bool process(std::string_view source);
        QUILLMARSH_LOCAL bool processCharacterwise(std::string_view source);
        QUILLMARSH_LOCAL void beginSource(std::string_view source);
        QUILLMARSH_LOCAL void endSource();
        /* Records the line of position (once), prints message unless it is empty and marks the
           preprocessor invalid; returns false */
        QUILLMARSH_LOCAL bool failAt(const char* position, std::string_view message);
        /* After the line end of the directive starting at position, block comments that start on
           the line included; null when one of them is not closed */
        QUILLMARSH_LOCAL static const char* lineEnd(const char* position, const char* end);
        /* Handles the directive at hash; returns where processing goes on, null after an error */
        QUILLMARSH_LOCAL const char* directive(const char* hash, const char* end);
        QUILLMARSH_LOCAL bool directiveElse(const char* hash);
        QUILLMARSH_LOCAL bool directiveEndif(const char* hash);
        QUILLMARSH_LOCAL bool directiveIfdef(const char* hash, const Token& word);
        QUILLMARSH_LOCAL bool directiveIf(const char* hash, const Token& word);
        QUILLMARSH_LOCAL bool directiveDefine(const char* hash, const Token& word);
        QUILLMARSH_LOCAL bool isFunctionLike(const Token& word) const;
        /* Skip bit of the innermost open level */
        std::uint32_t levelBit() const { return std::uint32_t{1} << (_branchDepth - 1); }
        QUILLMARSH_LOCAL bool expandWord(std::string_view word);
        QUILLMARSH_LOCAL Expansion expandInto(std::string& out, std::string_view name);
        QUILLMARSH_LOCAL const Symbol* lookup(std::string_view name) const;

        QUILLMARSH_LOCAL Result<std::int32_t> evalExpression(Token& token, int depth);
        QUILLMARSH_LOCAL Result<std::int32_t> evalOperand(Token& token, int depth);
        QUILLMARSH_LOCAL Result<std::int32_t> evalScalar(Token& token, int depth);
        QUILLMARSH_LOCAL Result<std::int32_t> evalIdentifier(std::string_view name, bool allowUndefined, int depth);
        QUILLMARSH_LOCAL Result<std::int32_t> evalText(std::string_view text, int depth);

        bool _expand;
        bool _valid = true;
        std::vector<std::unique_ptr<std::string>> _inputs;
        StringWriter _output;
        std::unordered_map<std::string, Symbol, StringHash, std::equal_to<>> _symbols;

        std::uint32_t _errorLine = 0;

        /* Processing state of the current source */
        const char* _source = nullptr;
        StringWriter _pending;
        std::uint32_t _skipBits = 0;     /* bit i: the current branch of level i + 1 is not taken */
        std::uint32_t _takenBits = 0;    /* bit i: level i + 1 already took a branch */
        int _branchDepth = 0;
        std::uint64_t _budget = 0;       /* work left for expansions and evaluations */
        std::vector<std::string_view> _expanding;   /* names being expanded */
        std::vector<std::string_view> _evaluating;  /* names being evaluated */
        std::string _scratch;
        /* Quick rejection of words that cannot be defined */
        bool _firstCharacters[256]{};
        std::size_t _maxNameSize = 0;
};

/**
 * @brief Value of a comparison of @p lhs and @p rhs by @p op
 *
 * `<`, `>`, `<=`, `>=`, `==` and `!=` give 0 or 1; anything else the error `Unsupported operator`
 * followed by the operator.
 */
QUILLMARSH_EXPORT Result<std::int32_t> evalComparator(std::string_view op, std::int32_t lhs, std::int32_t rhs);

}}

#endif
