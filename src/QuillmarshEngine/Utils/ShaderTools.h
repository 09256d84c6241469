#ifndef QuillmarshEngine_Utils_ShaderTools_h
#define QuillmarshEngine_Utils_ShaderTools_h

/** @file
 * @brief Functions @ref QuillmarshEngine::Utils::getIncludesList(), @ref QuillmarshEngine::Utils::inlineIncludes(), @ref QuillmarshEngine::Utils::replaceTagsShader()
 *
 * Text passes that assemble a shader source before it reaches the @ref Preprocessor or the
 * driver: `#include "path"` lines are replaced by the contents of the named files, and tags
 * (`{{ name }}`) by caller-supplied text. Both can emit `#line` directives so that the driver's
 * line numbers keep pointing into the original source.
 */

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Utils {

/** @brief Hash of strings that also looks up string views */
struct IncludeMapHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
};

/** @brief Contents of included files by include path; the views must outlive the map's users */
using IncludeMap = std::unordered_map<std::string, std::string_view, IncludeMapHash, std::equal_to<>>;

/** @brief Prefix of a search location that names a compiled-in resource group, see @ref Resource */
inline constexpr std::string_view ResourceLocationPrefix = "resource:";

/**
 * @brief Paths of all `#include` directives of @p source, in order
 *
 * Includes inside comments are not listed. Fails with `Missing opening double quote after
 * #include` or `Missing closing double quote after #include` (the path must end on its line).
 */
QUILLMARSH_EXPORT Result<std::vector<std::string>> getIncludesList(std::string_view source);

/**
 * @brief Inline the includes of @p source, searching @p locations
 *
 * Each include path is looked up in the locations in order; the first that yields a non-empty
 * text wins. A location starting with `resource:` names a compiled-in resource group (an unknown
 * group is ignored with a warning), any other a directory. Then as
 * @ref inlineIncludes(std::string_view, const IncludeMap&, bool). When the includes cannot be
 * listed, prints `Failed to inline includes:` and the reason and returns @p source unchanged.
 */
QUILLMARSH_EXPORT std::string inlineIncludes(const std::vector<std::string>& locations, std::string_view source, bool lineDirectives);

/**
 * @brief Inline the includes of @p source from @p includeMap
 *
 * Every line whose first non-blank text is `#include "path"` (outside comments) is replaced by
 * the text of `path`, preceded by `#line 1` and followed by `#line <number of the include line>`
 * when @p lineDirectives is set, then by the rest of the include line. Included texts are not
 * searched for further includes. An include after other text on its line is left alone with a
 * warning. A missing or unterminated path, an absolute path or a path not in the map prints an
 * error and returns @p source unchanged.
 */
QUILLMARSH_EXPORT std::string inlineIncludes(std::string_view source, const IncludeMap& includeMap, bool lineDirectives);

/**
 * @brief Replace tags in @p source
 *
 * A tag is the text between `{{` and the next `}}` on the same line, trimmed of spaces and tabs.
 * A tag naming one of @p tags is replaced by its text; every tag of a line is replaced, the
 * search going on after each inserted text. Tags of unknown names stay as they are. With
 * @p lineDirectives set, a `#line` directive gives the line after a replacement its number in
 * @p source again (`#line N` lines of the source itself count): right after a replacement that
 * ends its own line, else after the line.
 */
QUILLMARSH_EXPORT std::string replaceTagsShader(std::string_view source, std::span<const std::pair<std::string_view, std::string_view>> tags, bool lineDirectives);

}}

#endif
