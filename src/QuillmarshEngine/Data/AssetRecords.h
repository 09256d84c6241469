#ifndef QuillmarshEngine_Data_AssetRecords_h
#define QuillmarshEngine_Data_AssetRecords_h

/** @file
 * @brief Record types of the asset format and their builders
 *
 * Each builder returns one record as an owned byte array, the payload of one chunk of the
 * matching @ref Magic, which the caller wraps with @ref AssetChunk::create() (the image tile
 * builder appends its chunk itself). Records are little-endian, new ones zero-filled, with
 * fixed-width zero-terminated name fields and a variable tail. Builders abort on misuse (a name
 * too long for its field, lists of different lengths); the views read records back and, like the
 * builders, trust their input: check untrusted files with @ref validateAssetData() first.
 */

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/Math/Types.h"
#include "QuillmarshEngine/Shaders/ShaderTypes.h"
#include "QuillmarshEngine/StringArray.h"
#include "QuillmarshEngine/Trade/ImageData.h"
#include "QuillmarshEngine/Trade/TextureData.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Render state of a pipeline, seventeen 32-bit words in the pipeline record
 */
struct Pipeline {
    std::uint32_t vertexShader;         /**< Index of the vertex shader record */
    std::uint32_t fragmentShader;       /**< Index of the fragment shader record */
    std::uint32_t flags;                /**< Pipeline switches of the renderer */
    std::uint32_t blendSourceRgb;
    std::uint32_t blendDestinationRgb;
    std::uint32_t blendSourceAlpha;
    std::uint32_t blendDestinationAlpha;
    std::uint32_t blendEquationRgb;
    std::uint32_t blendEquationAlpha;
    std::uint32_t depthFunction;
    std::uint32_t depthWrite;           /**< 0 or 1 */
    std::uint32_t cullFace;
    std::uint32_t frontFace;
    float polygonOffsetFactor;
    float polygonOffsetUnits;
    std::uint32_t viewMask;             /**< Views the pipeline renders to */
    std::uint32_t materialDefinition;   /**< Index of the material parameter layout */
};

static_assert(sizeof(Pipeline) == 68, "a pipeline is seventeen 32-bit words");

/**
 * @brief One draw of the renderer, stored as it is in a @ref Magic::Draw record (88 bytes)
 */
struct Draw {
    static constexpr Magic AssetMagic = Magic::Draw;

    std::uint32_t mesh;                 /**< Mesh index */
    std::uint32_t material;             /**< Material index */
    std::uint32_t pipeline;             /**< Pipeline index */
    std::uint16_t object;               /**< Object id */
    std::uint16_t skin;                 /**< Skin index, 0 for none */
    std::uint32_t flags;                /**< Draw switches of the renderer */
    std::uint32_t instanceCount;        /**< Instances drawn */
    std::array<float, 4> boundingSphere; /**< Center x, y, z and radius, in object space */
    std::array<float, 8> transformation; /**< Dual quaternion, real x, y, z, w then dual x, y, z, w */
    std::uint32_t layer;                /**< Render layer */
    std::array<float, 3> scaling;       /**< Object scaling */
};

static_assert(sizeof(Draw) == 88, "a draw is 88 bytes");

/**
 * @brief PhysX record: its type values
 */
struct PhysXData {
    /** @brief What the cooked data describes; stored in 16 bits */
    enum class Type: std::uint32_t {
        Sphere = 1,
        Capsule = 2,
        Box = 3,
        Plane = 4,
        ConvexMesh = 5,
        TriangleMesh = 6,
        HeightField = 7
    };
};

QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, PhysXData::Type value);

/**
 * @brief One link of a locale record, 8 bytes
 *
 * As two 32-bit words: the link type in the upper and the component id in the lower 16 bits of
 * the first, the parameter index in the second.
 */
struct LocaleLinkHeader {
    std::uint16_t component;    /**< Component id in its manager */
    std::uint16_t type;         /**< 2 = text component, 3 = script component */
    std::uint32_t parameter;    /**< Parameter index of a script component */
};

static_assert(sizeof(LocaleLinkHeader) == 8, "locale links are 8 bytes");

/**
 * @brief How a @ref Magic::Signature record was made; stored in 32 bits, 0 is never used
 */
enum class AssetSignatureAlgorithm: std::uint32_t {
    /** RSA-PSS over the SHA-256 digest, MGF1 with SHA-256, 32-byte salt */
    RsaPssSha256 = 1
};

/** @brief Prints `AssetSignatureAlgorithm::RsaPssSha256` or `AssetSignatureAlgorithm(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, AssetSignatureAlgorithm value);

/**
 * @brief Fixed head of a @ref Magic::Signature record, 40 bytes
 *
 * A signed data file ends with one signature chunk; its payload is this head followed by
 * @ref signatureSize signature bytes and nothing else. The signature is over the SHA-256 digest
 * of every byte of the file except the signature bytes themselves: the header chunk (whose
 * counts include the signature chunk), all other chunks with their padding, this head, and the
 * padding after the signature. So a change to any byte is caught, and the signature chunk can be
 * replaced by a new one without touching the chunks before it.
 *
 * The chunk has a tag of its own in the format's sparse letter order ("QMEZ"), after every chunk
 * it covers. Readers that do not know the tag step over it by its stored size like over any
 * other chunk, so a signed file stays readable to them.
 */
struct AssetSignatureHeader {
    static constexpr Magic AssetMagic = Magic::Signature;

    AssetSignatureAlgorithm algorithm;      /**< How the signature was made */
    std::uint32_t signatureSize;            /**< Signature bytes after this head */
    std::array<std::uint8_t, 32> keyFingerprint; /**< SHA-256 of the signer's public key (DER) */
};

static_assert(sizeof(AssetSignatureHeader) == 40, "the signature head is 40 bytes");

/**
 * @brief View of a shader record
 *
 * A 264-byte head (stage, type, program flags, text lengths + 1, two 128-byte names) and the
 * source texts, each with its terminating zero.
 */
class QUILLMARSH_EXPORT ShaderData {
    public:
        static constexpr Magic AssetMagic = Magic::Shader;
        static constexpr std::size_t HeaderSize = 264;
        static constexpr std::size_t NameSize = 128;

        /** @brief View @p data; expects at least @ref HeaderSize bytes */
        explicit ShaderData(std::span<const char> data);

        Shaders::ShaderStage stage() const { return Shaders::ShaderStage(_data[0]); }
        Shaders::ShaderType type() const { return Shaders::ShaderType(_data[1]); }
        Shaders::ShaderProgramFlags flags() const;
        /** @brief Length of the first text + 1 */
        std::uint16_t sourceSize() const;
        /** @brief Length of the second text + 1, 0 when there is none */
        std::uint16_t secondSourceSize() const;
        bool hasSecond() const { return secondSourceSize() != 0; }
        std::string_view name() const;
        std::string_view secondName() const;
        /** @brief The first text; expects it inside the viewed bytes */
        std::string_view source() const;
        /** @brief The second text; expects it inside the viewed bytes */
        std::string_view secondSource() const;

    private:
        std::span<const char> _data;
};

/**
 * @brief View of an image record
 *
 * A 20-byte head (hash count, kind, three padding bytes, size x, y, z) and either a path with its
 * terminating zero or @ref hashCount() hashes of @ref HashSize characters.
 */
class QUILLMARSH_EXPORT ImageData {
    public:
        static constexpr Magic AssetMagic = Magic::Image;
        static constexpr std::size_t HeaderSize = 20;
        /** @brief Characters of one hash */
        static constexpr std::size_t HashSize = 32;

        /** @brief Tail kind */
        enum class Kind: std::uint8_t {
            Path = 0,
            Hashes = 1
        };

        /** @brief View @p data; expects at least @ref HeaderSize bytes */
        explicit ImageData(std::span<const char> data);

        std::uint32_t hashCount() const;
        Kind kind() const { return Kind(_data[4]); }
        std::array<std::int32_t, 3> size() const;
        /** @brief The path; expects @ref Kind::Path */
        std::string_view path() const;
        /** @brief Hash @p i; expects @ref Kind::Hashes and @p i below @ref hashCount() */
        std::string_view hash(std::uint32_t i) const;

    private:
        std::span<const char> _data;
};

/** @brief Prints `ImageData::Kind::Path` or `ImageData::Kind(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ImageData::Kind value);

/**
 * @brief View of a language record
 *
 * A 100-byte head (64-byte name, 32-byte code, the term pair count) and a string array of twice
 * that many strings: term 0, translation 0, term 1, translation 1, ...
 */
class QUILLMARSH_EXPORT LanguageData {
    public:
        static constexpr Magic AssetMagic = Magic::Language;
        static constexpr std::size_t HeaderSize = 100;
        static constexpr std::size_t NameSize = 64;
        static constexpr std::size_t CodeSize = 32;

        /** @brief View @p data; expects the head and as many strings as the pair count says */
        explicit LanguageData(std::span<const char> data);

        std::string_view name() const;
        std::string_view code() const;
        /** @brief Number of term pairs */
        std::uint32_t pairCount() const;
        std::string_view term(std::uint32_t i) const { return _strings[2*std::size_t(i)]; }
        std::string_view translation(std::uint32_t i) const { return _strings[2*std::size_t(i) + 1]; }
        const StringArrayView& strings() const { return _strings; }

    private:
        std::span<const char> _data;
        StringArrayView _strings;
};

/**
 * @brief View of a locale record
 *
 * Two 32-bit counts (pairs, links), one @ref LocaleLinkHeader per link, then a string array: for
 * each pair its two strings and its extra string, then one term per link.
 */
class QUILLMARSH_EXPORT LocaleData {
    public:
        static constexpr Magic AssetMagic = Magic::Locale;

        /** @brief View @p data; expects the counts, the links and all strings */
        explicit LocaleData(std::span<const char> data);

        std::uint32_t pairCount() const;
        /** @brief Number of links, which is also the number of extra strings */
        std::uint32_t linkCount() const;
        LocaleLinkHeader link(std::uint32_t i) const;
        /** @brief First string of pair @p i */
        std::string_view pairFirst(std::uint32_t i) const { return _strings[3*std::size_t(i)]; }
        /** @brief Second string of pair @p i */
        std::string_view pairSecond(std::uint32_t i) const { return _strings[3*std::size_t(i) + 1]; }
        /** @brief Extra string of pair @p i */
        std::string_view pairExtra(std::uint32_t i) const { return _strings[3*std::size_t(i) + 2]; }
        /** @brief Term of link @p i */
        std::string_view linkTerm(std::uint32_t i) const { return _strings[3*std::size_t(pairCount()) + i]; }
        const StringArrayView& strings() const { return _strings; }

    private:
        std::span<const char> _data;
        StringArrayView _strings;
};

/**
 * @brief Build a shader record
 *
 * @p sources holds the first text and, with @p hasSecond, the second. Expects names of at most
 * 126 characters (`createShaderData(): Shader name too long.`) and texts shorter than 65535
 * characters, whose length + 1 is stored in 16 bits.
 */
QUILLMARSH_EXPORT std::vector<char> createShaderData(std::string_view name, std::span<const std::string_view> sources, Shaders::ShaderProgramFlags flags, Shaders::ShaderType type, Shaders::ShaderStage stage, bool hasSecond, std::string_view secondName);

/**
 * @brief Build a pipeline record
 *
 * @p first and @p second are the caller's two integers; @p features are stored as their string
 * array bytes. Expects a name of at most 63 characters.
 */
QUILLMARSH_EXPORT std::vector<char> createPipelineData(std::string_view name, const Pipeline& pipeline, std::int32_t first, const StringArrayView& features, std::int32_t second);

/** @brief Build a draw record: @p draw as it is */
QUILLMARSH_EXPORT std::vector<char> createDrawData(const Draw& draw);

/** @brief Build a 32-byte texture record */
QUILLMARSH_EXPORT std::vector<char> createTextureData(std::uint16_t image, std::uint16_t second, Trade::SamplerFilter minificationFilter, Trade::SamplerFilter magnificationFilter, Trade::SamplerMipmap mipmap, const std::array<Trade::SamplerWrapping, 3>& wrapping);

/** @brief Build a texture record from importer data; expects an image index that fits 16 bits */
QUILLMARSH_EXPORT std::vector<char> createTextureData(const Trade::TextureData& texture);

/** @brief Build a material record: pipeline index, @p alphaMaterial, then the parameter bytes */
QUILLMARSH_EXPORT std::vector<char> createMaterialData(std::int32_t pipeline, const Shaders::AlphaMaterial& alphaMaterial, std::span<const char> material);

/** @brief Build an image record naming a file */
QUILLMARSH_EXPORT std::vector<char> createImageData(const std::array<std::int32_t, 3>& size, std::string_view path);

/** @brief Build an image record listing content hashes; expects each of 32 characters */
QUILLMARSH_EXPORT std::vector<char> createImageData(const std::array<std::int32_t, 3>& size, std::span<const std::string_view> hashes);

/**
 * @brief Append a @ref Magic::ImageTile chunk to @p out
 *
 * 32 hash characters, @p value, @p flag, three zero bytes, then @p data. Expects a hash of 32
 * characters.
 */
QUILLMARSH_EXPORT AssetChunk createImageTileChunk(std::string_view hash, std::span<const char> data, bool flag, std::uint32_t value, std::vector<char>& out);

/**
 * @brief Build a probe record: size and format of the first image, then every image's pixels
 *
 * Expects a non-empty list and images holding at least their computed data size.
 */
QUILLMARSH_EXPORT std::vector<char> createProbeData(std::span<const Trade::ImageData2D> images);

/** @brief Build a PhysX record; expects a @p type that fits 16 bits */
QUILLMARSH_EXPORT std::vector<char> createPhysXData(PhysXData::Type type, std::uint16_t id, std::span<const char> data);

/** @brief Build a font record: @p data as it is */
QUILLMARSH_EXPORT std::vector<char> createFontData(std::span<const char> data);

/**
 * @brief Build a language record
 *
 * @p value is the term pair count readers use, @p strings the terms and translations in turn.
 * Expects a name of at most 63 and a code of at most 31 characters.
 */
QUILLMARSH_EXPORT std::vector<char> createLanguageData(std::string_view name, std::string_view code, std::uint32_t value, const StringArrayView& strings);

/**
 * @brief Build a skin record
 *
 * Joint count, then the joint transforms (8 floats each: real x, y, z, w, dual x, y, z, w), the
 * scalings (3 floats each) and the joint object ids (16 bits each). Expects three lists of the same
 * length.
 */
QUILLMARSH_EXPORT std::vector<char> createSkinData(std::span<const DualQuaternion> transforms, std::span<const Vector3> scalings, std::span<const Id> joints);

/**
 * @brief Build a locale record
 *
 * For each pair its two strings and `pairExtras[i]`, then @p strings, one term per link. Expects as
 * many extras as pairs and exactly one string per link.
 */
QUILLMARSH_EXPORT std::vector<char> createLocaleData(std::span<const std::pair<std::string_view, std::string_view>> pairs, std::span<const std::string_view> pairExtras, std::span<const std::string_view> strings, std::span<const LocaleLinkHeader> links);

}}

#endif
