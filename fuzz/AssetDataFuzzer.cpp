/* Feeds arbitrary bytes to the validating reader as a whole data file */

#include "AssetFuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    /* Files are read into 4-byte-aligned buffers; the fuzzer's own buffer isn't aligned */
    std::vector<std::uint32_t> aligned((size + 3)/4);
    if(size) std::memcpy(aligned.data(), data, size);
    QuillmarshEngine::Fuzz::readValidated({reinterpret_cast<const char*>(aligned.data()), size});
    return 0;
}
