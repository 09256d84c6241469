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
