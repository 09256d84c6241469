#ifndef QuillmarshEngine_Data_SparseLayer_h
#define QuillmarshEngine_Data_SparseLayer_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::SparseLayer, @ref QuillmarshEngine::Data::SparseLayerAlloc,
 *      @ref QuillmarshEngine::Data::SparseLayerOwner, @ref QuillmarshEngine::Data::SparseArrayStaticLayout
 */

#include <algorithm>
#include <cmath>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SparseArray.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Column of elements of type @p T inside the sparse array's block
 *
 * Needs `(capacity × sizeof(T) + 3) & ~3` bytes. New and reused slots get the default value given
 * at construction. Columns of `bool` are bit sets, see the specialization.
 */
template<class T, SparseLayerFlag flag = SparseLayerFlag::Plain> class SparseLayer: public SparseArray::Layer {
    static_assert(std::is_trivially_copyable_v<T>, "block columns hold plain data");

    public:
        typedef T Type;                                      /**< Element type */
        static constexpr SparseLayerFlag Flag = flag;        /**< Role of the column */
        static constexpr bool InBlock = true;                /**< Whether the column lives in the block */

        /** @brief Column whose new slots read @p defaultValue */
        explicit SparseLayer(const T& defaultValue = T{}): _default{defaultValue} {}

        /** @brief Block bytes for @p count elements */
        static std::size_t blockSize(std::size_t count) { return (count*sizeof(T) + 3) & ~std::size_t{3}; }

        /** @brief Default value of new slots */
        const T& defaultValue() const { return _default; }

        /** @brief Change the default value of new slots */
        void setDefaultValue(const T& value) { _default = value; }

        /** @brief Elements; invalidated by the array's `allocate()` */
        std::span<T> view() const { return _view; }

        T& operator[](std::size_t i) const { return _view[i]; }

        /* Steps called by SparseArrayStaticLayout */
        void layerBind(std::span<char> bytes, std::size_t count) {
            _view = {reinterpret_cast<T*>(bytes.data()), count};
        }
        void layerConstruct(std::size_t first, std::size_t last) {
            std::fill(_view.begin() + first, _view.begin() + last, _default);
        }
        void layerSwap(std::size_t a, std::size_t b) { std::swap(_view[a], _view[b]); }
        void layerCopy(std::size_t from, std::size_t to) { _view[to] = _view[from]; }
        void layerMove(std::size_t from, std::size_t count, std::size_t to) {
            Utils::moveDataRange({reinterpret_cast<char*>(_view.data()), _view.size()*sizeof(T)},
                from*sizeof(T), count*sizeof(T), to*sizeof(T));
        }
        void layerAppend(const SparseLayer& other, std::size_t at, std::size_t count) {
            if(count) std::memcpy(_view.data() + at, other._view.data(), count*sizeof(T));
        }

    private:
        T _default;
        std::span<T> _view;
};

/**
 * @brief Column of bits inside the sparse array's block
 *
 * Bit i lives in 32-bit word i / 32. The column reserves ceil(count × 0.03125) × 8 bytes, the
 * ceiling taken in single precision: twice the words it needs, which the block format keeps.
 */
template<SparseLayerFlag flag> class SparseLayer<bool, flag>: public SparseArray::Layer {
    public:
        typedef bool Type;
        static constexpr SparseLayerFlag Flag = flag;
        static constexpr bool InBlock = true;

        explicit SparseLayer(bool defaultValue = false): _default{defaultValue} {}

        static std::size_t blockSize(std::size_t count) {
            return std::size_t(std::ceil(float(count)*0.03125f))*8;
        }

        bool defaultValue() const { return _default; }
        void setDefaultValue(bool value) { _default = value; }

        /** @brief Bits; invalidated by the array's `allocate()` */
        Utils::BitSetView view() const { return _bits; }

        void layerBind(std::span<char> bytes, std::size_t) {
            _bits = Utils::BitSetView{reinterpret_cast<std::uint32_t*>(bytes.data()), bytes.size()/4};
        }
        void layerConstruct(std::size_t first, std::size_t last) {
            if(_default) _bits.setRange(first, last);
            else _bits.resetRange(first, last);
        }
        void layerSwap(std::size_t a, std::size_t b) {
            const bool va = _bits[a];
            _bits.set(a, _bits[b]);
            _bits.set(b, va);
        }
        void layerCopy(std::size_t from, std::size_t to) { _bits.set(to, _bits[from]); }
        void layerMove(std::size_t from, std::size_t count, std::size_t to) {
            if(count == 1) Utils::moveBit(_bits, from, to);
            else Utils::moveBitRange(_bits, from, count, to);
        }
        void layerAppend(const SparseLayer& other, std::size_t at, std::size_t count) {
            for(std::size_t i = 0; i != count; ++i) _bits.set(at + i, other._bits[i]);
        }

    private:
        bool _default;
        Utils::BitSetView _bits;
};

/**
 * @brief Column of elements of type @p T in its own heap allocation
 *
 * Holds capacity elements, reallocated (keeping its values) whenever the array is; adds nothing
 * to the block. Used for columns that are rebuilt at run time and never shipped, such as world
 * transformations. Columns of `bool` are bit sets in 32-bit words.
 */
template<class T, SparseLayerFlag flag = SparseLayerFlag::Plain> class SparseLayerAlloc: public SparseArray::Layer {
    public:
        typedef T Type;
        static constexpr SparseLayerFlag Flag = flag;
        static constexpr bool InBlock = false;

        explicit SparseLayerAlloc(const T& defaultValue = T{}): _default{defaultValue} {}

        const T& defaultValue() const { return _default; }
        void setDefaultValue(const T& value) { _default = value; }

        /** @brief Elements; invalidated by the array's `allocate()` */
        std::span<T> view() { return _data; }
        std::span<const T> view() const { return _data; }

        T& operator[](std::size_t i) { return _data[i]; }
        const T& operator[](std::size_t i) const { return _data[i]; }

        void layerResize(std::size_t count) { _data.resize(count, _default); }
        void layerConstruct(std::size_t first, std::size_t last) {
            std::fill(_data.begin() + first, _data.begin() + last, _default);
        }
        void layerSwap(std::size_t a, std::size_t b) { std::swap(_data[a], _data[b]); }
        void layerCopy(std::size_t from, std::size_t to) { _data[to] = _data[from]; }
        void layerMove(std::size_t from, std::size_t count, std::size_t to) {
            Utils::moveDataRange({reinterpret_cast<char*>(_data.data()), _data.size()*sizeof(T)},
                from*sizeof(T), count*sizeof(T), to*sizeof(T));
        }
        void layerAppend(const SparseLayerAlloc& other, std::size_t at, std::size_t count) {
            std::copy_n(other._data.begin(), count, _data.begin() + at);
        }

    private:
        T _default;
        std::vector<T> _data;
};

/** @brief Separately allocated bit column */
template<SparseLayerFlag flag> class SparseLayerAlloc<bool, flag>: public SparseArray::Layer {
    public:
        typedef bool Type;
        static constexpr SparseLayerFlag Flag = flag;
        static constexpr bool InBlock = false;

        explicit SparseLayerAlloc(bool defaultValue = false): _default{defaultValue} {}

        bool defaultValue() const { return _default; }
        void setDefaultValue(bool value) { _default = value; }

        /** @brief Bits; invalidated by the array's `allocate()` */
        Utils::BitSetView view() { return Utils::BitSetView{_words.data(), _words.size()}; }
        const std::uint32_t* words() const { return _words.data(); }
        std::size_t wordCount() const { return _words.size(); }

        void layerResize(std::size_t count) {
            const std::size_t oldBits = _words.size()*32;
            _words.resize((count + 31)/32, 0u);
            if(_default && _words.size()*32 > oldBits) view().setRange(oldBits, _words.size()*32);
        }
        void layerConstruct(std::size_t first, std::size_t last) {
            if(_default) view().setRange(first, last);
            else view().resetRange(first, last);
        }
        void layerSwap(std::size_t a, std::size_t b) {
            const Utils::BitSetView bits = view();
            const bool va = bits[a];
            bits.set(a, bits[b]);
            bits.set(b, va);
        }
        void layerCopy(std::size_t from, std::size_t to) { view().set(to, view()[from]); }
        void layerMove(std::size_t from, std::size_t count, std::size_t to) {
            if(count == 1) Utils::moveBit(view(), from, to);
            else Utils::moveBitRange(view(), from, count, to);
        }
        void layerAppend(const SparseLayerAlloc& other, std::size_t at, std::size_t count) {
            const Utils::BitSetView bits = view();
            for(std::size_t i = 0; i != count; ++i)
                bits.set(at + i, (other._words[i >> 5] >> (i & 31)) & 1u);
        }

    private:
        bool _default;
        std::vector<std::uint32_t> _words;
};

/**
 * @brief Owner of a sparse array standing in its layout as a pseudo-column
 *
 * The layout calls the owner's hooks where they exist: `layerSize(capacity)` (bytes the owner's
 * regions need, added to the data size), `layerInit()` (at the end of `doInit()`, to add its
 * regions and bind its views), `layerCopy(from, to)`, `layerAppend(const Owner& other)`,
 * `layerDestroy(index)` (from `doDelete()`, to release what the element holds outside the block)
 * and `layerFlaggedCount(capacity)` (the element count of @ref SparseLayerFlag::OwnerSized
 * columns).
 */
template<class Owner> class SparseLayerOwner {
    public:
        typedef Owner Type;
        explicit SparseLayerOwner(Owner* owner): _owner{owner} {}
        Owner* owner() const { return _owner; }

    private:
        Owner* _owner;
};

namespace Implementation {
    template<class> struct IsSparseLayerOwner: std::false_type {};
    template<class Owner> struct IsSparseLayerOwner<SparseLayerOwner<Owner>>: std::true_type {};

    template<class C> constexpr bool isBlockColumn() {
        if constexpr(IsSparseLayerOwner<C>::value) return false;
        else return C::InBlock;
    }
}

/**
 * @brief Layout over a fixed list of columns
 *
 * Each step is applied to every column of @p Columns in list order: @ref SparseLayer (in the
 * block), @ref SparseLayerAlloc (own allocation) and @ref SparseLayerOwner (the owner's hooks).
 * Block columns get one region each, in list order, every one starting on a 4-byte boundary;
 * owners add their regions in `layerInit()` after all columns. Columns flagged
 * @ref SparseLayerFlag::ObjectId are skipped by copy; @ref SparseLayerFlag::OwnerSized ones by
 * copy and append.
 */
template<class ...Columns> class SparseArrayStaticLayout: public SparseArray::Layout {
    public:
        typedef SparseArray::IndexType IndexType;

        /**
         * @brief Layout for @p array
         *
         * Owner pseudo-columns point to @p array cast to their owner type, so the owner is
         * usually the class that holds this layout as a member.
         */
        explicit SparseArrayStaticLayout(SparseArray& array): _array{array}, _columns{makeColumn<Columns>(array)...} {}

        /** @brief Column @p i */
        template<std::size_t i> auto& get() { return std::get<i>(_columns); }
        template<std::size_t i> const auto& get() const { return std::get<i>(_columns); }

        std::size_t dataSize(IndexType capacity) const override {
            std::size_t size = 0;
            std::apply([&](const auto&... column) { ((size += columnSize(column, capacity)), ...); }, _columns);
            return size;
        }

        void doInit() override {
            Utils::MemoryPartition& partition = partitionOf(_array);
            const std::span<char> block = blockOf(_array);
            const IndexType capacity = _array.capacity();
            partition.reserveRegions((std::size_t{Implementation::isBlockColumn<Columns>()} + ... + 0));
            std::apply([&](auto&... column) { (initColumn(column, partition, block, capacity), ...); }, _columns);
            std::apply([&](auto&... column) { (initOwner(column), ...); }, _columns);
        }

        void doConstruct(IndexType first, IndexType last) override {
            if(first >= last) return;
            std::apply([&](auto&... column) { (constructColumn(column, first, last), ...); }, _columns);
        }

        void doSwap(IndexType a, IndexType b) override {
            std::apply([&](auto&... column) { (swapColumn(column, a, b), ...); }, _columns);
        }

        void doCopy(IndexType from, IndexType to) override {
            std::apply([&](auto&... column) { (copyColumn(column, from, to), ...); }, _columns);
        }

        void doMove(IndexType from, IndexType to) override { moveRange(from, 1, to); }

        void doDelete(IndexType index) override {
            std::apply([&](auto&... column) { (deleteColumn(column, index), ...); }, _columns);
        }

        void doAppend(const SparseArray& other) override {
            const auto* otherLayout = dynamic_cast<const SparseArrayStaticLayout*>(other.layout());
            QUILLMARSH_ASSERT(otherLayout,
                "SparseArray::append(): the other array has a different layout", );
            const IndexType at = _array.size();
            const IndexType count = other.size();
            appendColumns(*otherLayout, at, count, std::index_sequence_for<Columns...>{});
        }

        /**
         * @brief Move the run [from, from + count) of every column before @p to
         *
         * The range form of @ref doMove(), used to move whole subtrees at once. The indirection
         * tables are the caller's.
         */
        void moveRange(IndexType from, IndexType count, IndexType to) {
            if(from == to || !count) return;
            std::apply([&](auto&... column) { (moveColumn(column, from, count, to), ...); }, _columns);
        }

    private:
        template<class C> static auto makeColumn(SparseArray& array) {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value)
                return C{static_cast<typename C::Type*>(&array)};
            else return C{};
        }

        /* Element count of a column for a capacity: the owner decides for owner-sized ones */
        template<class C> std::size_t columnCount(IndexType capacity) const {
            if constexpr(C::Flag == SparseLayerFlag::OwnerSized) {
                std::size_t count = capacity;
                std::apply([&](const auto&... column) { (flaggedCount(column, capacity, count), ...); }, _columns);
                return count;
            } else return capacity;
        }
        template<class C> static void flaggedCount(const C& column, IndexType capacity, std::size_t& count) {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value) {
                if constexpr(requires { column.owner()->layerFlaggedCount(capacity); })
                    count = column.owner()->layerFlaggedCount(capacity);
            }
        }

        template<class C> std::size_t columnSize(const C& column, IndexType capacity) const {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value) {
                if constexpr(requires { column.owner()->layerSize(capacity); })
                    return column.owner()->layerSize(capacity);
                else return 0;
            } else if constexpr(C::InBlock) {
                return C::blockSize(columnCount<C>(capacity));
            } else return 0;
        }

        template<class C> void initColumn(C& column, Utils::MemoryPartition& partition, std::span<char> block, IndexType capacity) {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value) {
                return;
            } else if constexpr(C::InBlock) {
                const std::size_t count = columnCount<C>(capacity);
                const std::size_t index = partition.usedRegionCount();
                partition.addRegionBytes(C::blockSize(count), true);
                partition.alignOffset();
                column.layerBind(partition.regionBytes(index, block, true), count);
            } else column.layerResize(columnCount<C>(capacity));
        }
        template<class C> static void initOwner(C& column) {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value) {
                if constexpr(requires { column.owner()->layerInit(); })
                    column.owner()->layerInit();
            }
        }

        template<class C> static void constructColumn(C& column, IndexType first, IndexType last) {
            if constexpr(!Implementation::IsSparseLayerOwner<C>::value)
                column.layerConstruct(first, last);
        }
        template<class C> static void swapColumn(C& column, IndexType a, IndexType b) {
            if constexpr(!Implementation::IsSparseLayerOwner<C>::value)
                column.layerSwap(a, b);
        }
        template<class C> static void copyColumn(C& column, IndexType from, IndexType to) {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value) {
                if constexpr(requires { column.owner()->layerCopy(from, to); })
                    column.owner()->layerCopy(from, to);
            } else if constexpr(C::Flag == SparseLayerFlag::Plain)
                column.layerCopy(from, to);
        }
        template<class C> static void moveColumn(C& column, IndexType from, IndexType count, IndexType to) {
            if constexpr(!Implementation::IsSparseLayerOwner<C>::value)
                column.layerMove(from, count, to);
        }
        template<class C> static void deleteColumn(C& column, IndexType index) {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value) {
                if constexpr(requires { column.owner()->layerDestroy(index); })
                    column.owner()->layerDestroy(index);
            }
        }
        template<std::size_t ...i> void appendColumns(const SparseArrayStaticLayout& other, IndexType at, IndexType count, std::index_sequence<i...>) {
            (appendColumn(std::get<i>(_columns), std::get<i>(other._columns), at, count), ...);
        }
        template<class C> static void appendColumn(C& column, const C& other, IndexType at, IndexType count) {
            if constexpr(Implementation::IsSparseLayerOwner<C>::value) {
                if constexpr(requires { column.owner()->layerAppend(*other.owner()); })
                    column.owner()->layerAppend(*other.owner());
            } else if constexpr(C::Flag != SparseLayerFlag::OwnerSized)
                column.layerAppend(other, at, count);
        }

        SparseArray& _array;
        std::tuple<Columns...> _columns;
};

}}

#endif
