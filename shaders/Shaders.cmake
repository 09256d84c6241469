# Files of the QuillmarshEngineShaders resource group, by their include names
set(QuillmarshEngineShaders_FILES
    DualQuaternion.glsl
    Lights.glsl
    Mesh.frag
    Mesh.vert
    Quantization.glsl
    Skinning.glsl
    VertexAttributes.glsl)
