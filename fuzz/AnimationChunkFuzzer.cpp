/* Feeds arbitrary bytes as the payload of an animation chunk in an otherwise valid file, so that
   the mutations land in the record's headers, keys and events; the first byte picks an animation
   or an animation-targets chunk */

#include "AssetFuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QuillmarshEngine;
    if(!size) return 0;
    std::vector<char> file;
    Data::appendHeaderData(file);
    const std::span<const char> pieces[]{{reinterpret_cast<const char*>(data) + 1, size - 1}};
    Data::AssetChunk::create(data[0] & 1 ? Data::Magic::AnimationTargets : Data::Magic::Animation, pieces, file);
    Data::updateHeaderData(file);
    Fuzz::readValidated(file);
    return 0;
}
