#ifndef QuillmarshEngine_Tools_AssetSignature_h
#define QuillmarshEngine_Tools_AssetSignature_h

/** @file
 * @brief Signed data files: @ref QuillmarshEngine::Tools::signAssetData(), @ref QuillmarshEngine::Tools::verifyAssetSignature(), @ref QuillmarshEngine::Tools::findAssetSignature()
 *
 * A signed data file ends with one @ref Data::Magic::Signature chunk whose record
 * (@ref Data::AssetSignatureHeader) holds an RSA-PSS signature over everything else in the file.
 * None of these functions aborts on file or key bytes from outside the process.
 */

#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Data/SignatureData.h"
#include "QuillmarshEngine/Tools/RsaKey.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Tools {

/** @brief Where the signature of a data file is and what it says */
struct AssetSignatureEntry {
    std::uint64_t offset;               /**< Offset of the signature chunk's header */
    Data::AssetSignatureHeader header;  /**< Its record head */
    std::span<const char> signature;    /**< The signature bytes, a view into the file */
};

/**
 * @brief Find the signature chunk of a data file and check its record
 *
 * Expects a header chunk first and walks the chunks by their sizes; checks nothing else of the
 * other chunks. Fails with `the file is not signed` when there is no signature chunk, and with a
 * message naming the fault when the signature chunk is not the last chunk, is cut short, is
 * followed by stray bytes or its record is malformed or of an unknown algorithm.
 */
[[nodiscard]] QUILLMARSH_EXPORT Utils::Result<AssetSignatureEntry> findAssetSignature(std::span<const char> data);

/**
 * @brief Digest a signature covers: every byte of @p data except the signature bytes of @p entry
 */
[[nodiscard]] QUILLMARSH_EXPORT Sha256Digest assetSignatureDigest(std::span<const char> data, const AssetSignatureEntry& entry);

/**
 * @brief Sign a data file
 *
 * Returns a copy of @p data with a signature chunk appended and the header's chunk count and
 * largest chunk size updated to include it; a signature chunk already at the end is replaced.
 * Fails when @p key is not private and when @p data does not pass @ref Data::validateAssetData()
 * (the message then starts with `can't sign an invalid data file: `).
 */
[[nodiscard]] QUILLMARSH_EXPORT Utils::Result<std::vector<char>> signAssetData(std::span<const char> data, const RsaKey& key);

/**
 * @brief Check the signature of a data file against @p key
 *
 * Fails with the message of @ref findAssetSignature() when the file has no usable signature
 * chunk, with `the signature names another key: ...` with both key fingerprints when the signature
 * names a different key, and with `signature does not match: the file was changed after it was
 * signed` when any byte outside the signature differs from what was signed.
 */
[[nodiscard]] QUILLMARSH_EXPORT Utils::Result<void> verifyAssetSignature(std::span<const char> data, const RsaKey& key);

}}

#endif
