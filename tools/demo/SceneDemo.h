#ifndef QuillmarshEngine_tools_demo_SceneDemo_h
#define QuillmarshEngine_tools_demo_SceneDemo_h

#include <cstdint>

/* Loads the packed scene at `path` (quillmarsh-asset pack writes them), runs `frames` frames of
   60 Hz on it the way a host does (animations, world transformations, manager updates, shadows
   fitted to the first view), prints what it found and did, and returns the number of failed
   checks, or 1 when the file does not load. */
std::uint32_t sceneDemo(const char* path, std::uint32_t frames);

#endif
