list(APPEND QuillmarshEngine_SRCS
    Data/Id.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SparseArray.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SceneGraph.cpp
    Data/Implementation/TransformSweep.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/SparseArrayActive.cpp
    Data/ComponentManager.cpp
    Data/SparseArrayGrouped.cpp
    Data/GroupedComponentManager.cpp
    Data/NameManager.cpp
    Data/MeshManager.cpp
    Data/ViewManager.cpp
    Data/ShadowsData.cpp
    Data/LightManager.cpp)
# The AVX2 sweep is compiled for AVX2 + FMA alone and only called where the processor has both
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    list(APPEND QuillmarshEngine_SRCS
        Data/Implementation/TransformSweepAvx2.cpp)
    set_source_files_properties(Data/Implementation/TransformSweepAvx2.cpp PROPERTIES COMPILE_OPTIONS "-mavx2;-mfma")
endif()
list(APPEND QuillmarshEngine_SRCS
    Data/AssetData.cpp
    Data/AssetValidation.cpp
    Data/MeshData.cpp
    # Record families of the asset format
    Data/ShaderData.cpp
    Data/PipelineData.cpp
    Data/ImageData.cpp
    Data/LanguageData.cpp
    Data/LocaleData.cpp
    Data/SkinData.cpp
    Data/PhysXData.cpp
    Data/SignatureData.cpp
    # The shader enums of shader and material records
    Shaders/ShaderTypes.cpp)
list(APPEND QuillmarshEngine_SRCS
    Data/InputManager.cpp
    Data/TextManager.cpp
    Data/JavaScriptManager.cpp
    Data/TranslationManager.cpp)
