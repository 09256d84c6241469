# Sources of the Animation module: the runtime side, then the offline side that builds it
list(APPEND QuillmarshEngine_SRCS
    Animation/Animation.cpp
    Animation/BlendingJob.cpp
    Animation/Interpolation.cpp
    Animation/SamplingJob.cpp
    Animation/SoaTransform.cpp)
list(APPEND QuillmarshEngine_SRCS
    Animation/Offline/AnimationBuilder.cpp
    Animation/Offline/RawAnimation.cpp)
