#ifndef QuillmarshEngine_Data_AssetData_h
#define QuillmarshEngine_Data_AssetData_h

/** @file
 * @brief Enum @ref QuillmarshEngine::Data::Magic, classes @ref QuillmarshEngine::Data::AssetChunkView, @ref QuillmarshEngine::Data::AssetChunk, the file header functions
 *
 * A data file is a concatenation of chunks, each an 8-byte header (u32 @ref Magic tag, u32 payload
 * size) followed by the payload and zero to three padding bytes, every chunk starting 4-byte
 * aligned. The first chunk is a @ref Magic::Header chunk recording the number of chunks and the
 * largest chunk. Readers step from chunk to chunk by @ref calulateAssetChunkSizePadded() of the
 * stored size, so a stored size may be exact or already padded. All integers are little-endian.
 */

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Data {

/* Tags are "QME" followed by one letter, read as a little-endian u32 */
#define QUILLMARSH_MAGIC(letter) (0x00454d51u | (std::uint32_t(letter) << 24))

/**
 * @brief Type tag of an asset chunk
 *
 * Four ASCII bytes, "QME" and a type letter, in file byte order. Upper-case letters sort before
 * lower-case ones; the list is sparse so letters can be added without renumbering.
 */
enum class Magic: std::uint32_t {
    AnimationTargets = QUILLMARSH_MAGIC('A'),
    Skin = QUILLMARSH_MAGIC('B'),
    Probe = QUILLMARSH_MAGIC('E'),
    Font = QUILLMARSH_MAGIC('F'),
    Image = QUILLMARSH_MAGIC('I'),
    Locale = QUILLMARSH_MAGIC('L'),
    Mesh = QUILLMARSH_MAGIC('M'),
    PhysX = QUILLMARSH_MAGIC('P'),
    Rendering = QUILLMARSH_MAGIC('R'),
    Scene = QUILLMARSH_MAGIC('S'),
    Texture = QUILLMARSH_MAGIC('T'),
    Header = QUILLMARSH_MAGIC('V'),
    /** Signature over the whole file, its last chunk; see @ref AssetSignatureHeader */
    Signature = QUILLMARSH_MAGIC('Z'),
    Animation = QUILLMARSH_MAGIC('a'),
    MorphTarget = QUILLMARSH_MAGIC('b'),
    Draw = QUILLMARSH_MAGIC('d'),
    External = QUILLMARSH_MAGIC('e'),
    AnimationGraph = QUILLMARSH_MAGIC('g'),
    JsParams = QUILLMARSH_MAGIC('j'),
    Language = QUILLMARSH_MAGIC('l'),
    Material = QUILLMARSH_MAGIC('m'),
    Pipeline = QUILLMARSH_MAGIC('p'),
    Shader = QUILLMARSH_MAGIC('s'),
    ImageTile = QUILLMARSH_MAGIC('t')
};

#undef QUILLMARSH_MAGIC

/** @brief Whether @p magic is one of the named tags */
QUILLMARSH_EXPORT bool isMagicKnown(Magic magic);

/** @brief Name of a known tag (`"Mesh"`), or `nullptr` */
QUILLMARSH_EXPORT const char* magicName(Magic magic);

/** @brief Prints `Magic::Mesh`, or `Magic(` + the four tag bytes + `)` for an unknown tag */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, Magic value);

/** @brief Size of a chunk header in bytes */
constexpr std::uint64_t AssetChunkHeaderSize = 8;

/**
 * @brief Bytes a chunk with a payload of @p size bytes occupies in a file
 *
 * The header, the payload and the padding to a multiple of 4: `(size + 11)` with the two low bits
 * cleared. The name is part of the library's interface and spelled so on purpose.
 */
constexpr std::uint64_t calulateAssetChunkSizePadded(std::uint64_t size) {
    return (size + 11) & ~std::uint64_t{3};
}

/**
 * @brief Typed, non-owning view over one chunk
 *
 * Points at the chunk header. Expects a 4-byte-aligned address
 * (`AssetChunkView::AssetChunkView(): data is not 4-byte aligned`) and at least the 8 header
 * bytes. The payload it reports is clipped to the viewed bytes, so a view never reaches outside
 * what it was given.
 */
class QUILLMARSH_EXPORT AssetChunkView {
    public:
        /** @brief Empty view */
        constexpr AssetChunkView() noexcept = default;

        /** @brief View the chunk starting at @p data */
        explicit AssetChunkView(std::span<const char> data);

        /** @brief The chunk's tag */
        [[nodiscard]] Magic magic() const;

        /** @brief The stored payload size field */
        [[nodiscard]] std::uint32_t size() const;

        /** @brief @ref calulateAssetChunkSizePadded() of @ref size() */
        [[nodiscard]] std::uint64_t sizePadded() const { return calulateAssetChunkSizePadded(size()); }

        /** @brief The payload: stored size bytes after the header, clipped to the viewed bytes */
        [[nodiscard]] std::span<const char> payload() const;

        /** @brief All viewed bytes, from the chunk header on */
        [[nodiscard]] std::span<const char> data() const { return _data; }

        /**
         * @brief The payload as record type @p T
         *
         * Expects the chunk's tag to equal `T::AssetMagic`, otherwise aborts with
         * `AssetChunkView::as(): Chunk is not of given type`. A type constructible from the
         * payload bytes (a view class) is constructed from them; a plain struct is returned as a
         * reference into the payload, which then must be at least `sizeof(T)` bytes.
         */
        template<class T> [[nodiscard]] decltype(auto) as() const {
            QUILLMARSH_ASSERT(magic() == T::AssetMagic, "AssetChunkView::as(): Chunk is not of given type", {});
            if constexpr(std::is_constructible_v<T, std::span<const char>>) {
                return T{payload()};
            } else {
                static_assert(std::is_trivially_copyable_v<T>, "a record type is either a view or a plain struct");
                QUILLMARSH_ASSERT(payload().size() >= sizeof(T), "AssetChunkView::as(): payload of" << payload().size() << "bytes too small for a record of" << sizeof(T), {});
                return *reinterpret_cast<const T*>(payload().data());
            }
        }

    private:
        std::span<const char> _data;
};

/**
 * @brief One chunk written into a caller's buffer
 *
 * The writable bytes of the whole chunk (header and payload, without padding past the end of the
 * caller's buffer) and a view over the same bytes. Owns nothing; a chunk in a growable array is
 * invalidated by the array's next growth.
 */
struct QUILLMARSH_EXPORT AssetChunk {
    std::span<char> data;   /**< Header and payload */
    AssetChunkView view;    /**< View over @ref data */

    /** @brief Writable payload */
    std::span<char> payload() const { return data.subspan(std::size_t(AssetChunkHeaderSize)); }

    /**
     * @brief Reserve a chunk at the start of @p destData
     *
     * Writes @p magic and, as size, @p payloadSize rounded up to 4; the payload is left for the
     * caller. Expects `destData.size() >= roundUp4(payloadSize) + 8`
     * (`AssetChunk::create(): destData too small`) and a 4-byte-aligned @p destData.
     */
    static AssetChunk create(Magic magic, std::uint64_t payloadSize, std::span<char> destData);

    /**
     * @brief Write a chunk holding the concatenation of @p pieces at the start of @p destData
     *
     * Stores the exact payload size and does not write padding. Expects
     * `destData.size() >= calulateAssetChunkSizePadded(payload size)` and a 4-byte-aligned
     * @p destData.
     */
    static AssetChunk create(Magic magic, std::span<const std::span<const char>> pieces, std::span<char> destData);

    /**
     * @brief Append a chunk holding the concatenation of @p pieces to @p out
     *
     * @p out grows by the padded chunk size, zero-filled, so the padding is zero and the stored
     * size exact. The returned chunk points into @p out.
     */
    static AssetChunk create(Magic magic, std::span<const std::span<const char>> pieces, std::vector<char>& out);

    /**
     * @brief Write chunks back to back into @p destData
     *
     * Chunk `i` holds `magics[i]` and the single piece `datas[i]`. Expects views of the same
     * length (`AssetChunk::create(): magic and data arrays not same size`); every chunk's size
     * check applies to what is left of @p destData.
     */
    static std::vector<AssetChunk> create(std::span<const Magic> magics, std::span<const std::span<const char>> datas, std::span<char> destData);
};

/**
 * @brief Append a @ref Magic::External chunk naming a file outside the data file
 *
 * The payload is @p path and one terminating zero byte, stored with its exact size.
 */
QUILLMARSH_EXPORT AssetChunk createExternalBinChunk(std::string_view path, std::vector<char>& out);

/** @brief First constant word of the header payload */
constexpr std::uint32_t AssetHeaderFormatWord0 = 0x00030001;
/** @brief Second constant word of the header payload */
constexpr std::uint32_t AssetHeaderFormatWord1 = 3;
/** @brief Payload size of the header chunk */
constexpr std::uint32_t AssetHeaderPayloadSize = 16;

/**
 * @brief Payload of the @ref Magic::Header chunk
 */
struct AssetHeader {
    static constexpr Magic AssetMagic = Magic::Header;

    std::uint32_t formatWord0;      /**< @ref AssetHeaderFormatWord0 */
    std::uint32_t formatWord1;      /**< @ref AssetHeaderFormatWord1 */
    std::uint32_t largestChunkSize; /**< Largest padded chunk length, header included */
    std::uint32_t chunkCount;       /**< Number of chunks, header included */
};

static_assert(sizeof(AssetHeader) == AssetHeaderPayloadSize, "the header payload is 16 bytes");

/**
 * @brief Append the 24-byte header chunk to @p out
 *
 * Call it on the empty array, before any other chunk: @ref updateHeaderData() expects the header
 * to be the first chunk.
 */
QUILLMARSH_EXPORT void appendHeaderData(std::vector<char>& out);

/**
 * @brief Fill in the chunk count and largest chunk size of the header at the start of @p data
 *
 * Walks the chunks by their padded sizes and stores both fields. A truncated last chunk is
 * counted; fewer than 8 trailing bytes are not a chunk and are ignored. Never touches bytes
 * outside @p data. Expects a 4-byte-aligned @p data holding a whole @ref Magic::Header chunk with
 * a stored size of at least 16, and no chunk whose padded size exceeds 32 bits; aborts otherwise.
 * Untrusted files go through @ref validateAssetData() instead.
 */
QUILLMARSH_EXPORT void updateHeaderData(std::span<char> data);

}}

#endif
