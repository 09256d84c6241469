#include "QuillmarshEngine/Debug.h"

#include <cstdio>
#include <iostream>
#include <ostream>

namespace QuillmarshEngine {

namespace {

/* The current target of each kind, per thread. A null entry means "not redirected on this thread
   yet" and resolves to the default; silencing is recorded separately so that nullptr stays
   distinguishable from the default. */
struct Targets {
    std::ostream* output[3]{};
    bool silenced[3]{};
};

thread_local Targets targets;

std::ostream* defaultFor(std::uint8_t kind) {
    return kind == 0 ? &std::cout : &std::cerr;
}

std::ostream* currentFor(std::uint8_t kind) {
    if(targets.silenced[kind]) return nullptr;
    std::ostream* out = targets.output[kind];
    return out ? out : defaultFor(kind);
}

template<class T> Debug& printFormatted(Debug& debug, const char* format, T value) {
    char buffer[64];
    const int size = std::snprintf(buffer, sizeof(buffer), format, value);
    return debug.print({buffer, std::size_t(size)});
}

template<class T> Debug& printInteger(Debug& debug, T value) {
    if(debug.takeHex()) {
        char buffer[32];
        const int size = std::snprintf(buffer, sizeof(buffer), "0x%llx",
            static_cast<unsigned long long>(static_cast<std::make_unsigned_t<T>>(value)));
        return debug.print({buffer, std::size_t(size)});
    }
    if constexpr(std::is_signed_v<T>)
        return printFormatted(debug, "%lld", static_cast<long long>(value));
    else
        return printFormatted(debug, "%llu", static_cast<unsigned long long>(value));
}

}

void Debug::nospace(Debug& debug) { debug._immediateFlags |= std::uint8_t(Flag::NoSpace); }

void Debug::newline(Debug& debug) {
    if(debug._output) *debug._output << std::endl;
    debug._immediateFlags |= std::uint8_t(Flag::NoSpace);
}

void Debug::space(Debug& debug) {
    if(debug._output) *debug._output << ' ';
    debug._immediateFlags |= std::uint8_t(Flag::NoSpace);
}

void Debug::hex(Debug& debug) { debug._immediateFlags |= std::uint8_t(Flag::Hex); }

std::ostream* Debug::defaultOutput() { return defaultFor(0); }
std::ostream* Debug::output() { return currentFor(0); }
std::ostream* Warning::defaultOutput() { return defaultFor(1); }
std::ostream* Warning::output() { return currentFor(1); }
std::ostream* Error::defaultOutput() { return defaultFor(2); }
std::ostream* Error::output() { return currentFor(2); }

Debug::Debug(Flag flags): Debug{Kind::Debug, flags} {}
Debug::Debug(std::ostream* output, Flag flags): Debug{Kind::Debug, output, flags} {}

Debug::Debug(Kind kind, Flag flags): _output{currentFor(std::uint8_t(kind))}, _previousOutput{}, _previousSilenced{}, _kind{kind}, _flags{std::uint8_t(flags)}, _immediateFlags{std::uint8_t(Flag::NoSpace)}, _printed{false}, _redirecting{false} {}

Debug::Debug(Kind kind, std::ostream* output, Flag flags): _output{output}, _kind{kind}, _flags{std::uint8_t(flags)}, _immediateFlags{std::uint8_t(Flag::NoSpace)}, _printed{false}, _redirecting{true} {
    const std::uint8_t k = std::uint8_t(kind);
    _previousOutput = targets.output[k];
    _previousSilenced = targets.silenced[k];
    targets.output[k] = output;
    targets.silenced[k] = output == nullptr;
}

Debug::~Debug() {
    if(_printed && _output && !(_flags & std::uint8_t(Flag::NoNewlineAtTheEnd)))
        *_output << std::endl;
    if(_redirecting) {
        const std::uint8_t k = std::uint8_t(_kind);
        targets.output[k] = _previousOutput;
        targets.silenced[k] = _previousSilenced;
    }
}

Debug& Debug::print(std::string_view text) {
    if(!_output) return *this;
    if(!((_flags | _immediateFlags) & std::uint8_t(Flag::NoSpace)))
        *_output << ' ';
    _output->write(text.data(), std::streamsize(text.size()));
    _immediateFlags = 0;
    _printed = true;
    return *this;
}

bool Debug::takeHex() {
    const bool hex = (_flags | _immediateFlags) & std::uint8_t(Flag::Hex);
    _immediateFlags &= ~std::uint8_t(Flag::Hex);
    return hex;
}

Warning::Warning(Flag flags): Debug{Kind::Warning, flags} {}
Warning::Warning(std::ostream* output, Flag flags): Debug{Kind::Warning, output, flags} {}
Error::Error(Flag flags): Debug{Kind::Error, flags} {}
Error::Error(std::ostream* output, Flag flags): Debug{Kind::Error, output, flags} {}

Debug& operator<<(Debug& debug, const char* value) {
    if(!value) return debug;
    return debug.print(value);
}
Debug& operator<<(Debug& debug, std::string_view value) { return debug.print(value); }
Debug& operator<<(Debug& debug, const std::string& value) { return debug.print(value); }

Debug& operator<<(Debug& debug, const void* value) {
    char buffer[32];
    const int size = std::snprintf(buffer, sizeof(buffer), "0x%llx", static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(value)));
    debug.takeHex();
    return debug.print({buffer, std::size_t(size)});
}

Debug& operator<<(Debug& debug, std::nullptr_t) { return debug.print("nullptr"); }
Debug& operator<<(Debug& debug, bool value) { return debug.print(value ? "true" : "false"); }
Debug& operator<<(Debug& debug, char value) { return printInteger(debug, int(value)); }
Debug& operator<<(Debug& debug, signed char value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, unsigned char value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, short value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, unsigned short value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, int value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, unsigned value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, long value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, unsigned long value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, long long value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, unsigned long long value) { return printInteger(debug, value); }
Debug& operator<<(Debug& debug, float value) { return printFormatted(debug, "%.6g", double(value)); }
Debug& operator<<(Debug& debug, double value) { return printFormatted(debug, "%.15g", value); }
Debug& operator<<(Debug& debug, long double value) { return printFormatted(debug, "%.18Lg", value); }

Debug& operator<<(Debug& debug, Debug::Flag value) {
    switch(value) {
        case Debug::Flag::NoNewlineAtTheEnd: return Implementation::printEnumValue(debug, "Debug::Flag", "NoNewlineAtTheEnd");
        case Debug::Flag::NoSpace: return Implementation::printEnumValue(debug, "Debug::Flag", "NoSpace");
        case Debug::Flag::Hex: return Implementation::printEnumValue(debug, "Debug::Flag", "Hex");
    }
    return Implementation::printUnknownEnum(debug, "Debug::Flag", std::uint8_t(value));
}

namespace Implementation {

Debug& printUnknownEnum(Debug& debug, const char* enumName, unsigned long long value) {
    char buffer[128];
    const int size = std::snprintf(buffer, sizeof(buffer), "%s(0x%llx)", enumName, value);
    return debug.print({buffer, std::size_t(size) < sizeof(buffer) ? std::size_t(size) : sizeof(buffer) - 1});
}

Debug& printEnumValue(Debug& debug, const char* enumName, const char* valueName) {
    debug.print(enumName);
    return debug << Debug::nospace << "::" << Debug::nospace << valueName;
}

}

}
