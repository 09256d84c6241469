# Sources of the Animation module
list(APPEND QuillmarshEngine_SRCS)
