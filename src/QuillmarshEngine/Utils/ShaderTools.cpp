#include "QuillmarshEngine/Utils/ShaderTools.h"

#include <deque>
#include <optional>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/CharacterClass.h"
#include "QuillmarshEngine/Utils/Path.h"
#include "QuillmarshEngine/Utils/Preprocessor.h"
#include "QuillmarshEngine/Utils/Resource.h"
#include "QuillmarshEngine/Utils/StringWriter.h"
#include "QuillmarshEngine/Utils/Token.h"

namespace QuillmarshEngine { namespace Utils {

namespace {

/* One line of a source: its text and its line end ("\n", "\r\n", a lone "\r" or nothing) */
struct Line {
    std::string_view text, end;
};

Line nextLine(std::string_view source, std::size_t& position) {
    const std::size_t start = position;
    std::size_t i = start;
    while(i != source.size() && source[i] != '\n' && source[i] != '\r') ++i;
    std::size_t lineEnd = i;
    if(i != source.size()) {
        lineEnd = i + 1;
        if(source[i] == '\r' && lineEnd != source.size() && source[lineEnd] == '\n') ++lineEnd;
    }
    position = lineEnd;
    return {source.substr(start, i - start), source.substr(i, lineEnd - i)};
}

bool isBlank(const char c) { return c == ' ' || c == '\t'; }

/* Whether text at i is "#", optional blanks, "include" and no further word character; sets
   after to the position following "include" */
bool isIncludeAt(std::string_view text, std::size_t i, std::size_t& after) {
    if(text[i] != '#') return false;
    ++i;
    while(i != text.size() && isBlank(text[i])) ++i;
    constexpr std::string_view Include = "include";
    if(text.substr(i, Include.size()) != Include) return false;
    i += Include.size();
    if(i != text.size() && !Implementation::isWordStop(text.data() + i, text.data() + text.size())) return false;
    after = i;
    return true;
}

/* Walks text for comments starting in the given block comment state, updating it. Returns the
   position of the first include directive outside comments, or npos. */
std::size_t scanComments(std::string_view text, std::size_t i, bool& inBlock) {
    std::size_t include = std::string_view::npos;
    while(i < text.size()) {
        if(inBlock) {
            const std::size_t close = text.find("*/", i);
            if(close == std::string_view::npos) return include;
            inBlock = false;
            i = close + 2;
            continue;
        }
        const char c = text[i];
        if(c == '/' && i + 1 != text.size()) {
            if(text[i + 1] == '/') return include;
            if(text[i + 1] == '*') {
                inBlock = true;
                i += 2;
                continue;
            }
        }
        std::size_t after;
        if(c == '#' && include == std::string_view::npos && isIncludeAt(text, i, after)) include = i;
        ++i;
    }
    return include;
}

}

Result<std::vector<std::string>> getIncludesList(const std::string_view source) {
    std::vector<std::string> paths;
    Token token = Token::peek(source);
    while(token.kind() != TokenKind::End) {
        /* What follows an unclosed comment start is all comment */
        if(token.kind() == TokenKind::Comment) break;
        if(token.kind() == TokenKind::Hash) {
            const Token word = token.consume();
            if(word.isWord("include")) {
                const Token quote = word.consume();
                if(quote.kind() != TokenKind::Quote)
                    return Result<std::vector<std::string>>::fail("Missing opening double quote after #include");
                const char* const begin = quote.after();
                const char* close = begin;
                while(close != token.sourceEnd() && *close != '"' && *close != '\n' && *close != '\r' && *close != '\0') ++close;
                if(close == token.sourceEnd() || *close != '"')
                    return Result<std::vector<std::string>>::fail("Missing closing double quote after #include");
                paths.emplace_back(begin, close);
                token = Token::peek(close + 1, token.sourceEnd());
                continue;
            }
            token = word;
            continue;
        }
        token = token.consume();
    }
    return paths;
}

std::string inlineIncludes(const std::vector<std::string>& locations, const std::string_view source, const bool lineDirectives) {
    Result<std::vector<std::string>> paths = getIncludesList(source);
    if(!paths) {
        Error{} << "Failed to inline includes:" << paths.error();
        return std::string{source};
    }

    struct Location {
        const std::string* directory;
        std::optional<Resource> group;
    };
    std::vector<Location> searched;
    for(const std::string& location: locations) {
        if(std::string_view{location}.starts_with(ResourceLocationPrefix)) {
            const std::string_view name = std::string_view{location}.substr(ResourceLocationPrefix.size());
            if(!Resource::hasGroup(name)) {
                Warning{} << "Including from unknown resource group" << name;
                continue;
            }
            searched.push_back({nullptr, Resource{name}});
        } else searched.push_back({&location, {}});
    }

    /* File contents stay at stable addresses while the map views them */
    std::deque<std::string> files;
    IncludeMap includeMap;
    for(const std::string& path: *paths) {
        if(includeMap.find(path) != includeMap.end()) continue;
        for(const Location& location: searched) {
            std::string_view text;
            if(location.group) {
                text = location.group->getString(path);
            } else if(!path.starts_with('/')) {
                /* Absolute paths are refused when inlining, so they are not looked up either */
                Result<std::string> contents = Path::readString(Path::join(*location.directory, path));
                if(contents && !contents->empty()) {
                    files.push_back(*std::move(contents));
                    text = files.back();
                }
            }
            if(!text.empty()) {
                includeMap.emplace(path, text);
                break;
            }
        }
    }

    return inlineIncludes(source, includeMap, lineDirectives);
}

std::string inlineIncludes(const std::string_view source, const IncludeMap& includeMap, const bool lineDirectives) {
    StringWriter out{source.size() + 1};
    bool inBlock = false;
    std::size_t position = 0;
    for(std::size_t lineNumber = 1; position != source.size(); ++lineNumber) {
        const Line line = nextLine(source, position);
        const std::string_view text = line.text;
        const bool startsInBlock = inBlock;

        /* An include at the start of the line, outside any comment */
        std::size_t first = 0;
        while(first != text.size() && isBlank(text[first])) ++first;
        std::size_t afterInclude;
        if(!startsInBlock && first != text.size() && isIncludeAt(text, first, afterInclude)) {
            std::size_t i = afterInclude;
            while(i != text.size() && isBlank(text[i])) ++i;
            if(i == text.size() || text[i] != '"') {
                Error{} << "Expected path string after #include";
                return std::string{source};
            }
            const std::size_t close = text.find('"', i + 1);
            if(close == std::string_view::npos) {
                Error{} << "Unterminated string after #include";
                return std::string{source};
            }
            const std::string_view path = text.substr(i + 1, close - i - 1);
            if(path.starts_with('/')) {
                Error{} << "Absolute path in #include:" << path;
                return std::string{source};
            }
            const auto found = includeMap.find(path);
            if(found == includeMap.end()) {
                Error{} << "Could not find included file:" << path;
                return std::string{source};
            }

            const std::string_view included = found->second;
            if(lineDirectives) out.append("#line 1\n");
            out.append(included);
            if(lineDirectives) {
                /* The directive needs a line of its own */
                if(!included.empty() && included.back() != '\n' && included.back() != '\r') out.append('\n');
                out.append("#line " + std::to_string(lineNumber) + "\n");
            }
            scanComments(text, close + 1, inBlock);
            out.append(text.substr(close + 1));
            out.append(line.end);
            continue;
        }

        if(scanComments(text, 0, inBlock) != std::string_view::npos)
            Warning{} << "#include preceded by non whitespace character are ignored";
        out.append(text);
        out.append(line.end);
    }
    return out.toString();
}

namespace {

/* First pass of tag replacement: only counts */
struct SizeSink {
    void operator()(std::string_view text) { size += text.size(); }
    std::size_t size = 0;
};

/* Second pass: writes into a buffer sized by the first */
struct WriteSink {
    void operator()(std::string_view text) { out.write(text); }
    StringWriter& out;
};

std::string_view trimmed(std::string_view text) {
    while(!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while(!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

template<class Sink> void replaceTags(Sink& sink, const std::string_view source, const std::span<const std::pair<std::string_view, std::string_view>> tags, const bool lineDirectives) {
    std::size_t position = 0;
    std::uint64_t lineNumber = 1;
    while(position != source.size()) {
        const Line line = nextLine(source, position);
        const std::string_view text = line.text;

        std::uint64_t nextNumber = lineNumber + 1;
        if(lineDirectives) {
            const std::size_t directive = text.find("#line ");
            if(directive != std::string_view::npos) {
                std::size_t i = directive + 6;
                while(i != text.size() && isBlank(text[i])) ++i;
                std::size_t digits = i;
                while(digits != text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
                nextNumber = parseNumberSafe<std::uint32_t>(text.substr(i, digits - i));
            }
        }

        bool replaced = false;
        /* Whether the output is at the start of a line, seen from the last non-empty piece */
        bool atLineStart = true;
        auto emit = [&](std::string_view piece) {
            if(piece.empty()) return;
            sink(piece);
            atLineStart = piece.back() == '\n' || piece.back() == '\r';
        };
        std::size_t copied = 0;
        std::size_t search = 0;
        for(;;) {
            const std::size_t open = text.find("{{", search);
            if(open == std::string_view::npos) break;
            const std::size_t close = text.find("}}", open + 2);
            if(close == std::string_view::npos) break;
            search = close + 2;
            const std::string_view name = trimmed(text.substr(open + 2, close - open - 2));
            for(const auto& tag: tags) {
                if(tag.first != name) continue;
                emit(text.substr(copied, open - copied));
                emit(tag.second);
                copied = close + 2;
                replaced = true;
                break;
            }
        }
        const std::string_view rest = text.substr(copied);
        const std::string_view lineEnd = line.end.empty() && replaced && lineDirectives ? std::string_view{"\n"} : line.end;

        if(!replaced || !lineDirectives) {
            emit(rest);
            emit(lineEnd);
        } else {
            /* The directive gives the next line its number. After a replacement that ended its
               own line, with nothing but blanks after the tag, it takes the place of the rest of
               the line; otherwise it follows the line. */
            const std::string directive = "#line " + std::to_string(nextNumber);
            if(atLineStart && trimmed(rest).empty()) {
                emit(directive);
                emit(rest);
                emit(lineEnd);
            } else {
                emit(rest);
                emit(lineEnd);
                emit(directive);
                emit("\n");
            }
        }
        lineNumber = nextNumber;
    }
}

}

std::string replaceTagsShader(const std::string_view source, const std::span<const std::pair<std::string_view, std::string_view>> tags, const bool lineDirectives) {
    SizeSink size;
    replaceTags(size, source, tags, lineDirectives);
    StringWriter out{size.size + 1};
    WriteSink write{out};
    replaceTags(write, source, tags, lineDirectives);
    return out.toString();
}

}}
