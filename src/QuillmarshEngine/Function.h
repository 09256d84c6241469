#ifndef QuillmarshEngine_Function_h
#define QuillmarshEngine_Function_h

/** @file
 * @brief Class @ref QuillmarshEngine::Function
 */

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine {

template<class> class Function;

/**
 * @brief Move-only type-erased callable
 *
 * Holds any callable invocable as `R(Args...)`: a callable of at most @ref InlineSize bytes whose
 * alignment is at most that of `std::max_align_t` and that moves without throwing is stored inline,
 * anything else on the heap. The object is the inline storage, a call pointer and a manager pointer;
 * both pointers are null when the function is empty. Moving transfers the callable (the source
 * becomes empty); destroying or resetting runs the callable's destructor exactly once. Calling an
 * empty function aborts. Not thread-safe.
 */
template<class R, class ...Args> class Function<R(Args...)> {
    public:
        /** @brief Bytes of inline storage */
        static constexpr std::size_t InlineSize = 64;

        /** @brief Empty function */
        /*implicit*/ Function() noexcept = default;
        /** @brief Empty function */
        /*implicit*/ Function(std::nullptr_t) noexcept {}

        /** @brief Wrap a callable */
        template<class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, Function> && std::is_invocable_r_v<R, std::decay_t<F>&, Args...>>> /*implicit*/ Function(F&& f) {
            using T = std::decay_t<F>;
            if constexpr(std::is_pointer_v<T>) {
                const T pointer = f;
                if(!pointer) return;
            }
            if constexpr(IsInline<T>) {
                new(&_storage) T{std::forward<F>(f)};
                _call = &callInline<T>;
                _manager = &manageInline<T>;
            } else {
                *reinterpret_cast<T**>(&_storage) = new T{std::forward<F>(f)};
                _call = &callHeap<T>;
                _manager = &manageHeap<T>;
            }
        }

        Function(const Function&) = delete;
        Function& operator=(const Function&) = delete;

        /** @brief Move; @p other becomes empty */
        Function(Function&& other) noexcept: _call{other._call}, _manager{other._manager} {
            if(_manager) _manager(Operation::Move, &_storage, &other._storage);
            other._call = nullptr;
            other._manager = nullptr;
        }

        /** @brief Move-assign; the previous callable is destroyed, @p other becomes empty */
        Function& operator=(Function&& other) noexcept {
            if(this != &other) {
                reset();
                if(other._manager) other._manager(Operation::Move, &_storage, &other._storage);
                _call = other._call;
                _manager = other._manager;
                other._call = nullptr;
                other._manager = nullptr;
            }
            return *this;
        }

        ~Function() { reset(); }

        /** @brief Destroy the callable, leaving the function empty */
        void reset() noexcept {
            if(_manager) _manager(Operation::Destroy, &_storage, nullptr);
            _call = nullptr;
            _manager = nullptr;
        }

        /** @brief Whether a callable is held */
        explicit operator bool() const { return _call != nullptr; }

        /** @brief Whether the callable lives on the heap */
        bool isAllocated() const { return _manager && _manager(Operation::IsHeap, nullptr, nullptr); }

        /**
         * @brief Call
         *
         * Expects that the function is not empty.
         */
        R operator()(Args... args) {
            QUILLMARSH_ASSERT(_call, "Function::operator()(): the function is empty", {});
            return _call(&_storage, std::forward<Args>(args)...);
        }

    private:
        enum class Operation { Move, Destroy, IsHeap };
        struct alignas(std::max_align_t) Storage { unsigned char data[InlineSize]; };
        typedef R(*Call)(Storage*, Args&&...);
        typedef bool(*Manager)(Operation, Storage*, Storage*);

        template<class T> static constexpr bool IsInline = sizeof(T) <= InlineSize && alignof(T) <= alignof(Storage) && std::is_nothrow_move_constructible_v<T>;

        template<class T> static R callInline(Storage* s, Args&&... args) {
            return static_cast<R>((*std::launder(reinterpret_cast<T*>(s)))(std::forward<Args>(args)...));
        }
        template<class T> static R callHeap(Storage* s, Args&&... args) {
            return static_cast<R>((**reinterpret_cast<T**>(s))(std::forward<Args>(args)...));
        }
        template<class T> static bool manageInline(Operation op, Storage* to, Storage* from) {
            switch(op) {
                case Operation::Move: {
                    T* source = std::launder(reinterpret_cast<T*>(from));
                    new(to) T{std::move(*source)};
                    source->~T();
                    return true;
                }
                case Operation::Destroy:
                    std::launder(reinterpret_cast<T*>(to))->~T();
                    return true;
                case Operation::IsHeap:
                    return false;
            }
            return false;
        }
        template<class T> static bool manageHeap(Operation op, Storage* to, Storage* from) {
            switch(op) {
                case Operation::Move:
                    *reinterpret_cast<T**>(to) = *reinterpret_cast<T**>(from);
                    return true;
                case Operation::Destroy:
                    delete *reinterpret_cast<T**>(to);
                    return true;
                case Operation::IsHeap:
                    return true;
            }
            return false;
        }

        Storage _storage;
        Call _call{};
        Manager _manager{};
};

}

#endif
