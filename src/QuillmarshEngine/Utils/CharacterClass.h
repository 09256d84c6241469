#ifndef QuillmarshEngine_Utils_CharacterClass_h
#define QuillmarshEngine_Utils_CharacterClass_h

/* Character classes shared by the tokenizer, the preprocessor and the include handling. Internal
   to the library, not installed for hosts. */

#include <array>
#include <cstring>

namespace QuillmarshEngine { namespace Utils { namespace Implementation {

enum: unsigned char {
    /* Ends a word (space, tab, a character starting another token kind, line feed, zero) */
    CharacterWordStop = 1 << 0,
    /* Interrupts a run of text the preprocessor copies as it stands: a directive, a possible
       comment start, the end of input */
    CharacterTextStop = 1 << 1,
};

constexpr std::array<unsigned char, 256> makeCharacterClasses() {
    std::array<unsigned char, 256> classes{};
    for(const char c: {' ', '\t', '\n', '\0', '+', '-', '!', '=', '<', '>', '&', '|', '(', ')', '{', '}', '"', '#', ',', '.', ';', '[', ']', '*', '/'})
        classes[static_cast<unsigned char>(c)] |= CharacterWordStop;
    for(const char c: {'#', '/', '\0'})
        classes[static_cast<unsigned char>(c)] |= CharacterTextStop;
    return classes;
}

inline constexpr std::array<unsigned char, 256> CharacterClasses = makeCharacterClasses();

inline bool hasClass(const char c, const unsigned char mask) {
    return CharacterClasses[static_cast<unsigned char>(c)] & mask;
}

/* Whether the character at position ends a word. A carriage return does so only when a line feed
   follows it. Expects position != end. */
inline bool isWordStop(const char* const position, const char* const end) {
    if(hasClass(*position, CharacterWordStop)) return true;
    return *position == '\r' && end - position >= 2 && position[1] == '\n';
}

/* Position right after the "*" "/" closing a block comment whose body starts at position, or null
   when the input ends first. The input ends at end or at a zero byte. */
inline const char* findBlockCommentEnd(const char* position, const char* const end) {
    for(;;) {
        const char* const star = static_cast<const char*>(std::memchr(position, '*', std::size_t(end - position)));
        if(!star) return nullptr;
        /* A zero byte before the star ends the input */
        if(std::memchr(position, '\0', std::size_t(star - position))) return nullptr;
        if(end - star >= 2 && star[1] == '/') return star + 2;
        position = star + 1;
    }
}

/* Position of the line end that ends a line comment starting at position (the comment does not
   include it), or the end of input */
inline const char* skipLineComment(const char* position, const char* const end) {
    while(position != end && *position != '\n' && *position != '\0') ++position;
    /* A "\r\n" line end starts at the carriage return */
    if(position != end && *position == '\n' && position[-1] == '\r') --position;
    return position;
}

}}}

#endif
