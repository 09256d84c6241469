# Sources of the Tools module
list(APPEND QuillmarshEngine_SRCS)
# Mesh chunks can carry meshoptimizer-compressed vertex and index data
find_package(meshoptimizer REQUIRED)
list(APPEND QuillmarshEngine_LIBRARIES meshoptimizer::meshoptimizer)
list(APPEND QuillmarshEngine_SRCS
    Tools/MeshFormat.cpp)

# Hashes and signatures are libtomcrypt's, with libtommath as its big-number arithmetic. Both are
# private dependencies of the shared library: no installed header includes theirs.
find_package(PkgConfig REQUIRED)
pkg_check_modules(QuillmarshTomcrypt REQUIRED IMPORTED_TARGET libtomcrypt libtommath)
list(APPEND QuillmarshEngine_LIBRARIES PkgConfig::QuillmarshTomcrypt)
list(APPEND QuillmarshEngine_SRCS
    Tools/Cryptography.cpp
    Tools/RsaKey.cpp
    Tools/AssetSignature.cpp)
