#include "QuillmarshEngine/Utils/Token.h"

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/CharacterClass.h"

namespace QuillmarshEngine { namespace Utils {

Debug& operator<<(Debug& debug, const TokenKind value) {
    const char* name = nullptr;
    switch(value) {
        #define _c(value) case TokenKind::value: name = #value; break;
        _c(Punctuation)
        _c(Logical)
        _c(Unary)
        _c(Comparator)
        _c(OpenParenthesis)
        _c(CloseParenthesis)
        _c(OpenBrace)
        _c(CloseBrace)
        _c(Quote)
        _c(Hash)
        _c(Word)
        _c(Comment)
        _c(LineEnd)
        _c(End)
        #undef _c
    }
    if(name) return QuillmarshEngine::Implementation::printEnumValue(debug, "TokenKind", name);
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "TokenKind", std::uint8_t(value));
}

bool Token::isWordStop(const char* const position, const char* const end) {
    return Implementation::isWordStop(position, end);
}

Token Token::peek(const char* position, const char* const end, const bool skip) {
    using namespace Implementation;

    for(;;) {
        while(position != end && (*position == ' ' || *position == '\t')) ++position;
        if(!skip || end - position < 2 || position[0] != '/') break;
        if(position[1] == '/') {
            position = skipLineComment(position, end);
        } else if(position[1] == '*') {
            const char* const close = findBlockCommentEnd(position + 2, end);
            /* An unclosed comment is left for the caller to report */
            if(!close) break;
            position = close;
        } else break;
    }

    if(position == end || *position == '\0')
        return Token{TokenKind::End, {position, 0}, end};

    const char c = position[0];
    const char next = end - position >= 2 ? position[1] : '\0';
    auto make = [&](TokenKind kind, std::size_t size) {
        return Token{kind, {position, size}, end};
    };
    switch(c) {
        case '\n': return make(TokenKind::LineEnd, 1);
        case '\r':
            if(next == '\n') return make(TokenKind::LineEnd, 2);
            break;
        case '/':
            if(next == '/' || next == '*') return make(TokenKind::Comment, 2);
            return make(TokenKind::Punctuation, 1);
        case '*': case ',': case '.': case ';': case '[': case ']':
            return make(TokenKind::Punctuation, 1);
        case '+': case '-':
            if(next == c) return make(TokenKind::Punctuation, 2);
            return make(TokenKind::Unary, 1);
        case '!':
            if(next == '=') return make(TokenKind::Comparator, 2);
            return make(TokenKind::Unary, 1);
        case '=':
            if(next == '=') return make(TokenKind::Comparator, 2);
            return make(TokenKind::Punctuation, 1);
        case '<': case '>':
            if(next == '=') return make(TokenKind::Comparator, 2);
            return make(TokenKind::Comparator, 1);
        case '&': case '|':
            if(next == c) return make(TokenKind::Logical, 2);
            return make(TokenKind::Punctuation, 1);
        case '(': return make(TokenKind::OpenParenthesis, 1);
        case ')': return make(TokenKind::CloseParenthesis, 1);
        case '{': return make(TokenKind::OpenBrace, 1);
        case '}': return make(TokenKind::CloseBrace, 1);
        case '"': return make(TokenKind::Quote, 1);
        case '#': return make(TokenKind::Hash, 1);
    }

    /* A word: everything else, including a lone carriage return */
    const char* wordEnd = position + 1;
    while(wordEnd != end && !isWordStop(wordEnd, end)) ++wordEnd;
    return make(TokenKind::Word, std::size_t(wordEnd - position));
}

bool Token::isStop() const {
    switch(_kind) {
        case TokenKind::End:
        case TokenKind::LineEnd:
        case TokenKind::Comment:
            return true;
        default:
            return !_text.empty() && _text[0] == '\r';
    }
}

bool Token::peekWhitespace() const {
    const char* const a = after();
    return a != _end && (*a == ' ' || *a == '\t');
}

std::string Token::escaped() const {
    return escapeText(_text);
}

std::string escapeText(const std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for(const char c: text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if(c == '\n') out += "\\n";
        else if(c == '\r') out += "\\r";
        else if(c == '\t') out += "\\t";
        else if(c == '\0') out += "\\0";
        else if(u < 0x20 || u == 0x7f) {
            constexpr char Hex[] = "0123456789abcdef";
            out += "\\x";
            out += Hex[u >> 4];
            out += Hex[u & 0xf];
        } else out += c;
    }
    return out;
}

}}
