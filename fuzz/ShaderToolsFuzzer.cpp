/* Include inlining and tag replacement on arbitrary text. The input is split at 0x1e bytes: the
   source, then the texts of the include files "a", "b" and "c/d", which are also the replacement
   texts of the tags of the same names. Views into the fuzzer's buffer are exactly sized. */

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/ShaderTools.h"

using namespace QuillmarshEngine;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest{reinterpret_cast<const char*>(data), size};
    std::string_view parts[4]{};
    for(std::string_view& part: parts) {
        const std::size_t separator = rest.find('\x1e');
        part = rest.substr(0, separator);
        rest = separator == std::string_view::npos ? std::string_view{} : rest.substr(separator + 1);
    }

    Warning silenceWarnings{nullptr};
    Error silenceErrors{nullptr};

    (void)Utils::getIncludesList(parts[0]);

    const Utils::IncludeMap includes{{"a", parts[1]}, {"b", parts[2]}, {"c/d", parts[3]}};
    for(const bool lineDirectives: {false, true}) {
        const std::string inlined = Utils::inlineIncludes(parts[0], includes, lineDirectives);
        const std::vector<std::pair<std::string_view, std::string_view>> tags{{"a", parts[1]}, {"b", parts[2]}, {"c/d", "{{c/d}}"}};
        (void)Utils::replaceTagsShader(parts[0], tags, lineDirectives);
        (void)Utils::replaceTagsShader(inlined, tags, lineDirectives);
    }

    /* The compiled-in group and a directory that does not exist, plus an unknown group */
    (void)Utils::inlineIncludes({"resource:QuillmarshEngineShaders", "/nonexistent-quillmarsh-includes", "resource:Unknown"}, parts[0], true);
    return 0;
}
