#ifndef QuillmarshEngine_Utils_Token_h
#define QuillmarshEngine_Utils_Token_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::Token, enum @ref QuillmarshEngine::Utils::TokenKind
 */

#include <cstdint>
#include <string>
#include <string_view>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Utils {

/**
 * @brief Kind of a shader source token
 *
 * The numeric values are fixed. Any character not listed belongs to a @ref TokenKind::Word.
 */
enum class TokenKind: std::uint8_t {
    Punctuation = 0,        /**< `++`, `--`, `*`, `,`, `.`, `;`, `[`, `]`, a lone `=`, `&` or `|`, a `/` not starting a comment */
    Logical = 1,            /**< `&&` or `||` */
    Unary = 2,              /**< A lone `!`, `+` or `-` */
    Comparator = 3,         /**< `==`, `!=`, `<`, `>`, `<=`, `>=` */
    OpenParenthesis = 4,    /**< `(` */
    CloseParenthesis = 5,   /**< `)` */
    OpenBrace = 6,          /**< `{` */
    CloseBrace = 7,         /**< `}` */
    Quote = 8,              /**< A double quote */
    Hash = 9,               /**< `#` */
    Word = 10,              /**< A run of characters up to a space, a tab or a character starting another kind */
    Comment = 11,           /**< `//` or `/` `*` */
    LineEnd = 12,           /**< `\n` or `\r\n`; a lone `\r` is not a line end */
    End = 13                /**< End of the input: its end or a zero byte */
};

/** @brief Prints `TokenKind::Word` and the like, `TokenKind(0x..)` for unknown values */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, TokenKind value);

/**
 * @brief Token of a shader source
 *
 * A kind and a view of the token's text inside the source, plus the end of the source, so that the
 * next token can be read without ever reading past it. The input ends at its end or at its first
 * zero byte, whichever comes first; the @ref TokenKind::End token has empty text there. Tokens are
 * plain values and do not own the source.
 */
class QUILLMARSH_EXPORT Token {
    public:
        /**
         * @brief Read the token at @p position
         *
         * Spaces and tabs before the token are skipped; with @p skip set, closed comments are
         * skipped as well, while a comment start with no `*` `/` after it is not skipped and comes
         * back as @ref TokenKind::Comment. Expects @p position <= @p end.
         */
        static Token peek(const char* position, const char* end, bool skip = true);

        /** @brief Token at the start of @p source, see @ref peek(const char*, const char*, bool) */
        static Token peek(std::string_view source, bool skip = true) {
            return peek(source.data(), source.data() + source.size(), skip);
        }

        /** @brief Whether the character at @p position ends a word; expects @p position != @p end */
        static bool isWordStop(const char* position, const char* end);

        /** @brief Token kind */
        TokenKind kind() const { return _kind; }
        /** @brief Token text, a view into the source */
        std::string_view text() const { return _text; }
        /** @brief Position right after the token */
        const char* after() const { return _text.data() + _text.size(); }
        /** @brief End of the source */
        const char* sourceEnd() const { return _end; }

        /** @brief Whether the token is a word equal to @p word */
        bool isWord(std::string_view word) const { return _kind == TokenKind::Word && _text == word; }

        /** @brief The token after this one, see @ref peek() */
        Token consume(bool skip = true) const { return peek(after(), _end, skip); }

        /**
         * @brief Whether the token stops a line-bounded scan
         *
         * True at the end of input, at a line end, at a comment start and at a lone carriage return.
         */
        bool isStop() const;

        /** @brief Whether a space or a tab follows the token */
        bool peekWhitespace() const;

        /** @brief The text with control characters escaped (`\n`, `\r`, `\t`, `\0`, `\xNN`), for messages */
        std::string escaped() const;

    private:
        explicit Token(TokenKind kind, std::string_view text, const char* end): _kind{kind}, _text{text}, _end{end} {}

        TokenKind _kind;
        std::string_view _text;
        const char* _end;
};

/** @brief @p text with control characters escaped as in @ref Token::escaped() */
QUILLMARSH_EXPORT std::string escapeText(std::string_view text);

}}

#endif
