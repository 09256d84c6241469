#include "QuillmarshEngine/Data/SignatureData.h"

namespace QuillmarshEngine { namespace Data {

Debug& operator<<(Debug& debug, AssetSignatureAlgorithm value) {
    switch(value) {
        case AssetSignatureAlgorithm::RsaPssSha256: return Implementation::printEnumValue(debug, "AssetSignatureAlgorithm", "RsaPssSha256");
    }
    return Implementation::printUnknownEnum(debug, "AssetSignatureAlgorithm", std::uint32_t(value));
}

}}
