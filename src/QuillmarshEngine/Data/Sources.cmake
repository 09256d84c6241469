list(APPEND QuillmarshEngine_SRCS
    Data/Id.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/AssetData.cpp
    Data/AssetValidation.cpp
    Data/MeshData.cpp
    # The shader enums of shader and material records
    Shaders/ShaderTypes.cpp)
