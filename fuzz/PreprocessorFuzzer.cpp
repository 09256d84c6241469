/* Feeds arbitrary sources to the preprocessor. The first byte selects expansion and whether the
   sources are handed over as owned strings; the rest is split at 0x1e bytes into up to four
   sources processed in turn by one preprocessor. Views into the fuzzer's buffer are exactly
   sized, so any read past a source's end is reported. */

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/Preprocessor.h"

using namespace QuillmarshEngine;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if(!size) return 0;
    const bool expand = data[0] & 1;
    const bool owned = data[0] & 2;
    std::string_view rest{reinterpret_cast<const char*>(data + 1), size - 1};

    Warning silenceWarnings{nullptr};
    Error silenceErrors{nullptr};
    Utils::Preprocessor preprocessor{expand};
    /* The plain one-character-at-a-time loop must agree with the fast one on everything */
    Utils::Preprocessor reference{expand};
    for(int i = 0; i != 4 && !rest.empty(); ++i) {
        const std::size_t separator = rest.find('\x1e');
        const std::string_view source = rest.substr(0, separator);
        rest = separator == std::string_view::npos ? std::string_view{} : rest.substr(separator + 1);

        const std::size_t previous = preprocessor.output().size();
        const bool wasValid = preprocessor.isValid();
        if(owned) preprocessor << std::string{source};
        else preprocessor << source;
        reference.processReference(source);
        if(reference.isValid() != preprocessor.isValid() || reference.output() != preprocessor.output() || reference.errorLine() != preprocessor.errorLine())
            __builtin_trap();
        /* An error has a line inside the source */
        if(!preprocessor.isValid() && wasValid && (preprocessor.errorLine() == 0 || preprocessor.errorLine() > 1 + std::size_t(std::count(source.begin(), source.end(), '\n'))))
            __builtin_trap();

        /* Without expansion text is only ever dropped, never added */
        if(!expand && preprocessor.isValid() && preprocessor.output().size() > source.size())
            __builtin_trap();
        /* A failed or ignored source leaves the output alone */
        if((!wasValid || !preprocessor.isValid()) && preprocessor.output().size() != previous)
            __builtin_trap();
    }

    /* The queries work on whatever got defined */
    for(const char* name: {"A", "B", "X"}) {
        (void)preprocessor.resolveValue(name);
        (void)preprocessor.expandIdentifier(name);
    }
    return 0;
}
