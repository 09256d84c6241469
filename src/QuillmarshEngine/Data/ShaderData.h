#ifndef QuillmarshEngine_Data_ShaderData_h
#define QuillmarshEngine_Data_ShaderData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::ShaderData, function @ref QuillmarshEngine::Data::createShaderData()
 */

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Shaders/ShaderTypes.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief View of a shader record
 *
 * A 264-byte head (stage, type, program flags, text lengths + 1, two 128-byte names) and the
 * source texts, each with its terminating zero. Trusts its input like every record view: check
 * untrusted files with @ref validateAssetData() first.
 */
class QUILLMARSH_EXPORT ShaderData {
    public:
        static constexpr Magic AssetMagic = Magic::Shader;
        static constexpr std::size_t HeaderSize = 264;
        static constexpr std::size_t NameSize = 128;

        /** @brief View @p data; expects at least @ref HeaderSize bytes */
        explicit ShaderData(std::span<const char> data);

        [[nodiscard]] Shaders::ShaderStage stage() const { return Shaders::ShaderStage(_data[0]); }
        [[nodiscard]] Shaders::ShaderType type() const { return Shaders::ShaderType(_data[1]); }
        [[nodiscard]] Shaders::ShaderProgramFlags flags() const;
        /** @brief Length of the first text + 1 */
        [[nodiscard]] std::uint16_t sourceSize() const;
        /** @brief Length of the second text + 1, 0 when there is none */
        [[nodiscard]] std::uint16_t secondSourceSize() const;
        [[nodiscard]] bool hasSecond() const { return secondSourceSize() != 0; }
        [[nodiscard]] std::string_view name() const;
        [[nodiscard]] std::string_view secondName() const;
        /** @brief The first text; expects it inside the viewed bytes */
        [[nodiscard]] std::string_view source() const;
        /** @brief The second text; expects it inside the viewed bytes */
        [[nodiscard]] std::string_view secondSource() const;

    private:
        std::span<const char> _data;
};

/**
 * @brief Build a shader record
 *
 * @p sources holds the first text and, with @p hasSecond, the second. Expects names of at most
 * 126 characters (`createShaderData(): Shader name too long.`) and texts shorter than 65535
 * characters, whose length + 1 is stored in 16 bits.
 */
QUILLMARSH_EXPORT std::vector<char> createShaderData(std::string_view name, std::span<const std::string_view> sources, Shaders::ShaderProgramFlags flags, Shaders::ShaderType type, Shaders::ShaderStage stage, bool hasSecond, std::string_view secondName);

}}

#endif
