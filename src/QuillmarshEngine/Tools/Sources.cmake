# Sources of the Tools module
list(APPEND QuillmarshEngine_SRCS)
# Mesh chunks can carry meshoptimizer-compressed vertex and index data
find_package(meshoptimizer REQUIRED)
list(APPEND QuillmarshEngine_LIBRARIES meshoptimizer::meshoptimizer)
list(APPEND QuillmarshEngine_SRCS
    Tools/MeshFormat.cpp
    Tools/MeshTools.cpp
    Tools/Image2D.cpp
    Tools/ImageTools.cpp
    Tools/RectanglePacking.cpp
    Tools/Implementation/StbImage.cpp
    Tools/Implementation/VertexConversion.cpp)
# The AVX2 + F16C column kernels are compiled for those alone and only called where the processor
# has both
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    list(APPEND QuillmarshEngine_SRCS
        Tools/Implementation/VertexConversionAvx2.cpp)
    set_source_files_properties(Tools/Implementation/VertexConversionAvx2.cpp PROPERTIES COMPILE_OPTIONS "-mavx2;-mf16c")
endif()
# Two checks of UndefinedBehaviorSanitizer are left out of the one file that compiles stb_image
# 2.27, for faults of that decoder which corrupt files reach and which touch no memory:
# - shift-exponent: the JPEG bit reader's count goes negative on corrupt entropy-coded data and
#   it then shifts by more than 32 (later stb releases stop at "ran out of bits"); the bits read
#   are garbage that the decoder bounds like any other;
# - nonnull-attribute: a PNG whose image data chunks are all empty copies 0 bytes to a null
#   buffer.
# AddressSanitizer still checks every access, and the other checks stay on.
set_source_files_properties(Tools/Implementation/StbImage.cpp PROPERTIES COMPILE_OPTIONS "-fno-sanitize=shift-exponent,nonnull-attribute")
# The animation tools compare interpolated keys; no contraction, so every build drops the same keys
list(APPEND QuillmarshEngine_SRCS
    Tools/AnimationTools.cpp)
set_source_files_properties(Tools/AnimationTools.cpp PROPERTIES COMPILE_OPTIONS "-ffp-contract=off")

# Hashes and signatures are libtomcrypt's, with libtommath as its big-number arithmetic. Both are
# private dependencies of the shared library: no installed header includes theirs.
find_package(PkgConfig REQUIRED)
pkg_check_modules(QuillmarshTomcrypt REQUIRED IMPORTED_TARGET libtomcrypt libtommath)
list(APPEND QuillmarshEngine_LIBRARIES PkgConfig::QuillmarshTomcrypt)
list(APPEND QuillmarshEngine_SRCS
    Tools/Cryptography.cpp
    Tools/RsaKey.cpp
    Tools/AssetSignature.cpp)
