#include "QuillmarshEngine/Utils/Preprocessor.h"

#include <algorithm>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/CharacterClass.h"
#include "QuillmarshEngine/Utils/Token.h"

namespace QuillmarshEngine { namespace Utils {

namespace {

/* Work allowed per source for define expansions and expression evaluation, in tokens visited plus
   bytes produced. Real shaders stay far below it; it stops sources whose defines expand
   exponentially ("#define B A A", "#define C B B", ...) from running away. */
constexpr std::uint64_t BudgetBase = std::uint64_t{1} << 22;
constexpr std::uint64_t BudgetPerInputByte = 16;

bool contains(const std::vector<std::string_view>& stack, const std::string_view name) {
    return std::find(stack.begin(), stack.end(), name) != stack.end();
}

template<class T> Result<T> fail(std::string message) {
    return Result<T>::fail(std::move(message));
}

}

bool isGLSLNumber(std::string_view text) {
    if(text.empty()) return false;
    if(text.front() == '-') text.remove_prefix(1);
    if(!text.empty() && (text.back() == 'u' || text.back() == 'i')) text.remove_suffix(1);
    for(const char c: text) if(c < '0' || c > '9') return false;
    return true;
}

Result<std::int32_t> evalComparator(const std::string_view op, const std::int32_t lhs, const std::int32_t rhs) {
    if(op == "<") return std::int32_t(lhs < rhs);
    if(op == ">") return std::int32_t(lhs > rhs);
    if(op == "<=") return std::int32_t(lhs <= rhs);
    if(op == ">=") return std::int32_t(lhs >= rhs);
    if(op == "==") return std::int32_t(lhs == rhs);
    if(op == "!=") return std::int32_t(lhs != rhs);
    return fail<std::int32_t>("Unsupported operator " + escapeText(op));
}

Preprocessor::Preprocessor(const bool expand): _expand{expand} {}

Preprocessor::~Preprocessor() = default;

Preprocessor& Preprocessor::operator<<(const std::string_view source) {
    if(!_valid) return *this;
    if(process(source)) std::swap(_output, _pending);
    else _valid = false;
    /* Release the buffer of a failed or replaced output */
    _pending = StringWriter{};
    return *this;
}

Preprocessor& Preprocessor::processReference(const std::string_view source) {
    if(!_valid) return *this;
    if(processCharacterwise(source)) std::swap(_output, _pending);
    else _valid = false;
    _pending = StringWriter{};
    return *this;
}

Preprocessor& Preprocessor::operator<<(std::string source) {
    /* The string object lives on the heap so that views into it (even into a short string kept
       inside the object) stay valid however many sources follow */
    _inputs.push_back(std::make_unique<std::string>(std::move(source)));
    return *this << std::string_view{*_inputs.back()};
}

void Preprocessor::setInvalid(const std::string_view message) {
    Error{} << message;
    _valid = false;
}

const Preprocessor::Symbol* Preprocessor::lookup(const std::string_view name) const {
    const auto found = _symbols.find(name);
    return found == _symbols.end() ? nullptr : &found->second;
}

bool Preprocessor::isDefined(const std::string_view name) const {
    return lookup(name);
}

const Preprocessor::Symbol* Preprocessor::symbol(const std::string_view name) const {
    return lookup(name);
}

std::optional<std::int32_t> Preprocessor::resolveValue(const std::string_view name) {
    _budget = BudgetBase;
    _expanding.clear();
    _evaluating.clear();
    Result<std::int32_t> value = evalIdentifier(name, false, 0);
    if(!value) return {};
    return *value;
}

std::string Preprocessor::expandIdentifier(const std::string_view name) {
    _budget = BudgetBase;
    _expanding.clear();
    std::string out;
    const Expansion status = expandInto(out, name);
    if(status == Expansion::Ok) return out;
    setInvalid(std::string{"Preprocessor: expansion of "} + escapeText(name) +
        (status == Expansion::TooDeep ? " nested too deeply" : " is too large"));
    return std::string{name};
}

Preprocessor::Expansion Preprocessor::expandInto(std::string& out, const std::string_view name) {
    const Symbol* const symbol = contains(_expanding, name) ? nullptr : lookup(name);
    std::string_view text = name;
    if(symbol && !_expand) text = symbol->value;
    if(!symbol || !_expand) {
        if(_budget < text.size() + 1) return Expansion::TooLarge;
        _budget -= text.size() + 1;
        out += text;
        return Expansion::Ok;
    }

    if(_expanding.size() >= std::size_t(MaxNestingDepth)) return Expansion::TooDeep;
    _expanding.push_back(name);
    Expansion status = Expansion::Ok;
    bool first = true;
    bool whitespaceBefore = false;
    for(Token token = Token::peek(symbol->value, false); !token.isStop(); token = token.consume(false)) {
        if(!first && whitespaceBefore) out += ' ';
        first = false;
        whitespaceBefore = token.peekWhitespace();
        if(token.kind() == TokenKind::Word) {
            /* A name being expanded (this one included) stays as it stands */
            status = expandInto(out, token.text());
            if(status != Expansion::Ok) break;
        } else {
            if(_budget < token.text().size() + 1) {
                status = Expansion::TooLarge;
                break;
            }
            _budget -= token.text().size() + 1;
            out += token.text();
        }
    }
    _expanding.pop_back();
    return status;
}

bool Preprocessor::expandWord(const std::string_view word) {
    /* Most words of a shader are not defined; reject them without hashing */
    if(word.size() > _maxNameSize || !_firstCharacters[static_cast<unsigned char>(word[0])]) {
        _pending.append(word);
        return true;
    }
    const Symbol* const symbol = lookup(word);
    if(!symbol) {
        _pending.append(word);
        return true;
    }
    /* A number has nothing further to expand */
    if(symbol->hasNumber) {
        _pending.append(symbol->value);
        return true;
    }
    _scratch.clear();
    const Expansion status = expandInto(_scratch, word);
    if(status != Expansion::Ok) {
        setInvalid(std::string{"Preprocessor: expansion of "} + escapeText(word) +
            (status == Expansion::TooDeep ? " nested too deeply" : " is too large"));
        return false;
    }
    _pending.append(_scratch);
    return true;
}

bool Preprocessor::process(const std::string_view source) {
    using namespace Implementation;

    const char* position = source.data();
    const char* const end = position + source.size();
    beginSource(source);

    /* Text between directives and comments is handled in runs: the output is the same as handling
       it one character (or, when expanding, one word) at a time */
    bool skipping = false;
    for(;;) {
        const char* const start = position;
        if(skipping || !_expand) {
            while(position != end && !hasClass(*position, CharacterTextStop)) ++position;
            if(!skipping) _pending.append(start, std::size_t(position - start));
        } else while(position != end && !hasClass(*position, CharacterTextStop)) {
            const char* const runStart = position;
            if(isWordStop(position, end)) {
                do ++position;
                while(position != end && !hasClass(*position, CharacterTextStop) && isWordStop(position, end));
                _pending.append(runStart, std::size_t(position - runStart));
            } else {
                do ++position;
                while(position != end && !isWordStop(position, end));
                if(!expandWord({runStart, std::size_t(position - runStart)})) return failAt(runStart, {});
            }
        }

        if(position == end || *position == '\0') break;

        /* A comment or a lone slash */
        if(*position == '/') {
            const char* next = position + 1;
            if(next != end && *next == '/') {
                next = skipLineComment(position, end);
            } else if(next != end && *next == '*') {
                next = findBlockCommentEnd(position + 2, end);
                if(!next) return failAt(position, "Preprocess: found unclosed multiline comment");
            }
            if(!skipping) _pending.append(position, std::size_t(next - position));
            position = next;
            continue;
        }

        /* A directive */
        position = directive(position, end);
        if(!position) return false;
        skipping = _skipBits || _takenBits;
    }

    endSource();
    return true;
}

void Preprocessor::beginSource(const std::string_view source) {
    _source = source.data();
    const std::size_t size = source.size();
    _pending = StringWriter{size + 1};
    _skipBits = _takenBits = 0;
    _branchDepth = 0;
    _budget = BudgetBase + BudgetPerInputByte*size;
    _expanding.clear();
    _evaluating.clear();
}

bool Preprocessor::processCharacterwise(const std::string_view source) {
    using namespace Implementation;

    const char* position = source.data();
    const char* const end = position + source.size();
    beginSource(source);

    bool skipping = false;
    for(;;) {
        /* Spaces, tabs and comments, copied unless skipping */
        const char* const start = position;
        for(;;) {
            while(position != end && (*position == ' ' || *position == '\t')) ++position;
            if(end - position < 2 || position[0] != '/') break;
            if(position[1] == '/') {
                position = skipLineComment(position, end);
            } else if(position[1] == '*') {
                const char* const comment = position;
                position = findBlockCommentEnd(position + 2, end);
                if(!position) return failAt(comment, "Preprocess: found unclosed multiline comment");
            } else break;
        }
        if(!skipping) _pending.append(start, std::size_t(position - start));

        const Token token = Token::peek(position, end, false);
        if(token.kind() == TokenKind::End) break;

        if(token.kind() != TokenKind::Hash) {
            if(!skipping && _expand && token.kind() == TokenKind::Word) {
                if(!expandWord(token.text())) return failAt(position, {});
                position = token.after();
            } else {
                if(!skipping) _pending.append(*position);
                ++position;
            }
            continue;
        }

        position = directive(position, end);
        if(!position) return false;
        skipping = _skipBits || _takenBits;
    }

    endSource();
    return true;
}

void Preprocessor::endSource() {
    /* The output is what it is; the host only learns that a group was left open */
    if(_branchDepth) Warning{} << "Preprocessor: unterminated #if at end of source";
}

bool Preprocessor::failAt(const char* const position, const std::string_view message) {
    if(!_errorLine)
        _errorLine = 1 + std::uint32_t(std::count(_source, position, '\n'));
    /* An empty message: the failure was reported already, only its line was missing */
    if(!message.empty()) setInvalid(message);
    _valid = false;
    return false;
}

const char* Preprocessor::lineEnd(const char* position, const char* const end) {
    using namespace Implementation;
    while(position != end && *position != '\n' && *position != '\0') {
        if(*position == '/' && end - position >= 2) {
            if(position[1] == '/') {
                position = skipLineComment(position, end);
                continue;
            }
            if(position[1] == '*') {
                /* A block comment belongs to the line it starts on */
                position = findBlockCommentEnd(position + 2, end);
                if(!position) return nullptr;
                continue;
            }
        }
        ++position;
    }
    if(position != end && *position == '\n') ++position;
    return position;
}

const char* Preprocessor::directive(const char* const hash, const char* const end) {
    /* The whole line first: an unclosed comment on it is the error, whatever the directive, and
       nothing of the line is looked at before that is known */
    const char* const next = lineEnd(hash + 1, end);
    if(!next) {
        failAt(hash, "Preprocess: found unclosed multiline comment");
        return nullptr;
    }
    const Token word = Token::peek(hash + 1, end, true);
    if(word.kind() != TokenKind::Word) {
        failAt(hash, "Preprocessor: no identifier found after #");
        return nullptr;
    }

    const std::string_view name = word.text();
    const bool skipping = _skipBits || _takenBits;
    bool handled;
    if(name == "else") handled = directiveElse(hash);
    else if(name == "endif") handled = directiveEndif(hash);
    else if(name == "ifdef" || name == "ifndef") handled = directiveIfdef(hash, word);
    else if(name == "if" || name == "elif") handled = directiveIf(hash, word);
    else if(name == "define" && !skipping && !isFunctionLike(word)) handled = directiveDefine(hash, word);
    else {
        /* Anything else, function-like defines included, is the driver's business and passes
           through as it stands (dropped while skipping) */
        if(!skipping) _pending.append(hash, std::size_t(next - hash));
        return next;
    }
    if(!handled) return nullptr;

    if(_branchDepth > MaxBranchDepth) {
        failAt(hash, "Preprocessor: exceeding max branch depth of " + std::to_string(MaxBranchDepth + 1));
        return nullptr;
    }
    /* A handled directive leaves no line in the output */
    return next;
}

bool Preprocessor::directiveElse(const char* const hash) {
    if(!_branchDepth) return failAt(hash, "Preprocessor: found #else without #if or #ifdef");
    /* Toggles, however many times it comes in one group; a branch taken before an #elif keeps
       the rest of the group dead through the taken bit */
    _skipBits ^= levelBit();
    return true;
}

bool Preprocessor::directiveEndif(const char* const hash) {
    if(!_branchDepth) return failAt(hash, "Preprocessor: found #endif without #if or #ifdef");
    _skipBits &= ~levelBit();
    _takenBits &= ~levelBit();
    --_branchDepth;
    return true;
}

bool Preprocessor::directiveIfdef(const char* const hash, const Token& word) {
    const bool ifdef = word.text() == "ifdef";
    const Token identifier = word.consume();
    if(identifier.kind() != TokenKind::Word)
        return failAt(hash, ifdef ?
            "Preprocessor: expected an identifier after #ifdef" :
            "Preprocessor: expected an identifier after #ifndef");
    const bool defined = isDefined(identifier.text());
    ++_branchDepth;
    if(_branchDepth <= MaxBranchDepth && defined != ifdef) _skipBits |= levelBit();
    return true;
}

bool Preprocessor::directiveIf(const char* const hash, const Token& word) {
    const bool elif = word.text() == "elif";
    if(elif) {
        if(!_branchDepth) return failAt(hash, "Preprocessor: found #elif without #if or #ifdef");
        /* After a taken branch no later branch of the group is taken */
        if(!(_skipBits & levelBit()) || (_takenBits & levelBit())) {
            _takenBits |= levelBit();
            return true;
        }
    } else ++_branchDepth;
    /* Past the depth limit the level has no bit; the error follows right after */
    const std::uint32_t bit = _branchDepth <= MaxBranchDepth ? levelBit() : 0;

    /* Evaluated even inside a skipped region */
    _expanding.clear();
    _evaluating.clear();
    Token token = word.consume();
    Result<std::int32_t> value = evalExpression(token, 0);
    if(value && token.kind() != TokenKind::LineEnd && token.kind() != TokenKind::End)
        value = fail<std::int32_t>("Unexpected token " + token.escaped());
    if(!value)
        Warning{} << std::string{"Preprocessor: failed to parse #"} + std::string{word.text()} + ". " + value.error() + ". Skipping evaluation.";
    if(value && *value) _skipBits &= ~bit;
    else _skipBits |= bit;
    return true;
}

bool Preprocessor::isFunctionLike(const Token& word) const {
    const Token identifier = word.consume();
    return identifier.kind() == TokenKind::Word && identifier.after() != word.sourceEnd() && *identifier.after() == '(';
}

bool Preprocessor::directiveDefine(const char* const hash, const Token& word) {
    const Token identifier = word.consume();
    if(identifier.kind() != TokenKind::Word)
        return failAt(hash, "Preprocessor: expected an identifier after #define");

    Symbol symbol;
    std::size_t count = 0;
    const char* valueBegin = nullptr;
    const char* valueEnd = nullptr;
    for(Token token = identifier.consume(false); !token.isStop(); token = token.consume(false)) {
        if(!valueBegin) valueBegin = token.text().data();
        valueEnd = token.after();
        ++count;
    }
    if(count) symbol.value = {valueBegin, std::size_t(valueEnd - valueBegin)};
    if(count == 1 && isGLSLNumber(symbol.value)) {
        std::string_view digits = symbol.value;
        if(digits.back() < '0' || digits.back() > '9') digits.remove_suffix(1);
        symbol.number = parseNumberSafe<std::int32_t>(digits);
        symbol.hasNumber = true;
    }

    const std::string_view identifierName = identifier.text();
    const auto found = _symbols.find(identifierName);
    if(found != _symbols.end()) found->second = symbol;
    else _symbols.emplace(std::string{identifierName}, symbol);
    _firstCharacters[static_cast<unsigned char>(identifierName[0])] = true;
    _maxNameSize = std::max(_maxNameSize, identifierName.size());
    return true;
}

Result<std::int32_t> Preprocessor::evalExpression(Token& token, const int depth) {
    if(depth > MaxNestingDepth) return fail<std::int32_t>("Expression nested too deeply");

    Result<std::int32_t> operand = evalOperand(token, depth);
    if(!operand) return operand;
    std::int32_t value = *operand;

    /* expression = operand [("&&" | "||") expression], grouping to the right, walked as a loop:
       each level that evaluates its right side reduces it to 0 or 1, the level that stops keeps
       its own value */
    bool reduced = false;
    while(token.kind() == TokenKind::Logical) {
        const bool isAnd = token.text()[0] == '&';
        token = token.consume();
        if(isAnd ? value == 0 : value != 0) {
            /* The right side is not needed: skip to the line end or an unmatched ")" */
            int open = 0;
            while(!token.isStop()) {
                if(token.kind() == TokenKind::OpenParenthesis) ++open;
                else if(token.kind() == TokenKind::CloseParenthesis && !open--) break;
                token = token.consume();
            }
            break;
        }
        operand = evalOperand(token, depth);
        if(!operand) return operand;
        value = *operand;
        reduced = true;
    }
    return reduced ? std::int32_t(value != 0) : value;
}

Result<std::int32_t> Preprocessor::evalOperand(Token& token, const int depth) {
    Result<std::int32_t> lhs = evalScalar(token, depth + 1);
    if(!lhs || token.kind() != TokenKind::Comparator) return lhs;
    const std::string_view op = token.text();
    token = token.consume();
    const Result<std::int32_t> rhs = evalScalar(token, depth + 1);
    if(!rhs) return rhs;
    return evalComparator(op, *lhs, *rhs);
}

Result<std::int32_t> Preprocessor::evalScalar(Token& token, const int depth) {
    if(depth > MaxNestingDepth) return fail<std::int32_t>("Expression nested too deeply");
    if(!_budget) return fail<std::int32_t>("Expression too complex");
    --_budget;

    switch(token.kind()) {
        case TokenKind::Word: {
            if(token.text() == "defined") {
                token = token.consume();
                const bool parenthesized = token.kind() == TokenKind::OpenParenthesis;
                if(parenthesized) token = token.consume();
                if(token.kind() != TokenKind::Word)
                    return fail<std::int32_t>("Expected an identifier in defined");
                const bool defined = isDefined(token.text());
                token = token.consume();
                if(parenthesized) {
                    if(token.kind() != TokenKind::CloseParenthesis)
                        return fail<std::int32_t>("Expected closing parenthesis in defined(id)");
                    token = token.consume();
                }
                return std::int32_t(defined);
            }
            const std::string_view name = token.text();
            token = token.consume();
            return evalIdentifier(name, true, depth);
        }

        case TokenKind::Unary: {
            const char op = token.text()[0];
            if(op == '+') break;
            token = token.consume();
            const Result<std::int32_t> value = evalScalar(token, depth + 1);
            if(!value) return value;
            if(op == '!') return std::int32_t(*value == 0);
            /* No overflow checks: negation wraps */
            return std::int32_t(0u - std::uint32_t(*value));
        }

        case TokenKind::OpenParenthesis: {
            token = token.consume();
            Result<std::int32_t> value = evalExpression(token, depth);
            if(!value) return value;
            if(token.kind() != TokenKind::CloseParenthesis)
                return fail<std::int32_t>("Expected closing parenthesis in expression");
            token = token.consume();
            return value;
        }

        default: break;
    }

    return fail<std::int32_t>("Unexpected token " + token.escaped());
}

Result<std::int32_t> Preprocessor::evalIdentifier(const std::string_view name, const bool allowUndefined, const int depth) {
    if(isGLSLNumber(name)) {
        std::string_view digits = name;
        if(digits.back() < '0' || digits.back() > '9') digits.remove_suffix(1);
        return parseNumberSafe<std::int32_t>(digits);
    }

    /* A name whose evaluation is under way counts as undefined, as in a C preprocessor */
    const Symbol* const symbol = contains(_evaluating, name) ? nullptr : lookup(name);
    if(!symbol) {
        if(allowUndefined) return 0;
        return fail<std::int32_t>("Identifier doesn't evaluate to a value " + escapeText(name));
    }
    if(symbol->hasNumber) return symbol->number;
    if(depth > MaxNestingDepth) return fail<std::int32_t>("Expression nested too deeply");

    _evaluating.push_back(name);
    Result<std::int32_t> value{0};
    if(!_expand) {
        value = evalText(symbol->value, depth);
    } else {
        std::string expanded;
        const Expansion status = expandInto(expanded, name);
        if(status == Expansion::TooDeep) value = fail<std::int32_t>("Expression nested too deeply");
        else if(status == Expansion::TooLarge) value = fail<std::int32_t>("Expression too complex");
        else value = evalText(expanded, depth);
    }
    _evaluating.pop_back();
    return value;
}

Result<std::int32_t> Preprocessor::evalText(const std::string_view text, const int depth) {
    Token token = Token::peek(text);
    Result<std::int32_t> value = evalExpression(token, depth);
    if(value && token.kind() != TokenKind::End)
        return fail<std::int32_t>("Unexpected token " + token.escaped());
    return value;
}

}}
