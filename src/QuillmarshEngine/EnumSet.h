#ifndef QuillmarshEngine_EnumSet_h
#define QuillmarshEngine_EnumSet_h

/** @file
 * @brief Class @ref QuillmarshEngine::EnumSet, macro @ref QUILLMARSH_ENUMSET_OPERATORS
 */

#include <initializer_list>
#include <type_traits>

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine {

/**
 * @brief Set of bit flags of a scoped enum
 *
 * Wraps the underlying integer of @p T, whose enumerators are single bits. `|`, `&` and `^` work on
 * the raw bits; `~` complements within @p fullValue; `a >= b` tests that @p a has every bit of @p b
 * (superset), `a <= b` the reverse (subset). Converts explicitly to `bool` (any bit set) and to the
 * underlying integer. Use @ref QUILLMARSH_ENUMSET_OPERATORS so that `T::A|T::B` yields a set.
 */
template<class T, std::underlying_type_t<T> fullValue = std::underlying_type_t<T>(~std::underlying_type_t<T>{})> class EnumSet {
    public:
        /** @brief Underlying integer type */
        typedef std::underlying_type_t<T> UnderlyingType;
        /** @brief Enum type */
        typedef T Type;
        /** @brief All bits the set may hold */
        static constexpr UnderlyingType FullValue = fullValue;

        /** @brief Empty set */
        constexpr /*implicit*/ EnumSet() noexcept: _value{} {}
        /** @brief Set of one value */
        constexpr /*implicit*/ EnumSet(T value) noexcept: _value{UnderlyingType(value)} {}
        /** @brief Set from raw bits */
        constexpr explicit EnumSet(UnderlyingType value, std::nullptr_t) noexcept: _value{value} {}

        constexpr bool operator==(EnumSet other) const { return _value == other._value; }
        constexpr bool operator!=(EnumSet other) const { return _value != other._value; }
        /** @brief Whether this set contains every bit of @p other */
        constexpr bool operator>=(EnumSet other) const { return (_value & other._value) == other._value; }
        /** @brief Whether every bit of this set is in @p other */
        constexpr bool operator<=(EnumSet other) const { return (_value & other._value) == _value; }

        constexpr EnumSet operator|(EnumSet other) const { return EnumSet{UnderlyingType(_value | other._value), nullptr}; }
        constexpr EnumSet operator&(EnumSet other) const { return EnumSet{UnderlyingType(_value & other._value), nullptr}; }
        constexpr EnumSet operator^(EnumSet other) const { return EnumSet{UnderlyingType(_value ^ other._value), nullptr}; }
        constexpr EnumSet operator~() const { return EnumSet{UnderlyingType(fullValue & ~_value), nullptr}; }
        constexpr EnumSet& operator|=(EnumSet other) { _value |= other._value; return *this; }
        constexpr EnumSet& operator&=(EnumSet other) { _value &= other._value; return *this; }
        constexpr EnumSet& operator^=(EnumSet other) { _value ^= other._value; return *this; }

        /** @brief Whether any bit is set */
        constexpr explicit operator bool() const { return _value != 0; }
        /** @brief Raw bits */
        constexpr explicit operator UnderlyingType() const { return _value; }
        /** @brief Raw bits */
        constexpr UnderlyingType value() const { return _value; }

    private:
        UnderlyingType _value;
};

namespace Implementation {
    /* Prints the known values of a set joined by `|`, then leftover bits in the unknown-value form
       of the single-value printer, or @p empty for an empty set */
    template<class T, std::underlying_type_t<T> fullValue> Debug& enumSetDebugOutput(Debug& debug, EnumSet<T, fullValue> value, const char* empty, std::initializer_list<T> known) {
        typedef std::underlying_type_t<T> U;
        if(!value) return debug << empty;
        U left = value.value();
        bool first = true;
        for(T v: known) {
            if(U(v) && (left & U(v)) == U(v)) {
                if(!first) debug << Debug::nospace << "|" << Debug::nospace;
                debug << v;
                left &= ~U(v);
                first = false;
            }
        }
        if(left) {
            if(!first) debug << Debug::nospace << "|" << Debug::nospace;
            debug << T(left);
        }
        return debug;
    }
}

}

/**
 * @brief Define set operators for an enum used in an @ref QuillmarshEngine::EnumSet
 *
 * Makes `E|E`, `E&E`, `E^E`, `~E` and `E|Set` work and yield @p Set.
 */
#define QUILLMARSH_ENUMSET_OPERATORS(Set)                                               \
    [[maybe_unused]] constexpr Set operator|(Set::Type a, Set b) { return b | a; }                       \
    [[maybe_unused]] constexpr Set operator&(Set::Type a, Set b) { return b & a; }                       \
    [[maybe_unused]] constexpr Set operator^(Set::Type a, Set b) { return b ^ a; }                       \
    [[maybe_unused]] constexpr Set operator|(Set::Type a, Set::Type b) { return Set{a} | b; }            \
    [[maybe_unused]] constexpr Set operator&(Set::Type a, Set::Type b) { return Set{a} & b; }            \
    [[maybe_unused]] constexpr Set operator^(Set::Type a, Set::Type b) { return Set{a} ^ b; }            \
    [[maybe_unused]] constexpr Set operator~(Set::Type a) { return ~Set{a}; }

#endif
