list(APPEND QuillmarshEngine_SRCS
    Utils/IndexRange.cpp)

# Shader source tooling: tokenizer, output buffer, preprocessor, includes and tags
list(APPEND QuillmarshEngine_SRCS
    Utils/Preprocessor.cpp
    Utils/StringWriter.cpp
    Utils/Token.cpp)
