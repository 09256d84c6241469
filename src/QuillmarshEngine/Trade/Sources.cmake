# Sources of the Trade module
list(APPEND QuillmarshEngine_SRCS)
