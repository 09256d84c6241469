/* Feeds arbitrary bytes as the payload of a mesh chunk in an otherwise valid file, so that the
   mutations land in the mesh record and its attribute table instead of the container */

#include "AssetFuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QuillmarshEngine;
    std::vector<char> file;
    Data::appendHeaderData(file);
    const std::span<const char> pieces[]{{reinterpret_cast<const char*>(data), size}};
    Data::AssetChunk::create(Data::Magic::Mesh, pieces, file);
    Data::updateHeaderData(file);
    Fuzz::readValidated(file);
    return 0;
}
