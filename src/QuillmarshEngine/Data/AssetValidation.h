#ifndef QuillmarshEngine_Data_AssetValidation_h
#define QuillmarshEngine_Data_AssetValidation_h

/** @file
 * @brief Function @ref QuillmarshEngine::Data::validateAssetData(), @ref QuillmarshEngine::Data::listAssetChunks(),
 *      @ref QuillmarshEngine::Data::validateAssetRecord()
 */

#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Data {

/** @brief Where one chunk lies in a data file */
struct AssetChunkEntry {
    std::uint64_t offset;       /**< Offset of the chunk header */
    Magic magic;                /**< Tag */
    std::uint32_t size;         /**< Stored payload size */
    std::uint64_t sizePadded;   /**< Bytes the chunk occupies, @ref calulateAssetChunkSizePadded() */
};

/**
 * @brief Check an untrusted data file
 *
 * Checks the header chunk (first, 16-byte payload, both format words), every chunk's bounds and
 * alignment, that no chunk header is cut short, the largest-chunk and chunk count fields, and the
 * internal sizes of the records it knows: mesh (header sizes, attribute records against the vertex
 * bytes, index bytes against count and type, every uncompressed index below the vertex count, a
 * finite bounding sphere, compressed sizes), shader, image, image tile, language, locale,
 * pipeline, texture, draw (finite bounds, transformation and scaling), skin (finite joint
 * transformations and scalings), PhysX, probe and external chunks, and of the animation records
 * (track headers, every track's keys inside the key data, events and their names, and every
 * compressed rotation decoded), animation-targets records and scene records (by loading them with
 * @ref Scene::loadRecord()). A chunk whose tag is "QME" and a
 * letter this library does not know is skipped with a warning, since the format leaves room for
 * new letters; any other tag is an error. Compressed indices are checked by
 * @ref Tools::decompressMesh(). Never reads outside @p data and never aborts. Returns the chunks,
 * or a message `offset <n>: <fault>` naming the first fault. After success the record views of
 * @ref AssetRecords.h, @ref MeshData and @ref AnimationData.h (and @ref Tools::decompressMesh(),
 * @ref AnimationData::rawAnimation(), @ref AnimationData::animation(), @ref Scene::loadRecord()) are
 * safe on the chunks.
 */
QUILLMARSH_EXPORT Utils::Result<std::vector<AssetChunkEntry>> validateAssetData(std::span<const char> data);

/**
 * @brief Chunks of @p data as far as they can be walked
 *
 * Steps by the padded sizes from the start and stops before a chunk header that does not fit;
 * checks nothing else. Expects nothing of @p data, reads only its bytes.
 */
QUILLMARSH_EXPORT std::vector<AssetChunkEntry> listAssetChunks(std::span<const char> data);

/**
 * @brief Check one untrusted record
 *
 * Makes the checks @ref validateAssetData() makes on the payload of a chunk of type @p magic,
 * for a record that comes without its file. Never reads outside @p payload and never aborts.
 * Returns @p payload, or a message `offset <n>: <fault>` with the offset counted from the start
 * of the record. Types without record checks pass. The typed readers (@ref readLanguageData(),
 * @ref readLocaleData()) wrap it.
 */
QUILLMARSH_EXPORT Utils::Result<std::span<const char>> validateAssetRecord(Magic magic, std::span<const char> payload);

}}

#endif
