#ifndef QuillmarshEngine_tools_demo_AnimationDemo_h
#define QuillmarshEngine_tools_demo_AnimationDemo_h

#include <cstdint>

/* Plays an animation record on a small chain of objects for `frames` frames at 60 Hz, cross-fading
   into a second animation halfway, prints what it did and returns the number of failed checks */
std::uint32_t animationDemo(std::uint32_t frames);

#endif
