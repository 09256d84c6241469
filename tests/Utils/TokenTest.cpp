#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/Token.h"

namespace QuillmarshEngine { namespace Utils { namespace {

/* All tokens up to and including the end, as "kind:text" */
std::vector<std::string> tokenize(std::string_view source, bool skip = true) {
    std::vector<std::string> out;
    for(Token t = Token::peek(source, skip);; t = t.consume(skip)) {
        out.push_back(std::to_string(int(t.kind())) + ":" + std::string{t.text()});
        if(t.kind() == TokenKind::End) break;
    }
    return out;
}

using Tokens = std::vector<std::string>;

TEST(TokenTest, kinds) {
    EXPECT_EQ(tokenize("++ -- * , . ; [ ] = & | /"), (Tokens{"0:++", "0:--", "0:*", "0:,", "0:.", "0:;", "0:[", "0:]", "0:=", "0:&", "0:|", "0:/", "13:"}));
    EXPECT_EQ(tokenize("&& || ! + - == != < > <= >="), (Tokens{"1:&&", "1:||", "2:!", "2:+", "2:-", "3:==", "3:!=", "3:<", "3:>", "3:<=", "3:>=", "13:"}));
    EXPECT_EQ(tokenize("(){}\"#"), (Tokens{"4:(", "5:)", "6:{", "7:}", "8:\"", "9:#", "13:"}));
    /* Anything else is part of a word, a lone carriage return too */
    EXPECT_EQ(tokenize("a%b:c?d'e\rf x1.5"), (Tokens{"10:a%b:c?d'e\rf", "10:x1", "0:.", "10:5", "13:"}));
    EXPECT_EQ(tokenize("a\nb\r\nc"), (Tokens{"10:a", "12:\n", "10:b", "12:\r\n", "10:c", "13:"}));
    EXPECT_EQ(tokenize("a<<=b!==c+++d"), (Tokens{"10:a", "3:<", "3:<=", "10:b", "3:!=", "0:=", "10:c", "0:++", "2:+", "10:d", "13:"}));
}

TEST(TokenTest, comments) {
    EXPECT_EQ(tokenize("a /* x\n y */ b // c\nd"), (Tokens{"10:a", "10:b", "12:\n", "10:d", "13:"}));
    EXPECT_EQ(tokenize("a /* x */ b // c\r\nd", false), (Tokens{"10:a", "11:/*", "10:x", "0:*", "0:/", "10:b", "11://", "10:c", "12:\r\n", "10:d", "13:"}));
    /* An unclosed comment is not skipped */
    EXPECT_EQ(tokenize("a /* b"), (Tokens{"10:a", "11:/*", "10:b", "13:"}));
}

TEST(TokenTest, endOfInput) {
    /* The view's end and a zero byte both end the input */
    const char buffer[] = "ab&&cd";
    Token t = Token::peek(buffer, buffer + 3);
    EXPECT_EQ(t.text(), "ab");
    t = t.consume();
    EXPECT_EQ(t.kind(), TokenKind::Punctuation);
    EXPECT_EQ(t.text(), "&");
    EXPECT_EQ(t.consume().kind(), TokenKind::End);
    EXPECT_EQ(tokenize(std::string_view{"a\0b", 3}), (Tokens{"10:a", "13:"}));
    EXPECT_EQ(Token::peek(std::string_view{"/", 1}).kind(), TokenKind::Punctuation);
    EXPECT_EQ(Token::peek(std::string_view{"\r", 1}).kind(), TokenKind::Word);
}

TEST(TokenTest, stopsAndWhitespace) {
    EXPECT_TRUE(Token::peek("").isStop());
    EXPECT_TRUE(Token::peek("\n").isStop());
    EXPECT_TRUE(Token::peek("\rx").isStop());
    EXPECT_TRUE(Token::peek("// c", false).isStop());
    EXPECT_FALSE(Token::peek("a").isStop());
    EXPECT_FALSE(Token::peek("(").isStop());

    EXPECT_TRUE(Token::peek("a b").peekWhitespace());
    EXPECT_TRUE(Token::peek("a\tb").peekWhitespace());
    EXPECT_FALSE(Token::peek("a+b").peekWhitespace());
    EXPECT_FALSE(Token::peek("a\n").peekWhitespace());
    EXPECT_FALSE(Token::peek("a").peekWhitespace());
}

TEST(TokenTest, escaped) {
    EXPECT_EQ(Token::peek("\r\n").escaped(), "\\r\\n");
    EXPECT_EQ(Token::peek("ab").escaped(), "ab");
    EXPECT_EQ(escapeText(std::string_view{"\t\0\x01\x7f", 4}), "\\t\\0\\x01\\x7f");
}

TEST(TokenTest, debug) {
    std::ostringstream out;
    {
        Debug redirect{&out};
        Debug{} << TokenKind::Word << TokenKind::End << TokenKind(0xee);
    }
    EXPECT_EQ(out.str(), "TokenKind::Word TokenKind::End TokenKind(0xee)\n");
}

}}}
