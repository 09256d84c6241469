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
    Data/Scene.cpp
    Data/MeshManager.cpp
    Data/ViewManager.cpp
    Data/ShadowsData.cpp
    Data/LightManager.cpp
    Data/CollisionManager.cpp
    Data/Implementation/ColliderSweep.cpp
    Data/Implementation/CollisionReference.cpp)
# The collision queries, their vector passes and the shape tests (Math/) must agree bit for bit,
# so none may fuse a multiplication and an addition where another does not
set_source_files_properties(Data/CollisionManager.cpp Data/Implementation/ColliderSweep.cpp
    Data/Implementation/CollisionReference.cpp PROPERTIES COMPILE_OPTIONS "-ffp-contract=off")
# The AVX2 sweep is compiled for AVX2 + FMA alone and only called where the processor has both
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    list(APPEND QuillmarshEngine_SRCS
        Data/Implementation/TransformSweepAvx2.cpp)
    set_source_files_properties(Data/Implementation/TransformSweepAvx2.cpp PROPERTIES COMPILE_OPTIONS "-mavx2;-mfma")
    # AVX2 without FMA, see above
    list(APPEND QuillmarshEngine_SRCS
        Data/Implementation/ColliderSweepAvx2.cpp)
    set_source_files_properties(Data/Implementation/ColliderSweepAvx2.cpp PROPERTIES COMPILE_OPTIONS "-mavx2;-ffp-contract=off")
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
    Data/AnimationData.cpp
    Data/SignatureData.cpp
    # Components that play animations
    Data/AnimationManager.cpp
    # The shader enums of shader and material records
    Shaders/ShaderTypes.cpp)
# Animation records are byte-identical across builds only without floating-point contraction
set_source_files_properties(Data/AnimationData.cpp PROPERTIES COMPILE_OPTIONS "-ffp-contract=off")
list(APPEND QuillmarshEngine_SRCS
    Data/InputManager.cpp
    Data/TextManager.cpp
    Data/JavaScriptManager.cpp
    Data/TranslationManager.cpp)
